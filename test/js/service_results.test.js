'use strict';
// What the module sends to the client library and what it makes of the
// client's results, seen through the test-only control surface.
const test = require('node:test');
const assert = require('node:assert/strict');
const paths = require('./support/paths');
const { deferred, sleep } = require('./support/wait');
const { runScript } = require('./support/child');

const nav = paths.loadModule();
const addon = paths.loadAddon();
const controller = nav.getNavigationController();
const system = nav.getSystemNavigationController();
const BUNDLE = 'com.example.navigation';

const CALLS = {
  updateNavigationStatus: () => controller.updateNavigationStatus({}),
  updateNavigationMetadata: () => controller.updateNavigationMetadata({}),
  registerSystemNavigationListener: () => controller.registerSystemNavigationListener({
    onQueryNavigationInfo: async () => ({}), onReceiveNavigationCmd: async () => ({}) }),
  unRegisterSystemNavigationListener: () => controller.unregisterSystemNavigationListener(),
  getNavigationStatus: () => system.getNavigationStatus(BUNDLE),
  registerNavigationStatusListener: () => system.registerNavigationStatusListener({ onStatusChanged() {} }, BUNDLE),
  unRegisterNavigationStatusListener: () => system.unregisterNavigationStatusListener(BUNDLE),
  registerNavigationMetadataListener: () => system.registerNavigationMetadataListener(
    { onMetadataChanged() {} }, BUNDLE),
  unRegisterNavigationMetadataListener: () => system.unregisterNavigationMetadataListener(BUNDLE),
  queryNavigationInfo: () => system.queryNavigationInfo(BUNDLE, 'navigationStatus', {}),
  sendNavigationCmd: () => system.sendNavigationCmd(BUNDLE, 'goHome', {}),
};

test.afterEach(() => addon.clearForcedResults());
// The hooks keep the callback of the last request of each kind; a kept
// callback is an outstanding request, which keeps the process alive.
test.after(() => addon.resetCounts());

test('1005 and 1015 become coded errors on every method; other results throw nothing', () => {
  for (const [op, call] of Object.entries(CALLS)) {
    addon.forceResult(op, 1015);
    assert.throws(call, (e) => e.code === '1015' && e.message === 'Not System App', op);
    addon.forceResult(op, 1005);
    assert.throws(call, (e) => e.code === '1005' && e.message === 'No Permission', op);
    for (const result of [0, -1, 1003]) {
      addon.forceResult(op, result);
      const value = call();
      if (value instanceof Promise) value.catch(() => {});
    }
  }
});

test('the result is logged after the throw', (t) => {
  addon.captureLogs(4);
  t.after(() => addon.stopLogCapture());
  addon.forceResult('getNavigationStatus', 1015);
  assert.throws(() => system.getNavigationStatus(BUNDLE), { code: '1015' });
  const line = addon.takeLogs().find((l) => l.text === 'getNavigationStatus ret= 1015');
  assert.equal(line.func, 'JsGetNavigationStatus');
});

test('argument errors throw without a code and make no client call', () => {
  addon.resetCounts();
  const cases = [
    [() => controller.updateNavigationStatus(), 'argc > 0'],
    [() => controller.updateNavigationMetadata(), 'argc > 0'],
    [() => controller.registerSystemNavigationListener(), 'argc > 0'],
    [() => system.getNavigationStatus(), 'argCount > 0'],
    [() => system.registerNavigationStatusListener({ onStatusChanged() {} }), 'argc > ARGC_INIT1'],
    [() => system.registerNavigationMetadataListener({ onMetadataChanged() {} }), 'argc > ARGC_INIT1'],
    [() => system.unregisterNavigationStatusListener(), 'argCount > 0'],
    [() => system.unregisterNavigationMetadataListener(), 'argCount > 0'],
    [() => system.queryNavigationInfo(BUNDLE, 'navigationStatus'), 'argc > ARGC_INIT2'],
    [() => system.sendNavigationCmd(BUNDLE), 'argc > ARGC_INIT2'],
  ];
  for (const [call, condition] of cases) {
    assert.throws(call, (e) => e.code === undefined &&
      e.message === `assertion (${condition}) failed: Wrong number of arguments`, String(call));
  }
  for (const op of Object.keys(CALLS)) assert.equal(addon.callCount(op), 0, op);
});

test('the native status record: defaults, the unnamed member, and the order-dependent end of a walk', () => {
  controller.updateNavigationStatus({});
  const empty = addon.lastStatus();
  assert.equal(empty.updateTime, 0);
  assert.deepEqual(empty.passPoint, []);
  assert.throws(() => controller.updateNavigationStatus({ naviType: 2, status: 'x', theme: 1 }));
  assert.deepEqual([addon.lastStatus().naviType, addon.lastStatus().theme], [2, 0]);
});

test('the native metadata record: text vectors with widened bytes and a terminating element', () => {
  controller.updateNavigationMetadata({ trafficLane: 'é', intersectionView: 'abc', naviTurnMode: 65537 });
  const m = addon.lastMetadata();
  assert.deepEqual(m.trafficLane, [0xFFC3, 0xFFA9, 0]);
  assert.deepEqual(m.intersectionView, [0x61, 0x62, 0x63, 0]);
  assert.equal(m.naviTurnMode, 1);
  controller.updateNavigationMetadata({ intersectionView: '' });
  assert.deepEqual(addon.lastMetadata().intersectionView, [0]);
  assert.deepEqual(addon.lastMetadata().trafficLane, []);
  controller.updateNavigationMetadata({ trafficLane: 'L'.repeat(10000), currentRoadName: 'R'.repeat(10000) });
  assert.equal(addon.lastMetadata().trafficLane.length, 10001);
  assert.equal(addon.lastMetadata().currentRoadName.length, 255);
});

test('kind names become kinds; unknown names are sent as the value past the last kind', () => {
  const cases = [
    ['queryNavigationInfo', 'navigationMetadata', 1], ['queryNavigationInfo', 'NavigationStatus', 2],
    ['queryNavigationInfo', '', 2], ['sendNavigationCmd', 'changeTheme', 8], ['sendNavigationCmd', 'GoHome', 11],
    ['sendNavigationCmd', 'goHome ', 11], ['sendNavigationCmd', 'startMap', 11], ['sendNavigationCmd', 'startMapLayer', 4],
    // A name or bundle name that is not a string is reported; the parameters are still read.
    ['queryNavigationInfo', 5, 2], ['sendNavigationCmd', null, 11], ['queryNavigationInfo', 'navigationStatus', 0, 42],
  ];
  for (const [op, name, type, bundle = BUNDLE] of cases) {
    addon.forceResult(op, 0);
    const call = () => system[op](bundle, name, { theme: 1 });
    if (typeof name === 'string' && typeof bundle === 'string') call();
    else assert.throws(call, { message: 'A string was expected' });
    assert.deepEqual(addon.lastRequest(op), { bundleName: typeof bundle === 'string' ? bundle : '', type,
      params: { theme: 1 } }, `${op} ${name}`);
  }
});

test('a bundle name that is not a string is reported, and the client is asked with an empty name', () => {
  assert.throws(() => system.getNavigationStatus(42), { message: 'A string was expected' });
  assert.equal(addon.lastRequest('getNavigationStatus').bundleName, '');
});

test('a change the client still reports to an older listener object reaches the newest function', async () => {
  const got = deferred('delivery through the older listener object');
  system.registerNavigationStatusListener({ onStatusChanged: () => got.reject(new Error('old function')) },
    'com.first');
  system.registerNavigationStatusListener({ onStatusChanged: (b, s) => got.resolve([b, s.status]) }, 'com.second');
  system.unregisterNavigationStatusListener('com.second');
  assert.equal(addon.fireStatusChanged('com.first', { status: 3 }), 1);
  assert.deepEqual(await got.promise, ['com.first', 3]);
  system.unregisterNavigationStatusListener('com.first');
});

test('a refused registration still replaces the functions that answer', async () => {
  controller.registerSystemNavigationListener({
    onQueryNavigationInfo: async () => ({ code: 1, message: 'accepted listener' }),
    onReceiveNavigationCmd: async () => ({ code: 1, message: 'accepted listener' }),
  });
  addon.forceResult('registerSystemNavigationListener', 1015);
  assert.throws(() => controller.registerSystemNavigationListener({
    onQueryNavigationInfo: async (type, params) => ({ code: 9, message: type, data: params }),
    onReceiveNavigationCmd: async (type) => ({ code: 10, message: type }),
  }), { code: '1015' });
  addon.clearForcedResults();
  const command = addon.fireCommand(11, { a: 1 });
  const query = addon.fireQuery(1, { b: 2 });
  assert.ok(command >= 0 && query >= 0);
  let answers = [];
  for (let i = 0; i < 200 && answers.length < 2; i++) {
    await sleep(10);
    answers = answers.concat(addon.takeAnswers());
  }
  answers.sort((x, y) => x.id - y.id);
  assert.deepEqual(answers, [
    { id: command, code: 10, message: '', data: {} },
    { id: query, code: 9, message: 'navigationMetadata', data: { b: 2 } },
  ]);
  controller.unregisterSystemNavigationListener();
});

test('a second answer to the same request never settles the promise again', async () => {
  addon.forceResult('queryNavigationInfo', 0);
  const promise = system.queryNavigationInfo(BUNDLE, 'navigationStatus', {});
  assert.equal(addon.callLastCallbackTwice('queryNavigationInfo', { code: 1, message: 'first' },
    { code: 2, message: 'second' }), true);
  assert.deepEqual(await promise, { code: 1, message: 'first', data: {} });
});

test('an application that never loads the control surface has nothing recorded', () => {
  const result = runScript(`
    const path = require('path');
    const nav = require(process.env.NAVINFO_ROOT);
    nav.getNavigationController().updateNavigationStatus({ status: 1 });
    nav.getSystemNavigationController().getNavigationStatus('com.example.navigation');
    const addon = require(path.join(process.env.NAVINFO_BUILD_DIR, 'lib', 'navinfo_test_addon.node'));
    console.log(JSON.stringify([addon.callCount('updateNavigationStatus'), addon.lastStatus()]));
    nav.getNavigationController().updateNavigationStatus({ status: 2 });
    console.log(JSON.stringify([addon.callCount('updateNavigationStatus'), addon.lastStatus().status]));`);
  assert.equal(result.status, 0, result.stderr);
  assert.deepEqual(result.stdout.trim().split('\n').map((l) => JSON.parse(l)), [[0, null], [1, 2]]);
});
