'use strict';
// The client library's service events on this JavaScript thread: connection
// made and lost (for the open clients), and registrations refused and taken
// again (for the subscriptions and the server). The companion addon raises
// them on the library's threads and hands them here, in order; they never
// keep the thread alive.
const { companion } = require('./bindings');

// The method by which an open client is told: client[kServiceEvent](kind, detail).
const kServiceEvent = Symbol('serviceEvent');
const clients = new Set(); // open clients
const registrationHandlers = []; // (kind, detail) for 'refused' and 'resumed'
let installed = false;

function onEvent(kind, detail) {
  if (kind === 'connect' || kind === 'disconnect') {
    for (const client of [...clients]) client[kServiceEvent](kind, detail);
    return;
  }
  for (const handler of registrationHandlers) handler(kind, detail);
}

function install() {
  if (installed) return;
  companion.setEventHandler(onEvent);
  installed = true;
}

function watchConnection(client) {
  install();
  clients.add(client);
}

function unwatchConnection(client) {
  clients.delete(client);
}

// handler(kind, { registration: 'status' | 'metadata' | 'system', bundleName, result })
function onRegistrationEvent(handler) {
  install();
  registrationHandlers.push(handler);
}

// Whether this thread's client library talks to the embedded service (where
// the policy does not change while the process runs, so nothing refused is tried again).
function usesEmbeddedService() {
  return companion.endpoint().embedded;
}

module.exports = { kServiceEvent, watchConnection, unwatchConnection, onRegistrationEvent, usesEmbeddedService };
