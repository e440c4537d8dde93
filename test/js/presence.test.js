'use strict';
// What followers see when the navigation application they follow goes
// without saying UNAVAILABLE, through the navinfo-service daemon, by how it
// goes; and one owner per bundle between application processes. How fast
// they are told is measured in bench/presence.js.
const { describe, test, after } = require('node:test');
const assert = require('node:assert/strict');
const { execFile } = require('node:child_process');
const path = require('node:path');
const paths = require('./support/paths');
const { startDaemon, startApp, tempDir, writePolicy, killAll } = require('./support/daemon');

const MAP = 'com.example.map';
const DASH = 'com.example.dash';
const CLUSTER = 'com.example.cluster';
const UNAVAILABLE = 5;
// Far above the 100 ms the service takes (bench/presence.js), far below any
// time-out that could tell followers instead (idle rule, request time-out).
const TOLD_WITHIN_MS = 2000;
// The map's liveness time-out in these policies: a stopped process is gone
// this long after its last keep-alive answer.
const LIVENESS_MS = 1000;

const tmp = tempDir();
const policyFor = (mapPermission) => ({
  [MAP]: { navigationPermission: mapPermission, livenessTimeoutMs: LIVENESS_MS },
  [DASH]: { systemApp: true, navigationPermission: true },
  [CLUSTER]: { systemApp: true, navigationPermission: true },
});

after(() => {
  killAll();
  tmp.remove();
});

// A daemon, a navigation process that navigates with guidance and two
// system processes that follow it (the cluster follows its guidance too).
async function drive(name) {
  const policy = writePolicy(tmp.file(`${name}.json`), policyFor(true));
  const daemon = await startDaemon(['--socket', tmp.file(`${name}.sock`), '--policy', policy]);
  const [nav, dash, cluster] = await Promise.all([MAP, DASH, CLUSTER].map((b) => startApp(daemon.socketPath, b)));
  for (const follower of [dash, cluster]) assert.equal((await follower.call('followStatus', [MAP])).ok, true);
  assert.equal((await cluster.call('followMetadata', [MAP])).ok, true);
  assert.deepEqual(await nav.call('listenSystem'), { ok: true });
  assert.deepEqual(await nav.call('updateStatus', [{ status: 1, routeIndex: 4, destLocation: { name: 'Office' } }]),
    { ok: true });
  assert.deepEqual(await nav.call('updateMetadata', [{ currentRoadName: 'Ring', segmentLeftDis: 260 }]), { ok: true });
  await cluster.waitEvent('metadata', (e) => e.metadata.currentRoadName === 'Ring');
  await Promise.all([dash, cluster].map((f) => f.waitEvent('status', (e) => e.status.routeIndex === 4)));
  return { daemon, policy, nav, dash, cluster };
}

describe('followers of a navigation process that goes without a word', () => {
  const rows = [
    {
      how: 'exit',
      go: ({ nav }) => {
        const exited = new Promise((resolve) => nav.child.once('exit', resolve));
        nav.child.send({ id: 0, op: 'exit', args: [0] }); // no answer comes
        return exited;
      },
    },
    { how: 'SIGKILL', go: ({ nav }) => nav.kill('SIGKILL') },
    {
      how: 'SIGSTOP (frozen: its keep-alives go unanswered)',
      go: ({ nav }) => { nav.child.kill('SIGSTOP'); },
      within: LIVENESS_MS + TOLD_WITHIN_MS,
      // Resumed, it finds its connection closed: it connects again and its
      // records land over the UNAVAILABLE.
      resume: async ({ nav, dash, cluster }) => {
        const before = dash.events.length;
        nav.child.kill('SIGCONT');
        await dash.waitEvent('status', (e) => dash.events.indexOf(e) >= before && e.status.routeIndex === 4);
        await cluster.waitEvent('metadata', (e) => cluster.events.indexOf(e) >= before &&
          e.metadata.currentRoadName === 'Ring');
        assert.equal((await dash.call('getStatus', [MAP])).value.routeIndex, 4);
      },
    },
    {
      how: 'its connection closed by the daemon (a reload takes its permission)',
      go: ({ daemon, policy }) => {
        writePolicy(policy, policyFor(false));
        daemon.child.kill('SIGHUP');
      },
    },
  ];
  for (const row of rows) {
    test(row.how, async () => {
      const setup = await drive(row.how.split(' ')[0].replace(/\W/g, ''));
      const { dash, cluster } = setup;
      const metadataBefore = cluster.events.filter((e) => e.event === 'metadata').length;
      await row.go(setup);
      for (const follower of [dash, cluster]) {
        const told = await follower.waitEvent('status', (e) => e.status.status === UNAVAILABLE,
          row.within ?? TOLD_WITHIN_MS);
        assert.equal(told.bundle, MAP);
        assert.equal(told.status.routeIndex, 0, 'nothing of the gone route is repeated');
        assert.equal(told.status.destLocation.name, '');
        const read = await follower.call('getStatus', [MAP]);
        assert.equal(read.value.status, UNAVAILABLE);
      }
      // A follower that comes now gets no guidance: it was dropped.
      const late = await startApp(setup.daemon.socketPath, DASH);
      assert.equal((await late.call('followMetadata', [MAP])).ok, true);
      await new Promise((resolve) => setTimeout(resolve, 100));
      assert.equal(late.events.filter((e) => e.event === 'metadata').length, 0);
      assert.equal(cluster.events.filter((e) => e.event === 'metadata').length, metadataBefore);
      if (row.resume) await row.resume(setup);
      await setup.daemon.stop();
    });
  }
});

describe('a navigation process that is slow but alive is not declared gone', () => {
  const rows = [
    // The keep-alive is answered by the IPC threads: a JavaScript thread
    // busy for five liveness time-outs does not make the process frozen.
    { how: 'its JavaScript thread busy for 5 s', go: ({ nav }) => nav.call('busy', [5 * LIVENESS_MS]) },
  ];
  for (const row of rows) {
    test(row.how, async () => {
      const setup = await drive(`alive${rows.indexOf(row)}`);
      const { nav, dash, cluster } = setup;
      await row.go(setup);
      for (const follower of [dash, cluster]) {
        assert.equal(follower.events.some((e) => e.event === 'status' && e.status.status === UNAVAILABLE), false);
        assert.equal((await follower.call('getStatus', [MAP])).value.routeIndex, 4);
      }
      // Still the owner on the same connection: its next record is taken.
      assert.deepEqual(await nav.call('updateStatus', [{ status: 1, routeIndex: 5 }]), { ok: true });
      await dash.waitEvent('status', (e) => e.status.routeIndex === 5);
      assert.doesNotMatch(setup.daemon.stderr(), /taken as frozen/);
      await setup.daemon.stop();
    });
  }
});

describe('one owner per bundle between processes', () => {
  test('a second process claiming the bundle is refused with 1005 until the owner goes, then takes over', async () => {
    const policy = writePolicy(tmp.file('owners.json'), policyFor(true));
    const daemon = await startDaemon(['--socket', tmp.file('owners.sock'), '--policy', policy]);
    const [owner, second, dash] = await Promise.all([MAP, MAP, DASH].map((b) => startApp(daemon.socketPath, b)));
    assert.equal((await dash.call('followStatus', [MAP])).ok, true);
    assert.deepEqual(await owner.call('updateStatus', [{ status: 1, routeIndex: 1 }]), { ok: true });

    for (const op of ['updateStatus', 'listenSystem']) {
      const refused = await second.call(op, op === 'updateStatus' ? [{ status: 1, routeIndex: 2 }] : []);
      assert.equal(refused.ok, false, op);
      assert.equal(refused.error.code, '1005', op);
    }
    await daemon.waitStderr(new RegExp(`com\\.example\\.map is owned by pid ${owner.pid} .*pid ${second.pid} .*refused`));
    assert.equal(daemon.stderr().split('\n').filter((l) => l.includes(`pid ${second.pid} (client`)).length, 1,
      'one line for the claimant, not one per call');
    const clients = await new Promise((resolve) => execFile(process.execPath,
      [path.join(paths.root, 'bin', 'navinfo.js'), '--socket', daemon.socketPath, 'clients'],
      { env: { ...process.env, NAVINFO_BUNDLE_NAME: DASH } }, (error, stdout) => resolve(stdout)));
    assert.match(clients, new RegExp(`${owner.pid} .*owns com\\.example\\.map`));
    assert.match(clients, new RegExp(`${second.pid} .*waits to own com\\.example\\.map`));

    await owner.kill('SIGKILL');
    await dash.waitEvent('status', (e) => e.status.status === UNAVAILABLE, TOLD_WITHIN_MS);
    assert.deepEqual(await second.call('updateStatus', [{ status: 1, routeIndex: 2 }]), { ok: true });
    await dash.waitEvent('status', (e) => e.status.routeIndex === 2);
    assert.deepEqual(await second.call('listenSystem'), { ok: true });
    await daemon.stop();
  });
});
