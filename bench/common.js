'use strict';
// Shared pieces of the benchmarks: the module, typical records and timing.
const path = require('path');

const root = path.join(__dirname, '..');
// The module from the build the benchmark's floors come from (its lib/), not
// the package's installed binaries: NAVINFO_BUILD_DIR, else build/.
process.env.NAVINFO_BUILD_DIR = path.resolve(process.env.NAVINFO_BUILD_DIR || path.join(root, 'build'));
const navigationInfoMgr = require(root);

const typicalStatus = {
  status: 1, naviType: 0,
  destLocation: { name: 'Alexanderplatz', coordType: 1, longitude: 13.4132, latitude: 52.5219, altitude: 38.5 },
  passPoint: [
    { name: 'Fuel station', coordType: 1, longitude: 13.39, latitude: 52.51, altitude: 35 },
    { name: 'Bakery', coordType: 1, longitude: 13.40, latitude: 52.515, altitude: 36 },
  ],
  routeIndex: 1, customData: 'route=fastest', theme: 1, routePreference: [3, 6],
};

const typicalMetadata = {
  naviTurnMode: 3, segmentLeftDis: 420, currentRoadName: 'Unter den Linden', nextRoadName: 'Friedrichstraße',
  intersectionView: 'view-0001', viewWidth: 640, viewHeight: 480, trafficLane: 'LLSR',
  cameraSpeedLimitValid: true, cameraSpeedLimit: 50, naviSpeedLimitValid: true, naviSpeedLimit: 50,
  currentSpeed: 47, naviBearing: 92.5, totalLeftDis: 5300, remainingTime: 690,
  customData: { lane: 2, warnings: ['school zone'], eta: { minutes: 11, reliable: true } },
};

function nsPerOp(fn, iterations) {
  for (let i = 0; i < Math.min(iterations, 2000); i++) fn(); // warm up
  const start = process.hrtime.bigint();
  for (let i = 0; i < iterations; i++) fn();
  return Number(process.hrtime.bigint() - start) / iterations;
}

function percentile(sorted, p) {
  return sorted[Math.min(sorted.length - 1, Math.floor((p / 100) * sorted.length))];
}

module.exports = { navigationInfoMgr, typicalStatus, typicalMetadata, nsPerOp, percentile };
