'use strict';
// GPX and KML route files, read with @xmldom/xmldom and @tmcw/togeojson:
//  - The simulator's own GPX: one <trk> whose <trkseg>s are the road
//    stretches, each with <extensions> holding <navinfo:road>,
//    <navinfo:speedLimit>, <navinfo:lanes> and <navinfo:camera> (any
//    namespace prefix). Each stretch ends at a junction.
//  - Any other GPX (recorded tracks, planned <rte> routes) and KML
//    (LineString placemarks, gx:Track): their lines joined in file order are
//    one drive, cut into stretches where its heading turns (track_turns.js);
//    a stretch is named after its line (the <trk>, <rte> or <Placemark>
//    name); the speed limit is the default.
// The route is named by GPX <metadata><name> or KML <Document><name>, else by
// its first line, else after the file; the destination by the named
// waypoint (GPX <wpt>, KML Point placemark) nearest to the route's end, else
// the last named <rtept>.
const path = require('node:path');
const { requireToolLibrary } = require('../common/tool_library');
const { fail, checkPoint, stretchOf } = require('./route_outline');
const { splitAtTurns } = require('./track_turns');
const { distance } = require('./geometry');

const OWN_EXTENSIONS = ['road', 'speedLimit', 'lanes', 'camera'];

function parseXml(file, text, rootName) {
  const { DOMParser } = requireToolLibrary('@xmldom/xmldom', 'reading a GPX or KML route file');
  let problem;
  const onError = (level, message) => {
    if (level !== 'warning' && problem === undefined) problem = String(message).split('\n')[0];
  };
  let doc;
  try {
    doc = new DOMParser({ onError }).parseFromString(text, 'text/xml');
  } catch (error) {
    problem = problem ?? error.message.split('\n')[0];
  }
  if (problem !== undefined) fail(file, 'XML', problem);
  if (!doc.documentElement || doc.documentElement.localName !== rootName) {
    fail(file, 'top level', `expected a <${rootName}> document`);
  }
  return doc;
}

const elements = (node, localName) => Array.from(node.getElementsByTagNameNS('*', localName));
const childElements = (node, localName) => Array.from(node.childNodes).filter((n) => n.nodeType === 1 && n.localName === localName);

// The trimmed text of the first <localName> element under node, or undefined.
function textOf(node, localName) {
  const [found] = node ? elements(node, localName) : [];
  return found ? found.textContent.trim() : undefined;
}

function ownExtensions(segment) {
  const [extensions] = childElements(segment, 'extensions');
  return extensions && OWN_EXTENSIONS.some((name) => elements(extensions, name).length > 0) ? extensions : null;
}

function ownGpxStretches(file, segments) {
  return segments.map((segment, i) => {
    const where = `trkseg ${i + 1}`;
    const points = childElements(segment, 'trkpt').map((p, j) => checkPoint(file, `${where}, trkpt ${j + 1}`,
      Number(p.getAttribute('lat') || NaN), Number(p.getAttribute('lon') || NaN)));
    const extensions = ownExtensions(segment);
    return stretchOf(file, where, Object.fromEntries(OWN_EXTENSIONS.map((name) => [name, textOf(extensions, name)])), points);
  });
}

// The lines of a GeoJSON FeatureCollection (from togeojson) as one list of
// checked points, each with the name of its line; and the named points.
function linesAndPlaces(file, collection) {
  const points = [];
  const places = [];
  const lineNames = [];
  const addLine = (coordinates, name, where) => {
    lineNames.push(name);
    coordinates.forEach((c, j) => points.push({ ...checkPoint(file, `${where}, position ${j + 1}`, c[1], c[0]), road: name }));
  };
  const addGeometry = (geometry, name, where) => {
    if (!geometry) return;
    if (geometry.type === 'LineString') addLine(geometry.coordinates, name, where);
    else if (geometry.type === 'MultiLineString') geometry.coordinates.forEach((line, k) => addLine(line, name, `${where}, line ${k + 1}`));
    else if (geometry.type === 'GeometryCollection') geometry.geometries.forEach((g) => addGeometry(g, name, where));
    else if (geometry.type === 'Point' && name) places.push({ name, lat: geometry.coordinates[1], lon: geometry.coordinates[0] });
  };
  collection.features.forEach((feature, i) => {
    const name = feature.properties && feature.properties.name ? String(feature.properties.name) : undefined;
    addGeometry(feature.geometry, name, `${feature.properties && feature.properties._gpxType || 'feature'} ${i + 1}`);
  });
  return { points, places, firstLineName: lineNames.find(Boolean) };
}

function nearestPlace(places, end) {
  let best = null;
  for (const place of places) {
    const d = distance(place, end);
    if (best === null || d < best.d) best = { name: place.name, d };
  }
  return best && best.name;
}

function trackOutline(file, doc, collection, { routeName, fallbackDestination }) {
  const { points, places, firstLineName } = linesAndPlaces(file, collection);
  const stretches = splitAtTurns(points).map((s, i) => stretchOf(file, `stretch ${i + 1}`, s, s.points));
  if (stretches.length === 0) fail(file, 'top level', 'no track, route or line with two or more points');
  const end = stretches.at(-1).points.at(-1);
  return {
    name: routeName || firstLineName || path.basename(file),
    destination: { name: nearestPlace(places, end) || fallbackDestination || 'Destination' },
    stretches,
  };
}

function parseGpx(file, text) {
  const doc = parseXml(file, text, 'gpx');
  const [metadata] = childElements(doc.documentElement, 'metadata');
  const routeName = metadata ? childElements(metadata, 'name').map((n) => n.textContent.trim())[0] : undefined;
  const segments = elements(doc, 'trkseg');
  if (segments.some(ownExtensions)) {
    const stretches = ownGpxStretches(file, segments);
    const end = stretches.at(-1).points.at(-1);
    const places = elements(doc, 'wpt').map((w) => ({
      name: textOf(w, 'name'), lat: Number(w.getAttribute('lat')), lon: Number(w.getAttribute('lon')),
    })).filter((w) => w.name && Number.isFinite(w.lat) && Number.isFinite(w.lon));
    return { name: routeName || path.basename(file), destination: { name: nearestPlace(places, end) || 'Destination' }, stretches };
  }
  const { gpx } = requireToolLibrary('@tmcw/togeojson', 'reading a GPX route file');
  const lastNamedRoutePoint = elements(doc, 'rtept').map((p) => textOf(p, 'name')).filter(Boolean).at(-1);
  return trackOutline(file, doc, gpx(doc), { routeName, fallbackDestination: lastNamedRoutePoint });
}

function parseKml(file, text) {
  const doc = parseXml(file, text, 'kml');
  const [document] = elements(doc, 'Document');
  const routeName = document ? childElements(document, 'name').map((n) => n.textContent.trim())[0] : undefined;
  const { kml } = requireToolLibrary('@tmcw/togeojson', 'reading a KML route file');
  return trackOutline(file, doc, kml(doc), { routeName });
}

module.exports = { parseGpx, parseKml };
