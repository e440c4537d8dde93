'use strict';
// The test drive as separate processes: navinfo-service with a policy of its
// own (in a temporary folder), navinfo-sim and navinfo-cluster connected to
// it. Their output is passed on with a prefix; everything stops, in order,
// on SIGINT or SIGTERM, or when one of them ends by itself. When the test
// drive ends without stopping them (SIGKILL), they end too: navinfo-sim and
// navinfo-cluster as their IPC channel closes, navinfo-service through
// --exit-with-parent, and reaper.js removes the folder after them. A folder
// left by a test drive whose reaper was killed as well is removed at the
// next start.
const { spawn } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const readline = require('node:readline');
const { executablePath } = require('../../lib/load-binding');
const { onStopSignal } = require('../common/command_line');

const BUNDLES = { navigation: 'com.example.navigation', cluster: 'com.example.cluster', cli: 'com.example.navinfo' };
const STOP_TIMEOUT_MS = 5000;

function writePolicy(file) {
  const uid = os.userInfo().uid;
  fs.writeFileSync(file, JSON.stringify({
    version: 1,
    defaultDeny: true,
    bundles: {
      [BUNDLES.navigation]: { navigationPermission: true, uids: [uid] },
      [BUNDLES.cluster]: { systemApp: true, navigationPermission: true, uids: [uid] },
      [BUNDLES.cli]: { systemApp: true, navigationPermission: true, uids: [uid] },
    },
  }, null, 2));
}

// Starts a program whose lines go to stdout with a prefix; resolves with
// the child once a line matches `ready` (giving the match), rejects if it
// ends first.
function start(label, file, args, ready, { ipc = false } = {}) {
  const child = spawn(file, args, { stdio: ['ignore', 'pipe', 'pipe', ...(ipc ? ['ipc'] : [])], env: process.env });
  const exited = new Promise((resolve) => child.once('exit', (code, signal) => resolve({ code, signal })));
  return new Promise((resolve, reject) => {
    child.once('error', reject);
    for (const stream of [child.stdout, child.stderr]) {
      readline.createInterface({ input: stream }).on('line', (line) => {
        process.stdout.write(`[${label}] ${line}\n`);
        const match = ready.exec(line);
        if (match) resolve({ child, exited, match });
      });
    }
    exited.then(({ code, signal }) => reject(new Error(`${label} ended (${signal || code}) before it was ready`)));
  });
}

async function stopChild(entry) {
  if (!entry) return;
  const { child, exited } = entry;
  if (child.exitCode === null && child.signalCode === null) child.kill('SIGTERM');
  const timer = setTimeout(() => child.kill('SIGKILL'), STOP_TIMEOUT_MS);
  await exited;
  clearTimeout(timer);
}

const FOLDER_PREFIX = 'navinfo-testdrive-';
const OWNER_FILE = 'testdrive.pid';

function alive(pid) {
  try {
    process.kill(pid, 0);
    return true;
  } catch (error) {
    return error.code === 'EPERM';
  }
}

// Removes this user's test drive folders whose test drive has ended.
function removeLeftFolders() {
  const tmp = os.tmpdir();
  for (const name of fs.readdirSync(tmp)) {
    if (!name.startsWith(FOLDER_PREFIX)) continue;
    const dir = path.join(tmp, name);
    try {
      if (fs.statSync(dir).uid !== os.userInfo().uid) continue;
      const owner = Number(fs.readFileSync(path.join(dir, OWNER_FILE), 'utf8'));
      if (Number.isInteger(owner) && owner > 0 && !alive(owner)) fs.rmSync(dir, { recursive: true, force: true });
    } catch {
      // Not ours, being made or removed right now, or no test drive's.
    }
  }
}

// The reaper (reaper.js): removes dir once the test drive and the pids it
// is sent have ended.
function startReaper(dir) {
  const reaper = spawn(process.execPath, [path.join(__dirname, 'reaper.js'), dir],
    { stdio: ['ignore', 'ignore', 'inherit', 'ipc'], env: process.env });
  return {
    watch: (pid) => reaper.connected && reaper.send({ pid }),
    // Ends it: the test drive removed the folder itself.
    release: () => reaper.connected && reaper.disconnect(),
  };
}

// hosts, listen: the cluster's --host names and --listen address.
async function run({ port, speedFactor, route, hosts = [], listen }) {
  removeLeftFolders();
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), FOLDER_PREFIX));
  fs.writeFileSync(path.join(dir, OWNER_FILE), String(process.pid));
  const reaper = startReaper(dir);
  const socket = path.join(dir, 'navinfo.sock');
  const policy = path.join(dir, 'policy.json');
  writePolicy(policy);
  const node = process.execPath;
  const apps = path.join(__dirname, '..');
  const running = {};
  const clusterArgs = [...hosts.flatMap((name) => ['--host', name]), ...(listen ? ['--listen', listen] : [])];
  let stopping = false;

  async function stopAll(reason) {
    if (stopping) return;
    stopping = true;
    if (reason) {
      process.stdout.write(`${reason}: stopping the test drive\n`);
      process.exitCode = 1;
    }
    await Promise.all([stopChild(running.cluster), stopChild(running.sim)]);
    await stopChild(running.daemon);
    fs.rmSync(dir, { recursive: true, force: true });
    reaper.release();
    process.stdout.write('Test drive stopped.\n');
  }
  onStopSignal(() => stopAll());

  try {
    running.daemon = await start('service', executablePath('navinfo-service'),
      ['--socket', socket, '--policy', policy, '--exit-with-parent'], /navinfo-service: listening on/);
    reaper.watch(running.daemon.child.pid);
    const identity = (bundle) => ['--socket', socket, '--as', bundle];
    const simArgs = [path.join(apps, 'sim', 'main.js'), ...identity(BUNDLES.navigation), '--loop', '--quiet',
      '--speed-factor', String(speedFactor), ...(route ? ['--route', route] : [])];
    running.sim = await start('sim', node, simArgs, /navinfo-sim: \S+ drives /, { ipc: true });
    reaper.watch(running.sim.child.pid);
    const tryCluster = async (p) => {
      const entry = await start('cluster', node, [path.join(apps, 'cluster', 'main.js'), ...identity(BUNDLES.cluster),
        '--bundle', BUNDLES.navigation, '--port', String(p), ...clusterArgs], /navinfo-cluster: (http:\S+)/, { ipc: true });
      reaper.watch(entry.child.pid);
      return entry;
    };
    try {
      running.cluster = await tryCluster(port ?? 8470);
    } catch (error) {
      if (port !== undefined) throw error;
      running.cluster = await tryCluster(0);
    }
  } catch (error) {
    await stopAll();
    throw error;
  }
  for (const [label, entry] of Object.entries(running)) {
    entry.exited.then(({ code, signal }) => stopAll(`${label} ended (${signal || code})`));
  }
  const cli = path.join(apps, '..', 'bin', 'navinfo.js');
  process.stdout.write(`Test drive: navinfo-service, navinfo-sim and navinfo-cluster in three processes\n`);
  process.stdout.write(`Open the cluster: ${running.cluster.match[1]}\n`);
  process.stdout.write(`Watch it: ${cli} --socket ${socket} watch ${BUNDLES.navigation}\n(Ctrl-C stops)\n`);
}

module.exports = { run, BUNDLES };
