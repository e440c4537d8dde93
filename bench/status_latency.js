'use strict';
// Latency from updateNavigationStatus to onStatusChanged in one process.
const { navigationInfoMgr, typicalStatus, percentile } = require('./common');

const bundleName = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';
const samples = Number(process.env.SAMPLES || 5000);
const controller = navigationInfoMgr.getNavigationController();
const system = navigationInfoMgr.getSystemNavigationController();

let pending = null;
system.registerNavigationStatusListener({
  onStatusChanged() {
    if (pending) {
      const { start, resolve } = pending;
      pending = null;
      resolve(Number(process.hrtime.bigint() - start));
    }
  },
}, bundleName);

function once() {
  return new Promise((resolve) => {
    pending = { start: process.hrtime.bigint(), resolve };
    controller.updateNavigationStatus(typicalStatus);
  });
}

(async () => {
  const keepAlive = setInterval(() => {}, 1000);
  for (let i = 0; i < 200; i++) await once(); // warm up
  const latencies = [];
  for (let i = 0; i < samples; i++) latencies.push(await once());
  latencies.sort((a, b) => a - b);
  clearInterval(keepAlive);
  system.unregisterNavigationStatusListener(bundleName);
  console.log(JSON.stringify({
    benchmark: 'status_latency',
    samples,
    p50Us: +(percentile(latencies, 50) / 1000).toFixed(1),
    p99Us: +(percentile(latencies, 99) / 1000).toFixed(1),
    maxUs: +(latencies[latencies.length - 1] / 1000).toFixed(1),
  }));
})();
