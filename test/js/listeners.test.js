'use strict';
// Following the navigation application: status and metadata listeners.
const test = require('node:test');
const assert = require('node:assert/strict');
const { Worker } = require('node:worker_threads');
const paths = require('./support/paths');
const { deferred, collector, sleep } = require('./support/wait');
const { runScript } = require('./support/child');

const nav = paths.loadModule();
const addon = paths.loadAddon();
const controller = nav.getNavigationController();
const system = nav.getSystemNavigationController();
const BUNDLE = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';

test('a status change reaches onStatusChanged(bundleName, status) with an undefined this', async () => {
  const got = deferred('onStatusChanged');
  system.registerNavigationStatusListener({
    // eslint-disable-next-line no-unused-vars -- the parameters name the signature; the body reads arguments
    onStatusChanged(bundleName, status) {
      'use strict';
      got.resolve({ self: this, args: [...arguments] });
    },
  }, BUNDLE);
  controller.updateNavigationStatus({ status: 4, destLocation: { name: 'Home' } });
  const { self, args } = await got.promise;
  assert.equal(self, undefined);
  assert.equal(args.length, 2);
  assert.equal(args[0], BUNDLE);
  assert.equal(args[1].status, 4);
  assert.equal(args[1].destLocation.name, 'Home');
  system.unregisterNavigationStatusListener(BUNDLE);
});

test('bursts of 300 changes arrive complete, in publishing order, ending on the latest, 10 times out of 10',
  async () => {
    for (let run = 0; run < 10; run++) {
      const seen = collector('status deliveries', 300, 20000);
      system.registerNavigationStatusListener({ onStatusChanged: (b, s) => seen.push(s.routeIndex) }, BUNDLE);
      for (let i = 0; i < 300; i++) controller.updateNavigationStatus({ routeIndex: i });
      assert.deepEqual(await seen.promise, Array.from({ length: 300 }, (_, i) => i), `run ${run}`);
      system.unregisterNavigationStatusListener(BUNDLE);
    }
  });

test('a second registration redirects deliveries to the newest listener', async () => {
  const first = [];
  const second = deferred('second listener');
  system.registerNavigationMetadataListener({ onMetadataChanged: () => first.push(1) }, BUNDLE);
  system.registerNavigationMetadataListener({ onMetadataChanged: (b, m) => second.resolve(m) }, BUNDLE);
  controller.updateNavigationMetadata({ currentSpeed: 33 });
  assert.equal((await second.promise).currentSpeed, 33);
  await sleep(50);
  assert.deepEqual(first, []);
  system.unregisterNavigationMetadataListener(BUNDLE);
});

test('the function is taken at registration; replacing it later has no effect', async () => {
  const got = deferred('original function');
  const listener = { onStatusChanged: () => got.resolve('original') };
  system.registerNavigationStatusListener(listener, BUNDLE);
  listener.onStatusChanged = () => got.resolve('replaced');
  controller.updateNavigationStatus({ theme: 1 });
  assert.equal(await got.promise, 'original');
  system.unregisterNavigationStatusListener(BUNDLE);
});

test('after unregistering, changes are no longer delivered', async () => {
  const calls = [];
  system.registerNavigationStatusListener({ onStatusChanged: () => calls.push(1) }, BUNDLE);
  system.unregisterNavigationStatusListener(BUNDLE);
  controller.updateNavigationStatus({ status: 2 });
  await sleep(50);
  assert.deepEqual(calls, []);
});

test('a listener that is not an object, or lacks its function: a plain failure report', () => {
  const navigation = nav.getNavigationController();
  // [registration, its arguments, the failure report's message]
  const rows = [
    [() => system.registerNavigationStatusListener({}, BUNDLE), 'Invalid argument'],
    [() => system.registerNavigationStatusListener(undefined, BUNDLE), 'An object was expected'],
    [() => system.registerNavigationMetadataListener(null, BUNDLE), 'An object was expected'],
    [() => navigation.registerSystemNavigationListener(null), 'An object was expected'],
    [() => navigation.registerSystemNavigationListener(5), 'An object was expected'],
  ];
  for (const [register, message] of rows) {
    assert.throws(register, (e) => {
      assert.equal(e.constructor, Error, String(register));
      assert.equal(e.message, message, String(register));
      assert.equal(e.code, undefined);
      return true;
    });
  }
  system.unregisterNavigationMetadataListener(BUNDLE);
  navigation.unregisterSystemNavigationListener();
});

test('a listener without a usable function: deliveries end in the log', async (t) => {
  assert.throws(() => system.registerNavigationStatusListener({}, BUNDLE), { message: 'Invalid argument' });
  addon.captureLogs(4);
  t.after(() => addon.stopLogCapture());
  controller.updateNavigationStatus({ status: 1 });
  let failed = [];
  for (let i = 0; i < 100 && failed.length === 0; i++) {
    await sleep(10);
    failed = addon.takeLogs().filter((l) => l.text === 'acquire threadsafe function failed');
  }
  assert.equal(failed.length, 1);
  assert.equal(failed[0].func, 'CallThreadSafeFunc');
  assert.equal(failed[0].file, 'navigation_status_listener_napi.cpp');
  system.unregisterNavigationStatusListener(BUNDLE);
});

test('a Worker has controllers of its own, its listener runs on the Worker, and it ends by itself', async () => {
  controller.marker = 'main';
  const worker = new Worker(`
    const { parentPort, threadId, workerData } = require('node:worker_threads');
    const nav = require(workerData.root);
    const ctl = nav.getNavigationController();
    const sys = nav.getSystemNavigationController();
    const own = {
      same: ctl === nav.getNavigationController() && sys === nav.getSystemNavigationController(),
      own: ctl instanceof nav.NavigationController && sys instanceof nav.SystemNavigationController,
      marker: ctl.marker,
      status: nav.MapStatus.UNAVAILABLE,
    };
    const keep = setInterval(() => {}, 1000);
    sys.registerNavigationStatusListener({
      onStatusChanged(bundle, status) {
        parentPort.postMessage({ ...own, threadId, routeIndex: status.routeIndex });
        clearInterval(keep);
      },
    }, workerData.bundle);
    ctl.updateNavigationStatus({ routeIndex: 77 });`,
  { eval: true, workerData: { root: paths.root, bundle: BUNDLE } });
  const { threadId } = worker; // -1 once it has ended
  const [message] = await Promise.all([
    new Promise((resolve, reject) => { worker.once('message', resolve); worker.once('error', reject); }),
    new Promise((resolve) => worker.once('exit', resolve)),
  ]);
  assert.deepEqual(message,
    { same: true, own: true, marker: undefined, status: 5, threadId, routeIndex: 77 });
});

test('a terminated Worker with listeners leaves nothing broken behind', async () => {
  const worker = new Worker(`
    const { parentPort, workerData } = require('node:worker_threads');
    const nav = require(workerData.root);
    nav.getSystemNavigationController().registerNavigationStatusListener({ onStatusChanged() {} }, workerData.bundle);
    parentPort.postMessage('registered');
    setInterval(() => {}, 1000);`, { eval: true, workerData: { root: paths.root, bundle: BUNDLE } });
  await new Promise((resolve) => worker.once('message', resolve));
  for (let i = 0; i < 200; i++) controller.updateNavigationStatus({ routeIndex: i });
  await worker.terminate();
  for (let i = 0; i < 200; i++) controller.updateNavigationStatus({ routeIndex: i });
  // The main thread's own listener still works afterwards.
  const got = deferred('main listener after the Worker ended');
  // Deliveries of the bursts above may still be on their way: wait for this one.
  system.registerNavigationStatusListener({
    onStatusChanged: (b, s) => { if (s.routeIndex === 5000) got.resolve(s.routeIndex); },
  }, BUNDLE);
  controller.updateNavigationStatus({ routeIndex: 5000 });
  assert.equal(await got.promise, 5000);
  system.unregisterNavigationStatusListener(BUNDLE);
});

test('a listener that throws raises an uncaught exception and later deliveries still arrive', () => {
  const result = runScript(`
    const nav = require(process.env.NAVINFO_ROOT);
    const sys = nav.getSystemNavigationController();
    const ctl = nav.getNavigationController();
    let calls = 0;
    process.on('uncaughtException', (e) => console.log('uncaught:' + e.message));
    sys.registerNavigationStatusListener({ onStatusChanged(b, s) {
      calls++;
      if (s.routeIndex === 1) throw new Error('boom');
      console.log('delivered:' + s.routeIndex);
    } }, process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation');
    ctl.updateNavigationStatus({ routeIndex: 1 });
    setTimeout(() => ctl.updateNavigationStatus({ routeIndex: 2 }), 100);
    setTimeout(() => console.log('calls:' + calls), 300);`);
  assert.equal(result.status, 0, result.stderr);
  assert.match(result.stdout, /uncaught:boom/);
  assert.match(result.stdout, /delivered:2/);
  assert.match(result.stdout, /calls:2/);
});
