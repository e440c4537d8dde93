'use strict';
// A query answered by the navigation role of the same process, end to end:
// one at a time (p50, p99) against its floor measured in the same run (one
// thread start: the hand-off thread of the request; two wake-ups of the
// Node loop: the request's and the answer's), then CONCURRENCY at a time
// (queries per second, against the detached threads the machine starts per
// second 64 at a time: each query starts one). Beside both, the chain of
// the six thread hand-overs a query makes and nothing else
// (bench/native/query_chain.cpp), timed the same two ways: what a query
// costs above the hand-overs the platform's threading rules require.
const { navigationInfoMgr, percentile } = require('./common');
const path = require('node:path');
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
const query = async () => {
  const answer = await system.queryNavigationInfo(bundleName, QueryType.NAVIGATION_STATUS, {});
  if (answer.code !== 0) throw new Error(`query answered ${answer.code}`);
};
const buildDir = path.resolve(process.env.NAVINFO_BUILD_DIR || path.join(__dirname, '..', 'build'));
const queryChain = require(path.join(buildDir, 'lib', 'navinfo_bench_query_chain.node'));
const chain = () => queryChain.run(() => {});

// Calls per second with `concurrency` always waiting for an answer.
async function throughput(call) {
  let sent = 0;
  const start = process.hrtime.bigint();
  const worker = async () => {
    while (sent < total) {
      sent++;
      await call();
    }
  };
  await Promise.all(Array.from({ length: concurrency }, worker));
  return Math.round(total / (Number(process.hrtime.bigint() - start) / 1e9));
}

// Sorted latencies of `samples` calls one at a time, after 200 to warm up.
async function latencies(call) {
  for (let i = 0; i < 200; i++) await call();
  const times = [];
  for (let i = 0; i < samples; i++) {
    const start = process.hrtime.bigint();
    await call();
    times.push(Number(process.hrtime.bigint() - start));
  }
  return times.sort((a, b) => a - b);
}

(async () => {
  const queryTimes = await latencies(query);
  const queriesPerSecond = await throughput(query);
  controller.unregisterSystemNavigationListener();
  const chainTimes = await latencies(chain);
  const chainsPerSecond = await throughput(chain);
  const floors = await measureFloors();
  const floorNs = floors.threadStartNs + 2 * floors.loopWakeNs;
  const p50 = percentile(queryTimes, 50);
  const chainP50 = percentile(chainTimes, 50);
  console.log(JSON.stringify({
    benchmark: 'query_roundtrip',
    samples,
    floorsUs: floorsUs(floors),
    p50Us: us(p50),
    p99Us: us(percentile(queryTimes, 99)),
    p50VsFloor: ratio(p50, floorNs),
    handOversP50Us: us(chainP50),
    p50VsHandOvers: ratio(p50, chainP50),
    concurrency,
    queriesPerSecond,
    threadStartsPerSecond: floors.threadStartsPerSecond,
    queriesVsThreadStarts: ratio(queriesPerSecond, floors.threadStartsPerSecond),
    handOversPerSecond: chainsPerSecond,
    queriesVsHandOvers: ratio(queriesPerSecond, chainsPerSecond),
  }));
})();
