'use strict';
// Makes N queries answered in this process, or N runs of their hand-over
// chain (bench/native/query_chain.cpp), one at a time, for
// query_chain_trace.sh to count the system calls of each.
//
//   node query_chain_trace.js query|chain N
const path = require('node:path');

const [mode, count] = [process.argv[2], Number(process.argv[3] || 5000)];
const buildDir = path.resolve(process.env.NAVINFO_BUILD_DIR || path.join(__dirname, '..', 'build'));

async function main() {
  if (mode === 'chain') {
    const queryChain = require(path.join(buildDir, 'lib', 'navinfo_bench_query_chain.node'));
    for (let i = 0; i < count; i++) await queryChain.run(() => {});
    return;
  }
  const { navigationInfoMgr } = require('./common');
  const controller = navigationInfoMgr.getNavigationController();
  const system = navigationInfoMgr.getSystemNavigationController();
  controller.registerSystemNavigationListener({
    onQueryNavigationInfo: async () => ({ code: 0, message: 'ok', data: { eta: 11 } }),
    onReceiveNavigationCmd: async () => ({ code: 0, message: 'ok', data: {} }),
  });
  const bundleName = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';
  for (let i = 0; i < count; i++) {
    await system.queryNavigationInfo(bundleName, navigationInfoMgr.QueryType.NAVIGATION_STATUS, {});
  }
  controller.unregisterSystemNavigationListener();
}

main();
