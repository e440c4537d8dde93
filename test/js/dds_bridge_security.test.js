'use strict';
// Two navinfo-service daemons bridged over DDS with DDS Security on: their
// certificates, governance, permissions and Cyclone configurations made by
// `navinfo-dds-security init` from their two policies, loopback only, each
// daemon with its own CYCLONEDDS_URI. A navigation process on daemon A (the
// exporter), a system process on daemon B (the importer).
const { describe, test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const { spawn, spawnSync, execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const paths = require('./support/paths');
const { startDaemon, startApp, tempDir, killAll, withDeadline } = require('./support/daemon');
const { bridgeBuilt, LOOPBACK_CYCLONE_XML } = require('./support/dds');
const { eventually: waitFor } = require('./support/wait');

const MAP = 'com.example.map';
const DASH = 'com.example.dash';
const DECOY = 'com.example.decoy'; // exported by C, so that its permissions are an exporter's too


describe('two daemons bridged over DDS with Security on', { skip: !bridgeBuilt && 'built without NAVINFO_DDS_BRIDGE' }, () => {
  const tmp = tempDir();
  const domain = 1 + ((process.pid + 100) % 200);
  const partition = `navinfo-secure-${process.pid}`;
  const out = tmp.file('dds-security');
  const uriOf = (node) => ({ CYCLONEDDS_URI: `file://${path.join(out, node, 'cyclonedds.xml')}` });
  let a;
  let b;
  let nav;
  let sys;

  function policy(name, bundles, bridge, remoteRequesters = {}) {
    const file = tmp.file(`${name}.json`);
    fs.writeFileSync(file, JSON.stringify({ version: 1, defaultDeny: true, bundles, remoteRequesters,
      bridge: { domain, partition, node: name, livelinessMs: 500, ...bridge } }));
    return file;
  }
  const startNamed = (name, policyFile, env) => startDaemon(['--socket', tmp.file(`${name}.sock`), '--policy',
    policyFile, '--request-timeout-ms', '3000'], { env, timeoutMs: 15000 });

  // The daemons authenticate each other first: a longer wait by default.
  const eventually = (check, label, timeoutMs = 15000) => waitFor(check, label, timeoutMs);

  before(async () => {
    const policyA = policy('A', { [MAP]: { navigationPermission: true } }, { export: [MAP] },
      { [`B/${DASH}`]: { systemApp: true, navigationPermission: true } });
    const policyB = policy('B', { [MAP]: { navigationPermission: true, token: 'imported only' },
      [DASH]: { systemApp: true, navigationPermission: true } }, { import: [MAP] });
    // A third node of the vehicle with full rights: it exports and imports.
    const policyC = policy('C', {}, { export: [DECOY], import: [MAP] });
    execFileSync(process.execPath, [path.join(paths.root, 'bin', 'navinfo-dds-security.js'), 'init', '--out', out,
      '--policy', policyA, '--policy', policyB, '--policy', policyC, '--interface', 'lo', '--peer', '127.0.0.1'],
    { stdio: 'pipe' });
    a = await startNamed('A', policyA, uriOf('A'));
    nav = await startApp(a.socketPath, MAP);
    assert.deepEqual(await nav.call('listenSystem'), { ok: true });
    assert.deepEqual(await nav.call('updateStatus', [{ status: 1, routeIndex: 7, customData: 'before B' }]), { ok: true });
    b = await startNamed('B', policyB, uriOf('B'));
    sys = await startApp(b.socketPath, DASH);
  });

  after(() => {
    killAll();
    tmp.remove();
  });

  test('the command leaves every private key readable by its owner only', () => {
    for (const key of ['ca/identity_ca.key', 'ca/permissions_ca.key', 'A/A.key', 'B/B.key', 'C/C.key']) {
      assert.equal(fs.statSync(path.join(out, key)).mode & 0o777, 0o600, key);
    }
  });

  test('status, a query and a command flow across', async () => {
    // Published on A before B started: B gets it once the two have authenticated each other.
    await eventually(async () => {
      const r = await sys.call('getStatus', [MAP]);
      return r.ok && r.value.customData === 'before B' && r.value.routeIndex === 7;
    }, 'B reads the status published before it started');
    assert.equal((await sys.call('followStatus', [MAP])).ok, true);
    assert.deepEqual(await nav.call('updateStatus', [{ status: 1, routeIndex: 101 }]), { ok: true });
    await sys.waitEvent('status', (e) => e.status.routeIndex === 101);
    const query = await sys.call('query', [MAP, 'navigationStatus', { zoom: 3 }]);
    assert.deepEqual(query.value,
      { code: 0, message: 'ok:navigationStatus', data: { type: 'navigationStatus', params: { zoom: 3 } } });
    const command = await sys.call('command', [MAP, 'goHome', {}]);
    assert.deepEqual(command.value, { code: 0, message: 'ok:goHome', data: { type: 'goHome', params: {} } });
  });

  // Each row: a participant that is not what its credentials say, and how it is kept out.
  const rows = [
    ['a third participant without credentials sees no claim, matches no daemon and forges nothing', async () => {
      const plain = tmp.file('plain.xml');
      fs.writeFileSync(plain, LOOPBACK_CYCLONE_XML);
      const forger = spawn(path.join(paths.binDir, 'navinfo_dds_forger'), [String(domain), partition, MAP, '4'],
        { env: { ...process.env, CYCLONEDDS_URI: `file://${plain}` }, stdio: ['ignore', 'pipe', 'pipe'] });
      let output = '';
      forger.stdout.on('data', (chunk) => { output += chunk; });
      forger.stderr.on('data', (chunk) => { output += chunk; });
      // Real records keep flowing while it tries.
      const mark = 4242;
      await eventually(async () => {
        await nav.call('updateStatus', [{ status: 1, routeIndex: mark }]);
        return sys.events.some((e) => e.event === 'status' && e.status.routeIndex === mark);
      }, 'A\'s status reaches B while the forger tries');
      const code = await withDeadline(new Promise((resolve) => forger.once('exit', resolve)), 'the forger ends', 15000);
      assert.equal(code, 1, output);
      assert.match(output, /never saw the claim and both daemons/);
      assert.doesNotMatch(output, /ready/);
      assert.equal(sys.events.filter((e) => e.event === 'status' && e.status.routeIndex === 999999).length, 0);
    }],
    ['a third participant with the importer\'s credentials may not write records', async () => {
      const forger = spawn(path.join(paths.binDir, 'navinfo_dds_forger'), [String(domain), partition, MAP, '4'],
        { env: { ...process.env, ...uriOf('B') }, stdio: ['ignore', 'pipe', 'pipe'] });
      let output = '';
      forger.stdout.on('data', (chunk) => { output += chunk; });
      forger.stderr.on('data', (chunk) => { output += chunk; });
      const code = await withDeadline(new Promise((resolve) => forger.once('exit', resolve)), 'the forger ends', 15000);
      assert.equal(code, 1, output);
      assert.match(output, /cannot create the endpoints/);
    }],
    ['a third node with valid credentials posing as B cannot speak for A\'s bundle nor ask in B\'s name', async () => {
      // Its records, replies, second claim and requests (test/dds/dds_forger.cpp), with C's
      // certificate but announcing itself as node B and naming B in its own requests.
      const forger = spawn(path.join(paths.binDir, 'navinfo_dds_forger'), [String(domain), partition, MAP, '20', 'forge', 'B'],
        { env: { ...process.env, ...uriOf('C') }, stdio: ['ignore', 'pipe', 'pipe'] });
      let output = '';
      forger.stdout.on('data', (chunk) => { output += chunk; });
      forger.stderr.on('data', (chunk) => { output += chunk; });
      try {
        await eventually(() => /ready/.test(output), `the forger with C's credentials matched both daemons: ${output}`);
        await nav.call('answerWith', [{ delayMs: 300 }]); // time for the forger to answer first
        const mark = 4343;
        await eventually(async () => {
          await nav.call('updateStatus', [{ status: 1, routeIndex: mark }]);
          return sys.events.some((e) => e.event === 'status' && e.status.routeIndex === mark);
        }, 'A\'s status reaches B while C forges');
        for (const n of [1, 2, 3]) {
          const answer = await sys.call('query', [MAP, 'navigationStatus', { n }], 10000);
          assert.deepEqual(answer.value,
            { code: 0, message: 'ok:navigationStatus', data: { type: 'navigationStatus', params: { n } } });
        }
        assert.equal(sys.events.filter((e) => e.event === 'status' && e.status.routeIndex === 999999).length, 0,
          'no record of C reached B\'s follower');
        assert.equal((await sys.call('getStatus', [MAP])).value.routeIndex, mark);
        assert.equal(nav.events.filter((e) => e.event === 'command' && e.params.forged).length, 0,
          'no request of C reached the navigation process');
        await b.waitStderr(/dropped \d+ records not written by the daemon that claims their bundle/, 5000);
        await b.waitStderr(/dropped \d+ replies not written by the daemon the request went to/, 5000);
        await b.waitStderr(/com\.example\.map is claimed by B too, while A serves it/, 5000);
        await a.waitStderr(/dropped \d+ requests whose requester is not the daemon that sent them/, 5000);
        await a.waitStderr(/dropped \d+ requests whose node is not the one their sender's certificate names/, 5000);
      } finally {
        forger.kill('SIGKILL');
        await nav.call('answerWith', [{ delayMs: 0 }]);
      }
    }],
    ['a daemon whose permissions do not allow its role exits 1 naming the topic and why', async () => {
      // An exporting policy with the importer's credentials: B may not write claims.
      const policyD = policy('D', { [MAP]: { navigationPermission: true } }, { export: [MAP] });
      await assert.rejects(startNamed('D', policyD, uriOf('B')),
        /exited \(1, null\).*cannot write navinfo_Claim \(.*permissions.*publish navinfo_Claim.*\): Not Allowed By Security/s);
    }],
  ];
  for (const [name, row] of rows) test(name, row);

  // The forger's other modes without credentials: claiming the bundle itself
  // (it waits to be matched, and never is), and garbage on every topic
  // (written blind). Neither daemon sees any of it, so neither logs it.
  const uncredentialed = [
    ['claim', 1, /never matched both daemons/],
    ['garbage', 0, /"written":[1-9]/],
  ];
  for (const [mode, exitCode, output] of uncredentialed) {
    test(`a third participant without credentials (${mode}): nothing of it reaches either daemon`, async () => {
      const plain = tmp.file('plain.xml');
      fs.writeFileSync(plain, LOOPBACK_CYCLONE_XML);
      assert.equal((await sys.call('followStatus', [MAP])).ok, true);
      // Drops of the rows before are counted and logged up to a second later.
      await new Promise((resolve) => setTimeout(resolve, 1500));
      const since = sys.events.length;
      const [fromA, fromB] = [a.stderr().length, b.stderr().length];
      const forger = spawn(path.join(paths.binDir, 'navinfo_dds_forger'), [String(domain), partition, MAP, '4', mode],
        { env: { ...process.env, CYCLONEDDS_URI: `file://${plain}` }, stdio: ['ignore', 'pipe', 'pipe'] });
      let text = '';
      forger.stdout.on('data', (chunk) => { text += chunk; });
      forger.stderr.on('data', (chunk) => { text += chunk; });
      const mark = 7000 + exitCode;
      await eventually(async () => {
        await nav.call('updateStatus', [{ status: 1, routeIndex: mark }]);
        return sys.events.some((e) => e.event === 'status' && e.status.routeIndex === mark);
      }, 'A\'s status reaches B while the forger runs');
      assert.equal((await sys.call('query', [MAP, 'navigationStatus', {}], 10000)).value.code, 0);
      const code = await withDeadline(new Promise((resolve) => forger.once('exit', resolve)), 'the forger ends', 15000);
      assert.equal(code, exitCode, text);
      assert.match(text, output);
      assert.deepEqual(sys.events.slice(since).filter((e) => e.event === 'status' && e.status.routeIndex !== mark), []);
      for (const logged of [a.stderr().slice(fromA), b.stderr().slice(fromB)]) {
        assert.doesNotMatch(logged, /FORGER|dropped|oversize|deserialization/);
      }
    });
  }

  // With valid credentials of its own, a node's garbage is authenticated and
  // delivered to both daemons: what keeps it out is the bridge itself.
  test('a third node with valid credentials flooding garbage: nothing delivered, A still serves, logs stay short', async () => {
    assert.equal((await sys.call('followStatus', [MAP])).ok, true);
    await new Promise((resolve) => setTimeout(resolve, 1500)); // the rows before log their drops
    const since = sys.events.length;
    const [fromA, fromB] = [a.stderr().length, b.stderr().length];
    const seconds = 4;
    const forger = spawn(path.join(paths.binDir, 'navinfo_dds_forger'), [String(domain), partition, MAP,
      String(seconds), 'garbage'], { env: { ...process.env, ...uriOf('C') }, stdio: ['ignore', 'pipe', 'pipe'] });
    let text = '';
    forger.stdout.on('data', (chunk) => { text += chunk; });
    forger.stderr.on('data', (chunk) => { text += chunk; });
    const exited = new Promise((resolve) => forger.once('exit', resolve));
    const mark = 7100;
    await eventually(async () => {
      await nav.call('updateStatus', [{ status: 1, routeIndex: mark }]);
      return sys.events.some((e) => e.event === 'status' && e.status.routeIndex === mark);
    }, 'A\'s status reaches B while C floods');
    assert.equal((await sys.call('query', [MAP, 'navigationStatus', {}], 10000)).value.code, 0);
    assert.equal(await withDeadline(exited, 'the forger ends', 15000), 0, text);
    assert.match(text, /"written":[1-9]/);
    assert.deepEqual(sys.events.slice(since).filter((e) => e.event === 'status' && e.status.routeIndex !== mark), []);
    // Each kind of refusal is one line a second with its count; a line per sample would be hundreds.
    for (const [name, logged] of [['A', a.stderr().slice(fromA)], ['B', b.stderr().slice(fromB)]]) {
      const lines = logged.split('\n').filter(Boolean);
      assert.ok(lines.length <= 8 * (seconds + 2), `${name} wrote ${lines.length} lines:\n${logged}`);
    }
  });
});

describe('navinfo-dds-security init refuses what it cannot make', () => {
  const tmp = tempDir();
  after(() => tmp.remove());
  const write = (name, value) => {
    fs.writeFileSync(tmp.file(name), typeof value === 'string' ? value : JSON.stringify(value));
    return tmp.file(name);
  };
  const init = (out, args) => spawnSync(process.execPath,
    [path.join(paths.root, 'bin', 'navinfo-dds-security.js'), 'init', '--out', out, ...args], { encoding: 'utf8' });
  const head = { version: 1, bundles: {} };
  const rows = [
    ['a policy without a bridge section', () => ['--policy', write('none.json', head)], 1, /none\.json: no bridge section/],
    ['a bridge section without a node', () => ['--policy', write('anon.json', { ...head, bridge: { export: ['a'] } })],
      1, /must name its node/],
    ['a node name that is not a file name', () => ['--policy', write('slash.json', { ...head, bridge: { node: '../x' } })],
      1, /must name its node/],
    ['two policies naming the same node', () => ['--policy', write('n1.json', { ...head, bridge: { node: 'n' } }),
      '--policy', write('n2.json', { ...head, bridge: { node: 'n' } })], 1, /two policies name the node n/],
    ['a policy that is not JSON', () => ['--policy', write('bad.json', '{')], 1, /bad\.json: /],
    ['no policy', () => [], 2, /at least one --policy is required/],
    ['no plugins where it is told to look', () => ['--policy', write('p.json', { ...head, bridge: { node: 'p' } }),
      '--plugins', tmp.dir], 1, /no DDS Security plugins/],
  ];
  rows.forEach(([name, args, status, message], i) => {
    test(name, () => {
      const out = tmp.file(`out-${i}`);
      const result = init(out, args());
      assert.equal(result.status, status, result.stderr);
      assert.match(result.stderr, message);
      assert.equal(fs.existsSync(out), false, 'nothing made');
    });
  });
});
