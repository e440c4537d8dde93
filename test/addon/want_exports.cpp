// Test exports over the WantParams conversion:
//   wantRoundTrip(value[, seed]) -> { ok, text, value[, error] }
//       Unwraps value into a map (first filled from seed, when given), then
//       gives the Unwrap result, the map's ToString() and its Wrap; error is
//       the exception Unwrap left pending, taken out so that tests can see
//       what was read before it.
//   wantWrapSample() -> the Wrap of a fixed map with values Unwrap does not
//       make (LONG beyond 2^53) and awkward keys (embedded NUL, "__proto__").
//   wantWrapNested(levels) -> the Wrap of maps nested levels deep, or null.
#include <limits>

#include "addon_exports.h"
#include "napi_common_want.h"

namespace NavInfoTest {
namespace {

using OHOS::AAFwk::WantParams;
using OHOS::AAFwk::WantValue;
using OHOS::AppExecFwk::UnwrapWantParams;
using OHOS::AppExecFwk::WrapWantParams;

TEST_ADDON_EXPORT(wantRoundTrip)
{
    napi_value argv[2] = {nullptr, nullptr};
    size_t argc = 2;
    napi_get_cb_info(env, info, &argc, argv, nullptr, nullptr);
    WantParams params;
    if (argc < 1 || (argc > 1 && !UnwrapWantParams(env, argv[1], params))) {
        return ThrowTestError(env, "wantRoundTrip(value[, seed]) needs a value and a seed that reads whole");
    }
    bool ok = UnwrapWantParams(env, argv[0], params);
    bool pending = false;
    napi_value error = nullptr;
    if (napi_is_exception_pending(env, &pending) == napi_ok && pending) {
        napi_get_and_clear_last_exception(env, &error);
    }
    napi_value result = Object(env,
        {{"ok", Js(env, ok)}, {"text", Js(env, params.ToString())}, {"value", WrapWantParams(env, params)}});
    if (error != nullptr) {
        napi_set_named_property(env, result, "error", error);
    }
    return result;
}

TEST_ADDON_EXPORT(wantWrapSample)
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
    return WrapWantParams(env, params);
}

TEST_ADDON_EXPORT(wantWrapNested)
{
    size_t argc = 1;
    napi_value arg = nullptr;
    int32_t levels = 0;
    napi_get_cb_info(env, info, &argc, &arg, nullptr, nullptr);
    if (argc < 1 || napi_get_value_int32(env, arg, &levels) != napi_ok || levels < 1 || levels > 10000) {
        return ThrowTestError(env, "wantWrapNested(levels) needs 1..10000 levels");
    }
    // Built from the inside out: level 1 is the map handed to Wrap.
    WantParams params;
    params.SetParam("leaf", WantValue::Int(levels));
    for (int32_t level = levels; level > 1; --level) {
        WantParams outer;
        outer.SetParam("next", WantValue::Params(std::move(params)));
        params = std::move(outer);
    }
    return WrapWantParams(env, params);
}

} // namespace
} // namespace NavInfoTest
