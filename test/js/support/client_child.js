'use strict';
// An application process of the client API for the daemon tests: makes a
// client (with the daemon of NAVINFO_SERVICE_SOCKET, which may not be up
// yet), opens what CLIENT_PLAN lists (follow: followStatus of
// CLIENT_FOLLOW; serve: a server answering "served"; ready: client.ready()),
// reports the client's, the subscription's and the server's events to its
// parent, and runs the calls its parent sends (as app_child.js does).
const path = require('node:path');
const api = require(path.join(process.env.NAVINFO_ROOT, 'lib/client'));

const send = (message) => { if (process.connected) process.send(message); };
const plan = (process.env.CLIENT_PLAN || '').split(',');
const client = api.createClient();
send({ event: 'created', connected: client.connected });
for (const name of ['connect', 'disconnect', 'reconnect']) {
  client.on(name, (reason) => send({ event: name, connected: client.connected, code: reason && reason.code }));
}
const report = (what, emitter) => {
  emitter.on('error', (error) => send({ event: 'error', what, code: error.code }));
  emitter.on('resume', () => send({ event: 'resume', what }));
};
if (plan.includes('follow')) {
  const subscription = client.followStatus(process.env.CLIENT_FOLLOW);
  subscription.on('status', (status) => send({ event: 'status', routeIndex: status.routeIndex }));
  report('follow', subscription);
}
if (plan.includes('serve')) report('serve', client.serve(() => ({ message: 'served' })));
if (plan.includes('ready')) {
  client.ready().then(() => send({ event: 'ready', connected: client.connected }),
    (error) => send({ event: 'readyFailed', code: error.code }));
}

const operations = {
  publish: (status) => client.publishStatus(status),
  query: async (bundle) => {
    try {
      return (await client.query(bundle, 'navigationStatus', {}, { timeout: 5000 })).message;
    } catch (error) {
      return error.code;
    }
  },
  connected: () => client.connected,
};
process.on('message', async ({ id, op, args }) => {
  try {
    send({ id, ok: true, value: await operations[op](...args) });
  } catch (e) {
    send({ id, ok: false, error: { code: e.code, message: e.message } });
  }
});
send({ ready: true, pid: process.pid });
