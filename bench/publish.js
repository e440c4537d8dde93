'use strict';
// Publishing a typical record from JavaScript, against JSON.stringify of it.
const { navigationInfoMgr, typicalStatus, typicalMetadata, nsPerOp } = require('./common');

const controller = navigationInfoMgr.getNavigationController();
const iterations = Number(process.env.ITERATIONS || 100000);

const metadataNs = nsPerOp(() => controller.updateNavigationMetadata(typicalMetadata), iterations);
const metadataJsonNs = nsPerOp(() => JSON.stringify(typicalMetadata), iterations);
const statusNs = nsPerOp(() => controller.updateNavigationStatus(typicalStatus), iterations);
const statusJsonNs = nsPerOp(() => JSON.stringify(typicalStatus), iterations);

console.log(JSON.stringify({
  benchmark: 'publish',
  iterations,
  metadataNsPerOp: Math.round(metadataNs),
  metadataJsonStringifyNsPerOp: Math.round(metadataJsonNs),
  metadataRatio: +(metadataNs / metadataJsonNs).toFixed(2),
  statusNsPerOp: Math.round(statusNs),
  statusJsonStringifyNsPerOp: Math.round(statusJsonNs),
  statusRatio: +(statusNs / statusJsonNs).toFixed(2),
}));
