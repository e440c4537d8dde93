// An application of the installed package, as an ES module: the default
// export is the module that require() gives, and one process publishes,
// follows and queries (through the embedded service, or the daemon at
// NAVINFO_SERVICE_SOCKET). Prints the followed status and the answer.
import assert from 'node:assert/strict';
import { createRequire } from 'node:module';
import navigationInfoMgr, {
  MapStatus, QueryType, getNavigationController, getSystemNavigationController,
} from 'navigation-info-mgr';

assert.equal(navigationInfoMgr, createRequire(import.meta.url)('navigation-info-mgr'));
// Listening alone keeps no process alive: this timer does, and bounds the run.
const deadline = setTimeout(() => { console.error('round trip timed out'); process.exit(1); }, 10000);
const bundle = process.env.NAVINFO_BUNDLE_NAME || 'com.example.navigation';
const nav = getNavigationController();
const sys = getSystemNavigationController();

const followed = new Promise((resolve) => {
  sys.registerNavigationStatusListener({ onStatusChanged: (name, status) => resolve([name, status]) }, bundle);
});
nav.registerSystemNavigationListener({
  onQueryNavigationInfo: async (type, params) => ({ code: 0, message: type, data: params }),
  onReceiveNavigationCmd: async (type) => ({ code: 1, message: type }),
});
nav.updateNavigationStatus({ status: MapStatus.NAVIGATION, destLocation: { name: 'Office' } });
const [name, status] = await followed;
const answer = await sys.queryNavigationInfo(bundle, QueryType.NAVIGATION_STATUS, { eta: 12 });
console.log(JSON.stringify({ followed: [name, status.status, status.destLocation.name], answer }));
sys.unregisterNavigationStatusListener(bundle);
nav.unregisterSystemNavigationListener();
clearTimeout(deadline);
