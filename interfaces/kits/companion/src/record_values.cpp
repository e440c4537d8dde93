#include "record_values.h"

#include <string>
#include <vector>

#include "js_values.h"
#include "napi_common_want.h"

namespace NavInfoCompanion {
namespace {

using OHOS::NavigationInfoService::Location;
using OHOS::NavigationInfoService::NavigationMetadata;
using OHOS::NavigationInfoService::NavigationStatus;

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

// A text vector holds one byte per element and ends at the first element
// whose low byte is 0, as the module reads it.
napi_value TextToJs(napi_env env, const std::vector<uint16_t>& units)
{
    std::string text;
    for (uint16_t unit : units) {
        const char byte = static_cast<char>(unit & 0xFF);
        if (byte == '\0') {
            break;
        }
        text.push_back(byte);
    }
    return MakeString(env, text);
}

napi_value MakeUint32(napi_env env, uint32_t value)
{
    napi_value out = nullptr;
    napi_create_uint32(env, value, &out);
    return out;
}

} // namespace

napi_value NewObject(napi_env env)
{
    napi_value out = nullptr;
    napi_create_object(env, &out);
    return out;
}

napi_value StatusToJs(napi_env env, const NavigationStatus& status)
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

napi_value MetadataToJs(napi_env env, const NavigationMetadata& metadata)
{
    napi_value out = NewObject(env);
    SetNamed(env, out, "naviTurnMode", MakeUint32(env, metadata.naviTurnMode));
    SetNamed(env, out, "segmentLeftDis", MakeUint32(env, metadata.segmentLeftDis));
    SetNamed(env, out, "currentRoadName", MakeString(env, metadata.currentRoadName));
    SetNamed(env, out, "nextRoadName", MakeString(env, metadata.nextRoadName));
    SetNamed(env, out, "intersectionView", TextToJs(env, metadata.intersectionView));
    SetNamed(env, out, "viewWidth", MakeUint32(env, metadata.viewWidth));
    SetNamed(env, out, "viewHeight", MakeUint32(env, metadata.viewHeight));
    SetNamed(env, out, "trafficLane", TextToJs(env, metadata.trafficLane));
    SetNamed(env, out, "cameraSpeedLimitValid", MakeBool(env, metadata.cameraSpeedLimitValid));
    SetNamed(env, out, "cameraSpeedLimit", MakeUint32(env, metadata.cameraSpeedLimit));
    SetNamed(env, out, "naviSpeedLimitValid", MakeBool(env, metadata.naviSpeedLimitValid));
    SetNamed(env, out, "naviSpeedLimit", MakeUint32(env, metadata.naviSpeedLimit));
    SetNamed(env, out, "currentSpeed", MakeUint32(env, metadata.currentSpeed));
    SetNamed(env, out, "naviBearing", MakeDouble(env, metadata.naviBearing));
    SetNamed(env, out, "totalLeftDis", MakeUint32(env, metadata.totalLeftDis));
    SetNamed(env, out, "remainingTime", MakeUint32(env, metadata.remainingTime));
    napi_value custom = OHOS::AppExecFwk::WrapWantParams(env, metadata.customData);
    SetNamed(env, out, "customData", custom != nullptr ? custom : NewObject(env));
    return out;
}

} // namespace NavInfoCompanion
