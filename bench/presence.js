'use strict';
// Through the navinfo-service daemon: the time from a SIGKILL of the
// navigation process to the UNAVAILABLE the service says for it arriving at
// a follower's onStatusChanged in another process (p50, p99 over ROUNDS
// publishers, each a new process killed once it is followed). Both ends read
// the same monotonic clock (process.hrtime, CLOCK_MONOTONIC), so the follower
// stamps the arrival itself. BRIDGED=1: the publisher on daemon A, the
// follower on daemon B, the two bridged over DDS (Cyclone, loopback only).
// Prints one JSON line.
//
// SIGNAL=SIGSTOP measures a frozen publisher instead: the time from the stop
// to the UNAVAILABLE, which the daemon says once the map's keep-alives stay
// unanswered for its liveness time-out (LIVENESS_MS in the policy, default
// 3000), so the figure is that time-out plus how late the daemon notices.
const { waitForLine } = require('./child_output');
const { spawn, fork } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const root = path.join(__dirname, '..');
const buildDir = path.resolve(process.env.NAVINFO_BUILD_DIR || path.join(root, 'build'));
const signal = process.env.SIGNAL || 'SIGKILL';
if (signal !== 'SIGKILL' && signal !== 'SIGSTOP') throw new Error('SIGNAL must be SIGKILL or SIGSTOP');
const livenessMs = Number(process.env.LIVENESS_MS || 3000);
const rounds = Number(process.env.ROUNDS || (signal === 'SIGKILL' ? 100 : 10));
const bridged = process.env.BRIDGED === '1';
const MAP = 'com.example.bench.map';
const DASH = 'com.example.bench.dash';
const UNAVAILABLE = 5;

const percentile = (values, p) => [...values].sort((a, b) => a - b)[Math.min(values.length - 1,
  Math.floor(values.length * p))];

if (process.env.PRESENCE_ROLE === 'publisher') {
  const controller = require(root).getNavigationController();
  controller.updateNavigationStatus({ status: 1, routeIndex: Number(process.env.PRESENCE_ROUND) });
  setInterval(() => {}, 1000); // stays until killed, quiet like a car at a red light
  process.send('published');
  return;
}

if (process.env.PRESENCE_ROLE === 'follower') {
  const system = require(root).getSystemNavigationController();
  system.registerNavigationStatusListener({
    onStatusChanged: (bundle, status) => {
      process.send({ status: status.status, routeIndex: status.routeIndex, at: process.hrtime.bigint().toString() });
    },
  }, MAP);
  process.on('disconnect', () => process.exit(0));
  process.send('following');
  return;
}

(async () => {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'navinfo-bench-'));
  const children = [];
  const domain = 1 + (process.pid % 200);
  const cyclone = path.join(dir, 'cyclonedds.xml');
  const daemonEnv = { ...process.env, HILOG_LEVEL: 'error', ...(bridged ? { CYCLONEDDS_URI: `file://${cyclone}` } : {}) };
  const socketOf = (name) => path.join(dir, `${name}.sock`);
  const appEnv = (bundle, socket, extra) => ({ ...daemonEnv, NAVINFO_BUILD_DIR: buildDir,
    NAVINFO_SERVICE_SOCKET: socket, NAVINFO_BUNDLE_NAME: bundle, ...extra });
  try {
    const startDaemon = async (name, bundles, bridge, remoteRequesters = {}) => {
      const policy = path.join(dir, `${name}.json`);
      fs.writeFileSync(policy, JSON.stringify({ version: 1, defaultDeny: true, bundles, remoteRequesters,
        ...(bridge ? { bridge: { domain, partition: 'bench', node: name, insecure: true, ...bridge } } : {}) }));
      const daemon = spawn(path.join(buildDir, 'bin', 'navinfo-service'), ['--socket', socketOf(name), '--policy', policy],
        { stdio: ['ignore', 'pipe', 'inherit'], env: daemonEnv });
      children.push(daemon);
      await waitForLine(daemon, /listening on/);
      return socketOf(name);
    };
    let publisherSocket;
    let followerSocket;
    if (bridged) {
      fs.writeFileSync(cyclone, '<CycloneDDS><Domain id="any"><General><Interfaces>' +
        '<NetworkInterface name="lo"/></Interfaces><AllowMulticast>false</AllowMulticast></General><Discovery>' +
        '<ParticipantIndex>auto</ParticipantIndex><MaxAutoParticipantIndex>20</MaxAutoParticipantIndex>' +
        '<Peers><Peer address="127.0.0.1"/></Peers></Discovery></Domain></CycloneDDS>');
      publisherSocket = await startDaemon('A', { [MAP]: { navigationPermission: true, livenessTimeoutMs: livenessMs } },
        { export: [MAP] }, { [`B/${DASH}`]: { systemApp: true, navigationPermission: true } });
      followerSocket = await startDaemon('B', { [MAP]: { navigationPermission: true, token: 'imported only' },
        [DASH]: { systemApp: true, navigationPermission: true } }, { import: [MAP] });
    } else {
      publisherSocket = await startDaemon('navinfo', { [MAP]: { navigationPermission: true, livenessTimeoutMs: livenessMs },
        [DASH]: { systemApp: true, navigationPermission: true } });
      followerSocket = publisherSocket;
    }

    const follower = fork(__filename, [], { env: appEnv(DASH, followerSocket, { PRESENCE_ROLE: 'follower' }) });
    children.push(follower);
    let waiting = null;
    follower.on('message', (message) => waiting && waiting(message));
    const next = (predicate) => new Promise((resolve) => {
      waiting = (message) => {
        if (predicate(message)) {
          waiting = null;
          resolve(message);
        }
      };
    });
    await next((m) => m === 'following');

    const latenciesNs = [];
    for (let round = 1; round <= rounds; round++) {
      const followed = next((m) => m.status === 1 && m.routeIndex === round);
      const publisher = fork(__filename, [], {
        env: appEnv(MAP, publisherSocket, { PRESENCE_ROLE: 'publisher', PRESENCE_ROUND: round }),
      });
      children.push(publisher);
      await followed;
      const told = next((m) => m.status === UNAVAILABLE);
      const killedAt = process.hrtime.bigint();
      publisher.kill(signal);
      const { at } = await told;
      latenciesNs.push(Number(BigInt(at) - killedAt));
      if (signal !== 'SIGKILL') publisher.kill('SIGKILL'); // a stopped process ends with SIGKILL too
      await new Promise((resolve) => (publisher.exitCode !== null || publisher.signalCode !== null
        ? resolve() : publisher.once('exit', resolve)));
    }
    const ms = (ns) => Math.round(ns / 1e4) / 100;
    const figures = { p50: ms(percentile(latenciesNs, 0.5)), p99: ms(percentile(latenciesNs, 0.99)),
      max: ms(Math.max(...latenciesNs)) };
    const where = bridged ? 'two daemons bridged over DDS' : 'one daemon';
    console.log(JSON.stringify(signal === 'SIGKILL'
      ? { benchmark: 'presence', path: where, rounds, killToUnavailableMs: figures, goalMs: 100 }
      : { benchmark: 'presence', path: where, rounds, livenessTimeoutMs: livenessMs, stopToUnavailableMs: figures,
        goalMs: livenessMs + 100 }));
  } finally {
    for (const child of children) child.kill('SIGKILL');
    fs.rmSync(dir, { recursive: true, force: true });
  }
})().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
