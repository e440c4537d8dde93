// napi_get_property_names and napi_get_named_property as the platform
// runtime answers them.
//
// - Objects only: Node converts a primitive to an object first (and throws a
//   TypeError for null and undefined); the platform refuses any value that
//   is not an object (null and undefined included) with
//   napi_object_expected, throws nothing, and leaves the result untouched.
// - Property names: own names only. Node adds the enumerable names inherited
//   through the prototype chain (and pays for walking it). Enumerable string
//   keys, array indices as strings, collected natively: no script function
//   runs (a proxy's traps apart), whatever a script replaced.
// - Carried out while an exception is pending (pending_exception.h).
//
// Thread: the env's JavaScript thread.
#include "last_error.h"
#include "no_throw.h"
#include "pending_exception.h"
#include "real_napi.h"

namespace {

// False for a value that is not an object; the refusal is then the last
// error of env.
bool RefuseNonObject(napi_env env, napi_value value, napi_status& refusal)
{
    napi_valuetype type = napi_undefined;
    if (env == nullptr || value == nullptr) {
        return false; // Node reports the bad argument
    }
    if (napi_typeof(env, value, &type) == napi_ok &&
        (type == napi_object || type == napi_function || type == napi_external)) {
        return false;
    }
    refusal = NapiHost::SetLastError(env, napi_object_expected);
    return true;
}

} // namespace

extern "C" napi_status __wrap_napi_get_property_names(napi_env env, napi_value object, napi_value* result)
{
    return NapiHost::NoThrow([&] {
        napi_status refusal = napi_ok;
        if (result != nullptr && RefuseNonObject(env, object, refusal)) {
            return refusal;
        }
        return NapiHost::CallPastPendingException(env, [&] {
            return __real_napi_get_all_property_names(env, object, napi_key_own_only,
                static_cast<napi_key_filter>(napi_key_enumerable | napi_key_skip_symbols), napi_key_numbers_to_strings,
                result);
        });
    });
}

extern "C" napi_status __wrap_napi_get_named_property(napi_env env, napi_value object, const char* name,
    napi_value* result)
{
    return NapiHost::NoThrow([&] {
        napi_status refusal = napi_ok;
        if (name != nullptr && result != nullptr && RefuseNonObject(env, object, refusal)) {
            return refusal;
        }
        return NapiHost::CallPastPendingException(env,
            [&] { return __real_napi_get_named_property(env, object, name, result); });
    });
}
