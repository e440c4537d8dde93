'use strict';
// Publishing a typical record from JavaScript, against JSON.stringify of it.
// Rounds alternate between the two, and each figure is the best round's, so
// that a burst of load on a shared machine skews neither side.
const { navigationInfoMgr, typicalStatus, typicalMetadata, nsPerOp } = require('./common');

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
for (const [name, publish, record] of [
  ['metadata', () => controller.updateNavigationMetadata(typicalMetadata), typicalMetadata],
  ['status', () => controller.updateNavigationStatus(typicalStatus), typicalStatus],
]) {
  const [ours, json] = best(publish, () => JSON.stringify(record));
  figures[name] = { nsPerOp: Math.round(ours), jsonStringifyNsPerOp: Math.round(json), ratio: +(ours / json).toFixed(2) };
}
console.log(JSON.stringify({ benchmark: 'publish', iterations, rounds, ...figures }));
