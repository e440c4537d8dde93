'use strict';
// Through the navinfo-service daemon: a status change from publishing to the
// follower's onStatusChanged, and a query answered by the navigation role,
// each against the floor of a raw Unix-socket echo round trip (Node `net`,
// echo server in another process) plus one thread start. This process plays
// both roles: every delivery leaves it, passes the daemon and comes back.
//
// Prints one JSON line. The thread start comes from navinfo_native_bench
// (built unless NAVINFO_BUILD_BENCH=OFF); without it that figure is null.
const { spawn, spawnSync, fork } = require('node:child_process');
const fs = require('node:fs');
const net = require('node:net');
const os = require('node:os');
const path = require('node:path');

const root = path.join(__dirname, '..');
const buildDir = process.env.NAVINFO_BUILD_DIR || path.join(root, 'build');
const samples = Number(process.env.SAMPLES || 2000);
const BUNDLE = 'com.example.bench';

const median = (values) => [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];
const p99 = (values) => [...values].sort((a, b) => a - b)[Math.floor(values.length * 0.99)];
const us = (ns) => +(ns / 1000).toFixed(1);

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

// --- the parent: daemon, echo server, floor, then the child ---
function waitForLine(child, pattern) {
  return new Promise((resolve, reject) => {
    let text = '';
    child.stdout.on('data', (chunk) => {
      text += chunk;
      if (pattern.test(text)) resolve();
    });
    child.once('exit', (code) => reject(new Error(`exited early (${code})`)));
  });
}

async function echoRoundTrips(socketPath) {
  const socket = net.connect(socketPath);
  socket.setNoDelay(true);
  await new Promise((resolve) => socket.once('connect', resolve));
  const payload = Buffer.alloc(64, 7);
  const times = [];
  for (let i = 0; i < samples + 200; i++) {
    const start = process.hrtime.bigint();
    socket.write(payload);
    let received = 0;
    await new Promise((resolve) => {
      const onData = (chunk) => {
        received += chunk.length;
        if (received >= payload.length) {
          socket.off('data', onData);
          resolve();
        }
      };
      socket.on('data', onData);
    });
    if (i >= 200) times.push(Number(process.hrtime.bigint() - start));
  }
  socket.destroy();
  return times;
}

function threadStartNs() {
  const binary = path.join(buildDir, 'bin', 'navinfo_native_bench');
  if (!fs.existsSync(binary)) return null;
  const run = spawnSync(binary, ['--benchmark_filter=ThreadStartJoin', '--benchmark_format=json'],
    { encoding: 'utf8', timeout: 60000 });
  try {
    const result = JSON.parse(run.stdout).benchmarks[0];
    return result.real_time * ({ ns: 1, us: 1e3, ms: 1e6 }[result.time_unit] || 1);
  } catch {
    return null;
  }
}

(async () => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'navinfo-bench-'));
  const children = [];
  const cleanUp = () => {
    for (const child of children) child.kill('SIGKILL');
    fs.rmSync(dir, { recursive: true, force: true });
  };
  try {
    const policy = path.join(dir, 'policy.json');
    fs.writeFileSync(policy, JSON.stringify({ version: 1, defaultDeny: true,
      bundles: { [BUNDLE]: { systemApp: true, navigationPermission: true } } }));
    const serviceSocket = path.join(dir, 'navinfo.sock');
    const daemon = spawn(path.join(buildDir, 'bin', 'navinfo-service'), ['--socket', serviceSocket, '--policy', policy],
      { stdio: ['ignore', 'pipe', 'inherit'], env: { ...process.env, HILOG_LEVEL: 'error' } });
    children.push(daemon);
    await waitForLine(daemon, /listening on/);

    const echoSocket = path.join(dir, 'echo.sock');
    const echo = spawn(process.execPath, ['-e', `
      require('net').createServer((s) => { s.setNoDelay(true); s.on('data', (d) => s.write(d)); })
        .listen(${JSON.stringify(echoSocket)}, () => console.log('echo ready'));`], { stdio: ['ignore', 'pipe', 'inherit'] });
    children.push(echo);
    await waitForLine(echo, /echo ready/);
    const echoTimes = await echoRoundTrips(echoSocket);

    const child = fork(__filename, [], {
      env: { ...process.env, DAEMON_ROUNDTRIP_CHILD: '1', NAVINFO_BUILD_DIR: buildDir,
        NAVINFO_SERVICE_SOCKET: serviceSocket, NAVINFO_BUNDLE_NAME: BUNDLE, HILOG_LEVEL: 'error' },
    });
    children.push(child);
    const measured = await new Promise((resolve, reject) => {
      child.once('message', resolve);
      // 'close' comes after every message: a rejection then only means none came.
      child.once('close', (code) => reject(new Error(`measuring child ended (${code}) without results`)));
    });

    const echoNs = median(echoTimes);
    const threadNs = threadStartNs();
    const floorNs = threadNs === null ? null : echoNs + threadNs;
    const statusNs = median(measured.status);
    const queryNs = median(measured.query);
    const ratio = (value, base) => (base === null ? null : +(value / base).toFixed(2));
    console.log(JSON.stringify({
      benchmark: 'daemon_roundtrip',
      samples,
      echoRoundTripUs: us(echoNs),
      threadStartUs: threadNs === null ? null : us(threadNs),
      statusDeliveryUs: { p50: us(statusNs), p99: us(p99(measured.status)) },
      queryRoundTripUs: { p50: us(queryNs), p99: us(p99(measured.query)) },
      statusVsEcho: ratio(statusNs, echoNs),
      queryVsEcho: ratio(queryNs, echoNs),
      statusVsEchoPlusThread: ratio(statusNs, floorNs),
      queryVsEchoPlusThread: ratio(queryNs, floorNs),
    }));
  } finally {
    cleanUp();
  }
})().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
