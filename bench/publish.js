'use strict';
// Publishing a typical record from JavaScript, against JSON.stringify of it
// and against its floor: the same Node-API calls on the record and nothing
// else (navinfo_bench_publish_floor, bench/native/publish_floor.cpp).
// Rounds alternate between the three, and each figure is the best round's,
// so that a burst of load on a shared machine skews none of them.
const path = require('node:path');
const { navigationInfoMgr, typicalStatus, typicalMetadata, nsPerOp } = require('./common');

const buildDir = path.resolve(process.env.NAVINFO_BUILD_DIR || path.join(__dirname, '..', 'build'));
const floor = require(path.join(buildDir, 'lib', 'navinfo_bench_publish_floor.node'));
floor.prepare('status', typicalStatus);
floor.prepare('metadata', typicalMetadata);

const controller = navigationInfoMgr.getNavigationController();
const iterations = Number(process.env.ITERATIONS || 20000);
const rounds = Number(process.env.ROUNDS || 5);

// Best ns per operation of each function, over alternating rounds.
function best(...fns) {
  const fastest = fns.map(() => Infinity);
  for (let round = 0; round < rounds; round++) {
    fns.forEach((fn, i) => { fastest[i] = Math.min(fastest[i], nsPerOp(fn, iterations)); });
  }
  return fastest;
}

const figures = {};
for (const [name, publish, floorCall, record] of [
  ['metadata', () => controller.updateNavigationMetadata(typicalMetadata), () => floor.metadata(typicalMetadata),
    typicalMetadata],
  ['status', () => controller.updateNavigationStatus(typicalStatus), () => floor.status(typicalStatus), typicalStatus],
]) {
  const [ours, json, floorNs] = best(publish, () => JSON.stringify(record), floorCall);
  figures[name] = {
    nsPerOp: Math.round(ours), jsonStringifyNsPerOp: Math.round(json), ratio: +(ours / json).toFixed(2),
    floorNsPerOp: Math.round(floorNs), ratioToFloor: +(ours / floorNs).toFixed(2),
  };
}
console.log(JSON.stringify({ benchmark: 'publish', iterations, rounds, ...figures }));
