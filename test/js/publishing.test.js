'use strict';
// Publishing status and metadata: what the parsers make of JavaScript
// objects, seen through the embedded service (read back, or delivered).
const test = require('node:test');
const assert = require('node:assert/strict');
const paths = require('./support/paths');
const { Worker } = require('node:worker_threads');
const { deferred } = require('./support/wait');

const nav = paths.loadModule();
const controller = nav.getNavigationController();
const system = nav.getSystemNavigationController();
const BUNDLE = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';

const EMPTY_LOCATION = { name: '', coordType: 0, longitude: 0, latitude: 0, altitude: 0 };
const EMPTY_STATUS = {
  status: 0, naviType: 0, destLocation: EMPTY_LOCATION, passPoint: [], routeIndex: 0, customData: '', theme: 0,
  routePreference: [],
};

// The error fn throws, or null.
function errorOf(fn) {
  try {
    fn();
    return null;
  } catch (e) {
    return e;
  }
}

function publishAndRead(status) {
  const error = errorOf(() => controller.updateNavigationStatus(status));
  return { error, read: system.getNavigationStatus(BUNDLE) };
}

async function publishMetadata(metadata) {
  const delivered = deferred('onMetadataChanged');
  system.registerNavigationMetadataListener({ onMetadataChanged: (b, m) => delivered.resolve({ b, m }) }, BUNDLE);
  const error = errorOf(() => controller.updateNavigationMetadata(metadata));
  const { b, m } = await delivered.promise;
  assert.equal(b, BUNDLE);
  return { error, metadata: m };
}

test('status: an empty object publishes a record of zeros, read back with every property', () => {
  const { error, read } = publishAndRead({});
  assert.equal(error, null);
  assert.deepEqual(read, EMPTY_STATUS);
  assert.deepEqual(Object.keys(read), Object.keys(EMPTY_STATUS));
  assert.deepEqual(Object.keys(read.destLocation), Object.keys(EMPTY_LOCATION));
});

test('status: known fields are stored, unknown ones skipped, nothing validated', () => {
  const status = {
    theme: 1, extra: 'ignored', status: 1, naviType: 3, routeIndex: -7, customData: 'payload',
    destLocation: { name: 'Office', coordType: 9, longitude: 13.4, latitude: 52.5, altitude: -1.5, floor: 3 },
    passPoint: [{ name: 'A' }, { latitude: 1.25 }, { name: 'C', coordType: 1 }],
    routePreference: [1, 5, 99],
  };
  const { error, read } = publishAndRead(status);
  assert.equal(error, null);
  assert.deepEqual(read, {
    status: 1, naviType: 3,
    destLocation: { name: 'Office', coordType: 9, longitude: 13.4, latitude: 52.5, altitude: -1.5 },
    passPoint: [{ ...EMPTY_LOCATION, name: 'A' }, { ...EMPTY_LOCATION, latitude: 1.25 },
      { ...EMPTY_LOCATION, name: 'C', coordType: 1 }],
    routeIndex: -7, customData: 'payload', theme: 1, routePreference: [1, 5, 99],
  });
});

// Names that hash as name does (same length, same first, middle and last character) but differ elsewhere:
// every other character changed, only those before the last eight, and only those from the fifth on.
function sameHashNames(name) {
  const kept = new Set([0, name.length >> 1, name.length - 1]);
  const change = (from, to) => [...name].map((c, i) => (kept.has(i) || i < from || i >= to ? c : (c === 'x' ? 'y' : 'x')))
    .join('');
  return [change(0, name.length), change(0, name.length - 8), change(4, name.length)].filter((n) => n !== name);
}

test('status: a name that only resembles a field\'s is skipped, in the record and in its locations', () => {
  const location = { name: 'x', coordType: 7, longitude: 7, latitude: 7, altitude: 7 };
  const status = { status: 7, naviType: 7, destLocation: location, passPoint: [location], routeIndex: 7,
    customData: 'x', theme: 7, routePreference: [7] };
  const nearMisses = (fields) => Object.fromEntries(Object.entries(fields).flatMap(([field, value]) =>
    [...sameHashNames(field), field.slice(0, -1), `${field}x`, field[0].toUpperCase() + field.slice(1)]
      .map((name) => [name, value])));
  const { error, read } = publishAndRead({
    ...nearMisses(status), destLocation: nearMisses(location), passPoint: [nearMisses(location)],
  });
  assert.equal(error, null);
  assert.deepEqual(read, { ...EMPTY_STATUS, passPoint: [EMPTY_LOCATION] });
});

test('status: a failed number read ends the walk, and the record is still sent', () => {
  const { error, read } = publishAndRead({ status: 'one', naviType: 2, theme: 1 });
  assert.equal(error.message, 'A number was expected');
  assert.equal(error.code, undefined);
  assert.deepEqual(read, EMPTY_STATUS);

  const later = publishAndRead({ naviType: 2, status: 'one', theme: 1 });
  assert.equal(later.error.message, 'A number was expected');
  assert.equal(later.read.naviType, 2);
  assert.equal(later.read.theme, 0);
});

test('status: bad nested values are reported without ending the outer walk', () => {
  const { error, read } = publishAndRead({
    customData: 42, destLocation: 'nowhere', passPoint: [7, { name: 'ok' }], theme: 1,
  });
  assert.ok(error instanceof Error);
  assert.equal(read.customData, '');
  assert.deepEqual(read.destLocation, EMPTY_LOCATION);
  assert.deepEqual(read.passPoint, [EMPTY_LOCATION, { ...EMPTY_LOCATION, name: 'ok' }]);
  assert.equal(read.theme, 1);
});

test('status: a non-number route preference keeps the values before it', () => {
  const { error, read } = publishAndRead({ routePreference: [2, 'x', 5], theme: 1 });
  assert.equal(error.message, 'A number was expected');
  assert.deepEqual(read.routePreference, [2]);
  assert.equal(read.theme, 1);
});

test('status: strings are cut at 255 bytes, names of any length are looked up cut', () => {
  const long = 'x'.repeat(300);
  const { read } = publishAndRead({ customData: long, destLocation: { name: 'é'.repeat(200) } });
  assert.equal(read.customData, 'x'.repeat(255));
  assert.equal(Buffer.byteLength(read.destLocation.name), 254); // 127 whole two-byte characters
  const cutName = publishAndRead({ ['s'.repeat(300)]: 1 });
  assert.equal(cutName.error, null);
});

test('status: values are looked up by the text of their names, not by their keys', () => {
  // A zero byte cuts the name: 'theme\0x' reads as "theme", which holds nothing here, so the number read fails.
  // [key, field it reads as] with the zero in a short name, in a long name's first 8 bytes and after them
  for (const [key, field] of [['theme\u0000x', 'theme'], ['theme\u0000xxxxxxxxxxxx', 'theme'],
    ['routeIndex\u0000xxxxxxx', 'routeIndex']]) {
    const cut = publishAndRead({ [key]: 4 });
    assert.equal(cut.error && cut.error.message, 'A number was expected', JSON.stringify(key));
    assert.equal(cut.read[field], 0, JSON.stringify(key));
  }
  // A lone surrogate reads as U+FFFD: the getter of that name is met for both.
  for (const [before, after] of [['', ''], ['', 'longer than eight'], ['longer than eight', ''], ['abc', 'x']]) {
    let reads = 0;
    publishAndRead({ get [`${before}\uFFFD${after}`]() { reads++; return 1; }, [`${before}\uD800${after}`]: 1 });
    assert.equal(reads, 2, JSON.stringify([before, after]));
  }
});

test('status: listing its properties runs no script function, whatever a script replaced', async () => {
  // [what the script replaced before loading the module, the record it publishes, fields read back]
  const rows = [
    // a reversed listing would meet "theme" before the failing "status"
    ['Object.keys = (object) => keys(object).reverse();', { status: 'x', theme: 1 }, { theme: 0 }],
    // a listing that hides naviType and claims to be native code
    [`Object.keys = function keys(object) { calls++; return keys0(object).filter((k) => k !== 'naviType'); };
      Function.prototype.toString = function () { calls++; return 'function keys() { [native code] }'; };`,
    { status: 1, naviType: 2 }, { status: 1, naviType: 2 }],
  ];
  for (const [replace, status, expected] of rows) {
    const worker = new Worker(`
      const { parentPort, workerData } = require('node:worker_threads');
      const keys = Object.keys;
      const keys0 = Object.keys;
      let calls = 0;
      ${replace}
      const nav = require(workerData.root);
      try { nav.getNavigationController().updateNavigationStatus(workerData.status); } catch {}
      const read = nav.getSystemNavigationController().getNavigationStatus(workerData.bundle);
      parentPort.postMessage({ status: read.status, naviType: read.naviType, theme: read.theme, calls });`,
    { eval: true, workerData: { root: paths.root, bundle: BUNDLE, status } });
    const read = await new Promise((resolve, reject) => { worker.once('message', resolve); worker.once('error', reject); });
    for (const [field, value] of Object.entries(expected)) assert.equal(read[field], value, `${replace}: ${field}`);
    assert.equal(read.calls, 0, replace);
  }
});

test('metadata: fields, the 16-bit turn mode, text vectors and flags come back as published', async () => {
  const { error, metadata } = await publishMetadata({
    naviTurnMode: 70000, segmentLeftDis: 4294967295, currentRoadName: 'A1', nextRoadName: 'B2',
    intersectionView: 'abc', viewWidth: 640, viewHeight: 480, trafficLane: 'é', cameraSpeedLimitValid: true,
    cameraSpeedLimit: 80, naviSpeedLimitValid: false, naviSpeedLimit: 100, currentSpeed: 77, naviBearing: 12.5,
    totalLeftDis: 9000, remainingTime: 600, customData: { lane: 2, tags: ['a', 'b'] }, unknown: 1,
  });
  assert.equal(error, null);
  assert.deepEqual(metadata, {
    naviTurnMode: 4464, segmentLeftDis: 4294967295, currentRoadName: 'A1', nextRoadName: 'B2',
    intersectionView: 'abc', viewWidth: 640, viewHeight: 480, trafficLane: 'é', cameraSpeedLimitValid: true,
    cameraSpeedLimit: 80, naviSpeedLimitValid: false, naviSpeedLimit: 100, currentSpeed: 77, naviBearing: 12.5,
    totalLeftDis: 9000, remainingTime: 600, customData: { lane: 2, tags: ['a', 'b'] },
  });
});

test('metadata: a name that only resembles a field\'s is skipped', async () => {
  const { metadata: empty } = await publishMetadata({});
  // Each field's name cut by one character, grown by one, with its last one changed and with its first
  // one in capitals, each holding a value the field would take.
  const takes = (field) => ({ string: 'x', boolean: true, number: 7, object: { a: 1 } }[typeof empty[field]]);
  const nearMisses = {};
  for (const field of Object.keys(empty)) {
    for (const name of [field.slice(0, -1), `${field}x`, `${field.slice(0, -1)}_`,
      field[0].toUpperCase() + field.slice(1)]) {
      nearMisses[name] = takes(field);
    }
  }
  for (const name of ['', 'n', 'navi', 'naviS', 'cameraS', 'view', 'viewX', 't', 'current', 'c']) nearMisses[name] = 7;
  const { error, metadata } = await publishMetadata(nearMisses);
  assert.equal(error, null);
  assert.deepEqual(metadata, empty);
});

test('metadata: a failed read is reported, the field keeps its value, and the walk goes on', async () => {
  const failedReads = [[{ cameraSpeedLimitValid: 3 }, 'A boolean was expected'],
    [{ segmentLeftDis: 'x' }, 'A number was expected'], [{ currentRoadName: 5 }, 'A string was expected'],
    [{ trafficLane: 5 }, 'A string was expected'], [{ naviTurnMode: 'x' }, 'A number was expected'],
    [{ naviBearing: 'x', nextRoadName: null, viewHeight: 'high' }, 'A number was expected']];
  for (const [bad, message] of failedReads) {
    const { error, metadata } = await publishMetadata({ ...bad, viewWidth: 640, customData: { a: 1 } });
    assert.equal(error.message, message);
    for (const key of Object.keys(bad)) assert.ok(!metadata[key], key);
    assert.deepEqual([metadata.viewWidth, metadata.customData], [640, { a: 1 }], JSON.stringify(bad));
  }
});

test('a value that is not an object is refused where an object is walked', async () => {
  const statuses = [
    [{ passPoint: 'abc', theme: 1 }, { ...EMPTY_STATUS, theme: 1 }],
    [{ passPoint: [7, 'ab', { name: 'ok' }] }, { ...EMPTY_STATUS,
      passPoint: [EMPTY_LOCATION, EMPTY_LOCATION, { ...EMPTY_LOCATION, name: 'ok' }] }],
    [{ destLocation: 5, theme: 1 }, { ...EMPTY_STATUS, theme: 1 }],
    [{ routePreference: 5, theme: 1 }, { ...EMPTY_STATUS, theme: 1 }],
    ['abc', EMPTY_STATUS], [true, EMPTY_STATUS], [null, EMPTY_STATUS], [undefined, EMPTY_STATUS],
  ];
  for (const [status, expected] of statuses) {
    const { error, read } = publishAndRead(status);
    assert.equal(error && error.message, 'An object was expected', JSON.stringify(status));
    assert.deepEqual(read, expected, JSON.stringify(status));
  }
  for (const given of ['abc', 5, null]) {
    const { error, metadata } = await publishMetadata(given);
    assert.equal(error && error.message, 'An object was expected', String(given));
    assert.deepEqual(metadata.customData, {});
  }
});

test('metadata: text vectors stop at an embedded NUL', async () => {
  const { metadata } = await publishMetadata({ intersectionView: 'A\u0000B', trafficLane: '' });
  assert.equal(metadata.intersectionView, 'A');
  assert.equal(metadata.trafficLane, '');
});

test('hostile inputs do not crash the process', () => {
  const cyclic = { status: 1 };
  cyclic.destLocation = cyclic;
  const throwing = { get status() { throw new Error('getter'); } };
  const sparse = [];
  sparse[1000000] = { name: 'far' };
  const inputs = [null, undefined, 5, 'text', Symbol('s'), () => 1, cyclic, throwing,
    { passPoint: sparse }, { routePreference: new Array(100000).fill(1) }, new Proxy({}, {})];
  for (const input of inputs) {
    try { controller.updateNavigationStatus(input); } catch (e) { assert.ok(e instanceof Error); }
    try { controller.updateNavigationMetadata(input); } catch (e) { assert.ok(e instanceof Error); }
  }
  assert.throws(() => controller.updateNavigationStatus(throwing), /getter/);
});
