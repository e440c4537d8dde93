'use strict';
// The daemon going away and coming back: an open query settles with 1002,
// calls answer 1002 meanwhile without hanging, and after the restart the
// applications' registrations and records are back without them doing anything.
const { describe, test, after } = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const { startDaemon, startApp, tempDir, writePolicy, killAll } = require('./support/daemon');
const { sleep } = require('./support/wait');

const MAP = 'com.example.map';
const DASH = 'com.example.dash';

describe('navinfo-service restart', () => {
  const tmp = tempDir();
  after(() => {
    killAll();
    tmp.remove();
  });

  test('open requests settle with 1002, calls fail fast, then registrations are restored', async () => {
    const policy = writePolicy(tmp.file('policy.json'), {
      [MAP]: { navigationPermission: true },
      [DASH]: { systemApp: true, navigationPermission: true },
    });
    const args = ['--socket', tmp.file('navinfo.sock'), '--policy', policy];
    let daemon = await startDaemon(args);
    const [nav, sys] = await Promise.all([startApp(daemon.socketPath, MAP), startApp(daemon.socketPath, DASH)]);
    await nav.call('answerWith', [{ hold: true }]);
    assert.deepEqual(await nav.call('listenSystem'), { ok: true });
    assert.deepEqual(await sys.call('followStatus', [MAP]), { ok: true });
    const open = sys.call('query', [MAP, 'navigationStatus', {}], 15000);
    await nav.waitEvent('query');

    // SIGTERM: a clean stop, the socket file removed.
    assert.deepEqual(await daemon.stop('SIGTERM'), { code: 0, signal: null });
    assert.equal(fs.existsSync(daemon.socketPath), false);
    assert.deepEqual(await open, { ok: true, value: { code: 1002, message: 'Service unavailable', data: {} } });

    // Meanwhile: refused at once (1002), and nothing waits.
    const started = Date.now();
    const meanwhile = await sys.call('command', [MAP, 'goHome', {}]);
    assert.deepEqual(meanwhile.value, { code: 1002, message: 'Service unavailable', data: {} });
    assert.deepEqual(await nav.call('updateStatus', [{ routeIndex: 1 }]), { ok: true }); // 1002 is only logged
    assert.ok(Date.now() - started < 5000, 'calls without a daemon must not wait for it');

    daemon = await startDaemon(args);
    // Neither application calls anything: both reconnect by themselves, the
    // follower is registered again and the status published while the
    // daemon was away reaches it and the service.
    const restored = await sys.waitEvent('status', (e) => e.status.routeIndex === 1, 15000);
    assert.equal(restored.bundle, MAP);
    const read = await sys.call('getStatus', [MAP]);
    assert.equal(read.value.routeIndex, 1);
    await nav.call('answerWith', [{ hold: false }]);

    const answered = await sys.call('query', [MAP, 'navigationMetadata', { again: true }]);
    assert.deepEqual(answered.value,
      { code: 0, message: 'ok:navigationMetadata', data: { type: 'navigationMetadata', params: { again: true } } });
    assert.deepEqual(await daemon.stop('SIGINT'), { code: 0, signal: null });
  });

  test('a killed daemon (SIGKILL) is noticed too, and a stale socket does not stop the next one', async () => {
    const policy = writePolicy(tmp.file('policy2.json'), { [DASH]: { systemApp: true, navigationPermission: true } });
    const args = ['--socket', tmp.file('killed.sock'), '--policy', policy];
    let daemon = await startDaemon(args);
    const sys = await startApp(daemon.socketPath, DASH);
    assert.equal((await sys.call('getStatus', [MAP])).ok, true);
    assert.deepEqual(await daemon.stop('SIGKILL'), { code: null, signal: 'SIGKILL' });
    assert.equal(fs.existsSync(daemon.socketPath), true); // left behind by the killed process
    const meanwhile = await sys.call('query', [MAP, 'navigationStatus', {}]);
    assert.equal(meanwhile.value.code, 1002);

    daemon = await startDaemon(args);
    let result = null;
    for (const deadline = Date.now() + 10000; Date.now() < deadline; await sleep(100)) {
      result = await sys.call('query', [MAP, 'navigationStatus', {}]);
      if (result.value.code !== 1002) break;
    }
    assert.deepEqual(result.value, { code: 1003, message: 'Not found', data: {} });
    await daemon.stop();
  });
});
