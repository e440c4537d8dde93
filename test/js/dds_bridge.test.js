'use strict';
// Two navinfo-service daemons bridged over DDS on the loopback interface
// only (Cyclone DDS configured through CYCLONEDDS_URI, a domain of this run's
// own): a navigation process on daemon A, a system process on daemon B.
const { describe, test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const { spawn, execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const paths = require('./support/paths');
const { startDaemon, startApp, tempDir, killAll, withDeadline } = require('./support/daemon');
const { bridgeBuilt, LOOPBACK_CYCLONE_XML } = require('./support/dds');
const { eventually } = require('./support/wait');

const MAP = 'com.example.map';
const AWAY = 'com.example.away'; // imported by B, exported by nobody
const DASH = 'com.example.dash';   // B's cluster: A's policy lets B/com.example.dash ask
const VOICE = 'com.example.voice'; // B's voice assistant: A's policy refuses it the permission
const HUD = 'com.example.hud';     // a system application on both, unlisted as B's on A


// The story runs twice: with DDS Security off ("insecure": true), where the
// third participants' rows run too, and with Security on, each daemon's
// credentials and Cyclone configuration made by `navinfo-dds-security init`
// (the third participants under Security: dds_bridge_security.test.js).
function story(secure) {
  const tmp = tempDir();
  const domain = 1 + ((process.pid + (secure ? 50 : 0)) % 200);
  const partition = `navinfo-test-${secure ? 'secure-' : ''}${process.pid}`;
  const credentials = tmp.file('dds-security');
  let env;
  let a;
  let b;
  let nav;
  let sys;
  let forger;

  function policy(name, bundles, bridge, remoteRequesters = {}) {
    const file = tmp.file(`${name}.json`);
    fs.writeFileSync(file, JSON.stringify({ version: 1, defaultDeny: true, bundles, remoteRequesters,
      bridge: { domain, partition, node: name, livelinessMs: 500, ...(secure ? {} : { insecure: true }), ...bridge } }));
    return file;
  }
  const envOf = (name) => (secure ? { CYCLONEDDS_URI: `file://${path.join(credentials, name, 'cyclonedds.xml')}` } : env);
  const startNamed = (name, policyFile) => startDaemon(['--socket', tmp.file(`${name}.sock`), '--policy', policyFile,
    '--request-timeout-ms', '3000'], { env: envOf(name), timeoutMs: 15000 });

  // Rows about running without Security, and third participants (under Security: dds_bridge_security.test.js).
  const insecureOnly = { skip: secure && 'with Security off only' };
  const secondClaimantPolicy = () => policy('C', { [MAP]: { navigationPermission: true } }, { export: [MAP] });

  before(async () => {
    fs.writeFileSync(tmp.file('cyclonedds.xml'), LOOPBACK_CYCLONE_XML);
    env = { CYCLONEDDS_URI: `file://${tmp.file('cyclonedds.xml')}` };
    // B's applications ask A as "B/<bundle>", judged by A's remoteRequesters
    // only: A's local rule for HUD does not make B's HUD anything on A.
    const policyA = policy('A', { [MAP]: { navigationPermission: true },
      [HUD]: { systemApp: true, navigationPermission: true } }, { export: [MAP] },
    { [`B/${DASH}`]: { systemApp: true, navigationPermission: true }, [`B/${VOICE}`]: { systemApp: true } });
    // The token keeps local processes from posing as the imported bundle.
    const policyB = policy('B', { [MAP]: { navigationPermission: true, token: 'imported only' },
      [AWAY]: { navigationPermission: true }, [DASH]: { systemApp: true, navigationPermission: true },
      [VOICE]: { systemApp: true, navigationPermission: true }, [HUD]: { systemApp: true, navigationPermission: true } },
    { import: [MAP, AWAY] });
    if (secure) {
      // C is the second claimant of the bundle below, a node with an exporter's rights.
      execFileSync(process.execPath, [path.join(paths.root, 'bin', 'navinfo-dds-security.js'), 'init', '--out',
        credentials, '--policy', policyA, '--policy', policyB, '--policy', secondClaimantPolicy(), '--interface', 'lo',
        '--peer', '127.0.0.1'], { stdio: 'pipe' });
    }
    a = await startNamed('A', policyA);
    nav = await startApp(a.socketPath, MAP);
    assert.deepEqual(await nav.call('listenSystem'), { ok: true });
    // Published before daemon B exists: B joins late.
    assert.deepEqual(await nav.call('updateStatus', [{ status: 1, routeIndex: 7, customData: 'before B' }]), { ok: true });
    b = await startNamed('B', policyB);
    sys = await startApp(b.socketPath, DASH);
  });

  after(() => {
    if (forger) forger.kill('SIGKILL');
    killAll();
    tmp.remove();
  });

  test('the late joiner reads the current record, then follows status and metadata', async () => {
    const read = await eventually(async () => {
      // Until A's claim reaches B (with Security: once the two have authenticated each other), B has none.
      const r = await sys.call('getStatus', [MAP]);
      return r.ok && r.value.customData === 'before B' && r.value;
    }, 'B reads the status published before it started', 15000);
    assert.equal(read.customData, 'before B');
    assert.equal(read.routeIndex, 7);

    assert.equal((await sys.call('followStatus', [MAP])).ok, true);
    assert.equal((await sys.call('followMetadata', [MAP])).ok, true);
    for (let i = 1; i <= 5; i++) {
      assert.deepEqual(await nav.call('updateStatus', [{ status: 1, routeIndex: 100 + i }]), { ok: true });
    }
    await nav.call('updateMetadata', [{ currentRoadName: 'A100', naviBearing: 12.5, customData: { lane: 2 } }]);
    const last = await sys.waitEvent('status', (e) => e.status.routeIndex === 105);
    assert.equal(last.bundle, MAP);
    const seen = sys.events.filter((e) => e.event === 'status').map((e) => e.status.routeIndex);
    assert.deepEqual(seen, [...seen].sort((x, y) => x - y), 'in publishing order');
    const meta = await sys.waitEvent('metadata', (e) => e.metadata.currentRoadName === 'A100');
    assert.deepEqual([meta.bundle, meta.metadata.naviBearing, meta.metadata.customData], [MAP, 12.5, { lane: 2 }]);
  });

  test('queries and commands reach the navigation process on A and its answers come back', async () => {
    const query = await sys.call('query', [MAP, 'navigationStatus', { zoom: 3 }]);
    assert.deepEqual(query.value,
      { code: 0, message: 'ok:navigationStatus', data: { type: 'navigationStatus', params: { zoom: 3 } } });
    const command = await sys.call('command', [MAP, 'goHome', {}]);
    assert.deepEqual(command.value, { code: 0, message: 'ok:goHome', data: { type: 'goHome', params: {} } });
  });

  // Each row: a system application on B, and what A's policy makes of "B/<bundle>".
  // A refused one gets the answer a refused local requester's call settles with.
  const remoteRequesters = [
    [`B/${DASH} is allowed: answered by the navigation process on A`, DASH,
      { code: 0, message: 'ok:navigationStatus', data: { type: 'navigationStatus', params: { who: DASH } } }],
    [`B/${VOICE} lacks the permission on A: 1005, never sent to the navigation process`, VOICE,
      { code: 1005, message: 'No Permission', data: {} }],
    [`B/${HUD} is not listed on A (only a local ${HUD} is): 1015, never sent`, HUD,
      { code: 1015, message: 'Not System App', data: {} }],
  ];
  for (const [name, bundle, expected] of remoteRequesters) {
    test(`remote requesters by node and bundle: ${name}`, async () => {
      const app = bundle === DASH ? sys : await startApp(b.socketPath, bundle);
      try {
        const answer = await app.call('query', [MAP, 'navigationStatus', { who: bundle }]);
        assert.deepEqual(answer.value, expected);
        if (expected.code === 0) {
          await nav.waitEvent('query', (e) => e.params.who === bundle);
        } else {
          assert.equal(nav.events.some((e) => e.event === 'query' && e.params.who === bundle), false,
            'the navigation process gets only what the policy allows');
        }
      } finally {
        if (app !== sys) await app.kill();
      }
    });
  }

  // A third participant on the loopback, from the bridge's own IDL, copies
  // A's instance from the claim topic and the open correlation ids from the
  // request topic (test/dds/dds_forger.cpp). Each row: what it forges, and
  // what B or A must make of it.
  describe('a third DDS participant forging samples in the claimant\'s name', insecureOnly, () => {
    const forged = (e) => e.event === 'status' && e.status.routeIndex === 999999;
    before(async () => {
      forger = spawn(path.join(paths.binDir, 'navinfo_dds_forger'), [String(domain), partition, MAP, '20'],
        { env: { ...process.env, ...env }, stdio: ['ignore', 'pipe', 'inherit'] });
      await withDeadline(new Promise((resolve, reject) => {
        forger.stdout.on('data', (chunk) => { if (/ready/.test(chunk)) resolve(); });
        forger.once('exit', (code) => reject(new Error(`the forger exited ${code}`)));
      }), 'the forger matched with both daemons', 15000);
      // Its records flow from now on; a query makes it forge a reply and a request.
      await nav.call('answerWith', [{ delayMs: 300 }]);
    });
    after(async () => {
      await nav.call('answerWith', [{ delayMs: 0 }]);
      forger.kill('SIGKILL');
    });

    const rows = [
      ['records with the claimant\'s instance never reach B\'s follower; B counts them', async () => {
        const mark = 4242;
        await eventually(async () => {
          await nav.call('updateStatus', [{ status: 1, routeIndex: mark }]);
          return sys.events.some((e) => e.event === 'status' && e.status.routeIndex === mark);
        }, 'A\'s status reaches B while the forger writes');
        assert.equal(sys.events.filter(forged).length, 0, 'no forged record delivered');
        assert.equal((await sys.call('getStatus', [MAP])).value.routeIndex, mark);
        await b.waitStderr(/dropped \d+ records not written by the daemon that claims their bundle/, 5000);
      }],
      ['replies with the requester\'s instance and an open correlation id: B\'s system app gets A\'s answer', async () => {
        for (const n of [1, 2, 3]) {
          const answer = await sys.call('query', [MAP, 'navigationStatus', { n }], 10000);
          assert.deepEqual(answer.value,
            { code: 0, message: 'ok:navigationStatus', data: { type: 'navigationStatus', params: { n } } });
        }
        await b.waitStderr(/dropped \d+ replies not written by the daemon the request went to/, 5000);
      }],
      ['requests in the requester\'s name are not carried out on A; A counts them', async () => {
        // The forger sends its command as soon as it sees the query, which A answers 300 ms later.
        await sys.call('query', [MAP, 'navigationStatus', { probe: true }], 10000);
        assert.equal(nav.events.filter((e) => e.event === 'command' && e.params.forged).length, 0,
          'no forged command reached the navigation process');
        await a.waitStderr(/dropped \d+ requests whose requester is not the daemon that sent them/, 5000);
      }],
      ['requests of its own naming B\'s node and system application are not carried out on A; A counts them', async () => {
        // Its own instance, so A would answer it; but its writer announced "forger", not B.
        await sys.call('query', [MAP, 'navigationStatus', { probe: 'node' }], 10000);
        assert.equal(nav.events.filter((e) => e.event === 'command' && e.params.forged).length, 0,
          'no forged command reached the navigation process');
        await a.waitStderr(/dropped \d+ requests whose node is not the one their sender announced/, 5000);
      }],
    ];
    for (const [name, row] of rows) test(name, row);
  });

  // The same third participant claiming the bundle itself, and flooding every
  // topic with garbage (random 1 MiB payloads, oversized samples, random names):
  // nothing of it reaches B's follower or system application, A's records and
  // answers keep flowing, and neither daemon writes a log line per sample.
  describe('a third DDS participant claiming the bundle or flooding garbage', insecureOnly, () => {
    const foreign = (since) => sys.events.slice(since).filter((e) => e.event === 'status' &&
      (e.status.routeIndex === 999999 || e.status.customData === 'FORGED-BY-THIRD-PARTY'));
    async function runForger(mode, seconds, started) {
      const child = spawn(path.join(paths.binDir, 'navinfo_dds_forger'), [String(domain), partition, MAP,
        String(seconds), mode], { env: { ...process.env, ...env }, stdio: ['ignore', 'pipe', 'inherit'] });
      forger = child;
      let output = '';
      const exited = new Promise((resolve) => child.once('exit', resolve));
      await withDeadline(new Promise((resolve, reject) => {
        child.stdout.on('data', (chunk) => { output += chunk; if (started.test(output)) resolve(); });
        exited.then((code) => reject(new Error(`the forger exited ${code}: ${output}`)));
      }), `the forger (${mode}) started`, 15000);
      return { exited, output: () => output };
    }
    // A's records and answers while the forger runs.
    async function realTrafficFlows(mark) {
      await eventually(async () => {
        await nav.call('updateStatus', [{ status: 1, routeIndex: mark }]);
        return sys.events.some((e) => e.event === 'status' && e.status.routeIndex === mark);
      }, `A's status ${mark} reaches B while the forger runs`, 15000);
      const answer = await sys.call('query', [MAP, 'navigationStatus', { mark }], 10000);
      assert.deepEqual(answer.value,
        { code: 0, message: 'ok:navigationStatus', data: { type: 'navigationStatus', params: { mark } } });
    }
    const lines = (daemon, from) => daemon.stderr().slice(from).split('\n').filter(Boolean);
    before(async () => {
      assert.equal((await sys.call('followStatus', [MAP])).ok, true);
    });

    const rows = [
      ['a second claim: refused and logged by B; its records never reach B\'s follower; A still serves', async () => {
        const since = sys.events.length;
        const run = await runForger('claim', 4, /ready/);
        await b.waitStderr(/com\.example\.map is claimed by FORGER too, while A serves it/, 10000);
        await realTrafficFlows(5151);
        assert.equal(await run.exited, 0, run.output());
        assert.deepEqual(foreign(since), [], 'no record of the second claimant delivered');
        await b.waitStderr(/dropped \d+ records not written by the daemon that claims their bundle/, 5000);
      }],
      ['garbage on every topic: nothing delivered, A still serves, a few log lines a second at most', async () => {
        const since = sys.events.length;
        const [fromA, fromB] = [a.stderr().length, b.stderr().length];
        const seconds = 4;
        const run = await runForger('garbage', seconds, /flooding/);
        await realTrafficFlows(6161);
        assert.equal(await run.exited, 0, run.output());
        assert.match(run.output(), /"written":[1-9]/);
        await realTrafficFlows(6162);
        assert.deepEqual(foreign(since), []);
        assert.equal(sys.events.slice(since).filter((e) => e.event === 'status' && e.status.status !== 1).length, 0);
        // Each kind of refusal is one line a second with its count; a line per sample would be hundreds.
        for (const [name, daemon, from] of [['A', a, fromA], ['B', b, fromB]]) {
          const written = lines(daemon, from);
          assert.ok(written.length <= 8 * (seconds + 2), `${name} wrote ${written.length} lines:\n${written.join('\n')}`);
        }
      }],
    ];
    for (const [name, row] of rows) test(name, row);
  });

  test('1002 while nobody serves an imported bundle, 1003 for one that is not imported', async () => {
    assert.deepEqual((await sys.call('query', [AWAY, 'navigationStatus', {}])).value,
      { code: 1002, message: 'Service unavailable', data: {} });
    assert.deepEqual((await sys.call('command', ['com.example.nobody', 'goHome', {}])).value,
      { code: 1003, message: 'Not found', data: {} });
  });

  // These daemons run without DDS Security because their policies say "insecure": true.
  const secureByDefault = [
    ['without "insecure": true, a bridge whose Cyclone configuration has no Security element does not start', async () => {
      for (const [name, cyclone] of [['E', env.CYCLONEDDS_URI], ['F', undefined]]) {
        const file = tmp.file(`${name}.json`);
        fs.writeFileSync(file, JSON.stringify({ version: 1, bundles: {}, bridge: { domain, partition, export: [MAP] } }));
        await assert.rejects(startDaemon(['--socket', tmp.file(`${name}.sock`), '--policy', file],
          { env: { CYCLONEDDS_URI: cyclone } }),
        /exited \(1, null\).*needs DDS Security.*navinfo-dds-security init.*"insecure": true/s);
      }
    }],
    ['with "insecure": true it starts and warns once', () => {
      assert.equal(a.stderr().match(/the DDS bridge runs without DDS Security/g).length, 1, a.stderr());
    }],
  ];
  for (const [name, row] of secureByDefault) test(name, insecureOnly, row);

  test('a bridge that cannot join its domain stops the daemon with the reason', insecureOnly, async () => {
    const broken = '<CycloneDDS><Domain><General><Interfaces><NetworkInterface name="no-such-nic"/></Interfaces>' +
      '</General></Domain></CycloneDDS>';
    await assert.rejects(startDaemon(['--socket', tmp.file('D.sock'), '--policy', policy('D', {}, { export: [MAP] })],
      { env: { CYCLONEDDS_URI: broken } }), /exited \(1, null\).*cannot join DDS domain/s);
  });

  test('an unanswered query times out 1004 on B', async () => {
    await nav.call('answerWith', [{ hold: true }]);
    const answer = await sys.call('query', [MAP, 'navigationMetadata', {}], 15000);
    assert.deepEqual(answer.value, { code: 1004, message: 'Timed out', data: {} });
  });

  test('a second daemon claiming the bundle is refused and logged', async () => {
    const c = await startNamed('C', secondClaimantPolicy());
    await b.waitStderr(/com\.example\.map is claimed by C too, while A serves it/, 10000);
    await c.stop();
  });

  test('the navigation process or its daemon gone: B\'s open request settles 1003, then 1002; B\'s followers are told UNAVAILABLE', async () => {
    const unavailable = () => sys.events.filter((e) => e.event === 'status' && e.status.status === 5).length;
    const toldBefore = unavailable();
    let pending = sys.call('query', [MAP, 'navigationStatus', { app: 'gone' }], 15000);
    await nav.waitEvent('query', (e) => e.params.app === 'gone');
    await nav.kill();
    assert.deepEqual((await pending).value, { code: 1003, message: 'Not found', data: {} });
    // Said by A for its gone navigation process, and exported like any status.
    await eventually(() => unavailable() === toldBefore + 1, 'B\'s follower told UNAVAILABLE for the process');

    nav = await startApp(a.socketPath, MAP);
    await nav.call('answerWith', [{ hold: true }]);
    assert.deepEqual(await nav.call('listenSystem'), { ok: true });
    assert.deepEqual(await nav.call('updateStatus', [{ status: 1, routeIndex: 555 }]), { ok: true });
    await sys.waitEvent('status', (e) => e.status.routeIndex === 555);
    pending = sys.call('query', [MAP, 'navigationStatus', { daemon: 'gone' }], 15000);
    await nav.waitEvent('query', (e) => e.params.daemon === 'gone');
    await a.stop('SIGKILL');
    // Else its client library would reconnect to the next daemon A and hold queries there.
    await nav.kill();
    const answer = await withDeadline(pending, 'the open query after A died', 10000);
    assert.deepEqual(answer.value, { code: 1003, message: 'Not found', data: {} });
    assert.equal((await sys.call('query', [MAP, 'navigationStatus', {}])).value.code, 1002);
    await b.waitStderr(/com\.example\.map: its daemon A is gone/);
    // Said by B itself: nothing came from A once it died.
    await eventually(() => unavailable() === toldBefore + 2, 'B\'s follower told UNAVAILABLE for daemon A');
    const read = await sys.call('getStatus', [MAP]);
    assert.deepEqual([read.value.status, read.value.routeIndex], [5, 0]);
  });

  test('a daemon restarted at once claims the bundle again: records and answers resume', async () => {
    const policyA = tmp.file('A.json');
    for (const round of [1, 2]) {
      // Round 2 restarts A while B still holds the claim of round 1's A.
      if (round === 2) await Promise.all([a.stop('SIGKILL'), nav.kill()]);
      a = await startNamed('A', policyA);
      nav = await startApp(a.socketPath, MAP);
      assert.deepEqual(await nav.call('listenSystem'), { ok: true });
      const mark = 1000 * round;
      await eventually(async () => {
        await nav.call('updateStatus', [{ status: 1, routeIndex: mark }]);
        return sys.events.some((e) => e.event === 'status' && e.status.routeIndex === mark);
      }, `round ${round}: the restarted A's status reaches B`);
      assert.equal((await sys.call('command', [MAP, 'goHome', {}])).value.code, 0);
    }
  });
}

describe('two daemons bridged over DDS on loopback', { skip: !bridgeBuilt && 'built without NAVINFO_DDS_BRIDGE' },
  () => story(false));
describe('two daemons bridged over DDS on loopback, with DDS Security on',
  { skip: !bridgeBuilt && 'built without NAVINFO_DDS_BRIDGE' }, () => story(true));
