'use strict';
// A fixed number of publishes (or JSON.stringify calls) of a typical record,
// for counting instructions under valgrind (bench/publish_instructions.sh):
// WHAT = metadata | status | json-metadata | json-status, N calls after
// 3,000 to warm up.
const { navigationInfoMgr, typicalStatus, typicalMetadata } = require('./common');

const controller = navigationInfoMgr.getNavigationController();
const calls = {
  metadata: () => controller.updateNavigationMetadata(typicalMetadata),
  status: () => controller.updateNavigationStatus(typicalStatus),
  'json-metadata': () => JSON.stringify(typicalMetadata),
  'json-status': () => JSON.stringify(typicalStatus),
};
const call = calls[process.env.WHAT];
if (!call) {
  throw new Error(`WHAT must be one of ${Object.keys(calls).join(', ')}`);
}
const n = Number(process.env.N || 1000);
for (let i = 0; i < 3000 + n; i++) call();
