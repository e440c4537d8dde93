#include "status_reader.h"

#include <string>
#include <vector>

#include "js_values.h"
#include "nav_info_client.h"

namespace NavInfoCompanion {
namespace {

using OHOS::NavigationInfoService::Location;
using OHOS::NavigationInfoService::NavigationStatus;
using OHOS::NavigationInfoService::NavInfoClient;

napi_value NewObject(napi_env env)
{
    napi_value out = nullptr;
    napi_create_object(env, &out);
    return out;
}

template <typename T, typename Convert>
napi_value ToArray(napi_env env, const std::vector<T>& values, Convert convert)
{
    napi_value out = nullptr;
    napi_create_array_with_length(env, values.size(), &out);
    for (size_t i = 0; i < values.size(); ++i) {
        napi_set_element(env, out, static_cast<uint32_t>(i), convert(values[i]));
    }
    return out;
}

napi_value ToJs(napi_env env, const Location& location)
{
    napi_value out = NewObject(env);
    SetNamed(env, out, "name", MakeString(env, location.name));
    SetNamed(env, out, "coordType", MakeInt32(env, location.coordType));
    SetNamed(env, out, "longitude", MakeDouble(env, location.longitude));
    SetNamed(env, out, "latitude", MakeDouble(env, location.latitude));
    SetNamed(env, out, "altitude", MakeDouble(env, location.altitude));
    return out;
}

// The properties and their order are those of the module's status objects.
napi_value ToJs(napi_env env, const NavigationStatus& status)
{
    napi_value out = NewObject(env);
    SetNamed(env, out, "status", MakeInt32(env, status.status));
    SetNamed(env, out, "naviType", MakeInt32(env, status.naviType));
    SetNamed(env, out, "destLocation", ToJs(env, status.destLocation));
    SetNamed(env, out, "passPoint", ToArray(env, status.passPoint, [&](const Location& l) { return ToJs(env, l); }));
    SetNamed(env, out, "routeIndex", MakeInt32(env, status.routeIndex));
    SetNamed(env, out, "customData", MakeString(env, status.customData));
    SetNamed(env, out, "theme", MakeInt32(env, status.theme));
    SetNamed(env, out, "routePreference",
        ToArray(env, status.routePreference, [&](int32_t preference) { return MakeInt32(env, preference); }));
    return out;
}

} // namespace

napi_value JsReadStatus(napi_env env, napi_callback_info info)
{
    return Guarded(env, [&]() -> napi_value {
        CallArgs<1> args;
        std::string bundleName;
        if (!args.Read(env, info) || !ReadString(env, args.argv[0], bundleName)) {
            return ThrowTypeError(env, "readStatus(bundleName): bundleName must be a string");
        }
        NavigationStatus status;
        int32_t result = NavInfoClient::GetClientInstance()->GetNavigationStatus(bundleName, status);
        napi_value out = NewObject(env);
        SetNamed(env, out, "result", MakeInt32(env, result));
        if (result == OHOS::NavigationInfoService::NAV_INFO_SUCCESS) {
            SetNamed(env, out, "status", ToJs(env, status));
            SetNamed(env, out, "updateTime", MakeDouble(env, static_cast<double>(status.updateTime)));
        }
        return out;
    });
}

} // namespace NavInfoCompanion
