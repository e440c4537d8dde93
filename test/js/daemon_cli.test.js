'use strict';
// navinfo-service as a program: usage, refusals to start, its socket file,
// and its default of refusing everybody without a policy.
const { test, after } = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const { spawnSync } = require('node:child_process');
const { daemonBinary, startDaemon, startApp, tempDir, writePolicy, killAll } = require('./support/daemon');
const { runScript } = require('./support/child');
const paths = require('./support/paths');

const tmp = tempDir();
after(() => {
  killAll();
  tmp.remove();
});

function run(args, env = {}) {
  return spawnSync(daemonBinary, args, { encoding: 'utf8', timeout: 10000, env: { ...process.env, ...env } });
}

test('--help lists every option and variable, --version the package version; bad usage is one line and exits 2', () => {
  const help = run(['--help']);
  assert.equal(help.status, 0);
  for (const name of ['--socket=PATH', '--policy=FILE', '--version', 'NAVINFO_SERVICE_SOCKET', 'NAVINFO_POLICY_FILE',
    'NAVINFO_REQUEST_TIMEOUT_MS', 'HILOG_LEVEL', 'HILOG_OUTPUT', 'LISTEN_FDS', 'NOTIFY_SOCKET', 'JOURNAL_STREAM']) {
    assert.ok(help.stdout.includes(name), name);
  }
  const { version } = require('../../package.json');
  const cache = fs.readFileSync(path.join(paths.buildDir, 'CMakeCache.txt'), 'utf8');
  const bridge = /^NAVINFO_DDS_BRIDGE:BOOL=ON$/m.test(cache) ? 'built in' : 'not built in';
  for (const flag of ['--version', '-v', '-V']) {
    assert.equal(run([flag]).stdout, `navinfo-service ${version}\nDDS bridge: ${bridge}\n`, flag);
  }
  for (const [args, reason] of [
    [['--bogus'], 'unknown option --bogus'],
    [['--socket'], 'option --socket needs a value'],
    [['--socket-mode', '0999'], '--socket-mode must be octal'],
    [['stray'], 'unexpected argument stray'],
  ]) {
    const bad = run(args);
    assert.equal(bad.status, 2, args.join(' '));
    assert.match(bad.stderr, new RegExp(`^navinfo-service: ${reason}.*\\(see navinfo-service --help\\)\\n$`));
  }
  const unusable = run([`--socket=${tmp.file('missing-dir/a.sock')}`, '--policy', writePolicy(tmp.file('u.json'), {})]);
  assert.equal(unusable.status, 1);
  assert.equal(unusable.stderr, `navinfo-service: cannot listen on ${tmp.file('missing-dir/a.sock')}: bind: No such file or directory\n`);
});

// Policy files that once crashed, hung or bloated the daemon and embedded
// applications: each is refused with one line naming the file and the reason.
function malformedPolicies() {
  const write = (name, text) => { fs.writeFileSync(tmp.file(name), text); return tmp.file(name); };
  const fifo = tmp.file('fifo.json');
  spawnSync('mkfifo', [fifo]);
  const huge = write('huge.json', '');
  fs.truncateSync(huge, 300 * 1024 * 1024); // sparse
  const depth = 100000;
  return [
    [write('typo.json', '{ "version": 1, "bundles": { "x": { "systemapp": true } } }'), /unknown key "systemapp"/],
    [write('deep.json', `{"bundles":{"a":{"uids":${'['.repeat(depth)}${']'.repeat(depth)}}}}`), /nested deeper than 8/],
    [write('twice.json', '{"bundles":{"com.a":{"token":"t"},"com.a":{}}}'), /the key "com.a" appears twice in "bundles"/],
    [write('deny-twice.json', '{"defaultDeny":true,"defaultDeny":false}'), /the key "defaultDeny" appears twice/],
    [fifo, /not a regular file/],
    ['/dev/zero', /not a regular file/],
    [huge, /larger than 1048576 bytes/],
  ];
}

test('a malformed policy file stops the start with one line and status 1; the embedded service refuses it', () => {
  for (const [file, reason] of malformedPolicies()) {
    const refused = run(['--socket', tmp.file('a.sock'), '--policy', file]);
    assert.equal(refused.status, 1, `${file}: ${refused.signal} ${refused.stderr}`);
    const lines = refused.stderr.trimEnd().split('\n');
    assert.equal(lines.length, 1, refused.stderr.slice(0, 500));
    assert.ok(lines[0].startsWith(`navinfo-service: policy ${file}: `), lines[0]);
    assert.match(lines[0], reason);
    assert.equal(fs.existsSync(tmp.file('a.sock')), false);

    const app = runScript(`
      const nav = require(process.env.NAVINFO_ROOT);
      try { nav.getNavigationController().updateNavigationStatus({ status: 1 }); console.log('accepted'); }
      catch (e) { console.log(e.code); }`, { env: { NAVINFO_POLICY_FILE: file, HILOG_LEVEL: 'error' } });
    assert.equal(app.status, 0, `${file}: ${app.signal} ${app.stderr.slice(0, 500)}`);
    assert.equal(app.stdout.trim(), '1005', `${file}: every call is refused`);
    assert.match(app.stderr, reason);
  }
});

test('a socket in use stops the start with status 1', async () => {
  const policy = writePolicy(tmp.file('ok.json'), {});
  const first = await startDaemon(['--socket', tmp.file('b.sock'), '--policy', policy]);
  const second = run(['--socket', tmp.file('b.sock'), '--policy', policy]);
  assert.equal(second.status, 1);
  assert.match(second.stderr, /another service/);
  await first.stop();
});

test('the socket is private by default and --socket-mode widens it; the environment names it too', async () => {
  const policy = writePolicy(tmp.file('p.json'), {});
  const privateOne = await startDaemon(['--policy', policy], { env: { NAVINFO_SERVICE_SOCKET: tmp.file('env.sock') } });
  assert.equal(privateOne.socketPath, tmp.file('env.sock'));
  assert.equal(fs.statSync(privateOne.socketPath).mode & 0o777, 0o600);
  const shared = await startDaemon([`--socket=${tmp.file('shared.sock')}`, '--socket-mode=0660'],
    { env: { NAVINFO_POLICY_FILE: policy } });
  assert.equal(fs.statSync(shared.socketPath).mode & 0o777, 0o660);
  await Promise.all([privateOne.stop(), shared.stop()]);
});

test('without a policy the daemon refuses every application (1005)', async () => {
  const daemon = await startDaemon(['--socket', tmp.file('nopolicy.sock')], { env: { NAVINFO_POLICY_FILE: '' } });
  await daemon.waitStderr(/every client will be refused/);
  const app = await startApp(daemon.socketPath, 'com.example.dash');
  assert.equal((await app.call('updateStatus', [{ status: 1 }])).error.code, '1005');
  assert.equal((await app.call('getStatus', ['com.example.map'])).error.code, '1005');
  await app.kill();
  await daemon.stop();
});

// Each row: the units as installed (a drop-in under navinfo-service.service.d/), and
// what systemd's own offline analysis of the sandbox must say (✓ kept, ✗ opened).
const unitRows = [
  ['the units alone: no network', [],
    [/✓ PrivateNetwork=/, /✓ RestrictAddressFamilies=~AF_\(INET\|INET6\)/, /✓ RestrictAddressFamilies=~AF_NETLINK/]],
  ['with the bridge drop-in: network and netlink, the rest of the sandbox kept', ['navinfo-service-bridge.conf'],
    [/✗ PrivateNetwork=/, /✗ RestrictAddressFamilies=~AF_\(INET\|INET6\)/, /✓ RestrictAddressFamilies=~AF_PACKET/,
      /✓ RestrictAddressFamilies=~…/, /✓ CapabilityBoundingSet=~CAP_NET_ADMIN/, /✓ NoNewPrivileges=/]],
];
for (const [name, dropIns, expected] of unitRows) {
  test(`systemd units verify, with ExecStart pointing at the daemon built here: ${name}`, () => {
    const folder = tmp.file(`units-${dropIns.length}`);
    fs.mkdirSync(path.join(folder, 'navinfo-service.service.d'), { recursive: true });
    const deploy = path.join(__dirname, '../../deploy/systemd');
    for (const unit of ['navinfo-service.socket', 'navinfo-service.service']) {
      const text = fs.readFileSync(path.join(deploy, unit), 'utf8');
      fs.writeFileSync(path.join(folder, unit), text.replace('/opt/navinfo-service/navinfo-service', daemonBinary));
    }
    for (const dropIn of dropIns) {
      fs.copyFileSync(path.join(deploy, dropIn), path.join(folder, 'navinfo-service.service.d', dropIn));
    }
    const verify = spawnSync('systemd-analyze', ['verify', 'navinfo-service.socket', 'navinfo-service.service'],
      { cwd: folder, encoding: 'utf8', timeout: 20000 });
    assert.equal(verify.status, 0, verify.stderr);
    assert.equal(verify.stderr, '', 'no unknown key or bad value in a unit or drop-in');
    const security = spawnSync('systemd-analyze', ['security', '--offline=yes', '--no-pager', 'navinfo-service.service'],
      { cwd: folder, encoding: 'utf8', timeout: 20000 });
    assert.equal(security.status, 0, security.stderr);
    for (const line of expected) assert.match(security.stdout, line);
  });
}
