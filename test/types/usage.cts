// The same module used from CommonJS (require), compiled with tsc --strict.
// The lines marked as expected errors must fail to compile.
import navigationInfoMgr = require('navigation-info-mgr');

const { MapStatus, NaviType, ThemeType } = navigationInfoMgr;
const sys = navigationInfoMgr.getSystemNavigationController();
sys.registerNavigationStatusListener({
  onStatusChanged(bundleName, status) {
    const moving: boolean = status.status === MapStatus.NAVIGATION && status.naviType !== NaviType.WALKING;
    const dark: boolean = status.theme === ThemeType.DARK;
    return [bundleName, moving, dark, status.destLocation.name];
  },
}, 'com.example.navigation');
const nav: navigationInfoMgr.NavigationController = new navigationInfoMgr.NavigationController();
nav.unregisterSystemNavigationListener();

// @ts-expect-error a MapStatus member holds its number
const idle: 'IDLE' = MapStatus.IDLE;
// @ts-expect-error a listener's this is undefined
sys.registerNavigationMetadataListener({ onMetadataChanged() { return this.x; } }, 'com.example.navigation');
// @ts-expect-error parameters are an object, not an array
void sys.queryNavigationInfo('com.example.navigation', navigationInfoMgr.QueryType.NAVIGATION_METADATA, [1, 2]);
export = idle;
