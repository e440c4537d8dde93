#include "nav_napi_init.h"

#include <node_api.h>

#include "hilog/log.h"
#include "navigation_controller_napi.h"
#include "navigation_info_mgr_napi.h"
#include "system_navigation_controller_napi.h"

namespace OHOS::NavigationInfoService {
namespace {

napi_value Init(napi_env env, napi_value exports)
{
    NAVI_LOGI("navigation Napi begin init.");
    NavigationInfoMgrNapi::NavigationInfoMgrInit(env, exports);
    NavigationControllerNapi::NavigationControllerInit(env, exports);
    SystemNavigationControllerNapi::SystemNavigationControllerInit(env, exports);
    return exports;
}

napi_module module = {
    .nm_version = 1,
    .nm_flags = 0,
    .nm_filename = nullptr,
    .nm_register_func = Init,
    .nm_modname = "carService.navigationInfoMgr",
    .nm_priv = nullptr,
    .reserved = {nullptr, nullptr, nullptr, nullptr},
};

} // namespace
} // namespace OHOS::NavigationInfoService

// Runs when the library is loaded. It must not use the module's constant
// tables: their static initialisers may not have run yet.
extern "C" __attribute__((constructor)) void RegisterModule(void)
{
    NAVI_LOGI("navigation module register.");
    napi_module_register(&OHOS::NavigationInfoService::module);
}
