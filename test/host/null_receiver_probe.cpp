// callWithNullReceiver(fn, ...args): napi_call_function with recv == nullptr.
// callWithReceiver(fn, recv, ...args): the same with a receiver, which must
// pass through unchanged.
#include "host_addon.h"

namespace {

constexpr size_t MAX_ARGS = 8;

napi_value CallWith(napi_env env, napi_callback_info info, bool withReceiver)
{
    napi_value argv[MAX_ARGS] = {};
    size_t argc = MAX_ARGS;
    size_t first = withReceiver ? 2 : 1;
    if (napi_get_cb_info(env, info, &argc, argv, nullptr, nullptr) != napi_ok || argc < first || argc > MAX_ARGS) {
        HostTest::Fail(env, "expected a function, the receiver if any, and at most 6 arguments");
        return nullptr;
    }
    napi_value result = nullptr;
    bool pending = false;
    if (napi_call_function(env, withReceiver ? argv[1] : nullptr, argv[0], argc - first, argv + first, &result) !=
            napi_ok &&
        napi_is_exception_pending(env, &pending) == napi_ok && !pending) {
        HostTest::Fail(env, "napi_call_function failed");
    }
    return result;
}

HOST_EXPORT(callWithNullReceiver)
{
    return CallWith(env, info, false);
}

HOST_EXPORT(callWithReceiver)
{
    return CallWith(env, info, true);
}

} // namespace
