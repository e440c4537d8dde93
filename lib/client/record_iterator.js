'use strict';
// Async iteration over the records a subscription emits: records that
// arrive while nobody waits are kept in order; the iteration ends when the
// subscription closes, and leaving the loop (break, return, throw) closes it.
function recordIterator(subscription, eventName) {
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
