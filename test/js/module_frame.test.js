'use strict';
// The export object, its attributes, the enumerations and the per-thread
// controller instances.
const test = require('node:test');
const assert = require('node:assert/strict');
const { execFileSync } = require('node:child_process');
const paths = require('./support/paths');

const nav = paths.loadModule();

const FACTORIES = ['getNavigationController', 'getSystemNavigationController'];
const ENUMS = ['LocationCoordType', 'MapStatus', 'NaviType', 'ThemeType', 'QueryType', 'CommandType',
  'RoutePreference'];

test('export object: nine fixed properties, then the two classes, in that order', () => {
  assert.deepEqual(Object.getOwnPropertyNames(nav),
    [...FACTORIES, ...ENUMS, 'NavigationController', 'SystemNavigationController']);
  for (const name of FACTORIES) {
    const d = Object.getOwnPropertyDescriptor(nav, name);
    assert.equal(typeof d.value, 'function');
    assert.deepEqual([d.writable, d.enumerable, d.configurable], [false, false, false], name);
  }
  for (const name of ENUMS) {
    const d = Object.getOwnPropertyDescriptor(nav, name);
    assert.equal(typeof d.get, 'function', name);
    assert.equal(d.set, undefined);
    assert.deepEqual([d.enumerable, d.configurable], [false, false], name);
  }
  for (const name of ['NavigationController', 'SystemNavigationController']) {
    const d = Object.getOwnPropertyDescriptor(nav, name);
    assert.equal(d.value.name, name);
    assert.equal(d.enumerable, true);
  }
  assert.deepEqual(Object.keys(nav), ['NavigationController', 'SystemNavigationController']);
});

test('fixed exports cannot be replaced', () => {
  const original = nav.getNavigationController;
  assert.equal(Reflect.set(nav, 'getNavigationController', () => 1), false);
  assert.equal(Reflect.set(nav, 'MapStatus', {}), false);
  assert.throws(() => { nav.MapStatus = 1; }, TypeError);
  assert.equal(nav.getNavigationController, original);
  assert.equal(nav.MapStatus.IDLE, 0);
  assert.equal(Reflect.deleteProperty(nav, 'QueryType'), false);
});

test('enumerations: members and values in order; the kinds carry their names', () => {
  const entries = Object.fromEntries(ENUMS.map((name) => [name, Object.entries(nav[name])]));
  assert.deepEqual(entries, {
    LocationCoordType: [['GCJ02', 0], ['WGS84', 1]],
    MapStatus: [['IDLE', 0], ['NAVIGATION', 1], ['CRUISE', 2], ['POI', 3], ['ROUTE', 4], ['UNAVAILABLE', 5]],
    NaviType: [['DRIVING', 0], ['MOTORCYCLE', 1], ['CYCLING', 2], ['WALKING', 3]],
    ThemeType: [['LIGHT', 0], ['DARK', 1]],
    QueryType: [['NAVIGATION_STATUS', 'navigationStatus'], ['NAVIGATION_METADATA', 'navigationMetadata']],
    CommandType: [
      ['START_NAVIGATION', 'startNavigation'], ['STOP_NAVIGATION', 'stopNavigation'], ['GO_HOME', 'goHome'],
      ['GO_TO_COMPANY', 'goToCompany'], ['START_MAP_LAYER', 'startMapLayer'], ['STOP_MAP_LAYER', 'stopMapLayer'],
      ['ZOOM_IN_MAP', 'zoomInMap'], ['ZOOM_OUT_MAP', 'zoomOutMap'], ['CHANGE_THEME', 'changeTheme'],
      ['START_UPDATE_NAVIGATION_STATUS', 'startUpdateNavigationStatus'],
      ['STOP_UPDATE_NAVIGATION_STATUS', 'stopUpdateNavigationStatus']],
    RoutePreference: [['INTELLIGENT_RECOMMENDATION', 0], ['HIGHWAY_FIRST', 1], ['AVOID_HIGHWAY', 2],
      ['AVOID_CONGESTION', 3], ['LESS_CHARGE', 4], ['MAIN_ROAD_FIRST', 5], ['TIME_FIRST', 6]],
  });
});

test('every enumeration read makes a new, ordinary object', () => {
  for (const name of ENUMS) {
    const first = nav[name];
    const second = nav[name];
    assert.notEqual(first, second, name);
    assert.deepEqual(first, second, name);
    const key = Object.keys(first)[0];
    first[key] = 'changed';
    assert.notEqual(nav[name][key], 'changed', name);
    const d = Object.getOwnPropertyDescriptor(first, key);
    assert.deepEqual([d.writable, d.enumerable, d.configurable], [true, true, true]);
  }
});

test('one controller of each kind per thread; arguments are ignored', () => {
  const controller = nav.getNavigationController();
  assert.equal(nav.getNavigationController(1, 2), controller);
  assert.ok(controller instanceof nav.NavigationController);
  const system = nav.getSystemNavigationController('x');
  assert.equal(nav.getSystemNavigationController(), system);
  assert.ok(system instanceof nav.SystemNavigationController);
  assert.notEqual(new nav.NavigationController(), controller);
  assert.notEqual(new nav.SystemNavigationController(), system);
});

test('class shape: methods in order, then the constructor, each with its name and attributes', () => {
  const shapes = {
    NavigationController: ['updateNavigationStatus', 'updateNavigationMetadata', 'registerSystemNavigationListener',
      'unregisterSystemNavigationListener'],
    SystemNavigationController: ['getNavigationStatus', 'registerNavigationStatusListener',
      'unregisterNavigationStatusListener', 'registerNavigationMetadataListener',
      'unregisterNavigationMetadataListener', 'queryNavigationInfo', 'sendNavigationCmd'],
  };
  for (const [className, methods] of Object.entries(shapes)) {
    const prototype = nav[className].prototype;
    assert.deepEqual(Reflect.ownKeys(prototype), [...methods, 'constructor']);
    for (const name of methods) {
      const d = Object.getOwnPropertyDescriptor(prototype, name);
      assert.deepEqual([d.value.name, d.value.length, d.writable, d.enumerable, d.configurable],
        [name, 0, false, false, false]);
    }
    const d = Object.getOwnPropertyDescriptor(prototype, 'constructor');
    assert.deepEqual([d.value, d.writable, d.enumerable, d.configurable], [nav[className], true, false, true]);
  }
});

test('methods work the same with another this: an object, null, a number, or taken off their object', async () => {
  const controller = nav.getNavigationController();
  const system = nav.getSystemNavigationController();
  const bundle = 'com.example.navigation';
  const listener = { onQueryNavigationInfo: async () => ({ code: 4 }), onReceiveNavigationCmd: async () => ({ code: 5 }) };
  const calls = [
    [controller.updateNavigationStatus, { status: 3 }], [controller.updateNavigationMetadata, {}],
    [controller.registerSystemNavigationListener, listener], [system.getNavigationStatus, bundle],
    [system.queryNavigationInfo, bundle, 'navigationStatus', {}], [system.sendNavigationCmd, bundle, 'goHome', {}],
    [system.registerNavigationStatusListener, { onStatusChanged() {} }, bundle],
    [system.unregisterNavigationStatusListener, bundle],
    [system.registerNavigationMetadataListener, { onMetadataChanged() {} }, bundle],
    [system.unregisterNavigationMetadataListener, bundle],
  ];
  for (const receiver of [{}, null, 42, undefined]) {
    const results = calls.map(([method, ...args]) => method.apply(receiver, args));
    assert.equal(results[3].status, 3);
    assert.deepEqual(await Promise.all([results[4], results[5]]),
      [{ code: 4, message: '', data: {} }, { code: 5, message: '', data: {} }]);
    results.push(controller.unregisterSystemNavigationListener.call(receiver));
    assert.deepEqual(results.filter((r, i) => i < 3 || i > 5), Array(8).fill(undefined));
  }
});

test('the library exports no symbol of its own', () => {
  const defined = execFileSync('nm', ['-D', '--defined-only', paths.modulePath], { encoding: 'utf8' });
  assert.equal(defined.trim(), '');
});
