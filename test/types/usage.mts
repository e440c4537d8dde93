// A navigation application and a system application written as ES modules
// against the package's declarations, compiled with tsc --strict. The lines
// marked as expected errors must fail to compile, or the check fails.
import navigationInfoMgr, {
  CommandType, MapStatus, QueryType, RoutePreference, getNavigationController, getSystemNavigationController,
} from 'navigation-info-mgr';
import type {
  NavigationInfoError, NavigationMetadata, NavigationStatus, ResultData, SystemNavigationListener,
} from 'navigation-info-mgr';

const nav = getNavigationController();
nav.updateNavigationStatus({
  status: MapStatus.NAVIGATION,
  destLocation: { name: 'Office', coordType: navigationInfoMgr.LocationCoordType.WGS84 },
  passPoint: [{ latitude: 52.52, longitude: 13.41 }],
  routePreference: [RoutePreference.AVOID_HIGHWAY, RoutePreference.TIME_FIRST],
});
nav.updateNavigationMetadata({ naviTurnMode: 2, currentSpeed: 48, trafficLane: 'LLSR', customData: { eta: 12 } });

const answers: SystemNavigationListener = {
  onQueryNavigationInfo: async (type, params) => ({ code: 0, message: type, data: params }),
  onReceiveNavigationCmd: async (type) => ({ code: type === CommandType.GO_HOME ? 0 : 1 }),
};
nav.registerSystemNavigationListener(answers);

const sys = getSystemNavigationController();
const status: NavigationStatus = sys.getNavigationStatus('com.example.navigation');
const passed: number = status.passPoint.length + status.routePreference.length;
sys.registerNavigationMetadataListener({
  onMetadataChanged(bundleName: string, metadata: NavigationMetadata) {
    const limit: number | undefined = metadata.naviSpeedLimitValid ? metadata.naviSpeedLimit : undefined;
    return [bundleName, limit, passed];
  },
}, 'com.example.navigation');

export async function ask(): Promise<number> {
  const answer: ResultData = await sys.queryNavigationInfo('com.example.navigation', QueryType.NAVIGATION_STATUS, {});
  try {
    sys.unregisterNavigationMetadataListener('com.example.navigation');
  } catch (e) {
    const refusal = e as NavigationInfoError;
    if (refusal.code === '1015') return -1;
  }
  return answer.code;
}

// Wrong uses the declarations must refuse:
// @ts-expect-error the bundle name is a string
sys.getNavigationStatus(42);
// @ts-expect-error the query kind is one of QueryType's names
void sys.queryNavigationInfo('com.example.navigation', 'navigationStatuss', {});
// @ts-expect-error a command needs its parameters
void sys.sendNavigationCmd('com.example.navigation', CommandType.GO_HOME);
// @ts-expect-error a status is a MapStatus value
nav.updateNavigationStatus({ status: 'navigating' });
// @ts-expect-error the metadata's customData is an object of parameters
nav.updateNavigationMetadata({ customData: 'eta=12' });
// @ts-expect-error an answer must come as a promise
nav.registerSystemNavigationListener({ onQueryNavigationInfo: () => ({ code: 0 }), onReceiveNavigationCmd: async () => ({}) });
// @ts-expect-error the listener comes first, then the bundle name
sys.registerNavigationStatusListener('com.example.navigation', { onStatusChanged() {} });
// @ts-expect-error enumerations are read-only
MapStatus.IDLE = 3;
