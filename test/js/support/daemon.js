'use strict';
// The navinfo-service daemon and application processes for the JavaScript
// tests. Every process started here is remembered, and killAll() (for the
// after hooks) kills what is still running. Every wait has a deadline.
const { spawn, fork } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const paths = require('./paths');

const daemonBinary = path.join(paths.buildDir, 'bin', 'navinfo-service');
const running = new Set();

function track(child) {
  running.add(child);
  child.once('exit', () => running.delete(child));
  return child;
}

function killAll() {
  for (const child of running) {
    try { child.kill('SIGKILL'); } catch { /* already gone */ }
  }
  running.clear();
}

function withDeadline(promise, label, timeoutMs) {
  let timer;
  const deadline = new Promise((_, reject) => {
    timer = setTimeout(() => reject(new Error(`timed out after ${timeoutMs} ms: ${label}`)), timeoutMs);
  });
  return Promise.race([promise, deadline]).finally(() => clearTimeout(timer));
}

// A fresh directory for a socket and a policy file, removed by remove().
function tempDir() {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'navinfo-js-'));
  return {
    dir,
    file: (name) => path.join(dir, name),
    remove: () => fs.rmSync(dir, { recursive: true, force: true }),
  };
}

function writePolicy(file, bundles, defaultDeny = true) {
  fs.writeFileSync(file, JSON.stringify({ version: 1, defaultDeny, bundles }, null, 2));
  return file;
}

function exitOf(child) {
  if (child.exitCode !== null || child.signalCode !== null) {
    return Promise.resolve({ code: child.exitCode, signal: child.signalCode });
  }
  return new Promise((resolve) => child.once('exit', (code, signal) => resolve({ code, signal })));
}

// Starts navinfo-service with args and resolves once it printed its
// readiness line; rejects if it exits first or stays silent too long.
async function startDaemon(args, { env = {}, timeoutMs = 10000 } = {}) {
  const child = track(spawn(daemonBinary, args, {
    stdio: ['ignore', 'pipe', 'pipe'],
    env: { ...process.env, HILOG_LEVEL: process.env.HILOG_LEVEL || 'warn', ...env },
  }));
  let stdout = '';
  let stderr = '';
  child.stderr.on('data', (chunk) => { stderr += chunk; });
  const ready = new Promise((resolve, reject) => {
    child.stdout.on('data', (chunk) => {
      stdout += chunk;
      const match = /navinfo-service: listening on (.+)\n/.exec(stdout);
      if (match) resolve(match[1]);
    });
    child.once('exit', (code, signal) => reject(new Error(`navinfo-service exited (${code}, ${signal}): ${stderr}`)));
  });
  const socketPath = await withDeadline(ready, 'navinfo-service readiness line', timeoutMs);
  return {
    child,
    socketPath,
    stderr: () => stderr,
    // Resolves once stderr matches pattern (its pipe may lag behind stdout's).
    async waitStderr(pattern, waitTimeoutMs = 5000) {
      const deadline = Date.now() + waitTimeoutMs;
      while (!pattern.test(stderr)) {
        if (Date.now() > deadline) throw new Error(`stderr never matched ${pattern}: ${stderr}`);
        await new Promise((resolve) => setTimeout(resolve, 10));
      }
    },
    exit: () => exitOf(child),
    async stop(signal = 'SIGTERM', stopTimeoutMs = 10000) {
      child.kill(signal);
      return withDeadline(exitOf(child), `navinfo-service to stop on ${signal}`, stopTimeoutMs);
    },
  };
}

// An application process (app_child.js, or `script` of this folder speaking
// the same messages) connected to the daemon at socketPath as bundle (with
// token if given).
async function startApp(socketPath, bundle, { token, env = {}, timeoutMs = 10000, script = 'app_child.js' } = {}) {
  const childEnv = {
    ...process.env,
    NAVINFO_BUILD_DIR: paths.buildDir,
    NAVINFO_ROOT: paths.root,
    NAVINFO_SERVICE_SOCKET: socketPath,
    NAVINFO_BUNDLE_NAME: bundle,
    HILOG_LEVEL: process.env.HILOG_LEVEL || 'off',
    ...env,
  };
  delete childEnv.NAVINFO_BUNDLE_TOKEN;
  if (token !== undefined) childEnv.NAVINFO_BUNDLE_TOKEN = token;
  const child = track(fork(path.join(__dirname, script), [], {
    env: childEnv,
    stdio: ['ignore', 'inherit', 'inherit', 'ipc'],
  }));

  let nextId = 1;
  const calls = new Map();
  const events = [];
  const waiters = [];
  const ready = new Promise((resolve, reject) => {
    child.on('message', (message) => {
      if (message.ready) {
        resolve(message.pid);
      } else if (message.id !== undefined) {
        const { id, ...result } = message;
        const call = calls.get(id);
        calls.delete(id);
        if (call) call(result);
      } else if (message.event) {
        events.push(message);
        for (const waiter of [...waiters]) waiter();
      }
    });
    child.once('exit', (code, signal) => reject(new Error(`${bundle} exited (${code}, ${signal})`)));
  });
  const pid = await withDeadline(ready, `${bundle} to start`, timeoutMs);

  return {
    bundle,
    pid,
    child,
    events,
    // Runs an operation of app_child.js; resolves { ok, value } or { ok: false, error: { code, message } }.
    call(op, args = [], callTimeoutMs = 10000) {
      const id = nextId++;
      const answer = new Promise((resolve) => {
        calls.set(id, resolve);
        child.send({ id, op, args });
      });
      return withDeadline(answer, `${bundle}.${op}`, callTimeoutMs);
    },
    // Resolves with the first event (already seen or to come) of that kind matching predicate.
    waitEvent(kind, predicate = () => true, eventTimeoutMs = 10000) {
      const find = () => events.find((e) => e.event === kind && predicate(e));
      const found = find();
      if (found) return Promise.resolve(found);
      let waiter;
      const arrival = new Promise((resolve) => {
        waiter = () => {
          const event = find();
          if (event) resolve(event);
        };
        waiters.push(waiter);
      });
      return withDeadline(arrival, `${bundle}: ${kind} event`, eventTimeoutMs)
        .finally(() => waiters.splice(waiters.indexOf(waiter), 1));
    },
    kill(signal = 'SIGKILL') {
      child.kill(signal);
      return withDeadline(exitOf(child), `${bundle} to exit`, 10000);
    },
  };
}

module.exports = { daemonBinary, startDaemon, startApp, tempDir, writePolicy, killAll, withDeadline };
