'use strict';
// Resident memory stays flat: RSS after the first 1,000 operations of each
// kind against RSS after 100,000.
const { navigationInfoMgr, typicalStatus, typicalMetadata } = require('./common');

const bundleName = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';
const total = Number(process.env.OPERATIONS || 100000);
const { QueryType } = navigationInfoMgr;
const controller = navigationInfoMgr.getNavigationController();
const system = navigationInfoMgr.getSystemNavigationController();

const rssMiB = () => +(process.memoryUsage().rss / 1048576).toFixed(1);
function settle() {
  if (global.gc) { global.gc(); global.gc(); }
  return new Promise((resolve) => setTimeout(resolve, 50));
}

async function measure(name, operation) {
  for (let i = 0; i < 1000; i++) await operation(i);
  await settle();
  const after1k = rssMiB();
  for (let i = 1000; i < total; i++) await operation(i);
  await settle();
  const afterAll = rssMiB();
  return { name, rssAfter1kMiB: after1k, rssAfterAllMiB: afterAll, growthMiB: +(afterAll - after1k).toFixed(1) };
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
