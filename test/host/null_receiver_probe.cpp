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
    if (!HostTest::GetArgs(env, info, &argc, argv) || argc < first || argc > MAX_ARGS) {
        return HostTest::Throw(env, "expected a function, the receiver if any, and at most 6 arguments");
    }
    napi_value recv = withReceiver ? argv[1] : nullptr;
    napi_value result = nullptr;
    if (napi_call_function(env, recv, argv[0], argc - first, argv + first, &result) != napi_ok) {
        bool pending = false;
        napi_is_exception_pending(env, &pending);
        return pending ? nullptr : HostTest::Throw(env, "napi_call_function failed");
    }
    return result;
}

napi_value CallWithNullReceiver(napi_env env, napi_callback_info info)
{
    return CallWith(env, info, false);
}

napi_value CallWithReceiver(napi_env env, napi_callback_info info)
{
    return CallWith(env, info, true);
}

} // namespace

void HostTest::DefineNullReceiverProbe(napi_env env, napi_value exports)
{
    static const Export list[] = {
        {"callWithNullReceiver", CallWithNullReceiver},
        {"callWithReceiver", CallWithReceiver},
    };
    DefineExports(env, exports, list, sizeof(list) / sizeof(list[0]));
}
