'use strict';
// Two navinfo-service daemons bridged over DDS (Cyclone on loopback only,
// "insecure": true) while a third participant floods them for FLOOD_SECONDS
// (default 8) with random samples of every bridge topic, 1 MiB payloads and
// oversized ones (build/bin/navinfo_dds_forger in its garbage mode). A
// navigation process on daemon A publishes a status every 50 ms throughout;
// this process follows it on daemon B.
//
// Prints one JSON line: each daemon's resident memory before the flood, its
// peak during it and after it (MB), the log lines each wrote during it, the
// real statuses B delivered during it, and any other status B delivered
// (which must be 0: every status A publishes has status 1 and a rising routeIndex).
const { waitForLine } = require('./child_output');
const { spawn, fork } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const root = path.join(__dirname, '..');
const buildDir = path.resolve(process.env.NAVINFO_BUILD_DIR || path.join(root, 'build'));
const seconds = Number(process.env.FLOOD_SECONDS || 8);
const MAP = 'com.example.map';
const DASH = 'com.example.dash';

// --- the navigation process on daemon A: a status every 50 ms ---
if (process.env.DDS_GARBAGE_NAV_CHILD) {
  const controller = require(root).getNavigationController();
  let routeIndex = 0;
  setInterval(() => controller.updateNavigationStatus({ status: 1, routeIndex: ++routeIndex }), 50);
  process.send({ ready: true });
  return;
}

// Resident and peak resident memory of a process, in MB.
function memoryMb(pid) {
  const status = fs.readFileSync(`/proc/${pid}/status`, 'utf8');
  const kb = (field) => Number(new RegExp(`^${field}:\\s+(\\d+) kB`, 'm').exec(status)[1]);
  return { rss: +(kb('VmRSS') / 1024).toFixed(1), peak: +(kb('VmHWM') / 1024).toFixed(1) };
}

(async () => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'navinfo-bench-garbage-'));
  const children = [];
  try {
    const domain = 1 + (process.pid % 200);
    const partition = 'bench-garbage';
    fs.writeFileSync(path.join(dir, 'cyclonedds.xml'), '<CycloneDDS><Domain id="any"><General><Interfaces>' +
      '<NetworkInterface name="lo"/></Interfaces><AllowMulticast>false</AllowMulticast></General><Discovery>' +
      '<ParticipantIndex>auto</ParticipantIndex><MaxAutoParticipantIndex>20</MaxAutoParticipantIndex>' +
      '<Peers><Peer address="127.0.0.1"/></Peers></Discovery></Domain></CycloneDDS>');
    const env = { ...process.env, CYCLONEDDS_URI: `file://${path.join(dir, 'cyclonedds.xml')}` };

    const daemons = {};
    const startDaemon = async (name, bundles, bridge) => {
      const policy = path.join(dir, `${name}.json`);
      fs.writeFileSync(policy, JSON.stringify({ version: 1, defaultDeny: true, bundles,
        bridge: { domain, partition, node: name, insecure: true, livelinessMs: 1000, ...bridge } }));
      const socket = path.join(dir, `${name}.sock`);
      const daemon = spawn(path.join(buildDir, 'bin', 'navinfo-service'), ['--socket', socket, '--policy', policy],
        { stdio: ['ignore', 'pipe', 'pipe'], env });
      children.push(daemon);
      const entry = { daemon, lines: 0, counting: false, text: '' };
      daemon.stderr.on('data', (chunk) => {
        if (!entry.counting) return;
        const text = String(chunk);
        entry.lines += (text.match(/\n/g) || []).length;
        if (entry.text.length < 4000) entry.text += text;
      });
      daemons[name] = entry;
      await waitForLine(daemon, /listening on/);
      return socket;
    };
    const socketA = await startDaemon('A', { [MAP]: { navigationPermission: true },
      'navinfo-service.bridge': { systemApp: true, navigationPermission: true } }, { export: [MAP] });
    const socketB = await startDaemon('B', { [MAP]: { navigationPermission: true, token: 'imported only' },
      [DASH]: { systemApp: true, navigationPermission: true } }, { import: [MAP] });

    const nav = fork(__filename, [], { env: { ...env, DDS_GARBAGE_NAV_CHILD: '1', NAVINFO_BUILD_DIR: buildDir,
      NAVINFO_SERVICE_SOCKET: socketA, NAVINFO_BUNDLE_NAME: MAP, HILOG_LEVEL: 'error' } });
    children.push(nav);
    await new Promise((resolve) => nav.once('message', resolve));

    Object.assign(process.env, { NAVINFO_BUILD_DIR: buildDir, NAVINFO_SERVICE_SOCKET: socketB,
      NAVINFO_BUNDLE_NAME: DASH, HILOG_LEVEL: 'error' });
    const system = require(root).getSystemNavigationController();
    let delivered = 0;
    let foreign = 0;
    system.registerNavigationStatusListener({ onStatusChanged: (bundle, s) => {
      delivered++;
      if (s.status !== 1 || !(s.routeIndex > 0 && s.routeIndex < 1e6)) foreign++;
    } }, MAP);
    // Settled: B follows A's statuses.
    const settle = Date.now() + 15000;
    while (delivered < 20) {
      if (Date.now() > settle) throw new Error('B never followed A');
      await new Promise((resolve) => setTimeout(resolve, 50));
    }
    await new Promise((resolve) => setTimeout(resolve, 1000));

    const before = { A: memoryMb(daemons.A.daemon.pid), B: memoryMb(daemons.B.daemon.pid) };
    const peak = { A: before.A.rss, B: before.B.rss };
    for (const entry of Object.values(daemons)) entry.counting = true;
    const deliveredBefore = delivered;
    const flooder = spawn(path.join(buildDir, 'bin', 'navinfo_dds_forger'),
      [String(domain), partition, MAP, String(seconds), 'garbage'], { stdio: ['ignore', 'pipe', 'inherit'], env });
    children.push(flooder);
    let flooderOut = '';
    flooder.stdout.on('data', (chunk) => { flooderOut += chunk; });
    const sampler = setInterval(() => {
      for (const name of ['A', 'B']) peak[name] = Math.max(peak[name], memoryMb(daemons[name].daemon.pid).rss);
    }, 100);
    const code = await new Promise((resolve) => flooder.once('exit', resolve));
    if (code !== 0) throw new Error(`the flooder exited ${code}: ${flooderOut}`);
    const deliveredDuring = delivered - deliveredBefore;
    // What the flood left behind, once the queues it filled have drained.
    await new Promise((resolve) => setTimeout(resolve, 2000));
    clearInterval(sampler);
    for (const entry of Object.values(daemons)) entry.counting = false;
    const after = { A: memoryMb(daemons.A.daemon.pid), B: memoryMb(daemons.B.daemon.pid) };

    const report = (name) => ({
      rssBeforeMb: before[name].rss,
      rssPeakMb: +Math.max(peak[name], after[name].rss).toFixed(1),
      rssAfterMb: after[name].rss,
      growthMb: +(Math.max(peak[name], after[name].rss) - before[name].rss).toFixed(1),
      logLines: daemons[name].lines,
    });
    const written = JSON.parse(flooderOut.split('\n').find((line) => line.startsWith('{')) || '{}');
    console.log(JSON.stringify({
      benchmark: 'dds_garbage',
      seconds,
      loadAverage: os.loadavg().map((x) => +x.toFixed(2)),
      samplesWritten: written.written,
      A: report('A'),
      B: report('B'),
      realStatusesDeliveredDuringFlood: deliveredDuring,
      foreignStatusesDelivered: foreign,
    }));
    if (process.env.SHOW_LOGS) console.error(`A:\n${daemons.A.text}\nB:\n${daemons.B.text}`);
  } finally {
    for (const child of children) child.kill('SIGKILL');
    fs.rmSync(dir, { recursive: true, force: true });
  }
})().then(() => process.exit(process.exitCode || 0), (error) => {
  console.error(error);
  process.exit(1);
});
