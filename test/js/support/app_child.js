'use strict';
// An application process for the daemon tests: loads the module (which talks
// to navinfo-service because NAVINFO_SERVICE_SOCKET is set), runs the calls
// its parent sends over the IPC channel, and reports every delivery to its
// listeners as an event. The channel keeps the process alive while it only
// listens.
const nav = require(process.env.NAVINFO_ROOT);

const controller = nav.getNavigationController();
const system = nav.getSystemNavigationController();

// How the navigation role answers queries and commands: at once, after
// delayMs, or never (so that a request stays outstanding); with a given
// answer instead of the default one, and through a thenable instead of a promise.
let answering = { hold: false, delayMs: 0, code: 0, message: 'ok', answer: null, thenable: false };

function send(message) {
  if (process.connected) process.send(message);
}

function onRequest(kind) {
  return (type, params) => {
    send({ event: kind, type, params });
    if (answering.hold) return new Promise(() => {});
    const answer = answering.answer || { code: answering.code, message: `${answering.message}:${type}`,
      data: { type, params } };
    if (answering.delayMs > 0) return new Promise((resolve) => setTimeout(resolve, answering.delayMs, answer));
    return answering.thenable ? { then(resolve) { resolve(answer); } } : Promise.resolve(answer);
  };
}

const operations = {
  updateStatus: (status) => controller.updateNavigationStatus(status),
  updateMetadata: (metadata) => controller.updateNavigationMetadata(metadata),
  listenSystem: () => controller.registerSystemNavigationListener({
    onQueryNavigationInfo: onRequest('query'),
    onReceiveNavigationCmd: onRequest('command'),
  }),
  unlistenSystem: () => controller.unregisterSystemNavigationListener(),
  answerWith: (mode) => { answering = { ...answering, ...mode }; },
  followStatus: (bundle) => system.registerNavigationStatusListener(
    { onStatusChanged: (from, status) => send({ event: 'status', bundle: from, status }) }, bundle),
  followMetadata: (bundle) => system.registerNavigationMetadataListener(
    { onMetadataChanged: (from, metadata) => send({ event: 'metadata', bundle: from, metadata }) }, bundle),
  unfollowStatus: (bundle) => system.unregisterNavigationStatusListener(bundle),
  getStatus: (bundle) => system.getNavigationStatus(bundle),
  query: (bundle, type, params) => system.queryNavigationInfo(bundle, type, params),
  // count statuses back to back, routeIndex first, first + 1, ...
  burst: (first, count) => {
    for (let i = first; i < first + count; i++) controller.updateNavigationStatus({ routeIndex: i });
  },
  // count queries without waiting for any answer; resolves with how they settled, by code
  flood: async (bundle, count) => {
    const byCode = {};
    const answers = [];
    for (let i = 0; i < count; i++) answers.push(system.queryNavigationInfo(bundle, 'navigationStatus', { i }));
    for (const { code } of await Promise.all(answers)) byCode[code] = (byCode[code] || 0) + 1;
    return byCode;
  },
  command: (bundle, type, params) => system.sendNavigationCmd(bundle, type, params),
  // Keeps the JavaScript thread busy for ms (the IPC threads run on).
  busy: (ms) => {
    const end = Date.now() + ms;
    while (Date.now() < end) { /* spin */ }
  },
  // Ends the process at once, without a word to the service (no reply comes).
  exit: (code) => process.exit(code),
  // A method of either controller called as a plain function (this undefined).
  detached: (method, ...args) => {
    const fn = (method in system ? system : controller)[method];
    return fn(...args);
  },
};

process.on('message', async ({ id, op, args }) => {
  try {
    const value = await operations[op](...args);
    send({ id, ok: true, value });
  } catch (e) {
    send({ id, ok: false, error: { code: e.code, message: e.message } });
  }
});

// Node reports a listener's exception as uncaught: keep the process alive
// and tell the parent, so that the test sees it.
process.on('uncaughtException', (e) => send({ event: 'uncaught', message: String(e && e.message) }));

send({ ready: true, pid: process.pid });
