// Test exports over the WantParams conversion:
//   wantRoundTrip(value[, seed]) -> { ok, text, value }
//       Unwraps value into a map (first filled from seed, when given), then
//       gives the Unwrap result, the map's ToString() and its Wrap. A
//       JavaScript exception raised while reading stays pending.
//   wantUnwrapSettled(value) -> { ok, text, error }
//       As wantRoundTrip, but takes a pending exception out as error, so that
//       tests can see what was read before it.
//   wantWrapSample() -> the Wrap of a fixed map with values Unwrap does not
//       make (LONG beyond 2^53) and awkward keys (embedded NUL, "__proto__").
//   wantWrapNested(levels) -> the Wrap of maps nested levels deep, or null.
#include <cstdint>
#include <exception>
#include <limits>
#include <string>

#include "addon_exports.h"
#include "napi_common_want.h"

namespace {

using OHOS::AAFwk::WantParams;
using OHOS::AAFwk::WantValue;

bool SetNamed(napi_env env, napi_value object, const char* name, napi_value value)
{
    return value != nullptr && napi_set_named_property(env, object, name, value) == napi_ok;
}

// The map's ToString() as a JavaScript string; nullptr when that fails.
napi_value MakeText(napi_env env, const WantParams& params)
{
    napi_value result = nullptr;
    try {
        const std::string text = params.ToString();
        napi_create_string_utf8(env, text.data(), text.size(), &result);
    } catch (const std::exception&) {
        return nullptr;
    }
    return result;
}

napi_value MakeBool(napi_env env, bool flag)
{
    napi_value result = nullptr;
    napi_get_boolean(env, flag, &result);
    return result;
}

bool IsExceptionPending(napi_env env)
{
    bool pending = false;
    return napi_is_exception_pending(env, &pending) == napi_ok && pending;
}

// Gets up to two arguments; missing ones are undefined.
bool GetArgs(napi_env env, napi_callback_info info, napi_value (&argv)[2], size_t& argc)
{
    argc = 2;
    return napi_get_cb_info(env, info, &argc, argv, nullptr, nullptr) == napi_ok;
}

napi_value WantRoundTrip(napi_env env, napi_callback_info info)
{
    napi_value argv[2] = {nullptr, nullptr};
    size_t argc = 0;
    if (!GetArgs(env, info, argv, argc) || argc < 1) {
        return NavInfoTest::ThrowTestError(env, "wantRoundTrip(value[, seed]) needs a value");
    }
    WantParams params;
    if (argc > 1 && !OHOS::AppExecFwk::UnwrapWantParams(env, argv[1], params)) {
        return IsExceptionPending(env) ? nullptr : NavInfoTest::ThrowTestError(env, "seed was not read whole");
    }
    bool ok = OHOS::AppExecFwk::UnwrapWantParams(env, argv[0], params);
    if (IsExceptionPending(env)) {
        return nullptr;
    }
    napi_value result = nullptr;
    if (napi_create_object(env, &result) != napi_ok || !SetNamed(env, result, "ok", MakeBool(env, ok)) ||
        !SetNamed(env, result, "text", MakeText(env, params)) ||
        !SetNamed(env, result, "value", OHOS::AppExecFwk::WrapWantParams(env, params))) {
        return NavInfoTest::ThrowTestError(env, "wantRoundTrip: building the result failed");
    }
    return result;
}

napi_value WantUnwrapSettled(napi_env env, napi_callback_info info)
{
    napi_value argv[2] = {nullptr, nullptr};
    size_t argc = 0;
    if (!GetArgs(env, info, argv, argc) || argc < 1) {
        return NavInfoTest::ThrowTestError(env, "wantUnwrapSettled(value) needs a value");
    }
    WantParams params;
    bool ok = OHOS::AppExecFwk::UnwrapWantParams(env, argv[0], params);
    napi_value error = nullptr;
    if (IsExceptionPending(env)) {
        napi_get_and_clear_last_exception(env, &error);
    } else {
        napi_get_undefined(env, &error);
    }
    napi_value result = nullptr;
    if (napi_create_object(env, &result) != napi_ok || !SetNamed(env, result, "ok", MakeBool(env, ok)) ||
        !SetNamed(env, result, "text", MakeText(env, params)) || !SetNamed(env, result, "error", error)) {
        return NavInfoTest::ThrowTestError(env, "wantUnwrapSettled: building the result failed");
    }
    return result;
}

napi_value WantWrapSample(napi_env env, napi_callback_info info)
{
    WantParams params;
    params.SetParam("longMax", WantValue::Long(std::numeric_limits<int64_t>::max()));
    params.SetParam("longMin", WantValue::Long(std::numeric_limits<int64_t>::min()));
    params.SetParam("longSmall", WantValue::Long(7));
    params.SetParam("intMin", WantValue::Int(std::numeric_limits<int32_t>::min()));
    params.SetParam("nan", WantValue::Double(std::numeric_limits<double>::quiet_NaN()));
    params.SetParam(std::string("nul\0key", 7), WantValue::String(std::string("a\0b", 3)));
    params.SetParam("__proto__", WantValue::Params(WantParams()));
    params.SetParam("empty", WantValue::Array({}));
    return OHOS::AppExecFwk::WrapWantParams(env, params);
}

napi_value WantWrapNested(napi_env env, napi_callback_info info)
{
    napi_value argv[2] = {nullptr, nullptr};
    size_t argc = 0;
    int32_t levels = 0;
    if (!GetArgs(env, info, argv, argc) || argc < 1 || napi_get_value_int32(env, argv[0], &levels) != napi_ok ||
        levels < 1 || levels > 10000) {
        return NavInfoTest::ThrowTestError(env, "wantWrapNested(levels) needs 1..10000 levels");
    }
    // Built from the inside out: level 1 is the map handed to Wrap.
    WantParams params;
    params.SetParam("leaf", WantValue::Int(levels));
    for (int32_t level = levels; level > 1; --level) {
        WantParams outer;
        outer.SetParam("next", WantValue::Params(std::move(params)));
        params = std::move(outer);
    }
    return OHOS::AppExecFwk::WrapWantParams(env, params);
}

} // namespace

TEST_ADDON_EXPORT("wantRoundTrip", WantRoundTrip);
TEST_ADDON_EXPORT("wantUnwrapSettled", WantUnwrapSettled);
TEST_ADDON_EXPORT("wantWrapSample", WantWrapSample);
TEST_ADDON_EXPORT("wantWrapNested", WantWrapNested);
