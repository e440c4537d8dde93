// Sets the status that napi_get_last_error_info reports for env, as Node's
// own failing calls do.
//
// Node keeps the last error in the environment and napi_get_last_error_info
// hands out a pointer to that record, recomputing the message from its
// error_code on every call; the next Node-API call on env overwrites it. An
// adapter that refuses a call itself writes the code there, so that the
// caller's failure report finds the message of the refusal ("An object was
// expected") and not that of whatever napi_host called last.
//
// Thread: the env's JavaScript thread.
#ifndef NAPI_HOST_LAST_ERROR_H
#define NAPI_HOST_LAST_ERROR_H

#include <node_api.h>

namespace NapiHost {

// Returns status, so that an adapter can end with `return SetLastError(...)`.
inline napi_status SetLastError(napi_env env, napi_status status)
{
    const napi_extended_error_info* info = nullptr;
    if (env != nullptr && napi_get_last_error_info(env, &info) == napi_ok && info != nullptr) {
        // The record is the environment's own, not a constant: only the
        // pointer handed out is const.
        const_cast<napi_extended_error_info*>(info)->error_code = status;
    }
    return status;
}

} // namespace NapiHost

#endif // NAPI_HOST_LAST_ERROR_H
