#include "navigation_controller_napi.h"

#include <mutex>
#include <string>

#include "nav_info_client.h"
#include "nav_napi_common.h"
#include "napi_common_want.h"
#include "system_navigation_listener_napi.h"

namespace OHOS::NavigationInfoService {
namespace {

thread_local napi_ref g_navControllerRef = nullptr;
thread_local napi_ref g_objInstance = nullptr;

const std::string NO_PERMISSION_MESSAGE = "No Permission";
const std::string NOT_SYSTEM_APP_MESSAGE = "Not System App";
const char* const ARGC_ASSERTION = "assertion (argc > 0) failed: Wrong number of arguments";

// The listener of the most recent registerSystemNavigationListener, from any
// JavaScript thread of the process. Replaced under the lock, so that two
// threads registering at once never release the same listener twice.
std::mutex g_systemNavListenerMutex;
sptr<SystemNavigationListenerNapi> g_systemNavListener = nullptr;

// The service result rule with this file's messages.
void ThrowForResult(napi_env env, int32_t result)
{
    if (result == ERR_NOT_SYSTEM_APP) {
        ThrowNapiError(env, ERR_NOT_SYSTEM_APP, NOT_SYSTEM_APP_MESSAGE);
    } else if (result == ERR_NO_PERMISSION) {
        ThrowNapiError(env, ERR_NO_PERMISSION, NO_PERMISSION_MESSAGE);
    }
}

} // namespace

napi_value NavigationControllerNapi::NavigationControllerInit(napi_env env, napi_value exports)
{
    napi_property_descriptor descriptors[] = {
        {"updateNavigationStatus", nullptr, JsUpdateNavigationStatus, nullptr, nullptr, nullptr, napi_default,
            nullptr},
        {"updateNavigationMetadata", nullptr, JsUpdateNavigationMetadata, nullptr, nullptr, nullptr, napi_default,
            nullptr},
        {"registerSystemNavigationListener", nullptr, JsRegisterSystemNavigationListener, nullptr, nullptr, nullptr,
            napi_default, nullptr},
        {"unregisterSystemNavigationListener", nullptr, JsUnregisterSystemNavigationListener, nullptr, nullptr,
            nullptr, napi_default, nullptr},
    };
    napi_value constructor = nullptr;
    if (napi_define_class(env, "NavigationController", NAPI_AUTO_LENGTH, JsConstructor, nullptr,
        sizeof(descriptors) / sizeof(descriptors[0]), descriptors, &constructor) != napi_ok) {
        NAVI_LOGI("Failed to define class at NavigationControllerInit");
        return nullptr;
    }
    napi_create_reference(env, constructor, 1, &g_navControllerRef);
    if (napi_set_named_property(env, exports, "NavigationController", constructor) != napi_ok) {
        NAVI_LOGI("Set property failed when NavigationControllerInit");
        return nullptr;
    }
    return exports;
}

napi_value NavigationControllerNapi::NewInstance(napi_env env)
{
    if (g_objInstance != nullptr) {
        napi_value instance = nullptr;
        if (napi_get_reference_value(env, g_objInstance, &instance) != napi_ok) {
            NAVI_LOGI("get instance failed");
            return nullptr;
        }
        NAVI_LOGI("instance is created, return");
        return instance;
    }
    napi_value instance = CreateInstance(env, g_navControllerRef);
    napi_create_reference(env, instance, 1, &g_objInstance);
    NAVI_LOGI("NewInstance.");
    return instance;
}

napi_value NavigationControllerNapi::JsConstructor(napi_env env, napi_callback_info info)
{
    NAVI_LOGI(" JsConstructor.");
    size_t argc = ARGC_ONE;
    napi_value argv[ARGC_ONE] = {nullptr};
    napi_value thisVar = nullptr;
    if (!GetCallbackInfo(env, info, argc, argv, &thisVar)) {
        return nullptr;
    }
    auto* controller = new NavigationControllerNapi();
    if (napi_wrap(env, thisVar, controller, JsDestructor, nullptr, nullptr) != napi_ok) {
        // No finaliser will ever run for an object that could not be wrapped.
        delete controller;
        ThrowLastNapiError(env);
        return nullptr;
    }
    NAVI_LOGI("JsConstructor end.");
    return thisVar;
}

void NavigationControllerNapi::JsDestructor(napi_env env, void* nativeObject, void* hint)
{
    NAVI_LOGI("Destructor");
    delete static_cast<NavigationControllerNapi*>(nativeObject);
}

napi_value NavigationControllerNapi::JsUpdateNavigationStatus(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    napi_value argv[ARGC_ONE] = {nullptr};
    if (!GetArguments(env, info, ARGC_ONE, ARGC_ASSERTION, argv)) {
        return nullptr;
    }
    NavigationStatus status {};
    ParseNavigationStatusData(env, argv[0], &status);
    int32_t ret = NavInfoClient::GetClientInstance()->UpdateNavigationStatus(status);
    ThrowForResult(env, ret);
    NAVI_LOGI("UpdateNavigationStatus ret= %{public}d", ret);
    return nullptr;
}

napi_value NavigationControllerNapi::JsUpdateNavigationMetadata(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    napi_value argv[ARGC_ONE] = {nullptr};
    if (!GetArguments(env, info, ARGC_ONE, ARGC_ASSERTION, argv)) {
        return nullptr;
    }
    NavigationMetadata metadata {};
    ParseNavigationMetadata(env, argv[0], &metadata);
    int32_t ret = NavInfoClient::GetClientInstance()->UpdateNavigationMetadata(metadata);
    ThrowForResult(env, ret);
    NAVI_LOGI("UpdateNavigationMetadata ret= %{public}d", ret);
    return nullptr;
}

napi_value NavigationControllerNapi::JsRegisterSystemNavigationListener(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    napi_value argv[ARGC_ONE] = {nullptr};
    if (!GetArguments(env, info, ARGC_ONE, ARGC_ASSERTION, argv)) {
        return nullptr;
    }
    sptr<SystemNavigationListenerNapi> listener = new SystemNavigationListenerNapi(env, argv[0]);
    sptr<SystemNavigationListenerNapi> previous;
    {
        std::lock_guard<std::mutex> lock(g_systemNavListenerMutex);
        previous = g_systemNavListener;
        g_systemNavListener = listener;
    }
    previous = nullptr;
    int32_t ret = NavInfoClient::GetClientInstance()->RegisterSystemNavigationListener(listener);
    listener = nullptr;
    ThrowForResult(env, ret);
    NAVI_LOGI("RegisterSystemNavigationListener ret= %{public}d", ret);
    return nullptr;
}

napi_value NavigationControllerNapi::JsUnregisterSystemNavigationListener(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    int32_t ret = NavInfoClient::GetClientInstance()->UnRegisterSystemNavigationListener();
    ThrowForResult(env, ret);
    NAVI_LOGI("UnRegisterSystemNavigationListener ret= %{public}d", ret);
    return nullptr;
}

void NavigationControllerNapi::ParseNavigationStatusData(napi_env env, napi_value object, NavigationStatus* status)
{
    const char* caller = __FUNCTION__;
    ForEachProperty(env, object, [&](const std::string& name, napi_value value) {
        napi_status ret = napi_ok;
        if (name == "status") {
            ret = napi_get_value_int32(env, value, &status->status);
        } else if (name == "naviType") {
            ret = napi_get_value_int32(env, value, &status->naviType);
        } else if (name == "destLocation") {
            ParseLocationData(env, value, &status->destLocation);
        } else if (name == "passPoint") {
            ParsePassPointDatas(env, value, status->passPoint);
        } else if (name == "routeIndex") {
            ret = napi_get_value_int32(env, value, &status->routeIndex);
        } else if (name == "customData") {
            status->customData = GetString(env, value);
        } else if (name == "theme") {
            ret = napi_get_value_int32(env, value, &status->theme);
        } else if (name == "routePreference") {
            ParseRoutePreference(env, value, status->routePreference);
        } else {
            NAVI_LOGI_AS(caller, "invalid property name");
        }
        if (ret != napi_ok) {
            ThrowLastNapiError(env);
            return false; // a failed number read ends the walk
        }
        return true;
    });
}

void NavigationControllerNapi::ParseLocationData(napi_env env, napi_value object, Location* location)
{
    const char* caller = __FUNCTION__;
    ForEachProperty(env, object, [&](const std::string& name, napi_value value) {
        napi_status ret = napi_ok;
        if (name == "name") {
            location->name = GetString(env, value);
        } else if (name == "coordType") {
            ret = napi_get_value_int32(env, value, &location->coordType);
        } else if (name == "longitude") {
            ret = napi_get_value_double(env, value, &location->longitude);
        } else if (name == "latitude") {
            ret = napi_get_value_double(env, value, &location->latitude);
        } else if (name == "altitude") {
            ret = napi_get_value_double(env, value, &location->altitude);
        } else {
            NAVI_LOGI_AS(caller, "invalid property name");
        }
        if (ret != napi_ok) {
            ThrowLastNapiError(env);
            return false; // a failed number read ends the walk
        }
        return true;
    });
}

void NavigationControllerNapi::ParsePassPointDatas(napi_env env, napi_value array, std::vector<Location>& passPoints)
{
    napi_value names = nullptr;
    uint32_t length = 0;
    GetPropertyNamesAndLenth(env, array, names, length);
    NAVI_LOGI("propertyLength =%{public}d", length);
    if (length < 1) {
        NAVI_LOGW("propertyLength < 1");
        return;
    }
    for (uint32_t i = 0; i < length; ++i) {
        napi_value element = nullptr;
        if (napi_get_element(env, array, i, &element) != napi_ok) {
            ThrowLastNapiError(env);
            return;
        }
        Location location {};
        ParseLocationData(env, element, &location);
        passPoints.push_back(location);
    }
}

void NavigationControllerNapi::ParseRoutePreference(napi_env env, napi_value array,
    std::vector<RoutePreference>& preferences)
{
    napi_value names = nullptr;
    uint32_t length = 0;
    GetPropertyNamesAndLenth(env, array, names, length);
    NAVI_LOGI("propertyLength =%{public}d", length);
    if (length < 1) {
        NAVI_LOGW("propertyLength < 1");
        return;
    }
    for (uint32_t i = 0; i < length; ++i) {
        napi_value element = nullptr;
        if (napi_get_element(env, array, i, &element) != napi_ok) {
            ThrowLastNapiError(env);
            return;
        }
        int32_t preference = 0;
        if (napi_get_value_int32(env, element, &preference) != napi_ok) {
            ThrowLastNapiError(env);
            return;
        }
        preferences.push_back(static_cast<RoutePreference>(preference));
    }
}

void NavigationControllerNapi::ParseNavigationMetadata(napi_env env, napi_value object, NavigationMetadata* metadata)
{
    NAVI_LOGI("is called");
    ForEachProperty(env, object, [&](const std::string& name, napi_value value) {
        ProcessNavigationMetadataProperty(env, name.c_str(), value, metadata);
        return true; // a bad value never ends this walk
    });
}

namespace {

void ReadUint32(napi_env env, napi_value value, uint32_t& field)
{
    if (napi_get_value_uint32(env, value, &field) != napi_ok) {
        ThrowLastNapiError(env);
    }
}

void ReadBool(napi_env env, napi_value value, bool& field)
{
    if (napi_get_value_bool(env, value, &field) != napi_ok) {
        ThrowLastNapiError(env);
    }
}

} // namespace

void NavigationControllerNapi::ProcessNavigationMetadataProperty(napi_env env, const char* name, napi_value value,
    NavigationMetadata* metadata)
{
    std::string key(name);
    if (key == "naviTurnMode") {
        SetByte(env, value, metadata->naviTurnMode);
    } else if (key == "segmentLeftDis") {
        ReadUint32(env, value, metadata->segmentLeftDis);
    } else if (key == "currentRoadName") {
        metadata->currentRoadName = GetString(env, value);
    } else if (key == "nextRoadName") {
        metadata->nextRoadName = GetString(env, value);
    } else if (key == "intersectionView") {
        SetByteVector(env, value, metadata->intersectionView);
    } else if (key == "viewWidth") {
        ReadUint32(env, value, metadata->viewWidth);
    } else if (key == "viewHeight") {
        ReadUint32(env, value, metadata->viewHeight);
    } else if (key == "trafficLane") {
        SetByteVector(env, value, metadata->trafficLane);
    } else if (key == "cameraSpeedLimitValid") {
        ReadBool(env, value, metadata->cameraSpeedLimitValid);
    } else if (key == "cameraSpeedLimit") {
        ReadUint32(env, value, metadata->cameraSpeedLimit);
    } else if (key == "naviSpeedLimitValid") {
        ReadBool(env, value, metadata->naviSpeedLimitValid);
    } else if (key == "naviSpeedLimit") {
        ReadUint32(env, value, metadata->naviSpeedLimit);
    } else if (key == "currentSpeed") {
        ReadUint32(env, value, metadata->currentSpeed);
    } else if (key == "naviBearing") {
        if (napi_get_value_double(env, value, &metadata->naviBearing) != napi_ok) {
            ThrowLastNapiError(env);
        }
    } else if (key == "totalLeftDis") {
        ReadUint32(env, value, metadata->totalLeftDis);
    } else if (key == "remainingTime") {
        ReadUint32(env, value, metadata->remainingTime);
    } else if (key == "customData") {
        AAFwk::WantParams customData;
        AppExecFwk::UnwrapWantParams(env, value, customData);
        metadata->customData = customData;
    } else {
        NAVI_LOGI("invalid property name");
    }
}

void NavigationControllerNapi::SetByte(napi_env env, napi_value value, uint16_t& field)
{
    uint32_t number = 0;
    if (napi_get_value_uint32(env, value, &number) != napi_ok) {
        ThrowLastNapiError(env);
        return;
    }
    field = static_cast<uint16_t>(number & 0xFFFF);
}

void NavigationControllerNapi::SetByteVector(napi_env env, napi_value value, std::vector<uint16_t>& field)
{
    size_t length = 0;
    if (napi_get_value_string_utf8(env, value, nullptr, 0, &length) != napi_ok) {
        ThrowLastNapiError(env);
        return;
    }
    std::vector<char> buffer(length + 1, '\0');
    size_t written = 0;
    if (napi_get_value_string_utf8(env, value, buffer.data(), buffer.size(), &written) != napi_ok) {
        ThrowLastNapiError(env);
        return;
    }
    field.reserve(field.size() + buffer.size());
    for (char byte : buffer) {
        // Each byte as a signed 8-bit value, widened: 0x80..0xFF become 0xFF80..0xFFFF.
        field.push_back(static_cast<uint16_t>(static_cast<int16_t>(static_cast<int8_t>(byte))));
    }
}

} // namespace OHOS::NavigationInfoService
