'use strict';
// The route simulator without I/O: geometry, turn modes derived from a
// route's shape, guidance figures, route files, the driver's speed, and the
// answers and effects of every command and query.
const test = require('node:test');
const assert = require('node:assert/strict');
const path = require('node:path');
const paths = require('./support/paths');

const apps = path.join(paths.root, 'apps', 'sim');
const { distance, bearing, headingChange } = require(path.join(apps, 'geometry'));
const { TurnMode, classifyTurn } = require(path.join(apps, 'turn_modes'));
const { buildRoute, positionAt } = require(path.join(apps, 'route'));
const { guidanceAt, CRUISE_SHARE } = require(path.join(apps, 'guidance'));
const { parseRouteText, readRouteFile } = require(path.join(apps, 'route_file'));
const { turnSpeed } = require(path.join(apps, 'speed_model'));
const { Simulator, SimCode } = require(path.join(apps, 'simulator'));

const ORIGIN = { lat: 52.5, lon: 13.4 };
// A point x metres east and y metres north of ORIGIN.
const at = (x, y) => ({ lat: ORIGIN.lat + y / 111195, lon: ORIGIN.lon + x / (111195 * Math.cos((ORIGIN.lat * Math.PI) / 180)) });
const near = (actual, expected, tolerance, what) =>
  assert.ok(Math.abs(actual - expected) <= tolerance, `${what}: ${actual} is not within ${tolerance} of ${expected}`);

// North 400 m, right (east) 300 m, slight left (north-east) 200 m, sharp
// right back south-west, then a U-turn.
function sampleOutline() {
  return {
    name: 'Sample',
    destination: { name: 'Goal' },
    stretches: [
      { road: 'North St', speedLimit: 50, lanes: 'LSR', points: [at(0, 0), at(0, 200), at(0, 400)] },
      { road: 'East Ave', speedLimit: 30, lanes: 'SR', camera: 30, points: [at(0, 400), at(300, 400)] },
      { road: 'Diagonal', speedLimit: 40, lanes: '', points: [at(300, 400), at(441, 541)] },
      { road: 'Back Lane', speedLimit: 20, points: [at(441, 541), at(341, 341)] },
      { road: 'Return', speedLimit: 20, points: [at(341, 341), at(441, 541)] },
    ],
  };
}

test('distances, bearings and heading changes', () => {
  near(distance({ lat: 0, lon: 0 }, { lat: 1, lon: 0 }), 111195, 1, 'one degree of latitude');
  near(distance(at(0, 0), at(300, 400)), 500, 0.5, '3-4-5 triangle');
  for (const [to, expected] of [[at(0, 100), 0], [at(100, 0), 90], [at(0, -100), 180], [at(-100, 0), 270]]) {
    near(bearing(at(0, 0), to), expected, 0.01, `bearing to ${expected}`);
  }
  for (const [from, to, change] of [[350, 10, 20], [10, 350, -20], [0, 180, 180], [90, 0, -90], [270, 90, 180]]) {
    assert.equal(headingChange(from, to), change, `${from} -> ${to}`);
  }
});

test('turn modes follow the change of heading', () => {
  const table = [
    [0, 'STRAIGHT'], [19, 'STRAIGHT'], [-19, 'STRAIGHT'], [20, 'SLIGHT_RIGHT'], [-45, 'SLIGHT_LEFT'],
    [60, 'RIGHT'], [-90, 'LEFT'], [119, 'RIGHT'], [120, 'SHARP_RIGHT'], [-150, 'SHARP_LEFT'],
    [170, 'U_TURN'], [-180, 'U_TURN'],
  ];
  for (const [angle, mode] of table) assert.equal(classifyTurn(angle), TurnMode[mode], `${angle} degrees`);
});

test('a route: turns from its geometry, lengths, and positions along it', () => {
  const route = buildRoute(sampleOutline());
  assert.deepEqual(route.stretches.map((s) => s.turnMode),
    [TurnMode.RIGHT, TurnMode.SLIGHT_LEFT, TurnMode.SHARP_RIGHT, TurnMode.U_TURN, TurnMode.ARRIVE]);
  near(route.stretches[0].length, 400, 0.5, 'first stretch');
  near(route.length, 400 + 300 + 199.4 + 223.6 + 223.6, 1, 'whole route');
  const position = positionAt(route, 500);
  assert.equal(position.stretch.road, 'East Ave');
  near(distance(position.point, at(100, 400)), 0, 0.5, 'point after 500 m');
  near(position.bearing, 90, 0.1, 'heading on East Ave');
  // A stretch that starts away from the previous end is joined to it.
  const gap = sampleOutline();
  gap.stretches[1].points[0] = at(0, 420);
  near(buildRoute(gap).stretches[1].length, 20 + 300.7, 1, 'joined stretch');
});

test('guidance: manoeuvre, distances, roads, limits, lanes and the time left', () => {
  const route = buildRoute(sampleOutline());
  const start = guidanceAt(route, 100, 42.4);
  assert.deepEqual({ ...start, customData: undefined, naviBearing: Math.round(start.naviBearing) }, {
    naviTurnMode: TurnMode.RIGHT, segmentLeftDis: 300, currentRoadName: 'North St', nextRoadName: 'East Ave',
    intersectionView: '', viewWidth: 0, viewHeight: 0, trafficLane: 'LSR',
    cameraSpeedLimitValid: false, cameraSpeedLimit: 0, naviSpeedLimitValid: true, naviSpeedLimit: 50,
    currentSpeed: 42, naviBearing: 0, totalLeftDis: Math.round(route.length - 100),
    remainingTime: Math.round(route.stretches.reduce((sum, s, i) =>
      sum + (i === 0 ? 300 : s.length) / ((s.speedLimit * CRUISE_SHARE) / 3.6), 0)),
    customData: undefined,
  });
  const onCamera = guidanceAt(route, 450, 30);
  assert.equal(onCamera.cameraSpeedLimitValid, true);
  assert.equal(onCamera.cameraSpeedLimit, 30);
  const end = guidanceAt(route, route.length, 0);
  assert.equal(end.naviTurnMode, TurnMode.ARRIVE);
  assert.equal(end.nextRoadName, 'Goal');
  assert.deepEqual([end.segmentLeftDis, end.totalLeftDis, end.remainingTime], [0, 0, 0]);
});

test('GeoJSON and GPX give the same route; the shipped routes load; bad GeoJSON files are named with the place', () => {
  const outline = sampleOutline();
  const geojson = JSON.stringify({
    type: 'FeatureCollection', name: 'Sample', destination: { name: 'Goal' },
    features: outline.stretches.map(({ road, speedLimit, lanes, camera, points }) => ({
      type: 'Feature', properties: { road, speedLimit, lanes, camera },
      geometry: { type: 'LineString', coordinates: points.map((p) => [p.lon, p.lat]) },
    })),
  });
  const gpx = `<?xml version="1.0"?><gpx version="1.1" xmlns:navinfo="urn:x"><metadata><name>Sample</name></metadata>
    <wpt lat="0" lon="0"><name>Goal</name></wpt><trk>${outline.stretches.map(({ road, speedLimit, lanes, camera, points }) =>
    `<trkseg><extensions><navinfo:road>${road}</navinfo:road><navinfo:speedLimit>${speedLimit}</navinfo:speedLimit>` +
    `${lanes ? `<navinfo:lanes>${lanes}</navinfo:lanes>` : ''}${camera ? `<navinfo:camera>${camera}</navinfo:camera>` : ''}</extensions>` +
    `${points.map((p) => `<trkpt lon='${p.lon}' lat="${p.lat}"></trkpt>`).join('')}</trkseg>`).join('')}</trk></gpx>`;
  const normal = (s) => ({ ...s, stretches: s.stretches.map((x) => ({ lanes: '', camera: 0, ...x })) });
  assert.deepEqual(parseRouteText('a.geojson', geojson), normal(outline));
  assert.deepEqual(parseRouteText('a.gpx', gpx), normal(outline));

  const urban = buildRoute(readRouteFile('urban'));
  const highway = buildRoute(readRouteFile('highway'));
  assert.ok(urban.stretches.filter((s) => ![TurnMode.STRAIGHT, TurnMode.ARRIVE].includes(s.turnMode)).length >= 10);
  assert.ok(highway.length > 10000 && highway.stretches.some((s) => s.speedLimit >= 120));

  for (const [file, text, message] of [
    ['x.geojson', '{"type":"FeatureCollection","features":[{"type":"Feature","geometry":{"type":"Point"}}]}',
      /x\.geojson: feature 1: expected a LineString/],
    ['x.geojson', '{"type":"Feature","properties":{"lanes":"LXR"},"geometry":{"type":"LineString","coordinates":[[0,0],[0,1]]}}',
      /feature 1: lanes must be letters L, S and R/],
    ['x.geojson', '{"type":"Feature","geometry":{"type":"LineString","coordinates":[[0,0],[200,1]]}}', /position 2: not a position/],
    ['x.geojson', '{', /x\.geojson: JSON:/],
  ]) {
    assert.throws(() => parseRouteText(file, text), (error) => error.message.startsWith(`route file ${file}: `) &&
      message.test(error.message), message.source);
  }
  assert.throws(() => readRouteFile('/nonexistent/route.gpx'), /route file \/nonexistent\/route\.gpx: not found/);
});

function newSimulator(loop = false) {
  const outline = sampleOutline();
  return new Simulator({ routes: { home: outline, company: { ...outline, name: 'Other', destination: { name: 'Office' } } }, loop });
}

test('the driver keeps the limits, slows for each turn and arrives; without loop it then stops navigating', () => {
  const sim = newSimulator();
  const route = sim.route;
  let crossings = 0;
  let lastStretch = 0;
  let arrived = null;
  for (let step = 0; step < 20000 && arrived === null; step++) {
    const before = positionAt(route, sim.distance).stretch;
    const metadata = sim.tick(0.1);
    if (metadata.naviTurnMode === TurnMode.ARRIVE && metadata.totalLeftDis === 0) arrived = metadata;
    assert.ok(sim.speed <= before.speedLimit + 1e-9, `${sim.speed} km/h over the limit ${before.speedLimit}`);
    const index = positionAt(route, sim.distance).stretchIndex;
    if (index !== lastStretch) {
      const turnLimit = Math.min(turnSpeed(route.stretches[lastStretch].turnMode), route.stretches[index].speedLimit);
      assert.ok(sim.speed <= Math.max(turnLimit, 5) + 2, `${sim.speed} km/h into ${route.stretches[index].road}`);
      crossings++;
      lastStretch = index;
    }
  }
  assert.equal(crossings, route.stretches.length - 1);
  assert.ok(arrived, 'never arrived');
  assert.equal(sim.navigating, false);
  assert.equal(sim.status().status, 0);
  assert.equal(sim.tick(0.1), null);

  const looping = newSimulator(true);
  let wrapped = false;
  for (let step = 0; step < 20000 && !wrapped; step++) {
    const before = looping.distance;
    looping.tick(0.5);
    wrapped = looping.distance < before;
  }
  assert.ok(wrapped && looping.distance === 0 && looping.navigating, 'looping starts the route again');
});

test('every command and query: its answer and its effect on the published status', () => {
  const sim = newSimulator();
  const custom = () => JSON.parse(sim.status().customData);
  // [type, params, expected code, message pattern, check of the state afterwards]
  const table = [
    ['changeTheme', { theme: 1 }, SimCode.DONE, /Theme changed to DARK/, () => assert.equal(sim.status().theme, 1)],
    ['changeTheme', { theme: 1 }, SimCode.UNCHANGED, /already DARK/],
    ['changeTheme', {}, SimCode.DONE, /to LIGHT/, () => assert.equal(sim.status().theme, 0)],
    ['changeTheme', { theme: 'night' }, SimCode.INVALID_PARAMS, /Unknown theme "night"/],
    ['zoomInMap', {}, SimCode.DONE, /Zoom in to 16/, () => assert.equal(custom().zoom, 16)],
    ['zoomOutMap', {}, SimCode.DONE, /Zoom out to 15/],
    ['startMapLayer', { layer: 'traffic' }, SimCode.DONE, /traffic shown/, () => assert.deepEqual(custom().layers, ['traffic'])],
    ['startMapLayer', { layer: 'traffic' }, SimCode.UNCHANGED, /already shown/],
    ['startMapLayer', { layer: 'weather' }, SimCode.INVALID_PARAMS, /Unknown map layer "weather"/],
    ['stopMapLayer', { layer: 'traffic' }, SimCode.DONE, /hidden/, () => assert.deepEqual(custom().layers, [])],
    ['stopNavigation', {}, SimCode.DONE, /stopped on North St/, () => assert.equal(sim.status().status, 0)],
    ['stopNavigation', {}, SimCode.UNCHANGED, /not running/],
    ['startNavigation', { route: 'nowhere' }, SimCode.INVALID_PARAMS, /Unknown route "nowhere": one of home, company/],
    ['startNavigation', {}, SimCode.DONE, /started to Goal: 1\.\d km/, () => assert.equal(sim.status().status, 1)],
    ['goToCompany', {}, SimCode.DONE, /Re-planned to Office/, () => {
      assert.equal(sim.status().destLocation.name, 'Office');
      assert.equal(sim.status().routeIndex, 1);
    }],
    ['goToCompany', {}, SimCode.UNCHANGED, /Already navigating to Office/],
    ['goHome', {}, SimCode.DONE, /Re-planned to Goal/],
    ['stopUpdateNavigationStatus', {}, SimCode.DONE, /stopped/, () => assert.equal(sim.publishingStatus, false)],
    ['stopUpdateNavigationStatus', {}, SimCode.UNCHANGED, /already off/],
    ['startUpdateNavigationStatus', {}, SimCode.DONE, /resumed/, () => assert.equal(sim.publishingStatus, true)],
  ];
  for (const [type, params, code, message, check] of table) {
    const version = sim.statusVersion;
    const answer = sim.handleCommand(type, params);
    assert.equal(answer.code, code, `${type} ${JSON.stringify(params)}: ${answer.message}`);
    assert.match(answer.message, message, type);
    // A status is published exactly when something it shows changed.
    assert.equal(sim.statusVersion !== version, code === SimCode.DONE && type !== 'stopUpdateNavigationStatus', type);
    if (check) check();
  }

  const status = sim.handleQuery('navigationStatus');
  assert.equal(status.code, SimCode.DONE);
  assert.match(status.message, /Navigating to Goal on North St/);
  assert.deepEqual({ ...status.data, routes: undefined }, { status: 1, statusName: 'NAVIGATION', route: 'Sample', destination: 'Goal',
    theme: 0, themeName: 'LIGHT', zoom: 15, layers: [], publishingStatus: true, routes: undefined });
  assert.deepEqual(sim.handleQuery('navigationMetadata').data, sim.metadata());
  sim.handleCommand('stopNavigation');
  assert.equal(sim.handleQuery('navigationMetadata').code, SimCode.UNCHANGED);
});
