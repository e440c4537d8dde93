'use strict';
// A script that ends while deliveries, requests and answers are in flight
// ends cleanly: never by a signal, whichever way it ends and whichever
// service it uses. The client library's IPC threads are never stopped, so
// they keep calling the module's listeners while the script's environment,
// its exit handlers and Node's unloading of the addon run.
const { describe, test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const { spawn } = require('node:child_process');
const path = require('node:path');
const { startDaemon, tempDir, writePolicy, killAll } = require('./support/daemon');

const SCRIPT = path.join(__dirname, 'support', 'ending_script.js');
const BUNDLE = 'com.example.ending';
const RUNS = 12;
const PARALLEL = 3;
const WAYS = ['natural', 'exit', 'worker-natural', 'worker-exit', 'worker-terminate'];

// Scripts that run at the same time are different applications: a bundle
// has one owner at a time through the daemon.
function runScript(how, env, slot) {
  return new Promise((resolve) => {
    const child = spawn(process.execPath, [SCRIPT, how, '200'], {
      stdio: ['ignore', 'ignore', 'pipe'],
      env: { ...process.env, NAVINFO_BUNDLE_NAME: `${BUNDLE}${slot}`, HILOG_LEVEL: 'error', ...env },
    });
    let stderr = '';
    child.stderr.on('data', (chunk) => { stderr += chunk; });
    const timer = setTimeout(() => child.kill('SIGKILL'), 30000);
    child.on('exit', (code, signal) => {
      clearTimeout(timer);
      resolve({ code, signal, stderr: stderr.slice(-500) });
    });
  });
}

// Every run, a few at a time; the outcomes that were not a clean exit.
async function unclean(how, env) {
  const failures = [];
  for (let started = 0; started < RUNS; started += PARALLEL) {
    const batch = Array.from({ length: Math.min(PARALLEL, RUNS - started) }, (_, slot) => runScript(how, env, slot));
    for (const outcome of await Promise.all(batch)) {
      if (outcome.code !== 0 || outcome.signal !== null) failures.push(outcome);
    }
  }
  return failures;
}

describe('a script ends with deliveries in flight', () => {
  describe('in one process', () => {
    for (const how of WAYS) {
      test(`${how}: ${RUNS} runs, every one exits 0`, async () => {
        assert.deepEqual(await unclean(how, { NAVINFO_SERVICE_SOCKET: '' }), []);
      });
    }
  });

  describe('through the daemon', () => {
    const tmp = tempDir();
    let daemon;
    before(async () => {
      const apps = Array.from({ length: PARALLEL }, (_, slot) => [`${BUNDLE}${slot}`,
        { systemApp: true, navigationPermission: true }]);
      const policy = writePolicy(tmp.file('policy.json'), Object.fromEntries(apps));
      daemon = await startDaemon(['--socket', tmp.file('navinfo.sock'), '--policy', policy]);
    });
    after(() => {
      killAll();
      tmp.remove();
    });
    for (const how of WAYS) {
      test(`${how}: ${RUNS} runs, every one exits 0`, async () => {
        assert.deepEqual(await unclean(how, { NAVINFO_SERVICE_SOCKET: daemon.socketPath }), []);
      });
    }
  });
});
