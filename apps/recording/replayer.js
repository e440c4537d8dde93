'use strict';
// Playing a recording back as the navigation application it recorded: its
// status and guidance are published again at the recorded pace (scaled by
// speedFactor), and queries and commands of system applications are
// answered from what was replayed so far:
//  - navigationStatus: code 0, "Replayed status", the current status as data;
//  - navigationMetadata: code 0, "Replayed guidance", the current guidance as
//    data; code 1 before the first guidance;
//  - every command: code 1, "Replay of a recording: <type> is not carried out"
//    (a recording cannot act on it).

const NS_PER_S = 1e9;
const NOT_CARRIED_OUT = 1;

// The part of a recording that a replay plays: bundle's messages from `from`
// to `to` seconds after the recording's first message, and the status
// standing at `from` (published first, so that followers start with it).
function replayPlan(recorded, { bundle, from = 0, to = Infinity }) {
  // The requests and answers of a --requests recording are not published.
  const messages = recorded.filter((m) => m.kind === 'status' || m.kind === 'guidance');
  const bundles = [...new Set(messages.map((m) => m.bundle))];
  if (bundles.length === 0) throw new Error('the recording holds no status or guidance');
  const chosen = bundle ?? bundles[0];
  if (bundle === undefined && bundles.length > 1) {
    throw new Error(`the recording holds several navigation applications (${bundles.join(', ')}): choose one with --bundle`);
  }
  if (!bundles.includes(chosen)) throw new Error(`the recording holds nothing of ${chosen}: it holds ${bundles.join(', ')}`);
  const start = messages[0].logTime;
  const offset = (m) => Number(m.logTime - start) / NS_PER_S;
  const own = messages.filter((m) => m.bundle === chosen);
  const steps = own.filter((m) => offset(m) >= from && offset(m) <= to).map((m) => ({ ...m, at: offset(m) }));
  const standing = own.filter((m) => m.kind === 'status' && offset(m) < from).at(-1);
  if (standing && !steps.some((m) => m.kind === 'status' && m.at === from)) steps.unshift({ ...standing, at: from });
  if (steps.length === 0) throw new Error(`nothing of ${chosen} was recorded between ${from} s and ${to} s`);
  return { bundle: chosen, steps, from, length: offset(own.at(-1)) };
}

// Plays plan through client. Returns { done, stop() }: done resolves with
// { published, refused } when the plan has been played (never with loop,
// until stop()).
function startReplay({ client, plan, speedFactor = 1, loop = false, log = () => {} }) {
  let status = null;
  let guidance = null;
  const server = client.serve((request) => {
    if (request.kind === 'command') {
      return { code: NOT_CARRIED_OUT, message: `Replay of a recording: ${request.type} is not carried out` };
    }
    if (request.type === 'navigationStatus' && status) return { code: 0, message: 'Replayed status', data: status };
    if (request.type === 'navigationMetadata' && guidance) return { code: 0, message: 'Replayed guidance', data: guidance };
    return { code: NOT_CARRIED_OUT, message: `Replay of a recording: no ${request.type === 'navigationStatus' ? 'status' : 'guidance'} yet` };
  });
  server.on('handlerError', (error, request) => log(`${request.kind} ${request.type} failed: ${error.message}`));

  let published = 0;
  let refused = 0;
  let timer = null;
  let finish;
  const done = new Promise((resolve) => { finish = resolve; });
  const stop = () => {
    clearTimeout(timer);
    server.close();
    finish({ published, refused });
  };

  const publish = (step) => {
    try {
      if (step.kind === 'status') client.publishStatus(step.record);
      else client.publishMetadata(step.record);
      if (step.kind === 'status') status = step.record; else guidance = step.record;
      published++;
    } catch (error) {
      refused++;
      log(`${step.topic} #${step.sequence} at ${step.at.toFixed(3)} s not published: ${error.message}`);
    }
  };

  // Each pass keeps to the recorded offsets from its own start, so that slow
  // timers never add up to a drift.
  let index = 0;
  let passStart = performance.now();
  const next = () => {
    while (index < plan.steps.length) {
      const step = plan.steps[index];
      const due = passStart + ((step.at - plan.from) * 1000) / speedFactor;
      const wait = due - performance.now();
      if (wait > 0) {
        timer = setTimeout(next, wait);
        return;
      }
      publish(step);
      index++;
    }
    if (!loop) {
      stop();
      return;
    }
    index = 0;
    passStart = performance.now();
    timer = setTimeout(next, 0);
  };
  next();
  return { done, stop };
}

module.exports = { replayPlan, startReplay, NOT_CARRIED_OUT };
