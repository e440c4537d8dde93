'use strict';
// A script that follows its own bundle, serves and sends queries and
// commands, publishes a burst and ends at once, while deliveries, requests
// and answers are still in flight: argv[2] says how it ends ("natural",
// "exit", or the same inside a Worker: "worker-natural", "worker-exit",
// "worker-terminate"), argv[3] how many records it publishes.
const { Worker, isMainThread, workerData } = require('node:worker_threads');
const paths = require('./paths');

function publishBurst(count) {
  const m = paths.loadModule();
  const nav = m.getNavigationController();
  const sys = m.getSystemNavigationController();
  const bundle = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';
  sys.registerNavigationStatusListener({ onStatusChanged() {} }, bundle);
  sys.registerNavigationMetadataListener({ onMetadataChanged() {} }, bundle);
  nav.registerSystemNavigationListener({
    onQueryNavigationInfo: async () => ({ code: 0, message: 'query', data: {} }),
    onReceiveNavigationCmd: async () => ({ code: 0, message: 'command', data: {} }),
  });
  for (let i = 0; i < count; i++) {
    nav.updateNavigationStatus({ status: 1, naviType: 1, routeIndex: i });
    nav.updateNavigationMetadata({ totalDistance: i, curRoadName: `road ${i}` });
    if (i % 10 === 0) {
      sys.queryNavigationInfo(bundle, m.QueryType.NAVIGATION_STATUS, {}).catch(() => {});
      sys.sendNavigationCmd(bundle, m.CommandType.START_NAVIGATION, {}).catch(() => {});
    }
  }
}

const how = isMainThread ? process.argv[2] : workerData.how;
const count = Number(isMainThread ? process.argv[3] : workerData.count);
if (isMainThread && how.startsWith('worker-')) {
  const worker = new Worker(__filename, { workerData: { how: how.slice('worker-'.length), count } });
  worker.on('error', (error) => { console.error(error); process.exitCode = 1; });
  if (how === 'worker-terminate') worker.on('message', () => worker.terminate());
} else {
  publishBurst(count);
  if (!isMainThread && how === 'terminate') require('node:worker_threads').parentPort.postMessage('published');
  if (how === 'exit') process.exit(0);
}
