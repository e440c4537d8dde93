#include "navigation_controller_napi.h"

#include <mutex>
#include <string>
#include <utility>

#include "metadata_fields.h"
#include "nav_info_client.h"
#include "name_table.h"
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
        {"updateNavigationStatus", nullptr, JsUpdateNavigationStatus, nullptr, nullptr, nullptr, napi_default, nullptr},
        {"updateNavigationMetadata", nullptr, JsUpdateNavigationMetadata, nullptr, nullptr, nullptr, napi_default,
            nullptr},
        {"registerSystemNavigationListener", nullptr, JsRegisterSystemNavigationListener, nullptr, nullptr, nullptr,
            napi_default, nullptr},
        {"unregisterSystemNavigationListener", nullptr, JsUnregisterSystemNavigationListener, nullptr, nullptr, nullptr,
            napi_default, nullptr},
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
    NavigationStatus status{};
    ParseNavigationStatusData(env, argv[0], &status);
    int32_t ret = NavInfoClient::GetClientInstance()->UpdateNavigationStatus(std::move(status));
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
    NavigationMetadata metadata{};
    ParseNavigationMetadata(env, argv[0], &metadata);
    int32_t ret = NavInfoClient::GetClientInstance()->UpdateNavigationMetadata(std::move(metadata));
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

namespace {

// The field tables of the parsers, in their order.
enum StatusField {
    STATUS,
    NAVI_TYPE,
    DEST_LOCATION,
    PASS_POINT,
    ROUTE_INDEX,
    STATUS_CUSTOM_DATA,
    THEME,
    ROUTE_PREFERENCE
};
const NameTable& StatusFields()
{
    static const NameTable table(std::initializer_list<const char*>{"status", "naviType", "destLocation", "passPoint",
        "routeIndex", "customData", "theme", "routePreference"});
    return table;
}

enum LocationField { NAME, COORD_TYPE, LONGITUDE, LATITUDE, ALTITUDE };
const NameTable& LocationFields()
{
    static const NameTable table(
        std::initializer_list<const char*>{"name", "coordType", "longitude", "latitude", "altitude"});
    return table;
}

} // namespace

void NavigationControllerNapi::ParseNavigationStatusData(napi_env env, napi_value object, NavigationStatus* status)
{
    const char* caller = __FUNCTION__;
    ForEachProperty(env, object, [&](std::string_view name, napi_value value) {
        napi_status ret = napi_ok;
        switch (StatusFields().Find(name)) {
            case STATUS: ret = napi_get_value_int32(env, value, &status->status); break;
            case NAVI_TYPE: ret = napi_get_value_int32(env, value, &status->naviType); break;
            case DEST_LOCATION: ParseLocationData(env, value, &status->destLocation); break;
            case PASS_POINT: ParsePassPointDatas(env, value, status->passPoint); break;
            case ROUTE_INDEX: ret = napi_get_value_int32(env, value, &status->routeIndex); break;
            case STATUS_CUSTOM_DATA: status->customData = GetString(env, value); break;
            case THEME: ret = napi_get_value_int32(env, value, &status->theme); break;
            case ROUTE_PREFERENCE: ParseRoutePreference(env, value, status->routePreference); break;
            default: NAVI_LOGI_AS(caller, "invalid property name"); break;
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
    ForEachProperty(env, object, [&](std::string_view name, napi_value value) {
        napi_status ret = napi_ok;
        switch (LocationFields().Find(name)) {
            case NAME: location->name = GetString(env, value); break;
            case COORD_TYPE: ret = napi_get_value_int32(env, value, &location->coordType); break;
            case LONGITUDE: ret = napi_get_value_double(env, value, &location->longitude); break;
            case LATITUDE: ret = napi_get_value_double(env, value, &location->latitude); break;
            case ALTITUDE: ret = napi_get_value_double(env, value, &location->altitude); break;
            default: NAVI_LOGI_AS(caller, "invalid property name"); break;
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
    // Room for every listed element at once: each is a property the array
    // really holds, so the count is no larger than what is there.
    passPoints.reserve(passPoints.size() + length);
    for (uint32_t i = 0; i < length; ++i) {
        napi_value element = nullptr;
        if (napi_get_element(env, array, i, &element) != napi_ok) {
            ThrowLastNapiError(env);
            return;
        }
        Location location{};
        ParseLocationData(env, element, &location);
        passPoints.push_back(std::move(location));
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
    preferences.reserve(preferences.size() + length); // as for the pass points
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
    ForEachProperty(env, object, [&](std::string_view name, napi_value value) {
        ProcessNavigationMetadataProperty(env, name.data(), value, metadata);
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
    switch (MetadataFieldOf(name)) {
        case NAVI_TURN_MODE: SetByte(env, value, metadata->naviTurnMode); break;
        case SEGMENT_LEFT_DIS: ReadUint32(env, value, metadata->segmentLeftDis); break;
        case CURRENT_ROAD_NAME: metadata->currentRoadName = GetString(env, value); break;
        case NEXT_ROAD_NAME: metadata->nextRoadName = GetString(env, value); break;
        case INTERSECTION_VIEW: SetByteVector(env, value, metadata->intersectionView); break;
        case VIEW_WIDTH: ReadUint32(env, value, metadata->viewWidth); break;
        case VIEW_HEIGHT: ReadUint32(env, value, metadata->viewHeight); break;
        case TRAFFIC_LANE: SetByteVector(env, value, metadata->trafficLane); break;
        case CAMERA_SPEED_LIMIT_VALID: ReadBool(env, value, metadata->cameraSpeedLimitValid); break;
        case CAMERA_SPEED_LIMIT: ReadUint32(env, value, metadata->cameraSpeedLimit); break;
        case NAVI_SPEED_LIMIT_VALID: ReadBool(env, value, metadata->naviSpeedLimitValid); break;
        case NAVI_SPEED_LIMIT: ReadUint32(env, value, metadata->naviSpeedLimit); break;
        case CURRENT_SPEED: ReadUint32(env, value, metadata->currentSpeed); break;
        case NAVI_BEARING:
            if (napi_get_value_double(env, value, &metadata->naviBearing) != napi_ok) {
                ThrowLastNapiError(env);
            }
            break;
        case TOTAL_LEFT_DIS: ReadUint32(env, value, metadata->totalLeftDis); break;
        case REMAINING_TIME: ReadUint32(env, value, metadata->remainingTime); break;
        case METADATA_CUSTOM_DATA: {
            AAFwk::WantParams customData;
            AppExecFwk::UnwrapWantParams(env, value, customData);
            metadata->customData = std::move(customData);
            break;
        }
        default: NAVI_LOGI("invalid property name"); break;
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
    // Each byte, the terminating zero included, as a signed 8-bit value
    // widened: 0x80..0xFF become 0xFF80..0xFFFF.
    auto append = [&field](const char* bytes, size_t count) {
        field.reserve(field.size() + count);
        for (size_t i = 0; i < count; ++i) {
            field.push_back(static_cast<uint16_t>(static_cast<int16_t>(static_cast<int8_t>(bytes[i]))));
        }
    };
    // A short string is read whole in one go: room for one more character was left.
    constexpr size_t MAX_UTF8_CHAR_BYTES = 4;
    char shortText[STRING_BUFFER_SIZE];
    size_t length = 0;
    if (napi_get_value_string_utf8(env, value, shortText, sizeof(shortText), &length) != napi_ok) {
        ThrowLastNapiError(env);
        return;
    }
    if (length + MAX_UTF8_CHAR_BYTES < sizeof(shortText)) {
        append(shortText, length + 1);
        return;
    }
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
    append(buffer.data(), buffer.size());
}

} // namespace OHOS::NavigationInfoService
