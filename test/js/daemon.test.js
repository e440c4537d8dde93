'use strict';
// Applications in separate processes exchanging navigation information
// through the navinfo-service daemon: publishing and following, queries and
// commands, policy and identity refusals, a navigation process killed while
// a query waits for it, and a raw client sending garbage.
const { describe, test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const net = require('node:net');
const { startDaemon, startApp, tempDir, writePolicy, killAll, withDeadline } = require('./support/daemon');

const MAP = 'com.example.map';
const MAP2 = 'com.example.map2';
const DASH = 'com.example.dash';
const GUEST = 'com.example.guest';
const SECURE = 'com.example.secure';
const TOKEN = 'js-s3cret';

describe('navinfo-service with applications in separate processes', () => {
  const tmp = tempDir();
  let daemon;
  let nav;
  let sys;

  before(async () => {
    const policy = writePolicy(tmp.file('policy.json'), {
      [MAP]: { navigationPermission: true },
      [MAP2]: { navigationPermission: true },
      [DASH]: { systemApp: true, navigationPermission: true },
      [GUEST]: {},
      [SECURE]: { systemApp: true, navigationPermission: true, token: TOKEN },
    });
    daemon = await startDaemon(['--socket', tmp.file('navinfo.sock'), '--policy', policy]);
    [nav, sys] = await Promise.all([startApp(daemon.socketPath, MAP), startApp(daemon.socketPath, DASH)]);
    assert.deepEqual(await nav.call('listenSystem'), { ok: true });
  });

  after(async () => {
    killAll();
    tmp.remove();
  });

  test('status and metadata published by the navigation process reach the system process', async () => {
    assert.equal((await sys.call('followStatus', [MAP])).ok, true);
    assert.equal((await sys.call('followMetadata', [MAP])).ok, true);
    const status = {
      status: 1, naviType: 2, routeIndex: 3, customData: 'to the office', theme: 1, routePreference: [1, 6],
      destLocation: { name: 'Office', coordType: 1, longitude: 13.4, latitude: 52.5, altitude: 34 },
      passPoint: [{ name: 'Bridge' }],
    };
    assert.deepEqual(await nav.call('updateStatus', [status]), { ok: true });
    const delivered = await sys.waitEvent('status', (e) => e.status.routeIndex === 3);
    assert.equal(delivered.bundle, MAP);
    assert.equal(delivered.status.customData, 'to the office');
    assert.deepEqual(delivered.status.destLocation,
      { name: 'Office', coordType: 1, longitude: 13.4, latitude: 52.5, altitude: 34 });
    assert.deepEqual(delivered.status.routePreference, [1, 6]);
    assert.equal(delivered.status.passPoint[0].name, 'Bridge');

    const read = await sys.call('getStatus', [MAP]);
    assert.equal(read.ok, true);
    assert.equal(read.value.routeIndex, 3);
    assert.equal(read.value.destLocation.name, 'Office');

    const metadata = {
      naviTurnMode: 3, currentRoadName: 'A100', nextRoadName: 'B96', intersectionView: 'view', trafficLane: 'lanes',
      cameraSpeedLimitValid: true, cameraSpeedLimit: 80, naviBearing: 270.5, remainingTime: 600,
      customData: { lane: 2, tags: ['a', 'b'], nested: { ok: true } },
    };
    assert.deepEqual(await nav.call('updateMetadata', [metadata]), { ok: true });
    const meta = await sys.waitEvent('metadata', (e) => e.metadata.currentRoadName === 'A100');
    assert.equal(meta.bundle, MAP);
    assert.equal(meta.metadata.intersectionView, 'view');
    assert.equal(meta.metadata.naviBearing, 270.5);
    assert.deepEqual(meta.metadata.customData, { lane: 2, tags: ['a', 'b'], nested: { ok: true } });
  });

  test('queries and commands travel to the navigation process and its answers come back', async () => {
    const query = await sys.call('query', [MAP, 'navigationStatus', { zoom: 3, where: ['here'] }]);
    assert.deepEqual(query, {
      ok: true,
      value: { code: 0, message: 'ok:navigationStatus', data: { type: 'navigationStatus', params: { zoom: 3, where: ['here'] } } },
    });
    await nav.waitEvent('query', (e) => e.params.zoom === 3);
    const command = await sys.call('command', [MAP, 'goHome', {}]);
    assert.deepEqual(command.value, { code: 0, message: 'ok:goHome', data: { type: 'goHome', params: {} } });
    const absent = await sys.call('query', ['com.example.nobody', 'navigationStatus', {}]);
    assert.deepEqual(absent.value, { code: 1003, message: 'Not found', data: {} });
  });

  test('lenient reads, non-objects, thenable answers and detached methods behave as in one process', async () => {
    assert.equal((await sys.call('followMetadata', [MAP])).ok, true);
    const bad = await nav.call('updateMetadata', [{ cameraSpeedLimitValid: 3, viewWidth: 641, customData: { a: 1 } }]);
    assert.equal(bad.error.message, 'A boolean was expected');
    const meta = await sys.waitEvent('metadata', (e) => e.metadata.viewWidth === 641);
    assert.deepEqual(meta.metadata.customData, { a: 1 });
    assert.equal((await nav.call('updateStatus', [{ passPoint: 'abc' }])).error.message, 'An object was expected');

    await nav.call('answerWith', [{ answer: { code: 7, message: 42, data: { x: 1 } } }]);
    assert.deepEqual((await sys.call('detached', ['queryNavigationInfo', MAP, 'navigationStatus', {}])).value,
      { code: 7, message: '', data: { x: 1 } });
    await nav.call('answerWith', [{ answer: { code: 9 }, thenable: true }]);
    assert.deepEqual((await sys.call('command', [MAP, 'goHome', {}])).value, { code: 9, message: '', data: {} });
    await nav.call('answerWith', [{ answer: null, thenable: false }]);
    assert.deepEqual(nav.events.filter((e) => e.event === 'uncaught'), []);
    assert.equal((await sys.call('detached', ['getNavigationStatus', MAP])).ok, true);
  });

  test('policy refusals reach the application as coded errors 1005 and 1015', async () => {
    const guest = await startApp(daemon.socketPath, GUEST);
    const publish = await guest.call('updateStatus', [{ status: 1 }]);
    assert.equal(publish.ok, false);
    assert.equal(publish.error.code, '1005');
    assert.equal((await guest.call('getStatus', [MAP])).error.code, '1015');
    assert.equal((await guest.call('query', [MAP, 'navigationStatus', {}])).error.code, '1015');
    assert.equal((await nav.call('getStatus', [MAP])).error.code, '1015'); // navigation, not a system app
    await guest.kill();
  });

  test('claiming a bundle without its token is refused: every call fails with 1005', async () => {
    const impostor = await startApp(daemon.socketPath, SECURE);
    assert.equal((await impostor.call('updateStatus', [{ status: 1 }])).error.code, '1005');
    assert.equal((await impostor.call('getStatus', [MAP])).error.code, '1005');
    assert.equal((await impostor.call('query', [MAP, 'navigationStatus', {}])).error.code, '1005');
    assert.equal((await impostor.call('listenSystem')).error.code, '1005');
    const wrongToken = await startApp(daemon.socketPath, SECURE, { token: 'guess' });
    assert.equal((await wrongToken.call('updateStatus', [{ status: 1 }])).error.code, '1005');

    const genuine = await startApp(daemon.socketPath, SECURE, { token: TOKEN });
    assert.deepEqual(await genuine.call('updateStatus', [{ status: 1, customData: 'genuine' }]), { ok: true });
    const read = await sys.call('getStatus', [SECURE]);
    assert.equal(read.value.customData, 'genuine');
    await Promise.all([impostor.kill(), wrongToken.kill(), genuine.kill()]);
  });

  test('a navigation process killed while a query waits for it: the query settles with 1003', async () => {
    const doomed = await startApp(daemon.socketPath, MAP2);
    await doomed.call('answerWith', [{ hold: true }]);
    await doomed.call('listenSystem');
    const pending = sys.call('query', [MAP2, 'navigationMetadata', { n: 1 }], 15000);
    await doomed.waitEvent('query');
    await doomed.kill('SIGKILL');
    assert.deepEqual(await pending, { ok: true, value: { code: 1003, message: 'Not found', data: {} } });
    // Its listener went with it.
    const after = await sys.call('command', [MAP2, 'goHome', {}]);
    assert.deepEqual(after.value, { code: 1003, message: 'Not found', data: {} });
  });

  test('a raw client sending garbage loses its connection; the applications carry on', async () => {
    const socket = net.connect(daemon.socketPath);
    const closed = new Promise((resolve) => socket.once('close', resolve));
    socket.on('error', () => {});
    await withDeadline(new Promise((resolve) => socket.once('connect', resolve)), 'raw connect', 5000);
    socket.write(Buffer.from('NIPX this is not a frame of the protocol, just bytes\n'.repeat(4)));
    await withDeadline(closed, 'the daemon to close the raw connection', 5000);

    assert.deepEqual(await nav.call('updateStatus', [{ routeIndex: 77 }]), { ok: true });
    await sys.waitEvent('status', (e) => e.status.routeIndex === 77);
    const query = await sys.call('query', [MAP, 'navigationStatus', {}]);
    assert.equal(query.value.code, 0);
    assert.equal(daemon.child.exitCode, null);
  });
});
