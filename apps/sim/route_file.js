'use strict';
// Reading route files into a route outline (see route.js):
//  - GeoJSON: a FeatureCollection whose LineString features are the road
//    stretches in driving order, with properties `road`, `speedLimit` (km/h),
//    `lanes` (one letter per lane, left to right: L, S, R) and optionally
//    `camera` (km/h); the collection's own `name` and `destination`
//    ({ name }) name the route. A single LineString Feature is one stretch.
//  - GPX and KML (route_xml.js): the simulator's own GPX with a stretch per
//    <trkseg>, or any recorded track, planned route or KML line, whose turns
//    are found from its changes of heading.
// Errors name the file and the place of the problem.
const fs = require('node:fs');
const path = require('node:path');

const { fail, checkPoint, stretchOf } = require('./route_outline');
const { parseGpx, parseKml } = require('./route_xml');

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

// The outline of a route from the file's text; the format by the file's ending
// (.gpx, .kml, else GeoJSON).
function parseRouteText(file, text) {
  if (/\.gpx$/i.test(file)) return parseGpx(file, text);
  if (/\.kml$/i.test(file)) return parseKml(file, text);
  return parseGeoJson(file, text);
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
    throw new Error(`route file ${file}: ${error.code === 'ENOENT' ? 'not found' : error.message}`);
  }
  return parseRouteText(file, text);
}

module.exports = { parseRouteText, readRouteFile, resolveRoute, SHIPPED_ROUTES: Object.keys(SHIPPED) };
