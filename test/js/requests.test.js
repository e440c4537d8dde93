'use strict';
// Queries and commands from end to end, through the embedded service.
const test = require('node:test');
const assert = require('node:assert/strict');
const paths = require('./support/paths');
const { deferred, sleep } = require('./support/wait');
const { runScript } = require('./support/child');

const nav = paths.loadModule();
const controller = nav.getNavigationController();
const system = nav.getSystemNavigationController();
const { QueryType, CommandType } = nav;
const BUNDLE = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';

function listen(onQueryNavigationInfo, onReceiveNavigationCmd = onQueryNavigationInfo) {
  controller.registerSystemNavigationListener({ onQueryNavigationInfo, onReceiveNavigationCmd });
}

test('a query reaches the navigation role with the kind name and parameters; its answer resolves', async () => {
  const seen = [];
  listen(function (type, params) {
    'use strict';
    seen.push({ self: this, type, params });
    return Promise.resolve({ code: 7, message: '', data: {} });
  });
  const answer = await system.queryNavigationInfo(BUNDLE, QueryType.NAVIGATION_METADATA, { zoom: 3, tag: 'x' });
  assert.deepEqual(answer, { code: 7, message: '', data: {} });
  assert.deepEqual(Object.keys(answer), ['code', 'message', 'data']);
  assert.deepEqual(seen, [{ self: undefined, type: 'navigationMetadata', params: { zoom: 3, tag: 'x' } }]);
});

test('a command passes its kind name; a non-zero code still resolves', async () => {
  listen(async (type, params) => ({ code: 1005, message: `refused ${type}`, data: { theme: params.theme } }));
  assert.deepEqual(await system.sendNavigationCmd(BUNDLE, CommandType.CHANGE_THEME, { theme: 1 }),
    { code: 1005, message: 'refused changeTheme', data: { theme: 1 } });
});

test('many outstanding requests each resolve with their own answer', async () => {
  listen(async (type, params) => {
    await sleep(params.id % 7);
    return { code: params.id, message: type, data: { id: params.id } };
  });
  const ids = Array.from({ length: 200 }, (_, i) => i);
  const answers = await Promise.all(ids.map((id) => (id % 2
    ? system.queryNavigationInfo(BUNDLE, QueryType.NAVIGATION_STATUS, { id })
    : system.sendNavigationCmd(BUNDLE, CommandType.ZOOM_IN_MAP, { id }))));
  answers.forEach((answer, id) => assert.deepEqual(answer,
    { code: id, message: id % 2 ? 'navigationStatus' : 'zoomInMap', data: { id } }));
});

test("the newest listener's answer is read leniently: extra names, long messages, odd values", async () => {
  const answers = [
    [{ code: 3, message: 'm'.repeat(300), data: { a: 1 }, extra: true }, { code: 3, message: 'm'.repeat(255), data: { a: 1 } }],
    [undefined, { code: 0, message: '', data: {} }],
    [{ message: 'only' }, { code: 0, message: 'only', data: {} }],
    [{ message: 'first', code: 'x', data: { lost: 1 } }, { code: 0, message: 'first', data: {} }],
    [{ code: 7, message: 42, data: { x: 1 } }, { code: 7, message: '', data: { x: 1 } }],
  ];
  for (const [given, expected] of answers) {
    listen(async () => given);
    assert.deepEqual(await system.queryNavigationInfo(BUNDLE, QueryType.NAVIGATION_STATUS, {}), expected);
  }
});

test('requests the service refuses are settled by the module with the result', async () => {
  listen(async () => ({ code: 0 }));
  assert.deepEqual(await system.queryNavigationInfo('com.example.absent', QueryType.NAVIGATION_STATUS, {}),
    { code: 1003, message: 'Not found', data: {} });
  assert.deepEqual(await system.sendNavigationCmd(BUNDLE, 'GoHome', {}),
    { code: 1001, message: 'Invalid argument', data: {} });
  assert.deepEqual(await system.queryNavigationInfo('', QueryType.NAVIGATION_STATUS, {}),
    { code: 1001, message: 'Invalid argument', data: {} });
});

test('a listener that goes away answers its outstanding requests with 1003', async () => {
  const asked = deferred('query delivered');
  listen(() => { asked.resolve(); return new Promise(() => {}); });
  const pending = system.queryNavigationInfo(BUNDLE, QueryType.NAVIGATION_STATUS, {});
  await asked.promise;
  controller.unregisterSystemNavigationListener();
  assert.deepEqual(await pending, { code: 1003, message: 'Not found', data: {} });
});

test('whatever a listener returns: an answer or the time-out, and only its own failures are uncaught', () => {
  const result = runScript(`
    const nav = require(process.env.NAVINFO_ROOT);
    const bundle = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';
    const ctl = nav.getNavigationController();
    const sys = nav.getSystemNavigationController();
    const uncaught = [];
    process.on('uncaughtException', (e) => uncaught.push(e.message));
    const catchThrows = () => Object.defineProperty(Promise.resolve(), 'catch', { get() { throw new Error('c'); } });
    const behaviours = {
      throws() { throw new Error('sync'); },
      rejects: async () => { throw new Error('async'); },
      plain: () => ({ code: 1 }),
      never: () => new Promise(() => {}),
      thenable: () => ({ then(resolve) { resolve({ code: 9 }); } }),
      thenGivesPrimitive: () => ({ then(resolve) { resolve({ code: 10 }); return 5; } }),
      thenGivesRejected: () => ({ then(resolve) { resolve({ code: 11 }); return Promise.reject(new Error('r')); } }),
      thenGivesCatchThatThrows: () => ({ then(resolve) { resolve({ code: 12 }); return catchThrows(); } }),
      unreadableAnswer: async () => ({ code: 'x' }),
      // the answer's then is read once, when the async function's promise resolves; a second read throws
      secondThenReadThrows: async () => {
        let reads = 0;
        return { code: 13, get then() { if (++reads > 1) throw new Error('second then read'); return undefined; } };
      },
      undefinedAnswer: () => undefined,
      nullAnswer: () => null,
    };
    (async () => {
      for (const [name, fn] of Object.entries(behaviours)) {
        ctl.registerSystemNavigationListener({ onQueryNavigationInfo: fn, onReceiveNavigationCmd: fn });
        const answer = await sys.queryNavigationInfo(bundle, nav.QueryType.NAVIGATION_STATUS, {});
        console.log(name + ':' + answer.code);
      }
      ctl.unregisterSystemNavigationListener();
      console.log('uncaught:' + JSON.stringify(uncaught));
    })();`, { env: { NAVINFO_REQUEST_TIMEOUT_MS: '200' } });
  assert.equal(result.status, 0, result.stderr);
  assert.deepEqual(result.stdout.trim().split('\n'), ['throws:1004', 'rejects:1004', 'plain:1004', 'never:1004',
    'thenable:9', 'thenGivesPrimitive:10', 'thenGivesRejected:11', 'thenGivesCatchThatThrows:12',
    'unreadableAnswer:0', 'secondThenReadThrows:13', 'undefinedAnswer:1004', 'nullAnswer:1004',
    'uncaught:["sync","Invalid argument","Invalid argument","Invalid argument"]']);
});

test('a script with nothing outstanding exits by itself', () => {
  const result = runScript(`
    const nav = require(process.env.NAVINFO_ROOT);
    nav.getNavigationController().registerSystemNavigationListener({
      onQueryNavigationInfo: async () => ({}), onReceiveNavigationCmd: async () => ({}) });
    nav.getSystemNavigationController().registerNavigationStatusListener({ onStatusChanged() {} }, 'x');
    console.log('end of script');`, { timeoutMs: 10000 });
  assert.equal(result.timedOut, false);
  assert.equal(result.status, 0, result.stderr);
  assert.match(result.stdout, /end of script/);
});
