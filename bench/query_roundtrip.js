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

// Sorted latencies of `samples` calls of each, one at a time, after 200 of
// each to warm up. The two alternate: on this kind of machine a wake-up
// across CPUs costs several times one on the same CPU, and where the
// scheduler puts the threads changes within a run, so both are timed under
// the same placements.
async function latencies(calls) {
  const times = calls.map(() => []);
  for (let i = 0; i < 200 + samples; i++) {
    for (let c = 0; c < calls.length; c++) {
      const start = process.hrtime.bigint();
      await calls[c]();
      if (i >= 200) times[c].push(Number(process.hrtime.bigint() - start));
    }
  }
  return times.map((t) => t.sort((a, b) => a - b));
}

(async () => {
  const [queryTimes, chainTimes] = await latencies([query, chain]);
  const queriesPerSecond = await throughput(query);
  controller.unregisterSystemNavigationListener();
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
