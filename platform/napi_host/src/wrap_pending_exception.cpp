// Node-API reads and writes of properties while an exception is pending.
//
// Node refuses most calls that may run JavaScript (property access, element
// access, coercion, promise creation) while an exception is pending, and
// answers napi_pending_exception. The platform runtime carries them out, and
// the module's lenient parsers rely on that: a bad value is reported as a
// JavaScript error and the walk goes on with the next property. The wrappers
// set the pending exception aside, make the call, and put it back, so the
// first exception stays the one JavaScript sees. An exception raised by the
// call itself (a getter that throws) is dropped in favour of the first.
//
// napi_get_property_names also lists own names only (see its wrapper).
//
// Threads: the env's JavaScript thread, like the functions they wrap.
#include "no_throw.h"
#include "real_napi.h"

namespace {

template <typename RealCall>
napi_status CallPastPendingException(napi_env env, RealCall&& realCall)
{
    bool pending = false;
    if (env == nullptr || napi_is_exception_pending(env, &pending) != napi_ok || !pending) {
        return realCall();
    }
    napi_value first = nullptr;
    if (napi_get_and_clear_last_exception(env, &first) != napi_ok) {
        return napi_pending_exception;
    }
    napi_status status = realCall();
    bool raised = false;
    if (napi_is_exception_pending(env, &raised) == napi_ok && raised) {
        napi_value dropped = nullptr;
        napi_get_and_clear_last_exception(env, &dropped);
    }
    napi_throw(env, first);
    return status;
}

} // namespace

// The platform runtime lists an object's own enumerable names; Node's
// napi_get_property_names adds enumerable names inherited through the
// prototype chain (and pays for walking it). Own names only, as strings.
extern "C" napi_status __wrap_napi_get_property_names(napi_env env, napi_value object, napi_value* result)
{
    return NapiHost::NoThrow([&] {
        return CallPastPendingException(env, [&] {
            return napi_get_all_property_names(env, object, napi_key_own_only,
                static_cast<napi_key_filter>(napi_key_enumerable | napi_key_skip_symbols), napi_key_numbers_to_strings,
                result);
        });
    });
}

extern "C" napi_status __wrap_napi_get_array_length(napi_env env, napi_value value, uint32_t* result)
{
    return NapiHost::NoThrow([&] {
        return CallPastPendingException(env, [&] { return __real_napi_get_array_length(env, value, result); });
    });
}

extern "C" napi_status __wrap_napi_get_element(napi_env env, napi_value object, uint32_t index, napi_value* result)
{
    return NapiHost::NoThrow([&] {
        return CallPastPendingException(env, [&] { return __real_napi_get_element(env, object, index, result); });
    });
}

extern "C" napi_status __wrap_napi_set_element(napi_env env, napi_value object, uint32_t index, napi_value value)
{
    return NapiHost::NoThrow([&] {
        return CallPastPendingException(env, [&] { return __real_napi_set_element(env, object, index, value); });
    });
}

extern "C" napi_status __wrap_napi_get_named_property(napi_env env, napi_value object, const char* name,
    napi_value* result)
{
    return NapiHost::NoThrow([&] {
        return CallPastPendingException(env,
            [&] { return __real_napi_get_named_property(env, object, name, result); });
    });
}

extern "C" napi_status __wrap_napi_set_named_property(napi_env env, napi_value object, const char* name,
    napi_value value)
{
    return NapiHost::NoThrow([&] {
        return CallPastPendingException(env,
            [&] { return __real_napi_set_named_property(env, object, name, value); });
    });
}

extern "C" napi_status __wrap_napi_coerce_to_bool(napi_env env, napi_value value, napi_value* result)
{
    return NapiHost::NoThrow([&] {
        return CallPastPendingException(env, [&] { return __real_napi_coerce_to_bool(env, value, result); });
    });
}

extern "C" napi_status __wrap_napi_create_promise(napi_env env, napi_deferred* deferred, napi_value* promise)
{
    return NapiHost::NoThrow([&] {
        return CallPastPendingException(env, [&] { return __real_napi_create_promise(env, deferred, promise); });
    });
}
