// The module's export table: the two controller factories and the seven
// enumeration getters.
#ifndef NAVIGATION_INFO_NAPI_NAVIGATION_INFO_MGR_NAPI_H
#define NAVIGATION_INFO_NAPI_NAVIGATION_INFO_MGR_NAPI_H

#include <node_api.h>

#include "nav_info_common.h"

namespace OHOS::NavigationInfoService {

class NavigationInfoMgrNapi {
public:
    static napi_value NavigationInfoMgrInit(napi_env env, napi_value exports);
    static napi_value JsGetNavigationController(napi_env env, napi_callback_info info);
    static napi_value JsGetSystemNavigationController(napi_env env, napi_callback_info info);

    static napi_value JsLocationCoordType(napi_env env, napi_callback_info info);
    static napi_value JsMapStatus(napi_env env, napi_callback_info info);
    static napi_value JsNaviType(napi_env env, napi_callback_info info);
    static napi_value JsThemeType(napi_env env, napi_callback_info info);
    static napi_value JsQueryType(napi_env env, napi_callback_info info);
    static napi_value JsCommandType(napi_env env, napi_callback_info info);
    static napi_value JsRoutePreference(napi_env env, napi_callback_info info);
};

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_NAVIGATION_INFO_MGR_NAPI_H
