'use strict';
// A query answered by the navigation role of the same process, end to end.
const { navigationInfoMgr, percentile } = require('./common');

const bundleName = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';
const samples = Number(process.env.SAMPLES || 5000);
const { QueryType } = navigationInfoMgr;
const controller = navigationInfoMgr.getNavigationController();
const system = navigationInfoMgr.getSystemNavigationController();

controller.registerSystemNavigationListener({
  onQueryNavigationInfo: async () => ({ code: 0, message: 'ok', data: { eta: 11 } }),
  onReceiveNavigationCmd: async () => ({ code: 0, message: 'ok', data: {} }),
});

(async () => {
  for (let i = 0; i < 200; i++) await system.queryNavigationInfo(bundleName, QueryType.NAVIGATION_STATUS, {});
  const latencies = [];
  for (let i = 0; i < samples; i++) {
    const start = process.hrtime.bigint();
    await system.queryNavigationInfo(bundleName, QueryType.NAVIGATION_STATUS, {});
    latencies.push(Number(process.hrtime.bigint() - start));
  }
  latencies.sort((a, b) => a - b);
  controller.unregisterSystemNavigationListener();
  console.log(JSON.stringify({
    benchmark: 'query_roundtrip',
    samples,
    p50Us: +(percentile(latencies, 50) / 1000).toFixed(1),
    p99Us: +(percentile(latencies, 99) / 1000).toFixed(1),
  }));
})();
