// The module "carService.navigationInfoMgr" as an ES module: the same export
// object as require('navigation-info-mgr') as the default export, and its
// members as named exports.
import navigationInfoMgr from './index.js';

export default navigationInfoMgr;
export const {
  getNavigationController,
  getSystemNavigationController,
  LocationCoordType,
  MapStatus,
  NaviType,
  ThemeType,
  QueryType,
  CommandType,
  RoutePreference,
  NavigationController,
  SystemNavigationController,
} = navigationInfoMgr;
