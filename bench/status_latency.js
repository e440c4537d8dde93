'use strict';
// Latency from updateNavigationStatus to onStatusChanged in one process,
// against its floor measured in the same run: one thread start (the
// hand-off thread of each delivery) and one wake-up of the Node loop.
const { navigationInfoMgr, typicalStatus, percentile } = require('./common');
const { measureFloors, floorsUs, us, ratio } = require('./floors');

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
  system.unregisterNavigationStatusListener(bundleName);
  const floors = await measureFloors();
  clearInterval(keepAlive);
  const floorNs = floors.threadStartNs + floors.loopWakeNs;
  console.log(JSON.stringify({
    benchmark: 'status_latency',
    samples,
    floorsUs: floorsUs(floors),
    p50Us: us(percentile(latencies, 50)),
    p99Us: us(percentile(latencies, 99)),
    maxUs: us(latencies[latencies.length - 1]),
    p50VsThreadStartPlusWake: ratio(percentile(latencies, 50), floorNs),
  }));
})();
