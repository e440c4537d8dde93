'use strict';
// One process plays both roles through the embedded service: the navigation
// application publishes and answers, the system application reads, follows,
// queries and commands.
const navigationInfoMgr = require('..');

const { MapStatus, NaviType, ThemeType, RoutePreference, QueryType, CommandType } = navigationInfoMgr;
const bundleName = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';

function waitFor(label, register, timeoutMs = 2000) {
  return new Promise((resolve, reject) => {
    const timer = setTimeout(() => reject(new Error(`no ${label} within ${timeoutMs} ms`)), timeoutMs);
    register((...args) => { clearTimeout(timer); resolve(args); });
  });
}

async function main() {
  const navigation = navigationInfoMgr.getNavigationController();
  const system = navigationInfoMgr.getSystemNavigationController();

  // Navigation role: answer queries and commands.
  let lastStatus = null;
  navigation.registerSystemNavigationListener({
    onQueryNavigationInfo: async (type, params) => {
      console.log(`[map] query "${type}" with ${JSON.stringify(params)}`);
      return { code: 0, message: 'ok', data: { status: lastStatus ? lastStatus.status : -1, etaMinutes: 12 } };
    },
    onReceiveNavigationCmd: async (type, params) => {
      console.log(`[map] command "${type}" with ${JSON.stringify(params)}`);
      return { code: 0, message: `done: ${type}`, data: {} };
    },
  });

  // System role: follow status and metadata.
  const statusSeen = waitFor('status change', (done) => system.registerNavigationStatusListener({
    onStatusChanged(bundle, status) {
      console.log(`[cluster] status of ${bundle}: ${status.status}, to ${status.destLocation.name}`);
      done();
    },
  }, bundleName));
  const metadataSeen = waitFor('metadata change', (done) => system.registerNavigationMetadataListener({
    onMetadataChanged(bundle, metadata) {
      console.log(`[cluster] guidance of ${bundle}: ${metadata.currentRoadName} -> ${metadata.nextRoadName},` +
        ` ${metadata.segmentLeftDis} m, lanes "${metadata.trafficLane}", ${JSON.stringify(metadata.customData)}`);
      done();
    },
  }, bundleName));

  // Navigation role: publish.
  lastStatus = {
    status: MapStatus.NAVIGATION,
    naviType: NaviType.DRIVING,
    destLocation: { name: 'Office', coordType: 1, longitude: 13.405, latitude: 52.52, altitude: 34 },
    passPoint: [{ name: 'Fuel station', longitude: 13.39, latitude: 52.51 }],
    routeIndex: 0,
    theme: ThemeType.DARK,
    routePreference: [RoutePreference.AVOID_CONGESTION, RoutePreference.TIME_FIRST],
  };
  navigation.updateNavigationStatus(lastStatus);
  navigation.updateNavigationMetadata({
    naviTurnMode: 2, segmentLeftDis: 350, currentRoadName: 'Unter den Linden', nextRoadName: 'Friedrichstraße',
    trafficLane: 'LLS', currentSpeed: 42, naviBearing: 91.5, totalLeftDis: 5400, remainingTime: 720,
    customData: { lane: 2, warnings: ['school zone'] },
  });
  await Promise.all([statusSeen, metadataSeen]);

  // System role: read back, query and command.
  const status = system.getNavigationStatus(bundleName);
  console.log(`[cluster] read status: ${JSON.stringify(status)}`);
  const answer = await system.queryNavigationInfo(bundleName, QueryType.NAVIGATION_STATUS, {});
  console.log(`[cluster] query answer: ${JSON.stringify(answer)}`);
  const done = await system.sendNavigationCmd(bundleName, CommandType.GO_HOME, { reason: 'demo' });
  console.log(`[cluster] command answer: ${JSON.stringify(done)}`);
  const unknown = await system.queryNavigationInfo('com.example.absent', QueryType.NAVIGATION_STATUS, {});
  console.log(`[cluster] query to an absent application: ${JSON.stringify(unknown)}`);

  system.unregisterNavigationStatusListener(bundleName);
  system.unregisterNavigationMetadataListener(bundleName);
  navigation.unregisterSystemNavigationListener();
  console.log('done');
}

main().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
