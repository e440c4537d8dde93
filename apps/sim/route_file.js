'use strict';
// Reading route files into a route outline (see route.js):
//  - GeoJSON: a FeatureCollection whose LineString features are the road
//    stretches in driving order, with properties `road`, `speedLimit` (km/h),
//    `lanes` (one letter per lane, left to right: L, S, R) and optionally
//    `camera` (km/h); the collection's own `name` and `destination`
//    ({ name }) name the route. A single LineString Feature is one stretch.
//  - GPX 1.1: one <trk> whose <trkseg>s are the stretches, each with
//    <extensions> holding <navinfo:road>, <navinfo:speedLimit>,
//    <navinfo:lanes> and <navinfo:camera>; <metadata><name> names the route
//    and the first <wpt>'s <name> the destination.
// Errors name the file and the place of the problem.
const fs = require('node:fs');
const path = require('node:path');

const DEFAULT_SPEED_LIMIT = 50;

function fail(file, where, problem) {
  throw new Error(`route file ${file}: ${where}: ${problem}`);
}

function checkPoint(file, where, lat, lon) {
  if (!Number.isFinite(lat) || !Number.isFinite(lon) || Math.abs(lat) > 90 || Math.abs(lon) > 180) {
    fail(file, where, `not a position: latitude ${lat}, longitude ${lon}`);
  }
  return { lat, lon };
}

function stretchOf(file, where, { road, speedLimit, lanes, camera }, points) {
  if (points.length < 2) fail(file, where, 'a stretch needs at least two points');
  const limit = speedLimit === undefined || speedLimit === '' ? DEFAULT_SPEED_LIMIT : Number(speedLimit);
  if (!(limit > 0 && limit < 1000)) fail(file, where, `speedLimit must be a positive number of km/h, not ${speedLimit}`);
  const cameraLimit = camera === undefined || camera === '' ? 0 : Number(camera);
  if (!(cameraLimit >= 0 && cameraLimit < 1000)) fail(file, where, `camera must be a number of km/h, not ${camera}`);
  const laneText = lanes === undefined ? '' : String(lanes);
  if (!/^[LSR]*$/.test(laneText)) fail(file, where, `lanes must be letters L, S and R, not "${laneText}"`);
  return { road: road ? String(road) : 'Unnamed road', speedLimit: Math.round(limit), lanes: laneText,
    camera: Math.round(cameraLimit), points };
}

function parseGeoJson(file, text) {
  let json;
  try {
    json = JSON.parse(text);
  } catch (error) {
    fail(file, 'JSON', error.message);
  }
  const features = json && json.type === 'FeatureCollection' ? json.features
    : json && json.type === 'Feature' ? [json] : null;
  if (!Array.isArray(features)) fail(file, 'top level', 'expected a FeatureCollection or a Feature');
  const stretches = features.map((feature, i) => {
    const where = `feature ${i + 1}`;
    const geometry = feature && feature.geometry;
    if (!geometry || geometry.type !== 'LineString' || !Array.isArray(geometry.coordinates)) {
      fail(file, where, 'expected a LineString geometry');
    }
    // GeoJSON positions are [longitude, latitude].
    const points = geometry.coordinates.map((c, j) => checkPoint(file, `${where}, position ${j + 1}`,
      Array.isArray(c) ? c[1] : NaN, Array.isArray(c) ? c[0] : NaN));
    return stretchOf(file, where, feature.properties || {}, points);
  });
  const props = json.type === 'Feature' ? json.properties || {} : json;
  return { name: props.name || path.basename(file), destination: { name: (props.destination && props.destination.name) || 'Destination' }, stretches };
}

const ENTITIES = { amp: '&', lt: '<', gt: '>', quot: '"', apos: "'" };
function decodeXml(text) {
  return text.replace(/&(amp|lt|gt|quot|apos|#\d+|#x[0-9a-f]+);/gi, (_, e) => {
    if (e[0] !== '#') return ENTITIES[e.toLowerCase()];
    return String.fromCodePoint(e[1] === 'x' || e[1] === 'X' ? parseInt(e.slice(2), 16) : parseInt(e.slice(1), 10));
  });
}

// The text of the first <tag> element in xml (tag may carry a prefix), or undefined.
function element(xml, tag) {
  const match = new RegExp(`<(?:[\\w-]+:)?${tag}(?:\\s[^>]*)?>([\\s\\S]*?)</(?:[\\w-]+:)?${tag}>`).exec(xml);
  return match ? decodeXml(match[1].trim()) : undefined;
}

function attribute(tagText, name) {
  const match = new RegExp(`\\s${name}\\s*=\\s*("([^"]*)"|'([^']*)')`).exec(tagText);
  return match ? Number(match[2] ?? match[3]) : NaN;
}

function parseGpx(file, text) {
  if (!/<gpx[\s>]/.test(text)) fail(file, 'top level', 'expected a <gpx> document');
  const segments = [...text.matchAll(/<trkseg(?:\s[^>]*)?>([\s\S]*?)<\/trkseg>/g)].map((m) => m[1]);
  if (segments.length === 0) fail(file, '<trk>', 'no <trkseg>');
  const stretches = segments.map((segment, i) => {
    const where = `trkseg ${i + 1}`;
    const points = [...segment.matchAll(/<trkpt\b([^>]*?)\/?>/g)].map((m, j) =>
      checkPoint(file, `${where}, trkpt ${j + 1}`, attribute(m[1], 'lat'), attribute(m[1], 'lon')));
    const extensions = element(segment, 'extensions') !== undefined
      ? /<extensions>([\s\S]*?)<\/extensions>/.exec(segment)[1] : '';
    return stretchOf(file, where, {
      road: element(extensions, 'road'),
      speedLimit: element(extensions, 'speedLimit'),
      lanes: element(extensions, 'lanes'),
      camera: element(extensions, 'camera'),
    }, points);
  });
  const metadata = /<metadata>([\s\S]*?)<\/metadata>/.exec(text);
  const waypoint = /<wpt\b[^>]*>([\s\S]*?)<\/wpt>/.exec(text);
  return {
    name: (metadata && element(metadata[1], 'name')) || path.basename(file),
    destination: { name: (waypoint && element(waypoint[1], 'name')) || 'Destination' },
    stretches,
  };
}

// The outline of a route from the file's text; the format by the file's ending
// (.gpx, else GeoJSON).
function parseRouteText(file, text) {
  return /\.gpx$/i.test(file) ? parseGpx(file, text) : parseGeoJson(file, text);
}

const SHIPPED = { urban: 'urban.geojson', highway: 'highway.gpx' };

// A path to a route file, or the name of a shipped route (urban, highway).
function resolveRoute(nameOrPath) {
  return SHIPPED[nameOrPath] ? path.join(__dirname, 'routes', SHIPPED[nameOrPath]) : nameOrPath;
}

function readRouteFile(nameOrPath) {
  const file = resolveRoute(nameOrPath);
  let text;
  try {
    text = fs.readFileSync(file, 'utf8');
  } catch (error) {
    throw new Error(`route file ${file}: ${error.code === 'ENOENT' ? 'not found' : error.message}`, { cause: error });
  }
  return parseRouteText(file, text);
}

module.exports = { parseRouteText, readRouteFile, resolveRoute, SHIPPED_ROUTES: Object.keys(SHIPPED) };
