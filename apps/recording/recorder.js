'use strict';
// Recording what navigation applications publish: follows the status and
// guidance of each bundle with the client API and writes every record to an
// MCAP recording as it arrives.
const { createRecording } = require('./mcap_file');

// Wall-clock nanoseconds that never go back (for the order of a recording).
function nanoClock() {
  const wallStart = BigInt(Date.now()) * 1000000n;
  const monoStart = process.hrtime.bigint();
  return () => wallStart + (process.hrtime.bigint() - monoStart);
}

const sameRecord = (a, b) => JSON.stringify(a) === JSON.stringify(b);

// Starts recording bundles into file; with requests, also the queries and
// commands other applications send to them and their answers (kinds
// 'requests' and 'answers'). onRecord(bundle, kind) is called for each
// record written. Returns { counts, stop() }: stop() ends following
// and resolves once the file is complete.
async function startRecording({ client, file, bundles, requests = false, onRecord = () => {}, now = nanoClock() }) {
  const recording = await createRecording(file);
  const counts = { status: 0, guidance: 0, requests: 0, answers: 0 };
  const subscriptions = [];
  const failed = [];
  const write = (bundle, kind, record, publishTime) => {
    const logTime = now();
    counts[kind]++;
    // The service's time has millisecond steps and this clock another anchor:
    // a publish time a little after the receive time is the receive time.
    const published = publishTime !== undefined && publishTime < logTime ? publishTime : logTime;
    recording.add(bundle, kind, record, logTime, published).catch((error) => failed.push(error));
    onRecord(bundle, kind);
  };
  try {
    for (const bundle of bundles) {
      subscriptions.push(client.followStatus(bundle).on('status', (status) => {
        // The service tells when it stored a bundle's latest status; that is
        // this record's publish time when it is still the latest.
        let latest = null;
        try { latest = client.getStatus(bundle); } catch { /* the receive time serves */ }
        const stored = latest && sameRecord(latest.status, status) ? BigInt(latest.updatedAt.getTime()) * 1000000n : undefined;
        write(bundle, 'status', status, stored);
      }));
      subscriptions.push(client.followMetadata(bundle).on('metadata', (metadata) => write(bundle, 'guidance', metadata)));
      if (requests) {
        subscriptions.push(client.observeRequests(bundle)
          .on('request', (request) => write(bundle, 'requests', request))
          .on('answer', (answer) => write(bundle, 'answers', answer)));
      }
    }
  } catch (error) {
    for (const s of subscriptions) s.close();
    await recording.close();
    throw error;
  }
  return {
    counts,
    async stop() {
      for (const s of subscriptions) s.close();
      await recording.close();
      if (failed.length > 0) throw new Error(`recording ${file}: ${failed[0].message}`);
    },
  };
}

module.exports = { startRecording, nanoClock };
