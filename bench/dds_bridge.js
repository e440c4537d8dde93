'use strict';
// Across two navinfo-service daemons bridged over DDS (Cyclone DDS on the
// loopback interface only): a status published by a navigation process on
// daemon A until a system process on daemon B gets onStatusChanged, and a
// query from B answered on A. The floor is Cyclone's own ping-pong round
// trip (ddsperf) between two processes, measured in the same run with the
// same configuration (without DDS Security).
//
// Both with DDS Security off ("insecure": true) and on (credentials made by
// `navinfo-dds-security init` into a temporary folder, one Cyclone
// configuration per daemon), each in a child process of this script that
// starts its own two daemons and is the system application on B.
//
// The bars, with Security off: a bridged status at most one DDS round trip,
// a bridged query at most two, above the same path through one daemon: the
// same two processes (the navigation process publishing and answering, this
// script's child following and asking) against one daemon without a bridge,
// measured in the same run ("local"). bench/daemon_roundtrip.js's figure
// (one process playing both roles) is printed beside it for reference.
//
// What a bridged path adds to the local one is one more process per
// crossing: its floor, one datagram over loopback UDP to a process asleep
// in recvfrom while the sender stays busy (navinfo_bench_hop_floor, at the
// pace of the bridged status deliveries), is printed beside what the
// bridged p50s are above the local ones. So is the floor of the whole
// status path's processes (navinfo_bench_relay_floor: publisher, one or two
// daemons, follower, each passing a message on over the same kinds of
// socket and nothing else; and the query's, asker to answerer and back):
// what a second daemon adds at the least, against the round trips the bars
// allow for it.
//
// Prints one JSON line. SAMPLES (default 1000) per measurement.
const { waitForLine } = require('./child_output');
const { measureLocalDaemon } = require('./daemon_roundtrip');
const { spawn, fork, execFileSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const root = path.join(__dirname, '..');
const buildDir = path.resolve(process.env.NAVINFO_BUILD_DIR || path.join(root, 'build'));
const samples = Number(process.env.SAMPLES || 1000);
const warmUp = 100;
const MAP = 'com.example.map';
const DASH = 'com.example.dash';

const median = (values) => [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];
const p99 = (values) => [...values].sort((a, b) => a - b)[Math.floor(values.length * 0.99)];
const us = (ns) => +(ns / 1000).toFixed(1);

// --- the navigation process on daemon A: publishes when told, answers queries ---
if (process.env.DDS_BRIDGE_NAV_CHILD) {
  const controller = require(root).getNavigationController();
  controller.registerSystemNavigationListener({
    onQueryNavigationInfo: async () => ({ code: 0, message: 'ok', data: { eta: 11 } }),
    onReceiveNavigationCmd: async () => ({ code: 0, message: 'ok', data: {} }),
  });
  process.on('message', ({ publish }) => {
    // The monotonic clock is the same in every process of the machine.
    controller.updateNavigationStatus({ status: 1, routeIndex: publish, customData: String(process.hrtime.bigint()),
      destLocation: { name: 'Office', longitude: 13.4, latitude: 52.5 } });
  });
  process.send({ ready: true });
  return;
}

// One more process on a path: navinfo_bench_hop_floor's p50, in ns, with
// the receiver sleeping pauseUs between datagrams.
function hopFloorNs(pauseUs) {
  const out = execFileSync(path.join(buildDir, 'bin', 'navinfo_bench_hop_floor'), [String(samples), String(pauseUs)],
    { encoding: 'utf8', timeout: 120000 });
  return JSON.parse(out).hopNs.p50;
}

// The status and query paths' processes doing nothing but pass a message
// on: navinfo_bench_relay_floor's p50s, in ns, one delivery every pauseUs.
function relayFloorNs(pauseUs) {
  const out = execFileSync(path.join(buildDir, 'bin', 'navinfo_bench_relay_floor'), [String(samples), String(pauseUs)],
    { encoding: 'utf8', timeout: 120000 });
  const floor = JSON.parse(out);
  return {
    statusThroughOne: floor.statusThroughOneNs.p50, statusBridged: floor.statusBridgedNs.p50,
    queryThroughOne: floor.queryThroughOneNs.p50, queryBridged: floor.queryBridgedNs.p50,
  };
}

// ddsperf ping against ddsperf pong for a few seconds: the median of the
// round trips' per-second medians, in ns.
async function ddsperfRoundTripNs(domain, env) {
  const pong = spawn('ddsperf', ['-D', '6', '-i', String(domain), 'pong'], { stdio: ['ignore', 'pipe', 'pipe'], env });
  const ping = spawn('ddsperf', ['-D', '4', '-i', String(domain), 'ping'], { stdio: ['ignore', 'pipe', 'pipe'], env });
  let text = '';
  ping.stdout.on('data', (chunk) => { text += chunk; });
  await new Promise((resolve) => ping.once('exit', resolve));
  pong.kill('SIGKILL');
  const medians = [...text.matchAll(/ 50% ([\d.]+)us /g)].map((m) => Number(m[1]) * 1000);
  if (medians.length === 0) throw new Error(`ddsperf ping measured nothing: ${text}`);
  return median(medians);
}

// The bridged p50s against the same path through one daemon plus one DDS
// round trip (status) and two (query).
function bars(status, query, local, floorNs) {
  const statusBarNs = median(local.status) + floorNs;
  const queryBarNs = median(local.query) + 2 * floorNs;
  return {
    statusBarUs: us(statusBarNs),
    statusP50VsBar: +(median(status) / statusBarNs).toFixed(2),
    statusBarMet: median(status) <= statusBarNs,
    queryBarUs: us(queryBarNs),
    queryP50VsBar: +(median(query) / queryBarNs).toFixed(2),
    queryBarMet: median(query) <= queryBarNs,
  };
}

const LOOPBACK = '<CycloneDDS><Domain id="any"><General><Interfaces>' +
  '<NetworkInterface name="lo"/></Interfaces><AllowMulticast>false</AllowMulticast></General><Discovery>' +
  '<ParticipantIndex>auto</ParticipantIndex><MaxAutoParticipantIndex>20</MaxAutoParticipantIndex>' +
  '<Peers><Peer address="127.0.0.1"/></Peers></Discovery></Domain></CycloneDDS>';

// One measurement (DDS_BRIDGE_RUN=insecure or secure): two daemons, the
// navigation process on A, this process the system application on B.
// DDS_BRIDGE_RUN=local: the same processes around one daemon without a bridge.
async function measure(mode) {
  const secure = mode === 'secure';
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'navinfo-bench-dds-'));
  const children = [];
  try {
    const domain = 1 + ((process.pid + (secure ? 7 : 0)) % 200);
    fs.writeFileSync(path.join(dir, 'cyclonedds.xml'), LOOPBACK);
    const base = { ...process.env, HILOG_LEVEL: 'error' };
    // One daemon: the navigation process's bundle and the system application's, no bridge section.
    fs.writeFileSync(path.join(dir, 'local.json'), JSON.stringify({ version: 1, defaultDeny: true, bundles: {
      [MAP]: { navigationPermission: true }, [DASH]: { systemApp: true, navigationPermission: true } } }));
    const policies = {
      // B's system application asks A as "B/<its bundle>".
      A: [{ [MAP]: { navigationPermission: true } }, { export: [MAP] },
        { [`B/${DASH}`]: { systemApp: true, navigationPermission: true } }],
      B: [{ [MAP]: { navigationPermission: true, token: 'imported only' },
        [DASH]: { systemApp: true, navigationPermission: true } }, { import: [MAP] }, {}],
    };
    for (const [name, [bundles, bridge, remoteRequesters]] of Object.entries(policies)) {
      fs.writeFileSync(path.join(dir, `${name}.json`), JSON.stringify({ version: 1, defaultDeny: true, bundles,
        remoteRequesters, bridge: { domain, partition: 'bench', node: name, ...(secure ? {} : { insecure: true }), ...bridge } }));
    }
    if (secure) {
      execFileSync(process.execPath, [path.join(root, 'bin', 'navinfo-dds-security.js'), 'init', '--out',
        path.join(dir, 'dds'), '--policy', path.join(dir, 'A.json'), '--policy', path.join(dir, 'B.json'),
        '--interface', 'lo', '--peer', '127.0.0.1'], { stdio: 'pipe' });
    }
    const envOf = (name) => ({ ...base, CYCLONEDDS_URI: secure ? `file://${path.join(dir, 'dds', name, 'cyclonedds.xml')}`
      : `file://${path.join(dir, 'cyclonedds.xml')}` });

    const startDaemon = async (name) => {
      const socket = path.join(dir, `${name}.sock`);
      const daemon = spawn(path.join(buildDir, 'bin', 'navinfo-service'),
        ['--socket', socket, '--policy', path.join(dir, `${name}.json`)],
        { stdio: ['ignore', 'pipe', 'inherit'], env: envOf(name) });
      children.push(daemon);
      await waitForLine(daemon, /listening on/);
      return socket;
    };
    const socketA = await startDaemon(mode === 'local' ? 'local' : 'A');
    const socketB = mode === 'local' ? socketA : await startDaemon('B');

    const nav = fork(__filename, [], { env: { ...base, DDS_BRIDGE_NAV_CHILD: '1', NAVINFO_BUILD_DIR: buildDir,
      NAVINFO_SERVICE_SOCKET: socketA, NAVINFO_BUNDLE_NAME: MAP } });
    children.push(nav);
    await new Promise((resolve) => nav.once('message', resolve));

    Object.assign(process.env, { NAVINFO_BUILD_DIR: buildDir, NAVINFO_SERVICE_SOCKET: socketB,
      NAVINFO_BUNDLE_NAME: DASH, HILOG_LEVEL: 'error' });
    const system = require(root).getSystemNavigationController();
    let delivered = null;
    system.registerNavigationStatusListener({ onStatusChanged: (bundle, s) => delivered && delivered(s) }, MAP);
    const keepAlive = setInterval(() => {}, 1000);

    const status = [];
    for (let i = 0; i < samples + warmUp; i++) {
      // Bounded: a lost delivery ends the run rather than hanging it (the first
      // waits for the daemons to find, and with Security authenticate, each other).
      const arrived = new Promise((resolve, reject) => {
        const timer = setTimeout(() => reject(new Error(`status ${i} never arrived`)), i === 0 ? 20000 : 10000);
        delivered = (s) => { if (s.routeIndex === i) { clearTimeout(timer); resolve(s); } };
      });
      nav.send({ publish: i });
      const s = await arrived;
      if (i >= warmUp) status.push(Number(process.hrtime.bigint() - BigInt(s.customData)));
    }
    const query = [];
    for (let i = 0; i < samples + warmUp; i++) {
      const start = process.hrtime.bigint();
      const answer = await system.queryNavigationInfo(MAP, 'navigationStatus', {});
      if (answer.code !== 0) throw new Error(`query answered ${answer.code}`);
      if (i >= warmUp) query.push(Number(process.hrtime.bigint() - start));
    }
    clearInterval(keepAlive);
    return { status, query };
  } finally {
    for (const child of children) child.kill('SIGKILL');
    fs.rmSync(dir, { recursive: true, force: true });
  }
}

if (process.env.DDS_BRIDGE_RUN) {
  measure(process.env.DDS_BRIDGE_RUN).then((result) => {
    process.stdout.write(`${JSON.stringify(result)}\n`);
    process.exit(0);
  }, (error) => {
    console.error(error);
    process.exit(1);
  });
  return;
}

// A measurement in a child process of its own (the module connects to one daemon per process).
function run(mode) {
  return new Promise((resolve, reject) => {
    const child = spawn(process.execPath, [__filename], { env: { ...process.env, DDS_BRIDGE_RUN: mode },
      stdio: ['ignore', 'pipe', 'inherit'] });
    let text = '';
    child.stdout.on('data', (chunk) => { text += chunk; });
    child.once('exit', (code) => (code === 0 ? resolve(JSON.parse(text)) : reject(new Error(`${mode} run exited ${code}`))));
  });
}

(async () => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'navinfo-bench-dds-'));
  let floorNs;
  try {
    fs.writeFileSync(path.join(dir, 'cyclonedds.xml'), LOOPBACK);
    floorNs = await ddsperfRoundTripNs(1 + ((process.pid + 1) % 200),
      { ...process.env, CYCLONEDDS_URI: `file://${path.join(dir, 'cyclonedds.xml')}` });
  } finally {
    fs.rmSync(dir, { recursive: true, force: true });
  }
  const ratio = (value, base) => +(value / base).toFixed(2);
  const figures = ({ status, query }) => ({
    statusDeliveryUs: { p50: us(median(status)), p99: us(p99(status)) },
    queryRoundTripUs: { p50: us(median(query)), p99: us(p99(query)) },
    // One way against half a DDS round trip; a round trip against one.
    statusVsHalfDdsRoundTrip: ratio(median(status), floorNs / 2),
    queryVsDdsRoundTrip: ratio(median(query), floorNs),
  });
  const insecure = await run('insecure');
  const local = await run('local');
  const secure = await run('secure');
  const oneProcess = await measureLocalDaemon({ buildDir, samples });
  const hopNs = hopFloorNs(Math.round(median(insecure.status) / 1000));
  const relay = relayFloorNs(Math.round(median(insecure.status) / 1000));
  const p50s = ({ status, query }) => ({ statusP50: us(median(status)), queryP50: us(median(query)) });
  console.log(JSON.stringify({
    benchmark: 'dds_bridge',
    samples,
    loadAverage: os.loadavg().map((x) => +x.toFixed(2)),
    ddsperfRoundTripUs: us(floorNs),
    securityOff: figures(insecure),
    securityOn: figures(secure),
    // The bars' base: the bridged path's own processes around one daemon.
    localDaemonUs: { ...p50s(local), statusP99: us(p99(local.status)), queryP99: us(p99(local.query)) },
    // bench/daemon_roundtrip.js's path: one process publishes, follows, asks and answers.
    oneProcessDaemonUs: p50s(oneProcess),
    barsUse: 'localDaemonUs',
    ...bars(insecure.status, insecure.query, local, floorNs),
    // Security off, p50s: what the bridge adds, against the floor of the
    // one (status) or two (query) processes it adds to the path.
    statusAboveLocalUs: us(median(insecure.status) - median(local.status)),
    queryAboveLocalUs: us(median(insecure.query) - median(local.query)),
    extraHopFloorUs: us(hopNs),
    // The same processes passing a message on and nothing else: what a
    // second daemon adds at the least, against the DDS round trips the bars
    // allow for it (one for a status, two for a query).
    relayFloorUs: Object.fromEntries(Object.entries(relay).map(([name, ns]) => [name, us(ns)])),
    statusFloorSecondDaemonVsAllowance: ratio(relay.statusBridged - relay.statusThroughOne, floorNs),
    queryFloorSecondDaemonVsAllowance: ratio(relay.queryBridged - relay.queryThroughOne, 2 * floorNs),
  }));
})().then(() => process.exit(process.exitCode || 0), (error) => {
  console.error(error);
  process.exit(1);
});
