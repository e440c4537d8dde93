'use strict';
// Resident memory stays flat: RSS after the first 1,000 operations of each
// kind against RSS after 100,000. V8 sizes its heap to the allocation rate
// during the first bursts, so heapTotal is printed too: growth of RSS with a
// flat heapUsed and heapTotal is the heap's reservation, not a leak. Run with
// --expose-gc (and --max-semi-space-size=1 to keep the young generation fixed).
const { navigationInfoMgr, typicalStatus, typicalMetadata } = require('./common');

const bundleName = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';
const total = Number(process.env.OPERATIONS || 100000);
const { QueryType } = navigationInfoMgr;
const controller = navigationInfoMgr.getNavigationController();
const system = navigationInfoMgr.getSystemNavigationController();

const mib = (bytes) => +(bytes / 1048576).toFixed(1);
const rssMiB = () => mib(process.memoryUsage().rss);
function settle() {
  if (global.gc) { global.gc(); global.gc(); }
  return new Promise((resolve) => setTimeout(resolve, 50));
}

async function measure(name, operation) {
  for (let i = 0; i < 1000; i++) await operation(i);
  await settle();
  const after1k = rssMiB();
  const heapAfter1k = mib(process.memoryUsage().heapTotal);
  for (let i = 1000; i < total; i++) await operation(i);
  await settle();
  const afterAll = rssMiB();
  return {
    name, rssAfter1kMiB: after1k, rssAfterAllMiB: afterAll, growthMiB: +(afterAll - after1k).toFixed(1),
    heapTotalAfter1kMiB: heapAfter1k, heapTotalAfterAllMiB: mib(process.memoryUsage().heapTotal),
    heapUsedAfterAllMiB: mib(process.memoryUsage().heapUsed),
  };
}

(async () => {
  const keepAlive = setInterval(() => {}, 1000);
  controller.registerSystemNavigationListener({
    onQueryNavigationInfo: async () => ({ code: 0, message: 'ok', data: { n: 1 } }),
    onReceiveNavigationCmd: async () => ({ code: 0, message: 'ok', data: {} }),
  });
  let delivered = null;
  system.registerNavigationStatusListener({ onStatusChanged() { if (delivered) delivered(); } }, bundleName);

  const results = [];
  results.push(await measure('queries', () => system.queryNavigationInfo(bundleName, QueryType.NAVIGATION_STATUS, {})));
  results.push(await measure('deliveries', () => new Promise((resolve) => {
    delivered = resolve;
    controller.updateNavigationStatus(typicalStatus);
  })));
  results.push(await measure('publishes', () => controller.updateNavigationMetadata(typicalMetadata)));
  clearInterval(keepAlive);
  console.log(JSON.stringify({ benchmark: 'memory', operations: total, results }));
})();
