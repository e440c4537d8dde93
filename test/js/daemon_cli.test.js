'use strict';
// navinfo-service as a program: usage, refusals to start, its socket file,
// and its default of refusing everybody without a policy.
const { test, after } = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const { spawnSync } = require('node:child_process');
const { daemonBinary, startDaemon, startApp, tempDir, writePolicy, killAll } = require('./support/daemon');

const tmp = tempDir();
after(() => {
  killAll();
  tmp.remove();
});

function run(args, env = {}) {
  return spawnSync(daemonBinary, args, { encoding: 'utf8', timeout: 10000, env: { ...process.env, ...env } });
}

test('--help prints the usage and exits 0; bad usage exits 2 with a reason', () => {
  const help = run(['--help']);
  assert.equal(help.status, 0);
  assert.match(help.stdout, /--socket PATH/);
  assert.match(help.stdout, /--policy FILE/);
  const bad = run(['--bogus']);
  assert.equal(bad.status, 2);
  assert.match(bad.stderr, /unknown option --bogus/);
  assert.equal(run(['--socket-mode', '0999']).status, 2);
});

test('an invalid policy file or a socket in use stops the start with status 1', async () => {
  const broken = tmp.file('broken.json');
  fs.writeFileSync(broken, '{ "version": 1, "bundles": { "x": { "systemapp": true } } }');
  const refused = run(['--socket', tmp.file('a.sock'), '--policy', broken]);
  assert.equal(refused.status, 1);
  assert.match(refused.stderr, /policy/);
  assert.equal(fs.existsSync(tmp.file('a.sock')), false);

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
  const shared = await startDaemon(['--socket', tmp.file('shared.sock'), '--socket-mode', '0660'],
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
