'use strict';
// Through the navinfo-service daemon: a status change from publishing to the
// follower's onStatusChanged, and a query answered by the navigation role,
// each against its floor measured in the same run (bench/floors.js). This
// process plays both roles: every delivery leaves it, passes the daemon and
// comes back.
//  - status: one socket round trip (publisher -> daemon -> follower is two
//    one-way trips) and one thread start (the hand-off thread);
//  - query: two socket round trips, one thread start and two wake-ups of
//    the Node loop (the request's and the answer's).
// Prints one JSON line.
const { waitForLine } = require('./child_output');
const { spawn, fork } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { measureFloors, floorsUs, us, ratio } = require('./floors');

const root = path.join(__dirname, '..');
const buildDir = path.resolve(process.env.NAVINFO_BUILD_DIR || path.join(root, 'build'));
const samples = Number(process.env.SAMPLES || 2000);
const BUNDLE = 'com.example.bench';

const median = (values) => [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];
const p99 = (values) => [...values].sort((a, b) => a - b)[Math.floor(values.length * 0.99)];

// --- the measuring child: uses the module against the daemon ---
async function measureThroughDaemon() {
  const nav = require(root);
  const controller = nav.getNavigationController();
  const system = nav.getSystemNavigationController();
  let delivered = null;
  system.registerNavigationStatusListener({ onStatusChanged: (b, s) => delivered && delivered(s) }, BUNDLE);
  controller.registerSystemNavigationListener({
    onQueryNavigationInfo: async () => ({ code: 0, message: 'ok', data: { eta: 11 } }),
    onReceiveNavigationCmd: async () => ({ code: 0, message: 'ok', data: {} }),
  });
  const status = [];
  for (let i = 0; i < samples + 200; i++) {
    const arrived = new Promise((resolve) => { delivered = resolve; });
    const start = process.hrtime.bigint();
    controller.updateNavigationStatus({ status: 1, routeIndex: i, destLocation: { name: 'Office' } });
    await arrived;
    if (i >= 200) status.push(Number(process.hrtime.bigint() - start));
  }
  const query = [];
  for (let i = 0; i < samples + 200; i++) {
    const start = process.hrtime.bigint();
    const answer = await system.queryNavigationInfo(BUNDLE, 'navigationStatus', {});
    if (answer.code !== 0) throw new Error(`query answered ${answer.code}`);
    if (i >= 200) query.push(Number(process.hrtime.bigint() - start));
  }
  return { status, query };
}

if (process.env.DAEMON_ROUNDTRIP_CHILD) {
  // Waiting for a delivery does not keep Node alive by itself.
  const keepAlive = setInterval(() => {}, 1000);
  measureThroughDaemon().then((result) => {
    clearInterval(keepAlive);
    process.send(result, () => process.disconnect());
  }, (error) => {
    console.error(error);
    process.exit(1);
  });
  return;
}

// A navinfo-service of its own (no bridge) and the measuring child against
// it: { status, query } in ns. Also what bench/dds_bridge.js compares the
// bridged paths with, in its own run.
async function measureLocalDaemon({ buildDir: dir = buildDir, samples: count = samples, beforeChild } = {}) {
  const tmp = fs.mkdtempSync(path.join(os.tmpdir(), 'navinfo-bench-'));
  const children = [];
  try {
    const policy = path.join(tmp, 'policy.json');
    fs.writeFileSync(policy, JSON.stringify({ version: 1, defaultDeny: true,
      bundles: { [BUNDLE]: { systemApp: true, navigationPermission: true } } }));
    const serviceSocket = path.join(tmp, 'navinfo.sock');
    const daemon = spawn(path.join(dir, 'bin', 'navinfo-service'), ['--socket', serviceSocket, '--policy', policy],
      { stdio: ['ignore', 'pipe', 'inherit'], env: { ...process.env, HILOG_LEVEL: 'error' } });
    children.push(daemon);
    await waitForLine(daemon, /listening on/);
    const extra = beforeChild ? await beforeChild() : undefined;
    const child = fork(__filename, [], {
      env: { ...process.env, DAEMON_ROUNDTRIP_CHILD: '1', NAVINFO_BUILD_DIR: dir, SAMPLES: String(count),
        NAVINFO_SERVICE_SOCKET: serviceSocket, NAVINFO_BUNDLE_NAME: BUNDLE, HILOG_LEVEL: 'error' },
    });
    children.push(child);
    const measured = await new Promise((resolve, reject) => {
      child.once('message', resolve);
      // 'close' comes after every message: a rejection then only means none came.
      child.once('close', (code) => reject(new Error(`measuring child ended (${code}) without results`)));
    });
    return { ...measured, extra };
  } finally {
    for (const child of children) child.kill('SIGKILL');
    fs.rmSync(tmp, { recursive: true, force: true });
  }
}

module.exports = { measureLocalDaemon, median, p99 };

// --- the parent: daemon, floors, then the child ---
if (require.main === module) {
  measureLocalDaemon({ beforeChild: () => measureFloors(samples) }).then(({ status, query, extra: floors }) => {
    const statusFloorNs = floors.socketRoundTripNs + floors.threadStartNs;
    const queryFloorNs = 2 * floors.socketRoundTripNs + floors.threadStartNs + 2 * floors.loopWakeNs;
    console.log(JSON.stringify({
      benchmark: 'daemon_roundtrip',
      samples,
      floorsUs: floorsUs(floors),
      statusDeliveryUs: { p50: us(median(status)), p99: us(p99(status)) },
      statusFloorUs: us(statusFloorNs),
      statusP50VsFloor: ratio(median(status), statusFloorNs),
      queryRoundTripUs: { p50: us(median(query)), p99: us(p99(query)) },
      queryFloorUs: us(queryFloorNs),
      queryP50VsFloor: ratio(median(query), queryFloorNs),
    }));
  }, (error) => {
    console.error(error);
    process.exitCode = 1;
  });
}
