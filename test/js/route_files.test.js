'use strict';
// Route files as people have them: a recorded GPX track, a planned GPX
// route, KML, and the simulator's own GPX, read into routes whose turns come
// from the file's geometry and whose names come from the file.
const test = require('node:test');
const assert = require('node:assert/strict');
const path = require('node:path');
const paths = require('./support/paths');

const apps = path.join(paths.root, 'apps', 'sim');
const { parseRouteText } = require(path.join(apps, 'route_file'));
const { buildRoute } = require(path.join(apps, 'route'));
const { TURN_MODE_NAMES } = require(path.join(apps, 'turn_modes'));

const ORIGIN = { lat: 48.137, lon: 11.575 };
// A point x metres east and y metres north of ORIGIN.
const at = (x, y) => ({ lat: ORIGIN.lat + y / 111195, lon: ORIGIN.lon + x / (111195 * Math.cos((ORIGIN.lat * Math.PI) / 180)) });
const fixed = (p) => `lat="${p.lat.toFixed(7)}" lon="${p.lon.toFixed(7)}"`;
const coordinates = (points) => points.map((p) => `${p.lon.toFixed(7)},${p.lat.toFixed(7)},0`).join(' ');

// What a phone records: a point every `step` metres along the legs
// [[x, y], ...], each off by up to `jitter` metres, and corners cut by a
// curve of radius `radius` (so that no single point holds the turn).
function recorded(corners, { step = 8, jitter = 1.5, radius = 10 } = {}) {
  let seed = 7;
  const noise = () => { seed = (seed * 16807) % 2147483647; return ((seed / 2147483647) * 2 - 1) * jitter; };
  const out = [];
  for (let i = 0; i + 1 < corners.length; i++) {
    const [ax, ay] = corners[i];
    const [bx, by] = corners[i + 1];
    const length = Math.hypot(bx - ax, by - ay);
    const from = i === 0 ? 0 : radius;
    const to = i + 2 === corners.length ? length : length - radius;
    for (let d = from; d <= to; d += step) {
      out.push(at(ax + ((bx - ax) * d) / length + noise(), ay + ((by - ay) * d) / length + noise()));
    }
  }
  return out;
}

const gpx = (body, metadata = '') => `<?xml version="1.0" encoding="UTF-8"?>
<gpx version="1.1" creator="a phone" xmlns="http://www.topografix.com/GPX/1/1">${metadata}${body}</gpx>`;

const trackFile = gpx(`<trk><name>Morning drive</name><trkseg>${
  recorded([[0, 0], [0, 300], [200, 300], [200, 450]]).map((p, i) => `<trkpt ${fixed(p)}><time>2024-05-01T07:00:${String(i % 60).padStart(2, '0')}Z</time></trkpt>`).join('')
}</trkseg></trk>`, '<metadata><name>To the office</name></metadata>');

const gentleFile = gpx(`<trk><name>Country road</name><trkseg>${
  recorded([[0, 0], [0, 400], [80, 800], [80, 1200]], { radius: 60 }).map((p) => `<trkpt ${fixed(p)}/>`).join('')
}</trkseg></trk>`);

const routeFile = gpx(`<rte><name>Harbour run</name>${[
  [at(0, 0), 'Start'], [at(0, 500), 'Turn right onto Quay'], [at(400, 500), 'Bear left'], [at(683, 783), 'Harbour'],
].map(([p, name]) => `<rtept ${fixed(p)}><name>${name}</name></rtept>`).join('')}</rte>`);

const kmlFile = `<?xml version="1.0" encoding="UTF-8"?>
<kml xmlns="http://www.opengis.net/kml/2.2"><Document><name>Station loop</name>
<Placemark><name>Main Street</name><LineString><coordinates>${coordinates([at(0, 0), at(150, 0), at(300, 0)])}</coordinates></LineString></Placemark>
<Placemark><name>Bridge Road</name><LineString><coordinates>${
  coordinates([at(300, 0), at(300, -100), at(300, -200), at(400, -100), at(500, 0)])}</coordinates></LineString></Placemark>
<Placemark><name>Town Hall</name><Point><coordinates>${coordinates([at(0, 0)])}</coordinates></Point></Placemark>
<Placemark><name>Station</name><Point><coordinates>${coordinates([at(505, 3)])}</coordinates></Point></Placemark>
</Document></kml>`;

const ownFile = gpx(`<wpt ${fixed(at(300, 400))}><name>Depot</name></wpt><trk>${[
  ['North St', 50, 'LSR', [at(0, 0), at(0, 400)]],
  ['East Ave', 30, 'SR', [at(0, 400), at(300, 400)]],
].map(([road, limit, lanes, points]) => `<trkseg><extensions><navinfo:road>${road}</navinfo:road>` +
  `<navinfo:speedLimit>${limit}</navinfo:speedLimit><navinfo:lanes>${lanes}</navinfo:lanes></extensions>` +
  `${points.map((p) => `<trkpt ${fixed(p)}/>`).join('')}</trkseg>`).join('')}</trk>`, '<metadata><name>Depot run</name></metadata>')
  .replace('<gpx ', '<gpx xmlns:navinfo="urn:navigation-info-mgr:route" ');

test('route files: turns from the geometry, names from the file', () => {
  // [what, file name, text, route name, destination, turns, roads, speed limits]
  const table = [
    ['a recorded track with rounded, jittered corners', 'drive.gpx', trackFile, 'To the office', 'Destination',
      ['RIGHT', 'LEFT', 'ARRIVE'], ['Morning drive', 'Morning drive', 'Morning drive'], [50, 50, 50]],
    ['a recorded track with gentle bends only', 'country.gpx', gentleFile, 'Country road', 'Destination',
      ['ARRIVE'], ['Country road'], [50]],
    ['a planned GPX route (<rte>)', 'harbour.gpx', routeFile, 'Harbour run', 'Harbour',
      ['RIGHT', 'SLIGHT_LEFT', 'ARRIVE'], ['Harbour run', 'Harbour run', 'Harbour run'], [50, 50, 50]],
    ['KML placemarks: a road change with a turn, a turn within a road', 'loop.kml', kmlFile, 'Station loop', 'Station',
      ['RIGHT', 'SHARP_LEFT', 'ARRIVE'], ['Main Street', 'Bridge Road', 'Bridge Road'], [50, 50, 50]],
    ['the simulator\'s own GPX with its extensions', 'own.gpx', ownFile, 'Depot run', 'Depot',
      ['RIGHT', 'ARRIVE'], ['North St', 'East Ave'], [50, 30]],
  ];
  for (const [what, file, text, name, destination, turns, roads, limits] of table) {
    const outline = parseRouteText(file, text);
    const route = buildRoute(outline);
    assert.deepEqual({
      name: route.name,
      destination: route.destination.name,
      turns: route.stretches.map((s) => TURN_MODE_NAMES[s.turnMode]),
      roads: route.stretches.map((s) => s.road),
      limits: route.stretches.map((s) => s.speedLimit),
    }, { name, destination, turns, roads, limits }, what);
  }
});

test('route files that cannot be read are named with the place', () => {
  for (const [file, text, message] of [
    ['x.gpx', '<gpx><trk><trkseg><extensions><road>A</road></extensions><trkpt lat="1" lon="1"/></trkseg></trk></gpx>',
      /trkseg 1: a stretch needs at least two points/],
    ['x.gpx', '<gpx><trk><trkseg><trkpt lat="1" lon="1"/></trkseg></trk></gpx>', /top level: no track, route or line/],
    ['x.gpx', '<gpx><rte><rtept lat="95" lon="1"/><rtept lat="1" lon="1"/></rte></gpx>', /rte 1, position 1: not a position: latitude 95/],
    ['x.gpx', '<kml/>', /top level: expected a <gpx> document/],
    ['x.kml', '<gpx/>', /top level: expected a <kml> document/],
    ['x.kml', '<kml><Document><Placemark>', /x\.kml: XML: /],
    ['x.kml', '<kml><Placemark><Point><coordinates>1,1</coordinates></Point></Placemark></kml>', /no track, route or line/],
  ]) {
    assert.throws(() => parseRouteText(file, text), (error) => error.message.startsWith(`route file ${file}: `) &&
      message.test(error.message), `${file}: ${message.source}`);
  }
});
