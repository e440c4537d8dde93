'use strict';
// A query answered by the navigation role of the same process, end to end:
// one at a time (p50, p99) against its floor measured in the same run (one
// thread start: the hand-off thread of the request; two wake-ups of the
// Node loop: the request's and the answer's), then CONCURRENCY at a time
// (queries per second, against the detached threads the machine starts per
// second 64 at a time: each query starts one).
const { navigationInfoMgr, percentile } = require('./common');
const { measureFloors, floorsUs, us, ratio } = require('./floors');

const bundleName = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';
const samples = Number(process.env.SAMPLES || 5000);
const concurrency = Number(process.env.CONCURRENCY || 64);
const total = Number(process.env.QUERIES || 50000);
const { QueryType } = navigationInfoMgr;
const controller = navigationInfoMgr.getNavigationController();
const system = navigationInfoMgr.getSystemNavigationController();

controller.registerSystemNavigationListener({
  onQueryNavigationInfo: async () => ({ code: 0, message: 'ok', data: { eta: 11 } }),
  onReceiveNavigationCmd: async () => ({ code: 0, message: 'ok', data: {} }),
});
const query = () => system.queryNavigationInfo(bundleName, QueryType.NAVIGATION_STATUS, {});

// Queries per second with `concurrency` always waiting for an answer.
async function throughput() {
  let sent = 0;
  const start = process.hrtime.bigint();
  const worker = async () => {
    while (sent < total) {
      sent++;
      const answer = await query();
      if (answer.code !== 0) throw new Error(`query answered ${answer.code}`);
    }
  };
  await Promise.all(Array.from({ length: concurrency }, worker));
  return Math.round(total / (Number(process.hrtime.bigint() - start) / 1e9));
}

(async () => {
  for (let i = 0; i < 200; i++) await query();
  const latencies = [];
  for (let i = 0; i < samples; i++) {
    const start = process.hrtime.bigint();
    await query();
    latencies.push(Number(process.hrtime.bigint() - start));
  }
  latencies.sort((a, b) => a - b);
  const queriesPerSecond = await throughput();
  controller.unregisterSystemNavigationListener();
  const floors = await measureFloors();
  const floorNs = floors.threadStartNs + 2 * floors.loopWakeNs;
  console.log(JSON.stringify({
    benchmark: 'query_roundtrip',
    samples,
    floorsUs: floorsUs(floors),
    p50Us: us(percentile(latencies, 50)),
    p99Us: us(percentile(latencies, 99)),
    p50VsFloor: ratio(percentile(latencies, 50), floorNs),
    concurrency,
    queriesPerSecond,
    threadStartsPerSecond: floors.threadStartsPerSecond,
    queriesVsThreadStarts: ratio(queriesPerSecond, floors.threadStartsPerSecond),
  }));
})();
