#include "record_js.h"

#include <cmath>
#include <limits>
#include <vector>

#ifdef NAVINFO_HAVE_WANT_NAPI
#include "napi_common_want.h"
#endif

namespace NavInfoTest {
namespace {

using OHOS::NavigationInfoService::Location;
using OHOS::NavigationInfoService::RoutePreference;

bool Fail(napi_env env, const std::string& message)
{
    napi_throw_type_error(env, nullptr, message.c_str());
    return false;
}

bool TypeOf(napi_env env, napi_value value, napi_valuetype& type)
{
    return napi_typeof(env, value, &type) == napi_ok;
}

bool IsAbsent(napi_env env, napi_value value)
{
    napi_valuetype type;
    return value == nullptr || !TypeOf(env, value, type) || type == napi_undefined;
}

// Gets obj[name]; false with an exception pending when obj is not an object.
bool Property(napi_env env, napi_value object, const char* name, napi_value& out)
{
    napi_valuetype type;
    if (!TypeOf(env, object, type) || type != napi_object) {
        return Fail(env, "an object was expected");
    }
    return napi_get_named_property(env, object, name, &out) == napi_ok;
}

template <typename T>
bool ReadIntegral(napi_env env, napi_value value, const char* what, T& out)
{
    napi_valuetype type;
    double number = 0;
    if (!TypeOf(env, value, type) || type != napi_number || napi_get_value_double(env, value, &number) != napi_ok) {
        return Fail(env, std::string(what) + " must be a number");
    }
    // For 64-bit types the maximum rounds up to 2^63 as a double, which is itself out of range.
    const double upper = static_cast<double>(std::numeric_limits<T>::max());
    if (std::trunc(number) != number || number < static_cast<double>(std::numeric_limits<T>::lowest()) ||
        number > upper || (sizeof(T) == sizeof(int64_t) && number >= upper)) {
        return Fail(env, std::string(what) + " is not an integer in range");
    }
    out = static_cast<T>(number);
    return true;
}

bool ReadDouble(napi_env env, napi_value value, const char* what, double& out)
{
    napi_valuetype type;
    if (!TypeOf(env, value, type) || type != napi_number || napi_get_value_double(env, value, &out) != napi_ok) {
        return Fail(env, std::string(what) + " must be a number");
    }
    return true;
}

bool ReadBool(napi_env env, napi_value value, const char* what, bool& out)
{
    napi_valuetype type;
    if (!TypeOf(env, value, type) || type != napi_boolean || napi_get_value_bool(env, value, &out) != napi_ok) {
        return Fail(env, std::string(what) + " must be a boolean");
    }
    return true;
}

// Reads obj[name] with reader when it is present.
template <typename T, typename Reader>
bool Field(napi_env env, napi_value object, const char* name, T& out, Reader reader)
{
    napi_value value = nullptr;
    if (!Property(env, object, name, value)) {
        return false;
    }
    return IsAbsent(env, value) || reader(env, value, name, out);
}

template <typename T>
bool IntField(napi_env env, napi_value object, const char* name, T& out)
{
    return Field(env, object, name, out, ReadIntegral<T>);
}

template <typename T, typename Reader>
bool ReadArray(napi_env env, napi_value value, const char* what, std::vector<T>& out, Reader reader)
{
    bool isArray = false;
    uint32_t length = 0;
    if (napi_is_array(env, value, &isArray) != napi_ok || !isArray ||
        napi_get_array_length(env, value, &length) != napi_ok) {
        return Fail(env, std::string(what) + " must be an array");
    }
    out.clear();
    for (uint32_t i = 0; i < length; ++i) {
        napi_value element = nullptr;
        T item{};
        if (napi_get_element(env, value, i, &element) != napi_ok || !reader(env, element, what, item)) {
            return false;
        }
        out.push_back(std::move(item));
    }
    return true;
}

bool ReadLocation(napi_env env, napi_value value, const char* what, Location& location)
{
    return Field(env, value, "name", location.name, ReadString) &&
        IntField(env, value, "coordType", location.coordType) &&
        Field(env, value, "longitude", location.longitude, ReadDouble) &&
        Field(env, value, "latitude", location.latitude, ReadDouble) &&
        Field(env, value, "altitude", location.altitude, ReadDouble);
}

bool ReadPreference(napi_env env, napi_value value, const char* what, RoutePreference& out)
{
    int32_t number = 0;
    if (!ReadIntegral(env, value, what, number)) {
        return false;
    }
    out = static_cast<RoutePreference>(number);
    return true;
}

bool ReadTextVector(napi_env env, napi_value value, const char* what, std::vector<uint16_t>& out)
{
    return ReadArray(env, value, what, out, ReadIntegral<uint16_t>);
}

napi_value Number(napi_env env, double value)
{
    napi_value out = nullptr;
    napi_create_double(env, value, &out);
    return out;
}

napi_value String(napi_env env, const std::string& value)
{
    napi_value out = nullptr;
    napi_create_string_utf8(env, value.data(), value.size(), &out);
    return out;
}

napi_value Bool(napi_env env, bool value)
{
    napi_value out = nullptr;
    napi_get_boolean(env, value, &out);
    return out;
}

template <typename T, typename Convert>
napi_value Array(napi_env env, const std::vector<T>& values, Convert convert)
{
    napi_value out = nullptr;
    napi_create_array_with_length(env, values.size(), &out);
    for (size_t i = 0; i < values.size(); ++i) {
        napi_set_element(env, out, static_cast<uint32_t>(i), convert(env, values[i]));
    }
    return out;
}

void Set(napi_env env, napi_value object, const char* name, napi_value value)
{
    napi_set_named_property(env, object, name, value);
}

napi_value Object(napi_env env)
{
    napi_value out = nullptr;
    napi_create_object(env, &out);
    return out;
}

napi_value LocationToJs(napi_env env, const Location& location)
{
    napi_value out = Object(env);
    Set(env, out, "name", String(env, location.name));
    Set(env, out, "coordType", Number(env, location.coordType));
    Set(env, out, "longitude", Number(env, location.longitude));
    Set(env, out, "latitude", Number(env, location.latitude));
    Set(env, out, "altitude", Number(env, location.altitude));
    return out;
}

} // namespace

bool ReadString(napi_env env, napi_value value, const char* what, std::string& out)
{
    napi_valuetype type;
    size_t length = 0;
    if (!TypeOf(env, value, type) || type != napi_string ||
        napi_get_value_string_utf8(env, value, nullptr, 0, &length) != napi_ok) {
        return Fail(env, std::string(what) + " must be a string");
    }
    std::string text(length + 1, '\0');
    if (napi_get_value_string_utf8(env, value, text.data(), text.size(), &length) != napi_ok) {
        return Fail(env, std::string(what) + " cannot be read");
    }
    text.resize(length);
    out = std::move(text);
    return true;
}

bool ReadInt64(napi_env env, napi_value value, const char* what, int64_t& out)
{
    return ReadIntegral(env, value, what, out);
}

bool ReadStatus(napi_env env, napi_value value, NavigationStatus& status)
{
    return IntField(env, value, "status", status.status) && IntField(env, value, "naviType", status.naviType) &&
        Field(env, value, "destLocation", status.destLocation, ReadLocation) &&
        Field(env, value, "passPoint", status.passPoint,
            [](napi_env e, napi_value v, const char* w, std::vector<Location>& out) {
                return ReadArray(e, v, w, out, ReadLocation);
            }) &&
        IntField(env, value, "routeIndex", status.routeIndex) &&
        Field(env, value, "customData", status.customData, ReadString) &&
        IntField(env, value, "theme", status.theme) &&
        Field(env, value, "routePreference", status.routePreference,
            [](napi_env e, napi_value v, const char* w, std::vector<RoutePreference>& out) {
                return ReadArray(e, v, w, out, ReadPreference);
            }) &&
        IntField(env, value, "updateTime", status.updateTime);
}

bool ReadMetadata(napi_env env, napi_value value, NavigationMetadata& m)
{
    return IntField(env, value, "naviTurnMode", m.naviTurnMode) &&
        IntField(env, value, "segmentLeftDis", m.segmentLeftDis) &&
        Field(env, value, "currentRoadName", m.currentRoadName, ReadString) &&
        Field(env, value, "nextRoadName", m.nextRoadName, ReadString) &&
        Field(env, value, "intersectionView", m.intersectionView, ReadTextVector) &&
        IntField(env, value, "viewWidth", m.viewWidth) && IntField(env, value, "viewHeight", m.viewHeight) &&
        Field(env, value, "trafficLane", m.trafficLane, ReadTextVector) &&
        Field(env, value, "cameraSpeedLimitValid", m.cameraSpeedLimitValid, ReadBool) &&
        IntField(env, value, "cameraSpeedLimit", m.cameraSpeedLimit) &&
        Field(env, value, "naviSpeedLimitValid", m.naviSpeedLimitValid, ReadBool) &&
        IntField(env, value, "naviSpeedLimit", m.naviSpeedLimit) &&
        IntField(env, value, "currentSpeed", m.currentSpeed) &&
        Field(env, value, "naviBearing", m.naviBearing, ReadDouble) &&
        IntField(env, value, "totalLeftDis", m.totalLeftDis) &&
        IntField(env, value, "remainingTime", m.remainingTime) &&
        Field(env, value, "customData", m.customData,
            [](napi_env e, napi_value v, const char*, OHOS::AAFwk::WantParams& out) { return ReadParams(e, v, out); });
}

bool ReadParams(napi_env env, napi_value value, OHOS::AAFwk::WantParams& params)
{
    napi_valuetype type;
    if (IsAbsent(env, value) || (TypeOf(env, value, type) && type == napi_null)) {
        return true;
    }
#ifdef NAVINFO_HAVE_WANT_NAPI
    if (!OHOS::AppExecFwk::UnwrapWantParams(env, value, params)) {
        return Fail(env, "parameters must be a plain object of supported values");
    }
    return true;
#else
    // Without the want conversion only an empty object can be read.
    napi_value names = nullptr;
    uint32_t count = 0;
    if (!TypeOf(env, value, type) || type != napi_object || napi_get_property_names(env, value, &names) != napi_ok ||
        napi_get_array_length(env, names, &count) != napi_ok || count != 0) {
        return Fail(env, "this build reads only empty parameter objects (no want conversion built)");
    }
    params.Clear();
    return true;
#endif
}

bool ReadResultData(napi_env env, napi_value value, ResultData& data)
{
    return IntField(env, value, "code", data.code) && Field(env, value, "message", data.message, ReadString) &&
        Field(env, value, "data", data.data,
            [](napi_env e, napi_value v, const char*, OHOS::AAFwk::WantParams& out) { return ReadParams(e, v, out); });
}

napi_value StatusToJs(napi_env env, const NavigationStatus& status)
{
    napi_value out = Object(env);
    Set(env, out, "status", Number(env, status.status));
    Set(env, out, "naviType", Number(env, status.naviType));
    Set(env, out, "destLocation", LocationToJs(env, status.destLocation));
    Set(env, out, "passPoint", Array(env, status.passPoint, LocationToJs));
    Set(env, out, "routeIndex", Number(env, status.routeIndex));
    Set(env, out, "customData", String(env, status.customData));
    Set(env, out, "theme", Number(env, status.theme));
    Set(env, out, "routePreference",
        Array(env, status.routePreference, [](napi_env e, RoutePreference p) { return Number(e, p); }));
    Set(env, out, "updateTime", Number(env, static_cast<double>(status.updateTime)));
    return out;
}

napi_value MetadataToJs(napi_env env, const NavigationMetadata& m)
{
    auto number = [](napi_env e, uint16_t v) { return Number(e, v); };
    napi_value out = Object(env);
    Set(env, out, "naviTurnMode", Number(env, m.naviTurnMode));
    Set(env, out, "segmentLeftDis", Number(env, m.segmentLeftDis));
    Set(env, out, "currentRoadName", String(env, m.currentRoadName));
    Set(env, out, "nextRoadName", String(env, m.nextRoadName));
    Set(env, out, "intersectionView", Array(env, m.intersectionView, number));
    Set(env, out, "viewWidth", Number(env, m.viewWidth));
    Set(env, out, "viewHeight", Number(env, m.viewHeight));
    Set(env, out, "trafficLane", Array(env, m.trafficLane, number));
    Set(env, out, "cameraSpeedLimitValid", Bool(env, m.cameraSpeedLimitValid));
    Set(env, out, "cameraSpeedLimit", Number(env, m.cameraSpeedLimit));
    Set(env, out, "naviSpeedLimitValid", Bool(env, m.naviSpeedLimitValid));
    Set(env, out, "naviSpeedLimit", Number(env, m.naviSpeedLimit));
    Set(env, out, "currentSpeed", Number(env, m.currentSpeed));
    Set(env, out, "naviBearing", Number(env, m.naviBearing));
    Set(env, out, "totalLeftDis", Number(env, m.totalLeftDis));
    Set(env, out, "remainingTime", Number(env, m.remainingTime));
    Set(env, out, "customData", ParamsToJs(env, m.customData));
    return out;
}

napi_value ParamsToJs(napi_env env, const OHOS::AAFwk::WantParams& params)
{
#ifdef NAVINFO_HAVE_WANT_NAPI
    return OHOS::AppExecFwk::WrapWantParams(env, params);
#else
    return String(env, params.ToString());
#endif
}

napi_value ResultDataToJs(napi_env env, const ResultData& data)
{
    napi_value out = Object(env);
    Set(env, out, "code", Number(env, data.code));
    Set(env, out, "message", String(env, data.message));
    Set(env, out, "data", ParamsToJs(env, data.data));
    return out;
}

} // namespace NavInfoTest
