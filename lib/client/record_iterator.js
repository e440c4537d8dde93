'use strict';
// Async iteration over the records a subscription emits; the iteration ends
// when the subscription closes, and leaving the loop (break, return, throw)
// closes it. Records that arrive while nobody waits are kept: all of them
// in order, or with `latest` only the newest, so that a consumer slower
// than the records gets the current state instead of a growing backlog.
function recordIterator(subscription, eventName, { latest = false } = {}) {
  const buffered = [];
  const waiting = [];
  let done = subscription.closed;

  const finish = () => {
    done = true;
    subscription.off(eventName, onRecord);
    subscription.off('close', finish);
    for (const resolve of waiting.splice(0)) resolve({ value: undefined, done: true });
  };
  function onRecord(record) {
    if (waiting.length > 0) waiting.shift()({ value: record, done: false });
    else if (latest) buffered[0] = record;
    else buffered.push(record);
  }
  if (!done) {
    subscription.on(eventName, onRecord);
    subscription.once('close', finish);
  }

  return {
    next() {
      if (buffered.length > 0) return Promise.resolve({ value: buffered.shift(), done: false });
      if (done) return Promise.resolve({ value: undefined, done: true });
      return new Promise((resolve) => waiting.push(resolve));
    },
    return() {
      buffered.length = 0;
      finish();
      subscription.close();
      return Promise.resolve({ value: undefined, done: true });
    },
    [Symbol.asyncIterator]() { return this; },
  };
}

module.exports = { recordIterator };
