// JavaScript exports of the test hooks (test/hooks/nav_info_test_hooks.h),
// with the navigation records as plain objects of the same field names.
// Operations are named as TestHooks::OperationName does, e.g. "queryNavigationInfo".
#include "addon_exports.h"
#include "napi_common_want.h"
#include "nav_info_test_hooks.h"

namespace NavInfoTest {
namespace {

namespace Hooks = OHOS::NavigationInfoService::TestHooks;
using namespace OHOS::NavigationInfoService;
using OHOS::AAFwk::WantParams;

// clang-format reads the X-macro lists F(a) F(b) ... as declarations and never settles on a layout.
// clang-format off
#define LOCATION_FIELDS(F) F(name) F(coordType) F(longitude) F(latitude) F(altitude)
#define STATUS_FIELDS(F)                                                                                     \
    F(status) F(naviType) F(destLocation) F(passPoint) F(routeIndex) F(customData) F(theme) F(routePreference) \
    F(updateTime)
#define METADATA_FIELDS(F)                                                                                  \
    F(naviTurnMode) F(segmentLeftDis) F(currentRoadName) F(nextRoadName) F(intersectionView) F(viewWidth)   \
    F(viewHeight) F(trafficLane) F(cameraSpeedLimitValid) F(cameraSpeedLimit) F(naviSpeedLimitValid)        \
    F(naviSpeedLimit) F(currentSpeed) F(naviBearing) F(totalLeftDis) F(remainingTime) F(customData)
#define RESULT_FIELDS(F) F(code) F(message) F(data)
// clang-format on

// To JavaScript: numbers, booleans, strings, want parameters, arrays, records.
napi_value ToJs(napi_env env, const Location& record);
napi_value ToJs(napi_env env, const NavigationStatus& record);
napi_value ToJs(napi_env env, const NavigationMetadata& record);
napi_value ToJs(napi_env env, const ResultData& record);

napi_value ToJs(napi_env env, const WantParams& params)
{
    return OHOS::AppExecFwk::WrapWantParams(env, params);
}

template <typename T>
napi_value ToJs(napi_env env, const T& value)
{
    return Js(env, value);
}

template <typename T>
napi_value ToJs(napi_env env, const std::vector<T>& values)
{
    napi_value out = nullptr;
    napi_create_array_with_length(env, values.size(), &out);
    for (size_t i = 0; i < values.size(); ++i) {
        napi_set_element(env, out, static_cast<uint32_t>(i), ToJs(env, values[i]));
    }
    return out;
}

// From JavaScript: false when the value has the wrong type.
bool FromJs(napi_env env, napi_value value, Location& record);
bool FromJs(napi_env env, napi_value value, NavigationStatus& record);
bool FromJs(napi_env env, napi_value value, NavigationMetadata& record);
bool FromJs(napi_env env, napi_value value, ResultData& record);

bool FromJs(napi_env env, napi_value value, bool& out)
{
    return napi_get_value_bool(env, value, &out) == napi_ok;
}

bool FromJs(napi_env env, napi_value value, std::string& out)
{
    size_t length = 0;
    if (napi_get_value_string_utf8(env, value, nullptr, 0, &length) != napi_ok) {
        return false;
    }
    std::string text(length + 1, '\0');
    napi_get_value_string_utf8(env, value, text.data(), text.size(), &length);
    out.assign(text.data(), length);
    return true;
}

// undefined and null are empty parameters.
bool FromJs(napi_env env, napi_value value, WantParams& out)
{
    napi_valuetype type = napi_undefined;
    napi_typeof(env, value, &type);
    return type == napi_undefined || type == napi_null || OHOS::AppExecFwk::UnwrapWantParams(env, value, out);
}

bool FromJs(napi_env env, napi_value value, Hooks::Operation& op)
{
    std::string name;
    return FromJs(env, value, name) && Hooks::OperationFromName(name, op);
}

template <typename T> // numbers and enumerations
bool FromJs(napi_env env, napi_value value, T& out)
{
    double number = 0;
    if (napi_get_value_double(env, value, &number) != napi_ok) {
        return false;
    }
    out = static_cast<T>(number);
    return true;
}

template <typename T>
bool FromJs(napi_env env, napi_value value, std::vector<T>& out)
{
    uint32_t length = 0;
    if (napi_get_array_length(env, value, &length) != napi_ok) {
        return false;
    }
    out.assign(length, T{});
    for (uint32_t i = 0; i < length; ++i) {
        napi_value element = nullptr;
        if (napi_get_element(env, value, i, &element) != napi_ok || !FromJs(env, element, out[i])) {
            return false;
        }
    }
    return true;
}

// Reads object[name] into out unless it is undefined; a TypeError names a field of the wrong type.
template <typename T>
bool Field(napi_env env, napi_value object, const char* name, T& out)
{
    napi_value value = nullptr;
    napi_valuetype type = napi_undefined;
    if (napi_get_named_property(env, object, name, &value) != napi_ok || napi_typeof(env, value, &type) != napi_ok) {
        return false;
    }
    if (type == napi_undefined || FromJs(env, value, out)) {
        return true;
    }
    napi_throw_type_error(env, nullptr, (std::string(name) + " has the wrong type").c_str());
    return false;
}

#define TO_JS_FIELD(field) napi_set_named_property(env, out, #field, ToJs(env, record.field));
#define FROM_JS_FIELD(field) &&Field(env, value, #field, record.field)
// Type names a type, which no parentheses may enclose.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define RECORD_CONVERSION(Type, FIELDS)                                        \
    napi_value ToJs(napi_env env, const Type& record)                          \
    {                                                                          \
        napi_value out = nullptr;                                              \
        napi_create_object(env, &out);                                         \
        FIELDS(TO_JS_FIELD)                                                    \
        return out;                                                            \
    }                                                                          \
    [[maybe_unused]] bool FromJs(napi_env env, napi_value value, Type& record) \
    {                                                                          \
        return true FIELDS(FROM_JS_FIELD);                                     \
    }
// NOLINTEND(bugprone-macro-parentheses)

RECORD_CONVERSION(Location, LOCATION_FIELDS)
RECORD_CONVERSION(NavigationStatus, STATUS_FIELDS)
RECORD_CONVERSION(NavigationMetadata, METADATA_FIELDS)
RECORD_CONVERSION(ResultData, RESULT_FIELDS)

// Reads the arguments into out...; missing ones are undefined.
template <typename... T>
bool Args(napi_env env, napi_callback_info info, T&... out)
{
    napi_value argv[sizeof...(T) + 1] = {};
    size_t argc = sizeof...(T);
    if (napi_get_cb_info(env, info, &argc, argv, nullptr, nullptr) != napi_ok) {
        return false;
    }
    size_t i = 0;
    auto read = [&](auto& value) {
        if (FromJs(env, argv[i++], value)) {
            return true;
        }
        ThrowTestError(env, "argument " + std::to_string(i) + " has the wrong type");
        return false;
    };
    return (read(out) && ...);
}

napi_value Null(napi_env env)
{
    napi_value out = nullptr;
    napi_get_null(env, &out);
    return out;
}

TEST_ADDON_EXPORT(forceResult) // (op, code)
{
    Hooks::Operation op;
    int32_t code = 0;
    if (Args(env, info, op, code)) {
        Hooks::ForceResult(op, code);
    }
    return nullptr;
}

TEST_ADDON_EXPORT(clearForcedResults)
{
    Hooks::ClearForcedResults();
    return nullptr;
}

TEST_ADDON_EXPORT(callCount) // (op)
{
    Hooks::Operation op;
    return Args(env, info, op) ? Js(env, Hooks::CallCount(op)) : nullptr;
}

TEST_ADDON_EXPORT(resetCounts)
{
    Hooks::ResetCounts();
    return nullptr;
}

TEST_ADDON_EXPORT(setRequestTimeoutMs) // (ms): the service's time-out of queries and commands made from now on
{
    int32_t milliseconds = 0;
    if (Args(env, info, milliseconds)) {
        Hooks::SetRequestTimeoutMs(milliseconds);
    }
    return nullptr;
}

TEST_ADDON_EXPORT(lastStatus) // status | null
{
    NavigationStatus status;
    return Hooks::LastStatus(status) ? ToJs(env, status) : Null(env);
}

TEST_ADDON_EXPORT(lastMetadata) // metadata | null
{
    NavigationMetadata metadata;
    return Hooks::LastMetadata(metadata) ? ToJs(env, metadata) : Null(env);
}

TEST_ADDON_EXPORT(lastRequest) // (op) -> {bundleName, type, params} | null
{
    Hooks::Operation op;
    Hooks::RequestRecord r;
    if (!Args(env, info, op) || !Hooks::LastRequest(op, r)) {
        return Null(env);
    }
    return Object(env,
        {{"bundleName", Js(env, r.bundleName)}, {"type", Js(env, r.type)}, {"params", ToJs(env, r.params)}});
}

TEST_ADDON_EXPORT(fireStatusChanged) // (bundle, status) -> listeners called
{
    std::string bundle;
    NavigationStatus status;
    return Args(env, info, bundle, status) ? Js(env, Hooks::FireStatusChanged(bundle, status)) : nullptr;
}

TEST_ADDON_EXPORT(fireQuery) // (type, params?) -> id, or -1 without a system navigation listener
{
    int32_t type = 0;
    WantParams params;
    return Args(env, info, type, params) ? Js(env, Hooks::FireQuery(type, params)) : nullptr;
}

TEST_ADDON_EXPORT(fireCommand) // (type, params?) -> id, or -1
{
    int32_t type = 0;
    WantParams params;
    return Args(env, info, type, params) ? Js(env, Hooks::FireCommand(type, params)) : nullptr;
}

TEST_ADDON_EXPORT(takeAnswers) // -> [{id, code, message, data}]
{
    auto answers = Hooks::TakeAnswers();
    napi_value out = nullptr;
    napi_create_array_with_length(env, answers.size(), &out);
    for (size_t i = 0; i < answers.size(); ++i) {
        napi_value answer = ToJs(env, answers[i].data);
        napi_set_named_property(env, answer, "id", Js(env, answers[i].id));
        napi_set_element(env, out, static_cast<uint32_t>(i), answer);
    }
    return out;
}

TEST_ADDON_EXPORT(callLastCallbackTwice) // (op, first, second) -> false when op kept no callback
{
    Hooks::Operation op;
    ResultData first;
    ResultData second;
    return Args(env, info, op, first, second) ? Js(env, Hooks::CallLastCallbackTwice(op, first, second)) : nullptr;
}

} // namespace
} // namespace NavInfoTest
