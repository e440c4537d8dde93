'use strict';
// The record and replay commands of the navinfo command line.
const path = require('node:path');
const { UsageError, numberOption, onStopSignal } = require('../common/command_line');

const print = (line) => process.stderr.write(`navinfo: ${line}\n`);

// The bundles to record: those named, else every bundle whose status or
// guidance the service holds now.
function bundlesToRecord(client, named) {
  if (named.length > 0) return named;
  const snapshot = client.inspectService();
  const held = [...new Set([...snapshot.statuses, ...snapshot.metadata].map((r) => r.bundleName))];
  if (held.length === 0) throw new UsageError('record: no bundle named, and no navigation application has published yet');
  return held;
}

async function record(client, [file, ...named], values, EXIT) {
  const { startRecording } = require('../recording/recorder');
  const count = numberOption(values, 'count', Infinity, 1, Number.MAX_SAFE_INTEGER);
  const bundles = bundlesToRecord(client, named);
  let stopRequested;
  const stopped = new Promise((resolve) => { stopRequested = resolve; });
  let seen = 0;
  const recording = await startRecording({
    client, file, bundles, requests: values.requests === true, onRecord: () => { if (++seen >= count) stopRequested(); },
  });
  print(`recording ${bundles.join(', ')} to ${file}; Ctrl-C stops`);
  onStopSignal(() => stopRequested());
  await stopped;
  await recording.stop();
  const { status, guidance, requests, answers } = recording.counts;
  const observed = values.requests ? `, ${requests} requests, ${answers} answers` : '';
  print(`${file}: ${status + guidance + requests + answers} records (${status} status, ${guidance} guidance${observed})`);
  return EXIT.OK;
}

// Reads the recording and the replay's settings, before the client is made:
// the replay acts as the recorded bundle unless --as says otherwise.
function prepareReplay([file, ...rest], values) {
  if (rest.length > 0) throw new UsageError('replay takes one recording');
  const { readRecording } = require('../recording/mcap_file');
  const { replayPlan } = require('../recording/replayer');
  const from = numberOption(values, 'from', 0, 0, Number.MAX_SAFE_INTEGER);
  const to = numberOption(values, 'to', Infinity, from, Number.MAX_SAFE_INTEGER);
  const speedFactor = numberOption(values, 'speed-factor', 1, 0.01, 1000);
  const { messages, complete } = readRecording(file);
  if (!complete) print(`${file} was cut off: replaying the ${messages.length} records it holds`);
  let plan;
  try {
    plan = replayPlan(messages, { bundle: values.bundle, from, to });
  } catch (error) {
    throw new UsageError(`replay ${path.basename(file)}: ${error.message}`);
  }
  if (values.loop && plan.steps.at(-1).at === plan.from) throw new UsageError('--loop needs records at more than one time');
  return { file, plan, speedFactor, loop: values.loop === true };
}

async function replay(client, { file, plan, speedFactor, loop }, EXIT) {
  const { startReplay } = require('../recording/replayer');
  const run = startReplay({ client, plan, speedFactor, loop, log: print });
  print(`replaying ${plan.steps.length} records of ${plan.bundle} from ${file}` +
    `${speedFactor !== 1 ? ` at ${speedFactor}x` : ''}${loop ? ', looping' : ''}; Ctrl-C stops`);
  onStopSignal(() => run.stop());
  const { published, refused } = await run.done;
  print(`replayed ${published} records${refused ? `, ${refused} refused` : ''}`);
  return refused ? EXIT.FAILED : EXIT.OK;
}

module.exports = { record, prepareReplay, replay };
