'use strict';
// The navinfo command line against the daemon and a running navinfo-sim, as a
// shell user meets it (output and exit status), and the test drive of
// scripts/run.sh starting and stopping in both of its forms.
const { test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const { execFile, spawn } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const readline = require('node:readline');
const paths = require('./support/paths');
const { startDaemon, startApp, tempDir, writePolicy, killAll, withDeadline } = require('./support/daemon');

const NAV = 'com.example.navigation';
const HOLDER = 'com.example.holder'; // a navigation application that never answers
const PLAIN = 'com.example.plain'; // an application that is not a system application
const cli = path.join(paths.root, 'bin', 'navinfo.js');
const tmp = tempDir();
let daemon;
let sim;
let holder;

function runCli(args, env = {}) {
  return new Promise((resolve) => {
    execFile(process.execPath, [cli, '--socket', daemon.socketPath, ...args],
      { env: { ...process.env, NAVINFO_BUNDLE_NAME: 'com.example.navinfo', ...env }, timeout: 20000 },
      (error, stdout, stderr) => resolve({ status: error ? error.code : 0, stdout, stderr }));
  });
}

// Starts a program and resolves once a line of its output matches `ready`.
function startProgram(args, ready, env = {}) {
  const child = spawn(process.execPath, args, { env: { ...process.env, ...env }, stdio: ['ignore', 'pipe', 'pipe'] });
  const lines = [];
  const exited = new Promise((resolve) => child.once('exit', (code, signal) => resolve({ code, signal })));
  const readyLine = new Promise((resolve, reject) => {
    for (const stream of [child.stdout, child.stderr]) {
      readline.createInterface({ input: stream }).on('line', (line) => {
        lines.push(line);
        const match = ready.exec(line);
        if (match) resolve(match);
      });
    }
    exited.then((how) => reject(new Error(`${args[0]} ended ${JSON.stringify(how)}: ${lines.join('\n')}`)));
  });
  return { child, lines, exited, ready: withDeadline(readyLine, `${args[0]} to start`, 15000) };
}

before(async () => {
  const uid = process.getuid();
  const policy = writePolicy(tmp.file('policy.json'), {
    [NAV]: { navigationPermission: true, uids: [uid] },
    [HOLDER]: { navigationPermission: true, uids: [uid] },
    [PLAIN]: { navigationPermission: true, uids: [uid] },
    'com.example.navinfo': { systemApp: true, navigationPermission: true, uids: [uid] },
  });
  daemon = await startDaemon(['--socket', tmp.file('navinfo.sock'), '--policy', policy]);
  sim = startProgram([path.join(paths.root, 'bin', 'navinfo-sim.js'), '--socket', daemon.socketPath, '--as', NAV,
    '--speed-factor', '5', '--loop'], /^navinfo-sim: /, { HILOG_LEVEL: 'off' });
  await sim.ready;
  holder = await startApp(daemon.socketPath, HOLDER);
  await holder.call('listenSystem');
  await holder.call('answerWith', [{ hold: true }]);
});

after(async () => {
  if (sim) sim.child.kill('SIGKILL');
  killAll();
  tmp.remove();
});

test('status, watch, query and cmd print the simulator\'s records and answers and exit 0', async () => {
  // [arguments, exit status, what stdout shows]
  const table = [
    [['status', NAV], 0, /^com\.example\.navigation: NAVIGATION .*\n {2}destination {3}Home \(52\.\d+, 13\.\d+\)/],
    [['watch', NAV, '--only', 'metadata', '--count', '2'], 0, /^(\S+ guidance \w+\(\d\) in \d+ m onto .+ · on .+ · \d+\/\d+ km\/h.*\n){2}$/],
    [['query', NAV, 'navigationStatus', '--json'], 0, /"destination":"Home"/],
    [['query', NAV, 'NAVIGATION_METADATA'], 0, /^0 .+ m to .+\n {2}naviTurnMode: \d/],
    [['cmd', NAV, 'zoomInMap'], 0, /^0 Zoom in to 16\n {2}zoom: 16\n$/],
    [['cmd', NAV, 'changeTheme', 'theme=1'], 0, /^0 Theme changed to DARK/],
    [['cmd', NAV, 'CHANGE_THEME', '{"theme": 1}'], 1, /^1 Theme is already DARK/],
    [['cmd', NAV, 'startMapLayer', 'layer=weather'], 1, /^2 Unknown map layer "weather"/],
    [['status', NAV, '--json'], 0, /"theme":1,/],
  ];
  for (const [args, status, stdout] of table) {
    const result = await runCli(args);
    assert.equal(result.status, status, `${args.join(' ')}: ${result.stderr}`);
    assert.match(result.stdout, stdout, args.join(' '));
  }

  // Every record watched is a change: the status first, then guidance whose
  // distance left shrinks from line to line.
  const watched = await runCli(['watch', NAV, '--json', '--count', '8']);
  assert.equal(watched.status, 0, watched.stderr);
  const records = watched.stdout.trim().split('\n').map((line) => JSON.parse(line));
  assert.equal(records.length, 8);
  assert.deepEqual(records.filter((r) => r.kind === 'status').map((r) => r.record.destLocation.name), ['Home']);
  const left = records.filter((r) => r.kind === 'metadata').map((r) => r.record.totalLeftDis);
  assert.ok(left.length >= 6 && left.every((d, i) => i === 0 || d < left[i - 1]), `distances left: ${left}`);
});

test('refusal, absence, time-out and wrong usage: a non-zero status and a reason', async () => {
  // [arguments, environment, exit status, what stderr says]
  const table = [
    [['status', 'com.example.nobody'], {}, 3, /com\.example\.nobody has published no status/],
    [['cmd', 'com.example.nobody', 'goHome'], {}, 3, /Not found: command "goHome" to "com\.example\.nobody"/],
    [['dump'], { NAVINFO_BUNDLE_NAME: PLAIN }, 4, /Not System App: inspecting the service \(the daemon's policy must make com\.example\.plain a system application/],
    [['status', NAV], { NAVINFO_BUNDLE_NAME: 'com.example.stranger' }, 4, /No Permission/],
    [['query', HOLDER, 'navigationStatus', '--timeout', '300'], {}, 6, /Timed out after 300 ms: query "navigationStatus" to "com\.example\.holder"/],
    [['status', NAV, '--socket', tmp.file('nobody.sock')], {}, 5, /Service unavailable: .*is navinfo-service running at .*nobody\.sock/],
    [['cmd', NAV], {}, 2, /cmd needs a bundle and a type/],
    [['cmd', NAV, 'fly'], {}, 2, /unknown command type "fly": one of startNavigation, /],
    [['cmd', NAV, 'goHome', 'oops'], {}, 2, /a parameter is key=value, not "oops"/],
    [['status', NAV, '--count', '1'], {}, 2, /status takes no --count/],
    [['launch'], {}, 2, /no command "launch"\nTry 'navinfo --help'/],
  ];
  for (const [args, env, status, stderr] of table) {
    const result = await runCli(args, env);
    assert.equal(result.status, status, `${args.join(' ')}: ${result.stdout}${result.stderr}`);
    assert.match(result.stderr, stderr, args.join(' '));
  }
  for (const args of [['--help'], ['help', 'watch'], ['watch', '--help']]) {
    const result = await runCli(args);
    assert.equal(result.status, 0);
    assert.match(result.stdout, /^Usage: navinfo .*\n[^]*Exit status: 0 done/, args.join(' '));
  }
});

test('clients and dump show the connections with uid and bundle, registrations, requests waiting and records', async () => {
  const waiting = runCli(['query', HOLDER, 'navigationStatus', '--timeout', '3000']);
  let snapshot;
  for (let i = 0; i < 50 && !(snapshot && snapshot.requests.length); i++) {
    await new Promise((resolve) => setTimeout(resolve, 50));
    const dump = await runCli(['dump', '--json']);
    assert.equal(dump.status, 0, dump.stderr);
    snapshot = JSON.parse(dump.stdout);
  }
  const uid = process.getuid();
  const client = (bundle) => snapshot.clients.find((c) => c.bundleName === bundle);
  for (const [bundle, pid] of [[NAV, sim.child.pid], [HOLDER, holder.pid]]) {
    assert.deepEqual({ ...client(bundle), clientId: undefined }, { clientId: undefined, bundleName: bundle, pid, uid });
  }
  assert.deepEqual(snapshot.servers.map((s) => s.bundleName).sort(), [HOLDER, NAV]);
  assert.deepEqual(snapshot.requests.map(({ bundleName, kind, type }) => ({ bundleName, kind, type })),
    [{ bundleName: HOLDER, kind: 'query', type: 'navigationStatus' }]);
  assert.equal(snapshot.statuses.find((r) => r.bundleName === NAV).status.destLocation.name, 'Home');
  assert.match(snapshot.metadata.find((r) => r.bundleName === NAV).metadata.currentRoadName, /\S/);
  assert.equal((await waiting).status, 6);

  const clients = await runCli(['clients']);
  assert.equal(clients.status, 0);
  assert.match(clients.stdout, new RegExp(`^CLIENT +PID +UID +BUNDLE +DOING\n[^]*${sim.child.pid} +${uid} +${NAV.replace(/\./g, '\\.')} +serves queries and commands`));
  const dump = await runCli(['dump']);
  assert.match(dump.stdout, /Serving:\n[^]*com\.example\.holder by client \d+[^]*Latest guidance:\n {2}com\.example\.navigation: \w+\(\d\) in/);
});

test('the test drive starts, serves its page and stops cleanly on SIGTERM, in one process and in three', async () => {
  for (const mode of [[], ['--daemon']]) {
    const drive = startProgram([path.join(paths.root, 'apps', 'testdrive', 'main.js'), ...mode, '--port', '0'],
      /^Open the cluster: (http:\S+)/, { HILOG_LEVEL: 'off' });
    const [, url] = await drive.ready;
    const page = await fetch(url);
    assert.match(await page.text(), /<title>navinfo cluster<\/title>/);
    const events = await fetch(new URL('/events', url));
    const reader = events.body.getReader();
    let text = '';
    while (!/event: metadata/.test(text)) text += new TextDecoder().decode((await reader.read()).value);
    assert.match(text, /^event: hello\ndata: {"bundle":"com\.example\.navigation"/);
    await reader.cancel();
    const socket = drive.lines.join('\n').match(/--socket (\S+)/);
    drive.child.kill('SIGTERM');
    assert.deepEqual(await withDeadline(drive.exited, 'the test drive to stop', 15000), { code: 0, signal: null });
    assert.match(drive.lines.at(-1), /^Test drive stopped\.$/);
    if (mode.length) assert.equal(fs.existsSync(path.dirname(socket[1])), false, 'its temporary folder is removed');
  }
});

// The processes whose parent is pid, from /proc; zombies have ended.
function childrenOf(pid) {
  const children = [];
  for (const entry of fs.readdirSync('/proc')) {
    if (!/^\d+$/.test(entry)) continue;
    try {
      // pid (comm) state ppid ...: comm may hold spaces, so read after its last ')'.
      const [state, ppid] = fs.readFileSync(`/proc/${entry}/stat`, 'utf8').split(') ').at(-1).split(' ');
      if (Number(ppid) === pid && state !== 'Z') children.push(Number(entry));
    } catch {
      // Ended while being read.
    }
  }
  return children;
}
const running = (pid) => {
  try {
    return !fs.readFileSync(`/proc/${pid}/stat`, 'utf8').split(') ').at(-1).startsWith('Z');
  } catch {
    return false;
  }
};

test('SIGKILL of the test drive (three processes) leaves no process and no folder; a folder left before goes at the next start',
  async () => {
    // A folder as a test drive whose every process was killed at once leaves it.
    const gone = spawn(process.execPath, ['-e', '']);
    await new Promise((resolve) => gone.once('exit', resolve));
    const left = fs.mkdtempSync(path.join(require('node:os').tmpdir(), 'navinfo-testdrive-'));
    fs.writeFileSync(path.join(left, 'testdrive.pid'), String(gone.pid));

    const drive = startProgram([path.join(paths.root, 'apps', 'testdrive', 'main.js'), '--daemon', '--port', '0'],
      /^Watch it: .* --socket (\S+)/, { HILOG_LEVEL: 'off' });
    const folder = path.dirname((await drive.ready)[1]);
    assert.equal(fs.existsSync(left), false, 'the folder left before is removed');
    const children = childrenOf(drive.child.pid);
    assert.equal(children.length, 4, 'navinfo-service, navinfo-sim, navinfo-cluster and the reaper');
    drive.child.kill('SIGKILL');
    const deadline = Date.now() + 10000;
    while ((children.some(running) || fs.existsSync(folder)) && Date.now() < deadline) {
      await new Promise((resolve) => setTimeout(resolve, 50));
    }
    const leftRunning = children.filter(running);
    const folderLeft = fs.existsSync(folder);
    for (const pid of leftRunning) process.kill(pid, 'SIGKILL');
    fs.rmSync(folder, { recursive: true, force: true });
    fs.rmSync(left, { recursive: true, force: true });
    assert.deepEqual(leftRunning, [], 'processes left');
    assert.equal(folderLeft, false, `${folder} is left`);
  });
