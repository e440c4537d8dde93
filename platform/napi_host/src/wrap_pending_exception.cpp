// Node-API calls carried out while an exception is pending, as the platform
// runtime does (see pending_exception.h): the property and element access of
// the module's parsers and of the want-parameter unwrapping and wrapping,
// coercion, and promise creation. napi_get_property_names and
// napi_get_named_property have their own file.
//
// Threads: the env's JavaScript thread, like the functions they wrap.
#include "no_throw.h"
#include "pending_exception.h"
#include "real_napi.h"

using NapiHost::CallPastPendingException;

extern "C" napi_status __wrap_napi_get_all_property_names(napi_env env, napi_value object,
    napi_key_collection_mode keyMode, napi_key_filter keyFilter, napi_key_conversion keyConversion, napi_value* result)
{
    return NapiHost::NoThrow([&] {
        return CallPastPendingException(env,
            [&] { return __real_napi_get_all_property_names(env, object, keyMode, keyFilter, keyConversion, result); });
    });
}

extern "C" napi_status __wrap_napi_get_property(napi_env env, napi_value object, napi_value key, napi_value* result)
{
    return NapiHost::NoThrow([&] {
        return CallPastPendingException(env, [&] { return __real_napi_get_property(env, object, key, result); });
    });
}

extern "C" napi_status __wrap_napi_define_properties(napi_env env, napi_value object, size_t propertyCount,
    const napi_property_descriptor* properties)
{
    return NapiHost::NoThrow([&] {
        return CallPastPendingException(env,
            [&] { return __real_napi_define_properties(env, object, propertyCount, properties); });
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

extern "C" napi_status __wrap_napi_set_named_property(napi_env env, napi_value object, const char* name,
    napi_value value)
{
    return NapiHost::NoThrow([&] {
        return CallPastPendingException(env, [&] { return __real_napi_set_named_property(env, object, name, value); });
    });
}

extern "C" napi_status __wrap_napi_coerce_to_bool(napi_env env, napi_value value, napi_value* result)
{
    return NapiHost::NoThrow(
        [&] { return CallPastPendingException(env, [&] { return __real_napi_coerce_to_bool(env, value, result); }); });
}

extern "C" napi_status __wrap_napi_create_promise(napi_env env, napi_deferred* deferred, napi_value* promise)
{
    return NapiHost::NoThrow([&] {
        return CallPastPendingException(env, [&] { return __real_napi_create_promise(env, deferred, promise); });
    });
}
