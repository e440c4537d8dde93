// napi_get_property_names as the platform runtime answers it.
//
// - Objects only: Node converts a primitive to an object first and lists,
//   say, the indices of a string's characters; the platform refuses any value
//   that is not an object (null and undefined included) with
//   napi_object_expected, throws nothing, and leaves the result untouched.
// - Own names only: Node adds the enumerable names inherited through the
//   prototype chain (and pays for walking it). Enumerable string keys, array
//   indices as strings.
// - Carried out while an exception is pending (pending_exception.h).
//
// Thread: the env's JavaScript thread.
#include "js_thread_cache.h"
#include "last_error.h"
#include "no_throw.h"
#include "pending_exception.h"
#include "real_napi.h"

namespace {

bool IsObject(napi_valuetype type)
{
    return type == napi_object || type == napi_function || type == napi_external;
}

} // namespace

namespace NapiHost {

napi_status GetOwnEnumerableStringKeys(napi_env env, napi_value object, napi_value* result)
{
    JsThreadCache* cache = object != nullptr && result != nullptr ? CacheOf(env) : nullptr;
    if (cache != nullptr) {
        if (napi_value keys = BuiltinObjectKeys(env, *cache)) {
            napi_status status = __real_napi_call_function(env, keys, keys, 1, &object, result);
            // As napi_get_all_property_names reports an exception (a proxy's trap threw).
            return status == napi_pending_exception ? SetLastError(env, napi_generic_failure) : status;
        }
    }
    return __real_napi_get_all_property_names(env, object, napi_key_own_only,
        static_cast<napi_key_filter>(napi_key_enumerable | napi_key_skip_symbols), napi_key_numbers_to_strings,
        result);
}

} // namespace NapiHost

extern "C" napi_status __wrap_napi_get_property_names(napi_env env, napi_value object, napi_value* result)
{
    return NapiHost::NoThrow([&] {
        napi_valuetype type = napi_undefined;
        if (env != nullptr && object != nullptr && result != nullptr &&
            (napi_typeof(env, object, &type) != napi_ok || !IsObject(type))) {
            return NapiHost::SetLastError(env, napi_object_expected);
        }
        return NapiHost::CallPastPendingException(env,
            [&] { return NapiHost::GetOwnEnumerableStringKeys(env, object, result); });
    });
}
