'use strict';
// Through the navinfo-service daemon: one publisher and 1, 8 and 32 follower
// processes for a fixed time each. The publisher numbers its statuses
// (routeIndex) and stamps them with the monotonic clock, which every process
// of the machine shares; each follower counts what it receives.
//
// Per follower count it prints one JSON line: statuses published, deliveries
// per second (all followers together, from the first publication to the last
// delivery before the final status), and per follower on average: records
// lost (neither delivered nor reported conflated), conflated (superseded
// records the daemon or the client library reported dropped in the
// follower's log), out of order, whether the last delivered is the last
// published; in total the followers' self-disconnects (connection losses in
// their log); latency p50/p99 over all deliveries; the daemon's resident
// memory at the end and its peak; CPU time of the daemon and of a follower.
//
//   FOLLOWERS=1,8,32  SECONDS=5  RATE=0 (statuses per second, 0: as fast as
//   the publisher can)
const { waitForLine } = require('./child_output');
const { spawn, fork } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const root = path.join(__dirname, '..');
const buildDir = path.resolve(process.env.NAVINFO_BUILD_DIR || path.join(root, 'build'));
const followerCounts = (process.env.FOLLOWERS || '1,8,32').split(',').map(Number);
const seconds = Number(process.env.SECONDS || 5);
const rate = Number(process.env.RATE || 0);
const MAP = 'com.example.map';
const DASH = 'com.example.dash';

const role = process.env.FOLLOWER_LOAD_ROLE;

// --- publisher: numbered, stamped statuses for `seconds`, then one last one ---
function publish() {
  const nav = require(root);
  const controller = nav.getNavigationController();
  let index = 0;
  // The final status (theme 1) comes after a pause and does not count for the rate.
  const send = (theme = 0) => {
    controller.updateNavigationStatus({ routeIndex: index, theme, customData: String(process.hrtime.bigint()) });
    index++;
  };
  process.once('message', () => {
    const startedAt = String(process.hrtime.bigint());
    const start = Date.now();
    const end = start + seconds * 1000;
    const tick = () => {
      const now = Date.now();
      if (now >= end) {
        // One last status after a pause: followers that were behind log
        // what they still had to count with it (their log is rate-limited).
        setTimeout(() => {
          send(1);
          process.send({ published: index, startedAt }, () => process.disconnect());
        }, 1100);
        return;
      }
      if (rate > 0) {
        const due = Math.floor(((now - start) / 1000) * rate);
        while (index < due) send();
        setTimeout(tick, 1);
      } else {
        for (let i = 0; i < 200; i++) send();
        setImmediate(tick);
      }
    };
    tick();
  });
  process.send({ ready: true });
}

// --- follower: counts what arrives until told how many were published ---
function follow() {
  const nav = require(root);
  const system = nav.getSystemNavigationController();
  const keepAlive = setInterval(() => {}, 1000);
  const latencies = [];
  let delivered = 0;
  let outOfOrder = 0;
  let highest = -1;
  let last = -1;
  let lastRegularAtUs = 0; // when the last status before the final one came
  system.registerNavigationStatusListener({
    onStatusChanged(bundle, status) {
      const now = process.hrtime.bigint();
      latencies.push(Number(now - BigInt(status.customData)) / 1000);
      if (status.theme !== 1) lastRegularAtUs = Number(now / 1000n);
      delivered++;
      if (status.routeIndex < highest) outOfOrder++;
      highest = Math.max(highest, status.routeIndex);
      last = status.routeIndex;
    },
  }, MAP);
  process.on('message', ({ published }) => {
    // Deliveries may still be on their way: wait for the last one, or give up after 10 s.
    const deadline = Date.now() + 10000;
    const finish = () => {
      if (last !== published - 1 && Date.now() < deadline) {
        setTimeout(finish, 10);
        return;
      }
      clearInterval(keepAlive);
      process.send({ delivered, outOfOrder, endsOnLatest: last === published - 1, lastRegularAtUs, latencies },
        () => process.disconnect());
    };
    finish();
  });
  process.send({ ready: true });
}

if (role === 'publisher') {
  publish();
  return;
}
if (role === 'follower') {
  follow();
  return;
}

// --- the parent ---
function memoryOf(pid) {
  const status = fs.readFileSync(`/proc/${pid}/status`, 'utf8');
  const kib = (name) => Number(new RegExp(`${name}:\\s+(\\d+)`).exec(status)[1]);
  return { rssMiB: +(kib('VmRSS') / 1024).toFixed(1), peakMiB: +(kib('VmHWM') / 1024).toFixed(1) };
}

function startApp(env, roleName, logs) {
  const child = fork(__filename, [], {
    env: { ...process.env, ...env, FOLLOWER_LOAD_ROLE: roleName, NAVINFO_BUILD_DIR: buildDir, HILOG_LEVEL: 'warn' },
    stdio: ['ignore', 'inherit', 'pipe', 'ipc'],
  });
  child.stderr.on('data', (chunk) => { logs.text += chunk; });
  return child;
}

// 'close' comes after every message of the child: a rejection then only means none came.
const nextMessage = (child) => new Promise((resolve, reject) => {
  child.once('message', resolve);
  child.once('close', (code) => reject(new Error(`a ${child.role} ended early (${code})`)));
});

// CPU seconds (user + system) a process has used so far.
function cpuSeconds(pid) {
  try {
    const fields = fs.readFileSync(`/proc/${pid}/stat`, 'utf8').split(') ')[1].split(' ');
    return (Number(fields[11]) + Number(fields[12])) / 100;
  } catch {
    return null;
  }
}

// Superseded records reported dropped in a follower's log (daemon and client library lines).
function conflatedIn(log) {
  let total = 0;
  for (const match of log.matchAll(/(\d+) superseded/g)) total += Number(match[1]);
  return total;
}

async function run(dir, followers) {
  const socket = path.join(dir, `navinfo-${followers}.sock`);
  const daemonLog = { text: '' };
  const daemon = spawn(path.join(buildDir, 'bin', 'navinfo-service'),
    ['--socket', socket, '--policy', path.join(dir, 'policy.json')],
    { stdio: ['ignore', 'pipe', 'pipe'], env: { ...process.env, HILOG_LEVEL: 'warn' } });
  daemon.stderr.on('data', (chunk) => { daemonLog.text += chunk; });
  const children = [daemon];
  try {
    await waitForLine(daemon, /listening on/);
    const env = { NAVINFO_SERVICE_SOCKET: socket };
    const logs = [];
    const followerProcesses = [];
    for (let i = 0; i < followers; i++) {
      logs.push({ text: '' });
      const child = startApp({ ...env, NAVINFO_BUNDLE_NAME: DASH }, 'follower', logs[i]);
      child.role = 'follower';
      followerProcesses.push(child);
      children.push(child);
    }
    await Promise.all(followerProcesses.map(nextMessage));
    const publisherLog = { text: '' };
    const publisher = startApp({ ...env, NAVINFO_BUNDLE_NAME: MAP }, 'publisher', publisherLog);
    publisher.role = 'publisher';
    children.push(publisher);
    await nextMessage(publisher);
    const done = nextMessage(publisher);
    publisher.send({ go: true });
    const { published, startedAt } = await done;
    const cpu = {
      daemon: cpuSeconds(daemon.pid),
      followerAverage: +(followerProcesses.reduce((sum, child) => sum + cpuSeconds(child.pid), 0) / followers)
        .toFixed(2),
    };
    const results = await Promise.all(followerProcesses.map((child) => {
      const result = nextMessage(child);
      child.send({ published });
      return result;
    }));
    const memory = memoryOf(daemon.pid);
    const latencies = results.flatMap((r) => r.latencies).sort((a, b) => a - b);
    const pct = (p) => (latencies.length ? +latencies[Math.min(latencies.length - 1,
      Math.floor(p * latencies.length))].toFixed(0) : null);
    const delivered = results.reduce((sum, r) => sum + r.delivered, 0);
    const conflated = logs.reduce((sum, log) => sum + conflatedIn(log.text), 0);
    const average = (value) => +(value / followers).toFixed(1);
    return {
      benchmark: 'follower_load',
      followers,
      seconds,
      rate: rate || 'max',
      published,
      deliveriesPerSecond: Math.round(results.reduce((sum, r) => sum + r.delivered - 1, 0) /
        (Math.max(...results.map((r) => r.lastRegularAtUs)) - Number(BigInt(startedAt) / 1000n)) * 1e6),
      perFollower: {
        delivered: average(delivered),
        lost: average(followers * published - delivered - conflated),
        conflated: average(conflated),
        outOfOrder: average(results.reduce((sum, r) => sum + r.outOfOrder, 0)),
      },
      endOnLatest: results.filter((r) => r.endsOnLatest).length,
      selfDisconnects: logs.reduce((sum, log) => sum + (log.text.match(/connection to .* lost/g) || []).length, 0),
      latencyUs: { p50: pct(0.5), p99: pct(0.99) },
      daemonMemory: memory,
      cpuSeconds: cpu,
      daemonConflatedLines: (daemonLog.text.match(/superseded/g) || []).length,
    };
  } finally {
    for (const child of children) child.kill('SIGKILL');
  }
}

(async () => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'navinfo-bench-'));
  try {
    fs.writeFileSync(path.join(dir, 'policy.json'), JSON.stringify({ version: 1, defaultDeny: true, bundles: {
      [MAP]: { navigationPermission: true },
      [DASH]: { systemApp: true, navigationPermission: true },
    } }));
    for (const followers of followerCounts) {
      console.log(JSON.stringify(await run(dir, followers)));
    }
  } finally {
    fs.rmSync(dir, { recursive: true, force: true });
  }
})().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
