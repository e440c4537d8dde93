'use strict';
// A fixed number of publishes (or JSON.stringify calls) of a typical record,
// for counting instructions under valgrind (bench/publish_instructions.sh):
// WHAT = metadata | status | json-metadata | json-status | floor-metadata |
// floor-status (the same Node-API calls and nothing else), N calls after
// 3,000 to warm up.
const path = require('node:path');
const { navigationInfoMgr, typicalStatus, typicalMetadata } = require('./common');

const buildDir = path.resolve(process.env.NAVINFO_BUILD_DIR || path.join(__dirname, '..', 'build'));
const floor = require(path.join(buildDir, 'lib', 'navinfo_bench_publish_floor.node'));
floor.prepare('status', typicalStatus);
floor.prepare('metadata', typicalMetadata);
const controller = navigationInfoMgr.getNavigationController();
const calls = {
  metadata: () => controller.updateNavigationMetadata(typicalMetadata),
  status: () => controller.updateNavigationStatus(typicalStatus),
  'json-metadata': () => JSON.stringify(typicalMetadata),
  'json-status': () => JSON.stringify(typicalStatus),
  'floor-metadata': () => floor.metadata(typicalMetadata),
  'floor-status': () => floor.status(typicalStatus),
};
const call = calls[process.env.WHAT];
if (!call) {
  throw new Error(`WHAT must be one of ${Object.keys(calls).join(', ')}`);
}
const n = Number(process.env.N || 1000);
for (let i = 0; i < 3000 + n; i++) call();
