'use strict';
// napi_host: what the module expects of the platform runtime, on Node.js.
// Exercised through the napi_host test addon, whose Node-API calls go through
// the same adapters as the module's. Functions written here are strict-mode
// code (the file is); new Function(...) makes a sloppy-mode one.
const { describe, test } = require('node:test');
const assert = require('node:assert/strict');
const path = require('node:path');
const { spawnSync } = require('node:child_process');
const { Worker } = require('node:worker_threads');

const buildDir = process.env.NAVINFO_BUILD_DIR || path.join(__dirname, '..', '..', 'build');
const addonPath = path.join(buildDir, 'lib', 'napi_host_test_addon.node');
const addon = require(addonPath);
const S = addon.status;

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

// Runs source in a child Node process that finds the addon through
// NAPI_HOST_ADDON. A child that does not end by itself is killed at the
// deadline and reported as timedOut, so a hang fails instead of hanging.
function runChild(source, timeoutMs = 10000) {
  const started = Date.now();
  const result = spawnSync(process.execPath, ['-e', source], {
    encoding: 'utf8',
    timeout: timeoutMs,
    env: { ...process.env, NAPI_HOST_ADDON: addonPath },
  });
  return {
    status: result.status,
    timedOut: Boolean(result.error && result.error.code === 'ETIMEDOUT'),
    stdout: result.stdout,
    stderr: result.stderr,
    elapsedMs: Date.now() - started,
  };
}

// A Worker that loads the addon as `addon` and runs body.
function startWorker(body) {
  return new Worker(
    `const { parentPort } = require('node:worker_threads');
     const addon = require(${JSON.stringify(addonPath)});
     ${body}`,
    { eval: true });
}

const firstMessage = (worker) => new Promise((resolve, reject) => {
  worker.once('message', resolve);
  worker.once('error', reject);
});

const exitOf = (worker) => new Promise((resolve) => worker.once('exit', resolve));

describe('napi_call_function with a null receiver', () => {
  test('a strict-mode function is called with undefined as this and gets its arguments', () => {
    const seen = addon.callWithNullReceiver(function (...args) {
      return { self: this, args };
    }, 1, 'two');
    assert.equal(seen.self, undefined);
    assert.deepEqual(seen.args, [1, 'two']);
  });

  test('a sloppy-mode function sees globalThis, as for any undefined receiver', () => {
    const self = addon.callWithNullReceiver(new Function('return this;'));
    assert.equal(self, globalThis);
  });

  test('a given receiver passes through unchanged', () => {
    const receiver = { name: 'receiver' };
    assert.equal(addon.callWithReceiver(function () { return this; }, receiver), receiver);
    assert.equal(addon.callWithReceiver(function () { return this; }, 42), 42);
  });

  test('an exception thrown by the function reaches the caller', () => {
    assert.throws(() => addon.callWithNullReceiver(() => { throw new RangeError('from js'); }),
      { name: 'RangeError', message: 'from js' });
  });
});

describe('async works queued from any thread', () => {
  test('a work queued from a native thread runs and completes on the JS thread', async () => {
    const result = await addon.queueFromThread(50);
    assert.deepEqual(result, { queueStatus: S.ok, completeStatus: S.ok, executed: true });
  });

  test('a work queued on the JS thread runs as before', async () => {
    const result = await addon.queueOnLoop();
    assert.deepEqual(result, { queueStatus: S.ok, completeStatus: S.ok, executed: true });
  });

  test('many works queued from many threads at once all complete', async () => {
    const results = await Promise.all(Array.from({ length: 40 }, (_, i) => addon.queueFromThread(i % 7)));
    for (const result of results) {
      assert.deepEqual(result, { queueStatus: S.ok, completeStatus: S.ok, executed: true });
    }
  });

  test('a work created and deleted without being queued', () => {
    assert.deepEqual(addon.createAndDeleteWork(), { create: S.ok, delete: S.ok });
  });

  test('queueing a work that was never created fails, from any thread', () => {
    addon.createAndDeleteWork(); // the environment is known to napi_host
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
    const stillRunning = await Promise.race([keepingExit.then(() => false), sleep(500).then(() => true)]);
    assert.equal(stillRunning, true);
    await keeping.terminate();
  });
});

describe('process lifetime', () => {
  test('a script awaiting an answer queued from another thread after 300 ms stays alive for it', () => {
    const child = runChild(`
      const addon = require(process.env.NAPI_HOST_ADDON);
      addon.queueFromThread(300).then((r) => console.log(JSON.stringify(r)));`);
    assert.equal(child.timedOut, false, child.stderr);
    assert.equal(child.status, 0, child.stderr);
    assert.deepEqual(JSON.parse(child.stdout), { queueStatus: S.ok, completeStatus: S.ok, executed: true });
    assert.ok(child.elapsedMs >= 300, `ended after ${child.elapsedMs} ms`);
  });

  test('a script that created and deleted a work exits by itself', () => {
    const child = runChild(`
      const addon = require(process.env.NAPI_HOST_ADDON);
      console.log(JSON.stringify(addon.createAndDeleteWork()));`);
    assert.equal(child.timedOut, false, 'the process did not end by itself');
    assert.equal(child.status, 0, child.stderr);
  });

  test('a script whose work is deleted later exits once it is deleted', () => {
    const child = runChild(`
      const addon = require(process.env.NAPI_HOST_ADDON);
      const id = addon.createWork();
      setTimeout(() => console.log(addon.deleteWork(id)), 200);`);
    assert.equal(child.timedOut, false, 'the process did not end by itself');
    assert.equal(child.status, 0, child.stderr);
    assert.equal(child.stdout.trim(), String(S.ok));
  });

  test('a script with a work that is never deleted stays alive', () => {
    const child = runChild(`
      const addon = require(process.env.NAPI_HOST_ADDON);
      addon.createWork();
      console.log('created');`, 3000);
    assert.equal(child.stdout.trim(), 'created', child.stderr);
    assert.equal(child.timedOut, true, `exited with ${child.status} while a work was outstanding`);
  });

  test('a script with only a thread-safe function exits by itself', () => {
    const child = runChild(`
      const addon = require(process.env.NAPI_HOST_ADDON);
      addon.createTsfn(() => {});`);
    assert.equal(child.timedOut, false, 'the process did not end by itself');
    assert.equal(child.status, 0, child.stderr);
  });

  test('a listening script keeps itself alive with a timer and gets every value', () => {
    const child = runChild(`
      const addon = require(process.env.NAPI_HOST_ADDON);
      const values = [];
      const keepAlive = setInterval(() => {}, 1000);
      const id = addon.createTsfn((value) => {
        values.push(value);
        if (values.length === 3) { clearInterval(keepAlive); console.log(JSON.stringify(values)); }
      });
      addon.sendFromThread(id, 3, 100);`);
    assert.equal(child.timedOut, false, 'the process did not end by itself');
    assert.equal(child.status, 0, child.stderr);
    assert.deepEqual(JSON.parse(child.stdout), [0, 1, 2]);
  });
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

  test('callers blocked on the full queue of a busy Worker are let go when it is terminated', () => {
    // In a child: if a caller stayed blocked, the Worker's teardown would hang.
    const child = runChild(`
      const { Worker } = require('node:worker_threads');
      const addon = require(process.env.NAPI_HOST_ADDON);
      const worker = new Worker(\`
        const { parentPort } = require('node:worker_threads');
        const addon = require(process.env.NAPI_HOST_ADDON);
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
