'use strict';
// navinfo record and navinfo replay through the daemon: a simulated drive
// recorded into MCAP and read back with @mcap/core, a recording that stops
// on Ctrl-C or is killed, and a replay whose follower gets the recorded
// records in the recorded order.
const { test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const { spawn } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const readline = require('node:readline');
const paths = require('./support/paths');
const { startDaemon, startApp, tempDir, writePolicy, killAll, withDeadline } = require('./support/daemon');

const apps = path.join(paths.root, 'apps');
const { McapIndexedReader } = require(path.join(apps, 'node_modules', '@mcap', 'core'));
const { readRecording } = require(path.join(apps, 'recording', 'mcap_file'));
const { replayPlan } = require(path.join(apps, 'recording', 'replayer'));
const { readRouteFile } = require(path.join(apps, 'sim', 'route_file'));
const { Simulator } = require(path.join(apps, 'sim', 'simulator'));

const NAV = 'com.example.navigation';
const FOLLOWER = 'com.example.follower';
const cli = path.join(paths.root, 'bin', 'navinfo.js');
const tmp = tempDir();
let daemons;

// The records of a drive of the urban route, a tick every half second, with
// a change of theme and of zoom on the way: [{ kind, record }] in the order
// a navigation application publishes them.
function simulatedDrive(ticks) {
  const simulator = new Simulator({ routes: { home: readRouteFile('urban'), company: readRouteFile('urban') } });
  const out = [{ kind: 'status', record: simulator.status() }];
  for (let i = 1; i <= ticks; i++) {
    const version = simulator.statusVersion;
    if (i === Math.floor(ticks / 3)) simulator.handleCommand('changeTheme', { theme: 1 });
    if (i === Math.floor((2 * ticks) / 3)) simulator.handleCommand('zoomInMap');
    out.push({ kind: 'guidance', record: simulator.tick(0.5) });
    if (simulator.statusVersion !== version) out.push({ kind: 'status', record: simulator.status() });
  }
  return out;
}

// Publishes the records `gapMs` apart.
async function publishAll(app, drive, gapMs = 2) {
  for (const { kind, record } of drive) {
    const result = await app.call(kind === 'status' ? 'updateStatus' : 'updateMetadata', [record]);
    assert.ok(result.ok, JSON.stringify(result));
    await new Promise((resolve) => setTimeout(resolve, gapMs));
  }
}

// navinfo with args against a daemon; resolves once a line matches `ready`.
function startCli(socket, args, ready = /^navinfo: (recording|replaying) /) {
  const child = spawn(process.execPath, [cli, '--socket', socket, ...args],
    { env: { ...process.env, NAVINFO_BUNDLE_NAME: 'com.example.navinfo', HILOG_LEVEL: 'off' }, stdio: ['ignore', 'pipe', 'pipe'] });
  const lines = [];
  const exited = new Promise((resolve) => child.once('exit', (code, signal) => resolve({ code, signal })));
  const started = new Promise((resolve, reject) => {
    for (const stream of [child.stdout, child.stderr]) {
      readline.createInterface({ input: stream }).on('line', (line) => {
        lines.push(line);
        if (ready.test(line)) resolve();
      });
    }
    exited.then((how) => reject(new Error(`navinfo ${args[0]} ended ${JSON.stringify(how)}: ${lines.join('\n')}`)));
  });
  return { child, lines, exited: withDeadline(exited, `navinfo ${args[0]} to end`, 30000), started: withDeadline(started, `navinfo ${args[0]}`, 15000) };
}

async function freshDaemon(name) {
  const uid = process.getuid();
  const policy = writePolicy(tmp.file(`${name}.json`), {
    [NAV]: { navigationPermission: true, uids: [uid] },
    [FOLLOWER]: { systemApp: true, navigationPermission: true, uids: [uid] },
    'com.example.navinfo': { systemApp: true, navigationPermission: true, uids: [uid] },
  });
  return startDaemon(['--socket', tmp.file(`${name}.sock`), '--policy', policy]);
}

// A readable over a file for McapIndexedReader.
function fileReadable(file) {
  const bytes = fs.readFileSync(file);
  return {
    size: async () => BigInt(bytes.byteLength),
    read: async (offset, length) => bytes.subarray(Number(offset), Number(offset + length)),
  };
}

const ofKind = (items, kind) => items.filter((m) => m.kind === kind).map((m) => m.record);
const drive = simulatedDrive(60);
const recordingFile = tmp.file('drive.mcap');

before(async () => {
  daemons = [await freshDaemon('record'), await freshDaemon('replay')];
});

after(() => {
  killAll();
  tmp.remove();
});

test('a recorded drive reads back with @mcap/core: channels, schemas, count and order', async () => {
  const recorder = startCli(daemons[0].socketPath, ['record', recordingFile, NAV, '--count', String(drive.length)]);
  await recorder.started;
  const app = await startApp(daemons[0].socketPath, NAV);
  await publishAll(app, drive, 15);
  assert.deepEqual(await recorder.exited, { code: 0, signal: null }, recorder.lines.join('\n'));
  await app.kill();

  const reader = await McapIndexedReader.Initialize({ readable: fileReadable(recordingFile) });
  const channels = [...reader.channelsById.values()].map((c) => ({
    topic: c.topic, encoding: c.messageEncoding, schema: reader.schemasById.get(c.schemaId).name,
    schemaEncoding: reader.schemasById.get(c.schemaId).encoding, bundle: c.metadata.get('bundle'),
  }));
  assert.deepEqual(channels.sort((a, b) => a.topic.localeCompare(b.topic)), [
    { topic: `/${NAV}/guidance`, encoding: 'json', schema: 'navinfo.NavigationMetadata', schemaEncoding: 'jsonschema', bundle: NAV },
    { topic: `/${NAV}/status`, encoding: 'json', schema: 'navinfo.NavigationStatus', schemaEncoding: 'jsonschema', bundle: NAV },
  ]);
  for (const schema of reader.schemasById.values()) assert.equal(JSON.parse(new TextDecoder().decode(schema.data)).type, 'object');
  assert.equal(reader.statistics.messageCount, BigInt(drive.length));

  const read = [];
  for await (const message of reader.readMessages()) {
    const channel = reader.channelsById.get(message.channelId);
    read.push({ kind: channel.metadata.get('kind'), record: JSON.parse(new TextDecoder().decode(message.data)),
      logTime: message.logTime, publishTime: message.publishTime });
  }
  for (const kind of ['status', 'guidance']) assert.deepEqual(ofKind(read, kind), ofKind(drive, kind), kind);
  for (let i = 1; i < read.length; i++) assert.ok(read[i].logTime >= read[i - 1].logTime, `log time of message ${i}`);
  for (const message of read) assert.ok(message.publishTime <= message.logTime, 'published before it was received');
});

test('--requests records the queries and commands another application sends, each followed by its answer', async () => {
  const daemon = await freshDaemon('requests');
  const app = await startApp(daemon.socketPath, NAV);
  assert.ok((await app.call('listenSystem', [])).ok);
  const file = tmp.file('requests.mcap');
  const recorder = startCli(daemon.socketPath, ['record', file, NAV, '--requests', '--count', '4']);
  await recorder.started;
  const asker = await startApp(daemon.socketPath, FOLLOWER);
  // Refused (an unknown type): never reaches the recording.
  const refused = await asker.call('query', [NAV, 'noSuchType', {}]);
  assert.ok(!refused.ok || refused.value.code !== 0, JSON.stringify(refused));
  for (const [op, type, params] of [['query', 'navigationStatus', { detail: 'full' }], ['command', 'changeTheme', { theme: 1 }]]) {
    const { ok, value } = await asker.call(op, [NAV, type, params]);
    assert.ok(ok, `${op} ${type}`);
    assert.equal(value.code, 0);
  }
  assert.deepEqual(await recorder.exited, { code: 0, signal: null }, recorder.lines.join('\n'));
  await asker.kill();
  await app.kill();

  const { messages } = readRecording(file);
  const observed = messages.filter((m) => m.kind === 'requests' || m.kind === 'answers');
  assert.deepEqual(observed.map((m) => [m.topic, m.record.kind, m.record.type]), [
    [`/${NAV}/requests`, 'query', 'navigationStatus'],
    [`/${NAV}/answers`, 'query', 'navigationStatus'],
    [`/${NAV}/requests`, 'command', 'changeTheme'],
    [`/${NAV}/answers`, 'command', 'changeTheme'],
  ]);
  const [query, queryAnswer, command, commandAnswer] = observed.map((m) => m.record);
  assert.equal(query.requester, FOLLOWER);
  assert.deepEqual(query.params, { detail: 'full' });
  assert.deepEqual(command.params, { theme: 1 });
  assert.equal(queryAnswer.requestId, query.requestId);
  assert.equal(commandAnswer.requestId, command.requestId);
  assert.notEqual(query.requestId, command.requestId);
  assert.deepEqual([queryAnswer.code, queryAnswer.message, queryAnswer.data.params], [0, 'ok:navigationStatus', { detail: 'full' }]);
  assert.deepEqual([commandAnswer.code, commandAnswer.message], [0, 'ok:changeTheme']);
  // A replay of such a recording publishes only the status and guidance.
  assert.throws(() => replayPlan(messages, {}), /no status or guidance/);
});

test('replaying the recording into a daemon gives a follower the recorded records in the recorded order, at the recorded pace', async () => {
  const { messages } = readRecording(recordingFile);
  const follower = await startApp(daemons[1].socketPath, FOLLOWER);
  assert.ok((await follower.call('followStatus', [NAV])).ok);
  assert.ok((await follower.call('followMetadata', [NAV])).ok);
  const speedFactor = 2;
  const startedAt = Date.now();
  const replay = startCli(daemons[1].socketPath, ['replay', recordingFile, '--speed-factor', String(speedFactor)]);
  assert.deepEqual(await replay.exited, { code: 0, signal: null }, replay.lines.join('\n'));
  const playedFor = Date.now() - startedAt;
  // The replay ended without saying so: the service then reports its bundle
  // UNAVAILABLE on its behalf, after the recorded records.
  await follower.waitEvent('status', (e) => e.status.status === 5);
  const received = follower.events.map((e) => ({ kind: e.event === 'status' ? 'status' : 'guidance', record: e.status || e.metadata }));
  const statuses = ofKind(received, 'status');
  assert.equal(statuses.pop().status, 5);
  assert.deepEqual(statuses, ofKind(messages, 'status'), 'status');
  assert.deepEqual(ofKind(received, 'guidance'), ofKind(messages, 'guidance'), 'guidance');
  // Never faster than recorded: from its start to its end, the replay takes
  // at least the recorded span (about a second) over the speed factor.
  const span = Number(messages.at(-1).logTime - messages[0].logTime) / 1e6;
  assert.ok(span > 800, `recorded over ${span} ms`);
  assert.ok(playedFor >= span / speedFactor, `played in ${playedFor} ms, recorded over ${span} ms`);
  await follower.kill();
});

test('a replay answers queries with what it replayed and commands with code 1', async () => {
  const asker = await startApp(daemons[1].socketPath, FOLLOWER);
  const replay = startCli(daemons[1].socketPath, ['replay', recordingFile, '--loop', '--from', '0.05']);
  await replay.started;
  const { messages } = readRecording(recordingFile);
  // [call, code, message, data check]
  const table = [
    [['query', [NAV, 'navigationStatus', {}]], 0, 'Replayed status', (data) => ofKind(messages, 'status').some((s) => s.theme === data.theme)],
    [['query', [NAV, 'navigationMetadata', {}]], 0, 'Replayed guidance', (data) => typeof data.currentRoadName === 'string'],
    [['command', [NAV, 'changeTheme', { theme: 0 }]], 1, 'Replay of a recording: changeTheme is not carried out', (data) => Object.keys(data).length === 0],
  ];
  await new Promise((resolve) => setTimeout(resolve, 300));
  for (const [[op, args], code, message, check] of table) {
    const { ok, value } = await asker.call(op, args);
    assert.ok(ok, `${op} ${args[1]}`);
    assert.equal(value.code, code, `${op} ${args[1]}`);
    assert.equal(value.message, message, `${op} ${args[1]}`);
    assert.ok(check(value.data), `${op} ${args[1]}: ${JSON.stringify(value.data)}`);
  }
  replay.child.kill('SIGINT');
  assert.deepEqual(await replay.exited, { code: 0, signal: null }, replay.lines.join('\n'));
  await asker.kill();
});

test('Ctrl-C closes the recording properly; a recorder killed outright leaves a file readable up to its last chunk', async () => {
  const long = [...drive, ...simulatedDrive(600).slice(1)];
  for (const [signal, file] of [['SIGINT', tmp.file('stopped.mcap')], ['SIGKILL', tmp.file('killed.mcap')]]) {
    // A daemon that holds no status yet, which the recorder would get first.
    const daemon = await freshDaemon(signal);
    const recorder = startCli(daemon.socketPath, ['record', file, NAV]);
    await recorder.started;
    const app = await startApp(daemon.socketPath, NAV);
    await publishAll(app, long);
    await new Promise((resolve) => setTimeout(resolve, 200));
    recorder.child.kill(signal);
    const how = await recorder.exited;
    await app.kill();
    const { messages, complete } = readRecording(file);
    // Each kind's records are the first ones published, in order.
    for (const kind of ['status', 'guidance']) {
      const got = ofKind(messages, kind);
      assert.deepEqual(got, ofKind(long, kind).slice(0, got.length), `${signal}: ${kind}`);
    }
    if (signal === 'SIGINT') {
      assert.deepEqual(how, { code: 0, signal: null }, recorder.lines.join('\n'));
      assert.equal(complete, true);
      assert.equal(messages.length, long.length);
      const reader = await McapIndexedReader.Initialize({ readable: fileReadable(file) });
      assert.equal(reader.statistics.messageCount, BigInt(long.length));
    } else {
      assert.equal(how.signal, 'SIGKILL');
      assert.equal(complete, false);
      // Lost at most the chunk being filled (a few dozen records).
      assert.ok(messages.length >= long.length - 100, `${messages.length} of ${long.length} records readable`);
    }
  }
});

test('what a replay plays: the bundle, --from with the status standing then, --to', () => {
  const s = (bundle, seconds, kind, id) => ({ bundle, kind, logTime: BigInt(seconds * 1e9), record: { id }, topic: `/${bundle}/${kind}` });
  const messages = [s(NAV, 0, 'status', 's0'), s(NAV, 1, 'guidance', 'g1'), s(NAV, 2, 'status', 's2'),
    s(NAV, 3, 'guidance', 'g3'), s(NAV, 4, 'guidance', 'g4'), s('com.other', 4.5, 'status', 'o')];
  // [options, played ids with their times, or the error]
  const table = [
    [{ bundle: NAV }, ['s0@0', 'g1@1', 's2@2', 'g3@3', 'g4@4']],
    [{ bundle: NAV, from: 2.5 }, ['s2@2.5', 'g3@3', 'g4@4']],
    [{ bundle: NAV, from: 2, to: 3 }, ['s2@2', 'g3@3']],
    [{ bundle: NAV, from: 1.5, to: 1.9 }, ['s0@1.5']],
    [{}, /several navigation applications \(com\.example\.navigation, com\.other\)/],
    [{ bundle: 'com.none' }, /nothing of com\.none/],
  ];
  for (const [options, expected] of table) {
    if (expected instanceof RegExp) {
      assert.throws(() => replayPlan(messages, options), expected);
    } else {
      assert.deepEqual(replayPlan(messages, options).steps.map((m) => `${m.record.id}@${m.at}`), expected, JSON.stringify(options));
    }
  }
});
