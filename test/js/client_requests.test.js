'use strict';
// The client API's serving, requesting and strict publishing, through the
// embedded service.
const test = require('node:test');
const assert = require('node:assert/strict');
const api = require('navigation-info-mgr/client');
const paths = require('./support/paths');
const { deferred } = require('./support/wait');

const addon = paths.loadAddon();
const BUNDLE = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';

function openClient(t, options) {
  const client = api.createClient(options);
  t.after(() => client.close());
  return client;
}

// The promise's outcome: { answer } or { error }.
const outcome = (promise) => promise.then((answer) => ({ answer }), (error) => ({ error }));

test('handlers answer sync or async; failures are answered at once and reported in the serving process', async (t) => {
  const client = openClient(t);
  class Queries {
    constructor() { this.prefix = 'status of'; }
    navigationStatus({ params }) { return { code: 7, message: `${this.prefix} ${params.of}`, data: { n: 1n } }; }
  }
  const fail = new Error('broken');
  const commands = {
    goHome: () => undefined,
    goToCompany: async ({ type, params }) => ({ data: { type, zoom: params.zoom } }),
    startNavigation() { throw fail; },
    stopNavigation: async () => { throw fail; },
    zoomInMap: () => ({ code: 'x' }),
    zoomOutMap: async () => ({ message: 'm'.repeat(256) }),
    changeTheme: () => ({ data: { f: () => 1 } }),
    startMapLayer: () => ({ code: 0, extra: 1 }),
  };
  const server = client.serve({ queries: new Queries(), commands });
  const reported = [];
  server.on('handlerError', (error, request) => reported.push([request.type, error.code ?? error.message]));
  // Requests are answered well before the 5 s time-out of the call.
  const ask = (kind, type, params = {}) => outcome(client[kind](BUNDLE, type, params, { timeout: 5000 }));
  const failed = { code: 'ERR_NAVINFO_HANDLER_FAILED', result: 1100 };
  const table = [
    ['query', 'navigationStatus', { of: 'map' }, { code: 7, message: 'status of map', data: { n: 1 } }],
    ['query', 'navigationMetadata', {}, { code: 'ERR_NAVINFO_NOT_SUPPORTED', result: 1101 }],
    ['command', 'goHome', {}, { code: 0, message: '', data: {} }],
    ['command', 'goToCompany', { zoom: 3 }, { code: 0, message: '', data: { type: 'goToCompany', zoom: 3 } }],
    ['command', 'startNavigation', {}, failed, 'broken'],
    ['command', 'stopNavigation', {}, failed, 'broken'],
    ['command', 'zoomInMap', {}, failed, 'ERR_INVALID_RETURN_VALUE'],
    ['command', 'zoomOutMap', {}, failed, 'ERR_INVALID_RETURN_VALUE'],
    ['command', 'changeTheme', {}, failed, 'ERR_INVALID_RETURN_VALUE'],
    ['command', 'startMapLayer', {}, failed, 'ERR_INVALID_RETURN_VALUE'],
  ];
  for (const [kind, type, params, expected] of table) {
    const { answer, error } = await ask(kind, type, params);
    assert.deepEqual(answer ?? { code: error.code, result: error.result }, expected, type);
  }
  assert.deepEqual(reported, table.filter((row) => row[4]).map((row) => [row[1], row[4]]));
  assert.throws(() => client.serve(() => {}), { code: 'ERR_NAVINFO_ALREADY_SERVING' });
  assert.throws(() => api.createClient().serve({ queries: { navigationstatus() {} } }), { code: 'ERR_INVALID_ARG_VALUE' });
  server.close();
  assert.equal((await ask('query', 'navigationStatus')).error.code, 'ERR_NAVINFO_NOT_FOUND');
});

test('one handler for everything is called with the server as this; a failing handler without a listener warns', async (t) => {
  const client = openClient(t);
  const calls = [];
  const server = client.serve(function (request) {
    calls.push([this === server, request.kind, request.type]);
    if (request.kind === 'command') throw new Error('no commands');
  });
  const warned = deferred('warning');
  process.once('warning', (w) => warned.resolve(w));
  assert.deepEqual(await client.query(BUNDLE, 'navigationMetadata'), { code: 0, message: '', data: {} });
  assert.equal((await outcome(client.command(BUNDLE, 'goHome'))).error.code, 'ERR_NAVINFO_HANDLER_FAILED');
  const warning = await warned.promise;
  assert.equal(warning.name, 'NavInfoHandlerWarning');
  assert.match(warning.message, /command "goHome" failed: Error: no commands/);
  assert.deepEqual(calls, [[true, 'query', 'navigationMetadata'], [true, 'command', 'goHome']]);
});

test('requests reject, never throw: time-outs, abort, close, refusals, answers of the service and bad arguments', async (t) => {
  const client = openClient(t);
  const late = deferred('a handler that answers late', 10000);
  let onRequest = () => {};
  const holding = () => { onRequest(); return late.promise; };
  let server = client.serve(holding);
  t.after(() => { late.resolve({ code: 1 }); addon.clearForcedResults(); addon.setRequestTimeoutMs(10000); });
  const send = (...args) => {
    let promise;
    assert.doesNotThrow(() => { promise = client.query(...args); });
    return outcome(promise);
  };
  const aborted = new AbortController();
  const abortLater = send(BUNDLE, 'navigationStatus', {}, { signal: aborted.signal });
  const closing = api.createClient();
  const closed = outcome(closing.command(BUNDLE, 'goHome'));
  aborted.abort();
  closing.close();
  addon.resetCounts();
  const cases = [
    [send(BUNDLE, 'navigationStatus', {}, { timeout: 100 }), 'NavInfoError', 'ERR_NAVINFO_TIMEOUT', 1004],
    [abortLater, 'AbortError', 'ABORT_ERR'],
    [closed, 'NavInfoError', 'ERR_NAVINFO_CLIENT_CLOSED'],
    [send(BUNDLE, 'navigationStatus', {}, { signal: AbortSignal.abort() }), 'AbortError', 'ABORT_ERR'],
    [send('com.example.absent', 'navigationStatus'), 'NavInfoError', 'ERR_NAVINFO_NOT_FOUND', 1003],
    [send(42, 'navigationStatus'), 'TypeError', 'ERR_INVALID_ARG_TYPE'],
    [send(BUNDLE, 'goHome'), 'TypeError', 'ERR_INVALID_ARG_VALUE'],
    [send(BUNDLE, 'navigationStatus', { at: new Date() }), 'TypeError', 'ERR_INVALID_ARG_TYPE'],
    [send(BUNDLE, 'navigationStatus', {}, { timeout: 0 }), 'RangeError', 'ERR_OUT_OF_RANGE'],
  ];
  for (const [result, name, code, forced] of [[1005, 'NavInfoError', 'ERR_NAVINFO_NO_PERMISSION', 1005],
    [1015, 'NavInfoError', 'ERR_NAVINFO_NOT_SYSTEM_APP', 1015], [1006, 'NavInfoError', 'ERR_NAVINFO_TOO_MANY_REQUESTS', 1006]]) {
    addon.forceResult('queryNavigationInfo', result);
    cases.push([send(BUNDLE, 'navigationMetadata'), name, code, forced]);
  }
  addon.clearForcedResults();
  // Answers the service makes after accepting a request, well within `timeout`:
  // each row runs once the rows before it are settled.
  const heldThen = (act) => async () => {
    const atHandler = deferred('the request at the handler');
    onRequest = atHandler.resolve;
    const result = send(BUNDLE, 'navigationStatus', {}, { timeout: 5000 });
    await atHandler.promise;
    act();
    return result;
  };
  cases.push(
    [heldThen(() => server.close()), 'NavInfoError', 'ERR_NAVINFO_NOT_FOUND', 1003],
    [async () => {
      server = client.serve(holding);
      addon.setRequestTimeoutMs(50);
      return heldThen(() => {})();
    }, 'NavInfoError', 'ERR_NAVINFO_TIMEOUT', 1004],
  );
  for (const [row, name, code, result] of cases) {
    const { answer, error } = await (typeof row === 'function' ? row() : row);
    assert.ok(error, `rejects, not resolves with ${JSON.stringify(answer)}`);
    assert.deepEqual([error.name, error.code, error.result], [name, code, result], error.message);
  }
  // Aborted before sending and bad arguments: nothing reached the client. The late answers are dropped.
  assert.equal(addon.callCount('queryNavigationInfo'), 7);
  late.resolve({ code: 1 });
});

test('publishing is strict by default: a bad record is refused, naming the field, and nothing is sent', (t) => {
  const client = openClient(t);
  const bad = [
    ['status', { status: 'nav' }, TypeError, 'ERR_INVALID_ARG_TYPE', 'status.status'],
    ['status', { status: 9 }, RangeError, 'ERR_OUT_OF_RANGE', 'status.status'],
    ['status', { routeIndex: 1.5 }, RangeError, 'ERR_OUT_OF_RANGE', 'status.routeIndex'],
    ['status', { destLocation: { name: 'é'.repeat(128) } }, RangeError, 'ERR_OUT_OF_RANGE', 'status.destLocation.name'],
    ['status', { passPoint: [{}, 'A'] }, TypeError, 'ERR_INVALID_ARG_TYPE', 'status.passPoint[1]'],
    ['status', { routePreference: [1, 7] }, RangeError, 'ERR_OUT_OF_RANGE', 'status.routePreference[1]'],
    ['status', { theme: undefined }, TypeError, 'ERR_INVALID_ARG_TYPE', 'status.theme'],
    ['status', { destination: {} }, TypeError, 'ERR_INVALID_ARG_VALUE', 'status.destination'],
    ['status', 42, TypeError, 'ERR_INVALID_ARG_TYPE', 'status'],
    ['metadata', { currentRoadName: 'x'.repeat(1000) }, RangeError, 'ERR_OUT_OF_RANGE', 'metadata.currentRoadName'],
    ['metadata', { segmentLeftDis: -5 }, RangeError, 'ERR_OUT_OF_RANGE', 'metadata.segmentLeftDis'],
    ['metadata', { naviTurnMode: 65536 }, RangeError, 'ERR_OUT_OF_RANGE', 'metadata.naviTurnMode'],
    ['metadata', { naviBearing: NaN }, RangeError, 'ERR_OUT_OF_RANGE', 'metadata.naviBearing'],
    ['metadata', { cameraSpeedLimitValid: 1 }, TypeError, 'ERR_INVALID_ARG_TYPE', 'metadata.cameraSpeedLimitValid'],
    ['metadata', { trafficLane: 'a\0b' }, TypeError, 'ERR_INVALID_ARG_VALUE', 'metadata.trafficLane'],
    ['metadata', { customData: { list: [1, null] } }, TypeError, 'ERR_INVALID_ARG_TYPE', 'metadata.customData.list[1]'],
    ['metadata', { customData: { big: 2n ** 64n } }, RangeError, 'ERR_OUT_OF_RANGE', 'metadata.customData.big'],
  ];
  addon.resetCounts();
  for (const [kind, record, type, code, field] of bad) {
    const method = kind === 'status' ? 'publishStatus' : 'publishMetadata';
    assert.throws(() => client[method](record), (e) => e instanceof type && e.code === code && e.message.includes(`"${field}"`),
      `${kind} ${field}`);
  }
  assert.equal(addon.callCount('updateNavigationStatus') + addon.callCount('updateNavigationMetadata'), 0);

  // Opting out (per client or per call) gives the module's lenient reading: the name is cut to 255 bytes.
  for (const [lenient, options] of [[api.createClient({ strict: false }), undefined], [client, { strict: false }]]) {
    lenient.publishStatus({ destLocation: { name: 'x'.repeat(1000) }, extra: 1 }, options);
    assert.equal(addon.lastStatus().destLocation.name, 'x'.repeat(255));
  }
  addon.forceResult('updateNavigationStatus', 1005);
  t.after(() => addon.clearForcedResults());
  assert.throws(() => client.publishStatus({}), { name: 'NavInfoError', code: 'ERR_NAVINFO_NO_PERMISSION', result: 1005 });
});
