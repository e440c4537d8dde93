#include "navigation_info_mgr_napi.h"

#include <string>
#include <utility>
#include <vector>

#include "nav_napi_common.h"
#include "navigation_controller_napi.h"
#include "system_navigation_controller_napi.h"

namespace OHOS::NavigationInfoService {
namespace {

using NumericMembers = std::vector<std::pair<const char*, int32_t>>;

// A new object holding the members in table order; null after a failure.
napi_value CreateNumericEnum(napi_env env, const NumericMembers& members)
{
    napi_value object = nullptr;
    if (napi_create_object(env, &object) != napi_ok) {
        ThrowLastNapiError(env);
        return nullptr;
    }
    for (const auto& member : members) {
        napi_value value = CreateNapiNumber(env, member.second);
        if (napi_set_named_property(env, object, member.first, value) != napi_ok) {
            ThrowLastNapiError(env);
            return nullptr;
        }
    }
    return object;
}

template <typename Kind>
napi_value CreateNameEnum(napi_env env, const std::vector<std::pair<const char*, Kind>>& members)
{
    napi_value object = nullptr;
    if (napi_create_object(env, &object) != napi_ok) {
        ThrowLastNapiError(env);
        return nullptr;
    }
    for (const auto& member : members) {
        napi_value value = nullptr;
        {
            std::string name = ToString(member.second);
            value = CreateNapiStr(env, name);
        }
        if (napi_set_named_property(env, object, member.first, value) != napi_ok) {
            ThrowLastNapiError(env);
            return nullptr;
        }
    }
    return object;
}

} // namespace

napi_value NavigationInfoMgrNapi::NavigationInfoMgrInit(napi_env env, napi_value exports)
{
    napi_property_descriptor descriptors[] = {
        {"getNavigationController", nullptr, JsGetNavigationController, nullptr, nullptr, nullptr, napi_default,
            nullptr},
        {"getSystemNavigationController", nullptr, JsGetSystemNavigationController, nullptr, nullptr, nullptr,
            napi_default, nullptr},
        {"LocationCoordType", nullptr, nullptr, JsLocationCoordType, nullptr, nullptr, napi_default, nullptr},
        {"MapStatus", nullptr, nullptr, JsMapStatus, nullptr, nullptr, napi_default, nullptr},
        {"NaviType", nullptr, nullptr, JsNaviType, nullptr, nullptr, napi_default, nullptr},
        {"ThemeType", nullptr, nullptr, JsThemeType, nullptr, nullptr, napi_default, nullptr},
        {"QueryType", nullptr, nullptr, JsQueryType, nullptr, nullptr, napi_default, nullptr},
        {"CommandType", nullptr, nullptr, JsCommandType, nullptr, nullptr, napi_default, nullptr},
        {"RoutePreference", nullptr, nullptr, JsRoutePreference, nullptr, nullptr, napi_default, nullptr},
    };
    if (napi_define_properties(env, exports, sizeof(descriptors) / sizeof(descriptors[0]), descriptors) != napi_ok) {
        ThrowLastNapiError(env);
        return nullptr;
    }
    return exports;
}

napi_value NavigationInfoMgrNapi::JsGetNavigationController(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called!");
    return NavigationControllerNapi::NewInstance(env);
}

napi_value NavigationInfoMgrNapi::JsGetSystemNavigationController(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called!");
    return SystemNavigationControllerNapi::NewInstance(env);
}

napi_value NavigationInfoMgrNapi::JsLocationCoordType(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called!");
    return CreateNumericEnum(env, {{"GCJ02", 0}, {"WGS84", 1}});
}

napi_value NavigationInfoMgrNapi::JsMapStatus(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called!");
    return CreateNumericEnum(env,
        {{"IDLE", 0}, {"NAVIGATION", 1}, {"CRUISE", 2}, {"POI", 3}, {"ROUTE", 4}, {"UNAVAILABLE", 5}});
}

napi_value NavigationInfoMgrNapi::JsNaviType(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called!");
    return CreateNumericEnum(env, {{"DRIVING", 0}, {"MOTORCYCLE", 1}, {"CYCLING", 2}, {"WALKING", 3}});
}

napi_value NavigationInfoMgrNapi::JsThemeType(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called!");
    return CreateNumericEnum(env, {{"LIGHT", 0}, {"DARK", 1}});
}

napi_value NavigationInfoMgrNapi::JsRoutePreference(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called!");
    return CreateNumericEnum(env,
        {{"INTELLIGENT_RECOMMENDATION", INTELLIGENT_RECOMMENDATION}, {"HIGHWAY_FIRST", HIGHWAY_FIRST},
            {"AVOID_HIGHWAY", AVOID_HIGHWAY}, {"AVOID_CONGESTION", AVOID_CONGESTION}, {"LESS_CHARGE", LESS_CHARGE},
            {"MAIN_ROAD_FIRST", MAIN_ROAD_FIRST}, {"TIME_FIRST", TIME_FIRST}});
}

napi_value NavigationInfoMgrNapi::JsQueryType(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called!");
    return CreateNameEnum<QueryType>(env,
        {{"NAVIGATION_STATUS", QueryType::NAVIGATION_STATUS}, {"NAVIGATION_METADATA", QueryType::NAVIGATION_METADATA}});
}

napi_value NavigationInfoMgrNapi::JsCommandType(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called!");
    return CreateNameEnum<CommandType>(env,
        {{"START_NAVIGATION", CommandType::START_NAVIGATION}, {"STOP_NAVIGATION", CommandType::STOP_NAVIGATION},
            {"GO_HOME", CommandType::GO_HOME}, {"GO_TO_COMPANY", CommandType::GO_TO_COMPANY},
            {"START_MAP_LAYER", CommandType::START_MAP_LAYER}, {"STOP_MAP_LAYER", CommandType::STOP_MAP_LAYER},
            {"ZOOM_IN_MAP", CommandType::ZOOM_IN_MAP}, {"ZOOM_OUT_MAP", CommandType::ZOOM_OUT_MAP},
            {"CHANGE_THEME", CommandType::CHANGE_THEME},
            {"START_UPDATE_NAVIGATION_STATUS", CommandType::START_UPDATE_NAVIGATION_STATUS},
            {"STOP_UPDATE_NAVIGATION_STATUS", CommandType::STOP_UPDATE_NAVIGATION_STATUS}});
}

} // namespace OHOS::NavigationInfoService
