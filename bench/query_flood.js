'use strict';
// Through the navinfo-service daemon: one system application sends 10,000
// queries without waiting for any answer (each call returns its promise at
// once), and a navigation application answers each as soon as it arrives.
//
// Prints one JSON line: how long sending took; how the promises settled, by
// code (0: the navigation application's answer; 1006: refused, over the
// requester's share; 1004: timed out; anything else is a failure); promises
// still pending at the end (none may be); queries the navigation application
// received; connection losses in either application's log; and the daemon's
// resident memory.
//
//   QUERIES=10000  ANSWER_DELAY_MS=0 (how long the navigation application
//   takes for each answer; while it is slower than the queries come, the
//   requester's share fills up and the excess is refused 1006)
const { waitForLine } = require('./child_output');
const { spawn, fork } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const root = path.join(__dirname, '..');
const buildDir = path.resolve(process.env.NAVINFO_BUILD_DIR || path.join(root, 'build'));
const queries = Number(process.env.QUERIES || 10000);
const answerDelayMs = Number(process.env.ANSWER_DELAY_MS || 0);
const MAP = 'com.example.map';
const DASH = 'com.example.dash';

const role = process.env.QUERY_FLOOD_ROLE;

if (role === 'navigation') {
  const nav = require(root);
  let received = 0;
  nav.getNavigationController().registerSystemNavigationListener({
    onQueryNavigationInfo: async (type) => {
      received++;
      if (answerDelayMs > 0) await new Promise((resolve) => setTimeout(resolve, answerDelayMs));
      return { code: 0, message: 'ok', data: { type } };
    },
    onReceiveNavigationCmd: async () => ({ code: 0, message: 'ok', data: {} }),
  });
  process.on('message', () => process.send({ received }, () => process.disconnect()));
  process.send({ ready: true });
  return;
}

if (role === 'system') {
  const nav = require(root);
  const system = nav.getSystemNavigationController();
  process.once('message', async () => {
    const byCode = {};
    let settled = 0;
    const start = process.hrtime.bigint();
    const promises = [];
    for (let i = 0; i < queries; i++) {
      promises.push(system.queryNavigationInfo(MAP, nav.QueryType.NAVIGATION_STATUS, { i }).then((answer) => {
        byCode[answer.code] = (byCode[answer.code] || 0) + 1;
        settled++;
      }));
    }
    const sendMs = Number(process.hrtime.bigint() - start) / 1e6;
    const deadline = new Promise((resolve) => setTimeout(resolve, 30000));
    await Promise.race([Promise.all(promises), deadline]);
    const settleMs = Number(process.hrtime.bigint() - start) / 1e6;
    process.send({ sendMs, settleMs, byCode, pending: queries - settled }, () => process.disconnect());
  });
  process.send({ ready: true });
  return;
}

const nextMessage = (child) => new Promise((resolve, reject) => {
  child.once('message', resolve);
  child.once('exit', (code) => reject(new Error(`an application ended early (${code})`)));
});

(async () => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'navinfo-bench-'));
  const children = [];
  try {
    const policy = path.join(dir, 'policy.json');
    fs.writeFileSync(policy, JSON.stringify({ version: 1, defaultDeny: true, bundles: {
      [MAP]: { navigationPermission: true },
      [DASH]: { systemApp: true, navigationPermission: true },
    } }));
    const socket = path.join(dir, 'navinfo.sock');
    const daemon = spawn(path.join(buildDir, 'bin', 'navinfo-service'), ['--socket', socket, '--policy', policy],
      { stdio: ['ignore', 'pipe', 'inherit'], env: { ...process.env, HILOG_LEVEL: 'error' } });
    children.push(daemon);
    await waitForLine(daemon, /listening on/);
    const logs = {};
    const start = (roleName, bundle) => {
      logs[roleName] = '';
      const child = fork(__filename, [], {
        env: { ...process.env, QUERY_FLOOD_ROLE: roleName, NAVINFO_BUILD_DIR: buildDir, NAVINFO_SERVICE_SOCKET: socket,
          NAVINFO_BUNDLE_NAME: bundle, HILOG_LEVEL: 'warn' },
        stdio: ['ignore', 'inherit', 'pipe', 'ipc'],
      });
      child.stderr.on('data', (chunk) => { logs[roleName] += chunk; });
      children.push(child);
      return child;
    };
    const navigation = start('navigation', MAP);
    await nextMessage(navigation);
    const system = start('system', DASH);
    await nextMessage(system);
    const result = nextMessage(system);
    system.send({ go: true });
    const flood = await result;
    const navDone = nextMessage(navigation);
    navigation.send({ report: true });
    const { received } = await navDone;
    const losses = (log) => (log.match(/connection to .* lost/g) || []).length;
    const rss = Number(/VmRSS:\s+(\d+)/.exec(fs.readFileSync(`/proc/${daemon.pid}/status`, 'utf8'))[1]);
    console.log(JSON.stringify({
      benchmark: 'query_flood',
      queries,
      answerDelayMs,
      sendMs: Math.round(flood.sendMs),
      settleMs: Math.round(flood.settleMs),
      answersByCode: flood.byCode,
      pending: flood.pending,
      receivedByNavigation: received,
      navigationConnectionLosses: losses(logs.navigation),
      systemConnectionLosses: losses(logs.system),
      daemonRssMiB: +(rss / 1024).toFixed(1),
    }));
  } finally {
    for (const child of children) child.kill('SIGKILL');
    fs.rmSync(dir, { recursive: true, force: true });
  }
})().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
