'use strict';
// Delivery under load, through the navinfo-service daemon between separate
// processes: bursts of statuses reach a follower complete, in publishing
// order and ending on the latest; a flood of queries from one system
// process never cuts the navigation process off, and every query settles
// exactly once (answered, 1006 over the requester's share, or 1004).
const { describe, test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const { startDaemon, startApp, tempDir, writePolicy, killAll } = require('./support/daemon');

const MAP = 'com.example.map';
const DASH = 'com.example.dash';

describe('navinfo-service under load', () => {
  const tmp = tempDir();
  let daemon;
  let nav;
  let sys;

  before(async () => {
    const policy = writePolicy(tmp.file('policy.json'), {
      [MAP]: { navigationPermission: true },
      [DASH]: { systemApp: true, navigationPermission: true },
    });
    daemon = await startDaemon(['--socket', tmp.file('navinfo.sock'), '--policy', policy,
      '--request-timeout-ms', '2000'], { env: { HILOG_LEVEL: 'info' } });
    [nav, sys] = await Promise.all([startApp(daemon.socketPath, MAP), startApp(daemon.socketPath, DASH)]);
  });

  after(() => {
    killAll();
    tmp.remove();
  });

  test('bursts of 300 statuses arrive complete, in order, ending on the latest, 10 times out of 10', async () => {
    assert.equal((await sys.call('followStatus', [MAP])).ok, true);
    for (let run = 0; run < 10; run++) {
      const first = run * 1000;
      sys.events.length = 0;
      assert.deepEqual(await nav.call('burst', [first, 300]), { ok: true });
      await sys.waitEvent('status', (e) => e.status.routeIndex === first + 299);
      const seen = sys.events.filter((e) => e.event === 'status').map((e) => e.status.routeIndex);
      assert.deepEqual(seen, Array.from({ length: 300 }, (_, i) => first + i), `run ${run}`);
    }
    assert.equal((await sys.call('unfollowStatus', [MAP])).ok, true);
  });

  test('10,000 queries at once: each settles once with 1006 or 1004, and the navigation process stays', async () => {
    await nav.call('answerWith', [{ hold: true }]); // nothing is answered: time-outs after 2 s
    assert.equal((await nav.call('listenSystem')).ok, true);
    const flood = await sys.call('flood', [MAP, 10000], 60000);
    assert.equal(flood.ok, true);
    const { 1004: timedOut = 0, 1006: refused = 0, ...others } = flood.value;
    assert.deepEqual(others, {});
    assert.equal(timedOut + refused, 10000);
    assert.ok(timedOut >= 1000 && refused >= 1000, JSON.stringify(flood.value));
    assert.doesNotMatch(daemon.stderr(), /connection \d+ ended/, 'no application lost its connection');
  });
});
