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

module.exports = { deferred, collector, sleep };
