'use strict';
// The client API's following and lifetime: subscriptions per bundle and kind,
// the current status first, async iteration, keep-alive, Workers.
const test = require('node:test');
const assert = require('node:assert/strict');
const os = require('node:os');
const path = require('node:path');
const { Worker } = require('node:worker_threads');
const api = require('navigation-info-mgr/client');
const paths = require('./support/paths');
const { runScript } = require('./support/child');
const { sleep } = require('./support/wait');

const addon = paths.loadAddon();
const BUNDLE = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';
const OTHER = 'com.example.other'; // never publishes: its records are fired through the test addon

function openClient(t) {
  const client = api.createClient();
  t.after(() => client.close());
  return client;
}

test('subscribers per bundle and kind each get their own records, the current status first', async (t) => {
  const client = openClient(t);
  client.publishStatus({ routeIndex: 1 });
  assert.equal(client.getStatus(OTHER), null);
  assert.ok(client.getStatus(BUNDLE).updatedAt instanceof Date);
  assert.equal(client.connected, true);

  const seen = [];
  let wake = () => {};
  const reach = (count) => new Promise((resolve, reject) => {
    const timer = setTimeout(() => reject(new Error(`${seen.length} of ${count} records`)), 5000);
    wake = () => { if (seen.length >= count) { clearTimeout(timer); resolve(); } };
    wake();
  });
  const subs = {};
  const record = (name) => function (value, bundleName) {
    seen.push([name, this === subs[name], bundleName, value.routeIndex ?? value.currentSpeed]);
    wake();
  };
  for (const [name, kind, bundle] of [['a1', 'Status', BUNDLE], ['a2', 'Status', BUNDLE], ['b', 'Status', OTHER],
    ['meta', 'Metadata', BUNDLE]]) {
    subs[name] = client[`follow${kind}`](bundle);
    subs[name].on(kind.toLowerCase(), record(name));
  }
  await reach(2); // the current status, to a1 and a2
  assert.equal(addon.fireStatusChanged(OTHER, { routeIndex: 2 }), 1);
  await reach(3);
  client.publishStatus({ routeIndex: 3 });
  client.publishMetadata({ currentSpeed: 4 });
  await reach(6);
  subs.a1.close();
  assert.equal(subs.a1.closed, true);
  client.publishStatus({ routeIndex: 5 });
  await reach(7);
  await sleep(50); // nothing more comes
  const key = ([name]) => name;
  assert.deepEqual(seen.sort((x, y) => key(x).localeCompare(key(y))), [
    ['a1', true, BUNDLE, 1], ['a1', true, BUNDLE, 3],
    ['a2', true, BUNDLE, 1], ['a2', true, BUNDLE, 3], ['a2', true, BUNDLE, 5],
    ['b', true, OTHER, 2],
    ['meta', true, BUNDLE, 4],
  ]);
});

test('async iteration: records in order; break, abort and close end it and close the subscription', async (t) => {
  const client = openClient(t);
  const looped = client.followMetadata(BUNDLE);
  const speeds = [];
  const loop = (async () => {
    for await (const metadata of looped) {
      speeds.push(metadata.currentSpeed);
      if (metadata.currentSpeed === 3) break;
      client.publishMetadata({ currentSpeed: metadata.currentSpeed + 1 });
    }
  })();
  client.publishMetadata({ currentSpeed: 1 });
  await loop;
  client.publishMetadata({ currentSpeed: 4 });
  await sleep(20);
  assert.deepEqual(speeds, [1, 2, 3]);
  assert.equal(looped.closed, true);

  const aborted = new AbortController();
  const ended = [client.followStatus(BUNDLE, { signal: aborted.signal }), client.followStatus(BUNDLE)];
  const loops = ended.map(async (subscription) => {
    for await (const status of subscription) assert.equal(typeof status.status, 'number');
    return subscription.closed;
  });
  aborted.abort();
  ended[1].close();
  assert.deepEqual(await Promise.all(loops), [true, true]);
  assert.equal(client.followStatus(BUNDLE, { signal: AbortSignal.abort() }).closed, true);
});

test('bad arguments are refused before anything is registered', (t) => {
  const client = openClient(t);
  addon.resetCounts();
  for (const [call, code] of [
    [() => client.followStatus(42), 'ERR_INVALID_ARG_TYPE'],
    [() => client.followStatus(''), 'ERR_INVALID_ARG_VALUE'],
    [() => client.followMetadata('x'.repeat(256)), 'ERR_OUT_OF_RANGE'],
    [() => client.followStatus(BUNDLE, { signal: {} }), 'ERR_INVALID_ARG_TYPE'],
    [() => client.followStatus(BUNDLE, { timeout: 5 }), 'ERR_INVALID_ARG_VALUE'],
    [() => new api.Subscription(), undefined],
  ]) {
    assert.throws(call, (e) => e.code === code);
  }
  assert.equal(addon.callCount('registerNavigationStatusListener'), 0);
  assert.equal(addon.callCount('registerNavigationMetadataListener'), 0);
});

// A script that runs the client API in a child process: it publishes after
// 200 ms on an unref'd timer, so only the client keeps it alive until then.
const LIFETIME = `
  const api = require(require('node:path').join(process.env.NAVINFO_ROOT, 'lib/client'));
  const client = api.createClient();
  const bundle = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';
  const later = (fn) => setTimeout(fn, 200).unref();
  process.on('uncaughtException', (e) => console.log('uncaught:' + e.message));
  process.on('exit', () => console.log('exit'));
`;

test('open subscriptions and servers keep a script alive until unsubscribed, unref\'d or closed', () => {
  const cases = [
    ['unsubscribes', `
      const sub = client.followStatus(bundle).on('status', (s) => { console.log('got:' + s.routeIndex); sub.close(); });
      client.followStatus(bundle).on('status', () => { throw new Error('listener'); }).unref();
      later(() => client.publishStatus({ routeIndex: 7 }));`, ['got:7', 'uncaught:listener', 'exit']],
    ['unref', `
      client.followMetadata(bundle).unref().on('metadata', () => console.log('got'));
      later(() => client.publishMetadata({}));`, ['exit']],
    ['server until close', `
      client.serve(() => ({ message: 'served' }));
      later(async () => { console.log((await client.query(bundle, 'navigationStatus')).message); client.close(); });`,
    ['served', 'exit']],
  ];
  for (const [name, body, lines] of cases) {
    const result = runScript(LIFETIME + body, { timeoutMs: 10000 });
    assert.equal(result.timedOut, false, name);
    assert.equal(result.status, 0, `${name}: ${result.stderr}`);
    assert.deepEqual(result.stdout.trim().split('\n'), lines, name);
  }
});

test('without the daemon, following and serving are kept for it, reads and requests fail, and close() lets the script exit', () => {
  const result = runScript(`${LIFETIME}
    const report = (what, fn) => { try { fn(); console.log(what + ': opened'); } catch (e) { console.log(what + ': ' + e.code); } };
    console.log('connected: ' + client.connected);
    report('follow', () => client.followMetadata(bundle));
    report('serve', () => client.serve(() => {}));
    report('read', () => client.getStatus(bundle));
    client.query(bundle, 'navigationStatus').catch((e) => console.log('query: ' + e.code)).finally(() => client.close());`,
  { env: { NAVINFO_SERVICE_SOCKET: path.join(os.tmpdir(), `navinfo-absent-${process.pid}.sock`), HILOG_LEVEL: 'off' } });
  assert.equal(result.status, 0, result.stderr);
  const unavailable = 'ERR_NAVINFO_SERVICE_UNAVAILABLE';
  assert.deepEqual(result.stdout.trim().split('\n'), ['connected: false', 'follow: opened',
    'serve: opened', `read: ${unavailable}`, `query: ${unavailable}`, 'exit']);
});

test('one thread of the process follows at a time; a Worker that follows ends by itself once it closes', async (t) => {
  const client = openClient(t);
  const worker = new Worker(`
    const { parentPort, workerData } = require('node:worker_threads');
    const api = require(require('node:path').join(workerData.root, 'lib/client'));
    const client = api.createClient();
    client.followStatus(workerData.bundle).on('status', (status) => {
      if (status.routeIndex !== 42) return;
      parentPort.postMessage('got');
      client.close();
    });
    parentPort.postMessage('following');`, { eval: true, workerData: { root: paths.root, bundle: BUNDLE } });
  const messages = [];
  const exited = new Promise((resolve, reject) => { worker.once('exit', resolve); worker.once('error', reject); });
  await new Promise((resolve) => worker.on('message', (m) => { messages.push(m); resolve(); }));
  assert.throws(() => client.followStatus(BUNDLE), { name: 'NavInfoError', code: 'ERR_NAVINFO_OTHER_THREAD' });
  client.publishStatus({ routeIndex: 42 });
  assert.equal(await exited, 0);
  assert.deepEqual(messages, ['following', 'got']);
  client.followStatus(BUNDLE).close();
});

test('staleness: each record\'s age, "unavailable", and iteration that gives the newest record to a slow consumer', async (t) => {
  const client = openClient(t);
  client.publishStatus({ routeIndex: 1, status: api.MapStatus.NAVIGATION });
  await sleep(300);
  const sub = client.followStatus(BUNDLE);
  const [first] = await new Promise((resolve) => sub.once('status', (...args) => resolve(args)));
  assert.ok(sub.ageOf(first) >= 250, `the current status is as old as the service's copy: ${sub.ageOf(first)} ms`);
  assert.ok(sub.lastUpdate instanceof Date);
  assert.equal(sub.ageOf({}), null);
  const unavailable = [];
  sub.on('unavailable', (status) => unavailable.push(status.routeIndex));
  client.publishStatus({ routeIndex: 2, status: api.MapStatus.IDLE });
  client.publishStatus({ routeIndex: 3, status: api.MapStatus.UNAVAILABLE });
  const third = await new Promise((resolve) => sub.on('status', (s) => { if (s.routeIndex === 3) resolve(s); }));
  assert.ok(sub.ageOf(third) < 250 && sub.age < 250);
  assert.deepEqual(unavailable, [3]);
  sub.close();

  // A consumer that takes 100 ms per record while five come at once.
  const rows = [
    // [follow options, what the loop sees]
    [undefined, [10, 14]],
    [{ latest: true }, [10, 14]],
    [{ latest: false }, [10, 11, 12, 13, 14]],
  ];
  for (const [options, expected] of rows) {
    const seen = [];
    const looped = client.followMetadata(BUNDLE, options);
    const loop = (async () => {
      for await (const metadata of looped) {
        seen.push(metadata.currentSpeed);
        if (metadata.currentSpeed === 14) break;
        await sleep(100);
      }
    })();
    for (let speed = 10; speed < 15; speed++) client.publishMetadata({ currentSpeed: speed });
    await loop;
    assert.deepEqual(seen, expected, JSON.stringify(options));
  }
  assert.throws(() => client.followStatus(BUNDLE, { latest: 1 }), { code: 'ERR_INVALID_ARG_TYPE' });
});
