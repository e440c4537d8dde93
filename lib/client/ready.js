'use strict';
// NavigationClient.ready(): waits until the service is reachable. While it
// waits, the client library seeks the daemon in the background (it would
// otherwise wait for a call or a registration), and the wait keeps the
// thread alive, as a request does.
const { companion } = require('./bindings');
const { LoopHold } = require('./keep_alive');
const { checkOptions } = require('./validate');
const { NavInfoError, AbortError, outOfRange, invalidType } = require('./errors');

// How often the connection is looked at while waiting: the 'connect' event
// tells the clients at once, but a wait must not depend on one event.
const LOOK_EVERY_MS = 50;

function checkTimeout(timeout) {
  if (timeout === undefined) return;
  if (typeof timeout !== 'number') throw invalidType('options.timeout', 'of type number', timeout);
  if (!(timeout >= 1 && timeout <= 0x7fffffff)) throw outOfRange('options.timeout', '>= 1 && <= 2147483647', timeout);
}

// pending: the client's set of cancel functions, which close() calls.
function waitUntilReady(options, pending) {
  const { timeout, signal } = checkOptions(options, ['timeout', 'signal']);
  checkTimeout(timeout);
  if (signal !== undefined && signal.aborted) return Promise.reject(new AbortError(undefined, { cause: signal.reason }));
  if (companion.serviceConnected()) return Promise.resolve();
  return new Promise((resolve, reject) => {
    const hold = new LoopHold();
    companion.holdConnection(true);
    let deadline;
    let settled = false;
    const onAbort = () => settle(new AbortError(undefined, { cause: signal.reason }));
    const cancel = (error) => settle(error);
    const look = setInterval(() => { if (companion.serviceConnected()) settle(); }, LOOK_EVERY_MS);
    function settle(error) {
      if (settled) return;
      settled = true;
      pending.delete(cancel);
      clearInterval(look);
      clearTimeout(deadline);
      if (signal !== undefined) signal.removeEventListener('abort', onAbort);
      companion.holdConnection(false);
      hold.close();
      if (error !== undefined) reject(error); else resolve();
    }
    pending.add(cancel);
    if (timeout !== undefined) {
      deadline = setTimeout(() => settle(new NavInfoError('ERR_NAVINFO_TIMEOUT',
        `Timed out after ${timeout} ms: waiting for the navigation information service`, { result: 1004 })), timeout);
    }
    if (signal !== undefined) signal.addEventListener('abort', onAbort, { once: true });
  });
}

module.exports = { waitUntilReady };
