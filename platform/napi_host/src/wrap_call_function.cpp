// napi_call_function as the platform runtime carries it out.
//
// - A null receiver: the platform runtime calls the function with
//   `undefined` as `this`; Node answers napi_invalid_arg. The wrapper puts
//   `undefined` in, so sloppy-mode functions see globalThis and strict-mode
//   and arrow functions see undefined, as for any JS call with an undefined
//   receiver. A non-null receiver passes through unchanged.
// - A native promise that the call returns (the promise an async listener
//   returns, or the one a then() call makes) never ends the process when it
//   rejects and nobody handles it: the platform runtime does not end a
//   process for an unhandled rejection, Node does. napi_host awaits such a
//   promise with a function of its own (js_thread_cache.h), which adds a
//   reaction and calls no script function, and drops the outcome. The
//   caller still gets the promise and may attach what it likes.
//
// Thread: the env's loop thread only, as for Node's own function.
#include "js_thread_cache.h"
#include "real_napi.h"

namespace {

void ObserveRejection(napi_env env, napi_value value)
{
    bool isPromise = false;
    if (napi_is_promise(env, value, &isPromise) != napi_ok || !isPromise) {
        return;
    }
    NapiHost::JsThreadCache* cache = NapiHost::CacheOf(env);
    napi_value observer = cache != nullptr ? NapiHost::RejectionObserver(env, *cache) : nullptr;
    napi_value undefined = nullptr;
    if (observer == nullptr || napi_get_undefined(env, &undefined) != napi_ok) {
        return;
    }
    napi_value ignored = nullptr;
    if (__real_napi_call_function(env, undefined, observer, 1, &value, &ignored) != napi_ok) {
        // Nothing of the observer can throw; should anything be pending, it
        // must not become the caller's.
        bool pending = false;
        if (napi_is_exception_pending(env, &pending) == napi_ok && pending) {
            napi_get_and_clear_last_exception(env, &ignored);
        }
    }
}

} // namespace

extern "C" napi_status __wrap_napi_call_function(napi_env env, napi_value recv, napi_value func, size_t argc,
    const napi_value* argv, napi_value* result)
{
    if (env == nullptr) {
        return __real_napi_call_function(env, recv, func, argc, argv, result);
    }
    if (recv == nullptr) {
        napi_status status = napi_get_undefined(env, &recv);
        if (status != napi_ok) {
            return status;
        }
    }
    napi_value returned = nullptr;
    napi_status status = __real_napi_call_function(env, recv, func, argc, argv, &returned);
    if (status != napi_ok) {
        return status;
    }
    ObserveRejection(env, returned);
    if (result != nullptr) {
        *result = returned;
    }
    // The caller sees the call's own outcome, not that of the observation.
    return napi_ok;
}
