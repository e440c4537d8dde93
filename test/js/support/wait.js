'use strict';
// Waiting for deliveries with a deadline: a timer keeps Node's loop alive
// while a test waits, and a missing delivery fails instead of hanging.
function deferred(label, timeoutMs = 3000) {
  let resolve;
  let reject;
  const promise = new Promise((res, rej) => { resolve = res; reject = rej; });
  const timer = setTimeout(() => reject(new Error(`timed out waiting for ${label}`)), timeoutMs);
  return {
    promise,
    resolve: (value) => { clearTimeout(timer); resolve(value); },
    reject: (error) => { clearTimeout(timer); reject(error); },
  };
}

// Resolves with the first `count` values passed to the returned push().
function collector(label, count, timeoutMs = 5000) {
  const d = deferred(`${count} x ${label}`, timeoutMs);
  const values = [];
  return {
    values,
    promise: d.promise,
    push(value) {
      values.push(value);
      if (values.length === count) d.resolve(values);
    },
  };
}

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

// Polls check (it may be async) every 50 ms until it returns something
// truthy, which it resolves with; fails with "never: label" after timeoutMs.
async function eventually(check, label, timeoutMs = 10000) {
  const deadline = Date.now() + timeoutMs;
  for (;;) {
    const value = await check();
    if (value) return value;
    if (Date.now() > deadline) throw new Error(`never: ${label}`);
    await sleep(50);
  }
}

module.exports = { deferred, collector, sleep, eventually };
