// The JavaScript class "NavigationController" of a navigation application:
// publishing status and metadata, and the listener for queries and commands.
#ifndef NAVIGATION_INFO_NAPI_NAVIGATION_CONTROLLER_NAPI_H
#define NAVIGATION_INFO_NAPI_NAVIGATION_CONTROLLER_NAPI_H

#include <node_api.h>

#include <vector>

#include "nav_info_common.h"

namespace OHOS::NavigationInfoService {

class NavigationControllerNapi {
public:
    static napi_value NavigationControllerInit(napi_env env, napi_value exports);
    static napi_value NewInstance(napi_env env);
    static napi_value JsConstructor(napi_env env, napi_callback_info info);
    static void JsDestructor(napi_env env, void* nativeObject, void* hint);

    static napi_value JsUpdateNavigationStatus(napi_env env, napi_callback_info info);
    static napi_value JsUpdateNavigationMetadata(napi_env env, napi_callback_info info);
    static napi_value JsRegisterSystemNavigationListener(napi_env env, napi_callback_info info);
    static napi_value JsUnregisterSystemNavigationListener(napi_env env, napi_callback_info info);

    // Reading a status object.
    static void ParseNavigationStatusData(napi_env env, napi_value object, NavigationStatus* status);
    static void ParseLocationData(napi_env env, napi_value object, Location* location);
    static void ParsePassPointDatas(napi_env env, napi_value array, std::vector<Location>& passPoints);
    static void ParseRoutePreference(napi_env env, napi_value array, std::vector<RoutePreference>& preferences);

    // Reading a metadata object.
    static void ParseNavigationMetadata(napi_env env, napi_value object, NavigationMetadata* metadata);
    static void ProcessNavigationMetadataProperty(napi_env env, const char* name, napi_value value,
        NavigationMetadata* metadata);
    static void SetByte(napi_env env, napi_value value, uint16_t& field);
    static void SetByteVector(napi_env env, napi_value value, std::vector<uint16_t>& field);
};

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_NAVIGATION_CONTROLLER_NAPI_H
