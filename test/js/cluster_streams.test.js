'use strict';
// The cluster's event streams under pages that stop reading: navinfo-cluster
// runs as a process of its own on the daemon, this test publishes large
// guidance records fast as the navigation application, and pages that never
// read must neither grow the cluster's memory nor keep their streams: they
// are conflated, then dropped, while a page that reads keeps up.
const { test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const { spawn } = require('node:child_process');
const fs = require('node:fs');
const http = require('node:http');
const net = require('node:net');
const path = require('node:path');
const readline = require('node:readline');
const paths = require('./support/paths');
const { startDaemon, tempDir, writePolicy, killAll, withDeadline } = require('./support/daemon');
const { sleep } = require('./support/wait');

const NAV = 'com.example.navigation';
const CLUSTER = 'com.example.cluster';
const MAX_PAGES = 32; // the cluster's stated limit
const PUBLISH_MS = 2500;
const RECORD_BYTES = 60 * 1024; // an intersection view near its limit
const BURST = 4; // records published at a time, every 4 ms
// More than the cluster's own working set can move by collecting garbage,
// far less than what the stalled pages were sent (the records, ~100 MB,
// which a server without regard for back-pressure holds for them).
const RSS_GROWTH_BOUND = 48 * 1024 * 1024;
// Under AddressSanitizer (preloaded into Node by scripts/test-sanitized.sh)
// freed memory waits in its quarantine, so the cluster's RSS says nothing
// about what it keeps: the bound is checked only without it.
const SANITIZED = /libasan/.test(process.env.LD_PRELOAD || '');

const tmp = tempDir();
let cluster;
let port;
let client;

before(async () => {
  const uid = process.getuid();
  const policy = writePolicy(tmp.file('policy.json'), {
    [NAV]: { navigationPermission: true, uids: [uid] },
    [CLUSTER]: { systemApp: true, navigationPermission: true, uids: [uid] },
  });
  const daemon = await startDaemon(['--socket', tmp.file('navinfo.sock'), '--policy', policy]);
  cluster = spawn(process.execPath, [path.join(paths.root, 'apps', 'cluster', 'main.js'), '--socket', daemon.socketPath,
    '--as', CLUSTER, '--bundle', NAV, '--port', '0'], { stdio: ['ignore', 'pipe', 'inherit'], env: process.env });
  const url = await withDeadline(new Promise((resolve) => {
    readline.createInterface({ input: cluster.stdout }).on('line', (line) => {
      const match = /navinfo-cluster: (http:\S+)/.exec(line);
      if (match) resolve(match[1]);
    });
  }), 'navinfo-cluster to listen', 10000);
  port = new URL(url).port;
  process.env.NAVINFO_SERVICE_SOCKET = daemon.socketPath;
  process.env.NAVINFO_BUNDLE_NAME = NAV;
  client = require('navigation-info-mgr/client').createClient();
});

after(async () => {
  if (client) client.close();
  if (cluster && cluster.exitCode === null) {
    cluster.kill('SIGKILL');
    await new Promise((resolve) => cluster.once('exit', resolve));
  }
  killAll();
  tmp.remove();
});

const rssOf = (pid) => Number(/VmRSS:\s+(\d+) kB/.exec(fs.readFileSync(`/proc/${pid}/status`, 'utf8'))[1]) * 1024;

// A page that reads its event stream: { status, text(), close() }, once
// the answer's head arrived.
function readStream() {
  return new Promise((resolve, reject) => {
    const request = http.get({ port, path: '/events', agent: false }, (response) => {
      let received = '';
      response.setEncoding('utf8');
      // The latest few records are enough to look at.
      response.on('data', (chunk) => { received = (received + chunk).slice(-4 * RECORD_BYTES); });
      resolve({ status: response.statusCode, text: () => received, close: () => request.destroy() });
    });
    request.on('error', reject);
  });
}

// A page that never reads: a raw connection that asked for the stream.
function stalledStream() {
  const socket = net.connect(port, '127.0.0.1');
  socket.write(`GET /events HTTP/1.1\r\nHost: 127.0.0.1:${port}\r\n\r\n`);
  socket.pause();
  return { socket, ended: new Promise((resolve) => socket.once('close', resolve)) };
}

const metadata = (sequence) => ({
  naviTurnMode: 3, segmentLeftDis: sequence, currentRoadName: 'Ring', nextRoadName: 'Exit', trafficLane: 'LSR',
  naviSpeedLimit: 50, naviSpeedLimitValid: true, currentSpeed: 48, totalLeftDis: 5000, remainingTime: 600,
  intersectionView: 'v'.repeat(RECORD_BYTES),
});

test(`pages that stop reading are conflated and dropped; at most ${MAX_PAGES} pages; the cluster's memory stays bounded`,
  async (t) => {
    const reader = await readStream();
    const stalled = Array.from({ length: MAX_PAGES - 1 }, stalledStream);
    await sleep(300);
    const refused = await readStream();
    refused.close();
    assert.equal(refused.status, 503);

    const before = rssOf(cluster.pid);
    let peak = before;
    let sequence = 0;
    const end = Date.now() + PUBLISH_MS;
    while (Date.now() < end) {
      for (let burst = 0; burst < BURST; burst++) client.publishMetadata(metadata(++sequence));
      await sleep(4);
      peak = Math.max(peak, rssOf(cluster.pid));
    }
    await sleep(300);
    peak = Math.max(peak, rssOf(cluster.pid));
    t.diagnostic(`${sequence} records of ${RECORD_BYTES} bytes; cluster RSS ${(before / 1048576).toFixed(1)} MB ` +
      `before, ${(peak / 1048576).toFixed(1)} MB at most`);
    if (!SANITIZED) {
      assert.ok(peak - before < RSS_GROWTH_BOUND, `the cluster grew by ${((peak - before) / 1048576).toFixed(1)} MB`);
    }

    // The reading page saw the last record.
    const frames = reader.text().split('\n\n').filter((f) => f.startsWith('event: metadata'));
    assert.equal(JSON.parse(frames.at(-1).split('\ndata: ')[1]).metadata.segmentLeftDis, sequence);
    // Every stalled page was dropped: reading now, it gets what was in flight and then the end.
    for (const page of stalled) {
      page.socket.on('data', () => {});
      page.socket.resume();
    }
    await withDeadline(Promise.all(stalled.map((page) => page.ended)), 'the stalled pages to be dropped', 5000);
    reader.close();
  });
