// napi_call_function with a null receiver.
//
// The platform runtime accepts recv == nullptr and calls the function with
// `undefined` as `this`; Node answers napi_invalid_arg. The wrapper puts
// `undefined` in, so sloppy-mode functions see globalThis and strict-mode and
// arrow functions see undefined, as for any JS call with an undefined
// receiver. A non-null receiver passes through unchanged.
//
// Thread: the env's loop thread only, as for Node's own function.
#include "real_napi.h"

extern "C" napi_status __wrap_napi_call_function(napi_env env, napi_value recv, napi_value func, size_t argc,
    const napi_value* argv, napi_value* result)
{
    if (recv == nullptr && env != nullptr) {
        napi_status status = napi_get_undefined(env, &recv);
        if (status != napi_ok) {
            return status;
        }
    }
    return __real_napi_call_function(env, recv, func, argc, argv, result);
}
