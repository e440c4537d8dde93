'use strict';
// napi_host: what the module expects of the platform runtime, on Node.js.
// Exercised through the napi_host test addon, whose Node-API calls go through
// the same adapters as the module's. Functions written here are strict-mode
// code (the file is); new Function(...) makes a sloppy-mode one.
const { describe, test } = require('node:test');
const assert = require('node:assert/strict');
const path = require('node:path');
const { Worker } = require('node:worker_threads');
const paths = require('./support/paths');
const { sleep } = require('./support/wait');
const { runScript } = require('./support/child');

const addonPath = path.join(paths.libDir, 'napi_host_test_addon.node');
const addon = require(addonPath);
const S = addon.status;
// A work's execute runs on a worker thread, never on the thread that queued
// it nor on the loop: napi_host's workers when queued from another thread,
// Node's worker pool when queued on the loop.
const DONE = { queueStatus: S.ok, completeStatus: S.ok, executedOn: 'another thread' };
const DONE_ON_LOOP = DONE;

// Runs source in a child Node process that has the addon as `addon`; a child
// that does not end by itself is killed at the deadline and reported timedOut.
const runChild = (source, timeoutMs = 10000) => runScript(
  `const addon = require(${JSON.stringify(addonPath)});\n${source}`, { timeoutMs });

// A Worker that loads the addon as `addon` and runs body.
const startWorker = (body) => new Worker(`const { parentPort } = require('node:worker_threads');
  const addon = require(${JSON.stringify(addonPath)});
  ${body}`, { eval: true });

const firstMessage = (worker) => new Promise((resolve, reject) => {
  worker.once('message', resolve);
  worker.once('error', reject);
});
const exitOf = (worker) => new Promise((resolve) => worker.once('exit', resolve));

test('napi_call_function: a null receiver is undefined to strict code, globalThis to sloppy code', () => {
  const seen = addon.callWithNullReceiver(function (...args) { return { self: this, args }; }, 1, 'two');
  assert.deepEqual(seen, { self: undefined, args: [1, 'two'] });
  assert.equal(addon.callWithNullReceiver(new Function('return this;')), globalThis);
  const receiver = { name: 'receiver' };
  assert.equal(addon.callWithReceiver(function () { return this; }, receiver), receiver);
  assert.equal(addon.callWithReceiver(function () { return this; }, 42), 42);
  assert.throws(() => addon.callWithNullReceiver(() => { throw new RangeError('from js'); }),
    { name: 'RangeError', message: 'from js' });
});

describe('async works queued from any thread', () => {
  test('works queued from native threads, many at once, or on the JS thread run and complete', async () => {
    const [onLoop, ...fromThreads] = await Promise.all([addon.queueOnLoop(),
      ...Array.from({ length: 40 }, (_, i) => addon.queueFromThread(i % 7))]);
    assert.deepEqual(onLoop, DONE_ON_LOOP);
    for (const result of fromThreads) assert.deepEqual(result, DONE);
  });

  test('a work never queued is deleted; one never created is refused from any thread', () => {
    assert.equal(addon.deleteWork(addon.createWork()), S.ok);
    assert.deepEqual(addon.queueUnknownWork(),
      { fromThread: S.invalidArg, here: S.invalidArg, nullWork: S.invalidArg });
  });

  test('queueing a work of a terminated Worker fails without touching it', async () => {
    const worker = startWorker('parentPort.postMessage(addon.createWork());');
    const id = await firstMessage(worker);
    await worker.terminate();
    assert.equal(addon.queueWorkFromThread(id), S.closing);
    assert.equal(addon.queueWorkHere(id), S.closing);
  });

  test('a Worker with an outstanding work stays alive; one whose work was deleted ends', async () => {
    const keeping = startWorker('parentPort.postMessage(addon.createWork());');
    await firstMessage(keeping);
    const ending = startWorker('addon.deleteWork(addon.createWork()); parentPort.postMessage("done");');
    await firstMessage(ending);
    const keepingExit = exitOf(keeping);
    assert.equal(await exitOf(ending), 0);
    assert.equal(await Promise.race([keepingExit.then(() => false), sleep(500).then(() => true)]), true);
    await keeping.terminate();
  });
});

test('process lifetime: outstanding works keep a script alive, thread-safe functions do not', () => {
  const cases = [
    ['awaits an answer queued from another thread after 300 ms',
      'addon.queueFromThread(300).then((r) => console.log(JSON.stringify(r)));', true, JSON.stringify(DONE)],
    ['created and deleted a work', 'console.log(addon.deleteWork(addon.createWork()));', true, String(S.ok)],
    ['deletes its work later',
      'const id = addon.createWork(); setTimeout(() => console.log(addon.deleteWork(id)), 200);', true, String(S.ok)],
    ['never deletes its work', 'addon.createWork(); console.log("created");', false, 'created'],
    ['has only a thread-safe function', 'addon.createTsfn(() => {}); console.log("end");', true, 'end'],
    ['listens with a timer of its own', `const values = [];
      const keepAlive = setInterval(() => {}, 1000);
      const id = addon.createTsfn((value) => {
        values.push(value);
        if (values.length === 3) { clearInterval(keepAlive); console.log(JSON.stringify(values)); }
      });
      addon.sendFromThread(id, 3, 100);`, true, '[0,1,2]'],
  ];
  for (const [name, source, exits, stdout] of cases) {
    const child = runChild(source, exits ? 10000 : 3000);
    assert.equal(child.stdout.trim(), stdout, `${name}: ${child.stderr}`);
    assert.equal(child.timedOut, !exits, `a script that ${name} ${exits ? 'did not end' : 'ended'}`);
    if (exits) assert.equal(child.status, 0, child.stderr);
  }
});

describe('thread-safe functions', () => {
  test('a null handle is refused with napi_invalid_arg instead of aborting', () => {
    assert.deepEqual(addon.nullTsfnStatuses(), { acquire: S.invalidArg, call: S.invalidArg, release: S.invalidArg });
  });

  test('values called from a native thread reach the function with an undefined this', async () => {
    const seen = [];
    let done;
    const allSeen = new Promise((resolve) => { done = resolve; });
    const keepAlive = setTimeout(() => {}, 10000); // the function itself is unref'd
    const id = addon.createTsfn(function (value) {
      seen.push({ self: this, value });
      if (seen.length === 4) done();
    });
    addon.sendFromThread(id, 4, 0);
    await allSeen;
    clearTimeout(keepAlive);
    assert.deepEqual(seen, [0, 1, 2, 3].map((value) => ({ self: undefined, value })));
  });

  test('items run in the order of their hand-off tickets; a ticket given up holds nothing back', async () => {
    for (const skip of [0, 3]) {
      const expected = Array.from({ length: 40 }, (_, i) => i).filter((i) => skip === 0 || i % skip !== 0);
      const seen = [];
      let done;
      const allSeen = new Promise((resolve) => { done = resolve; });
      const keepAlive = setTimeout(() => {}, 10000);
      const id = addon.createTsfn((value) => {
        seen.push(value);
        if (seen.length === expected.length) done();
      });
      addon.sendInTicketOrder(id, 40, skip);
      await allSeen;
      clearTimeout(keepAlive);
      assert.deepEqual(seen, expected, `skip ${skip}`);
    }
  });

  test('after its release, the function is finalized once and later calls answer napi_closing', async () => {
    const id = addon.createTsfn(() => {});
    assert.equal(addon.callStatusFromThread(id), S.ok);
    assert.equal(addon.releaseTsfn(id), S.ok);
    for (let i = 0; i < 100 && addon.counters(id).finalized === 0; i++) await sleep(10);
    assert.equal(addon.counters(id).finalized, 1);
    assert.equal(addon.callStatusFromThread(id), S.closing);
    const counters = addon.counters(id);
    assert.equal(counters.freed, counters.allocated);
  });

  test('a native thread calling on the handle of a terminated Worker gets napi_closing', async () => {
    const worker = startWorker('parentPort.postMessage(addon.createTsfn(() => {}, 4)); setInterval(() => {}, 1000);');
    const id = await firstMessage(worker);
    const hammer = addon.startHammer(id, false);
    await sleep(100);
    await worker.terminate();
    addon.markHammerPhase(hammer);
    await sleep(100);
    const { before, after } = addon.stopHammer(hammer);
    assert.ok(before.ok > 0, JSON.stringify(before));
    assert.equal(before.other, 0, JSON.stringify(before));
    // acquire, call and release of every later round answer napi_closing.
    assert.ok(after.calls > 0);
    assert.deepEqual(after, { calls: after.calls, ok: 0, queueFull: 0, closing: 3 * after.calls, invalidArg: 0,
      other: 0 });
    const counters = addon.counters(id);
    assert.equal(counters.finalized, 1);
    assert.equal(counters.freed, counters.allocated, 'every queued item freed exactly once');
  });

  test('items still waiting for their turn when a Worker is terminated are freed once', async () => {
    const worker = startWorker('parentPort.postMessage(addon.createTsfn(() => {})); setInterval(() => {}, 1000);');
    const id = await firstMessage(worker);
    // Ticket 0 is given up a second after the others came: they wait for it.
    addon.sendInTicketOrder(id, 200, 1000);
    for (let i = 0; i < 100 && addon.counters(id).allocated < 199; i++) await sleep(10);
    assert.equal(addon.counters(id).freed, 0, 'nothing ran before its turn');
    await worker.terminate();
    for (let i = 0; i < 100 && addon.counters(id).finalized === 0; i++) await sleep(10);
    const counters = addon.counters(id);
    assert.equal(counters.finalized, 1);
    assert.equal(counters.allocated, 199);
    assert.equal(counters.freed, counters.allocated);
  });

  test('callers blocked on the full queue of a busy Worker are let go when it is terminated', () => {
    // In a child: if a caller stayed blocked, the Worker's teardown would hang.
    const child = runChild(`
      const { Worker } = require('node:worker_threads');
      const worker = new Worker(\`
        const { parentPort } = require('node:worker_threads');
        const addon = require(${JSON.stringify(addonPath)});
        parentPort.postMessage(addon.createTsfn(() => {}, 2));
        for (;;) {}\`, { eval: true });
      worker.once('message', async (id) => {
        const hammers = [0, 1, 2, 3].map(() => addon.startHammer(id, true));
        await new Promise((resolve) => setTimeout(resolve, 200));
        await worker.terminate();
        hammers.forEach((h) => addon.markHammerPhase(h));
        await new Promise((resolve) => setTimeout(resolve, 50));
        console.log(JSON.stringify({ rounds: hammers.map((h) => addon.stopHammer(h)), counters: addon.counters(id) }));
      });`, 20000);
    assert.equal(child.timedOut, false, 'the Worker teardown or a blocked caller hung');
    assert.equal(child.status, 0, child.stderr);
    const { rounds, counters } = JSON.parse(child.stdout);
    for (const { before, after } of rounds) {
      assert.equal(before.queueFull, 0, 'a blocking call never answers napi_queue_full');
      assert.equal(before.other + after.other, 0);
      assert.ok(after.calls > 0);
      assert.equal(after.closing, 3 * after.calls);
    }
    assert.equal(counters.finalized, 1);
    assert.equal(counters.freed, counters.allocated);
  });
});
