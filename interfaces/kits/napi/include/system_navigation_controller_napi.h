// The JavaScript class "SystemNavigationController" of a system application:
// reading and following a navigation application, and sending it queries
// and commands.
#ifndef NAVIGATION_INFO_NAPI_SYSTEM_NAVIGATION_CONTROLLER_NAPI_H
#define NAVIGATION_INFO_NAPI_SYSTEM_NAVIGATION_CONTROLLER_NAPI_H

#include <node_api.h>

#include "nav_info_common.h"

namespace OHOS::NavigationInfoService {

class SystemNavigationControllerNapi {
public:
    static napi_value SystemNavigationControllerInit(napi_env env, napi_value exports);
    static napi_value NewInstance(napi_env env);
    static napi_value JsConstructor(napi_env env, napi_callback_info info);
    static void JsDestructor(napi_env env, void* nativeObject, void* hint);

    static napi_value JsGetNavigationStatus(napi_env env, napi_callback_info info);
    static napi_value JsRegisterNavigationStatusListener(napi_env env, napi_callback_info info);
    static napi_value JsUnRegisterNavigationStatusListener(napi_env env, napi_callback_info info);
    static napi_value JsRegisterNavigationMetadataListener(napi_env env, napi_callback_info info);
    static napi_value JsUnregisterNavigationMetadataListener(napi_env env, napi_callback_info info);
    static napi_value JsQueryNavigationInfo(napi_env env, napi_callback_info info);
    static napi_value JsSendNavigationCmd(napi_env env, napi_callback_info info);
};

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_SYSTEM_NAVIGATION_CONTROLLER_NAPI_H
