// Runs a Node-API call as the platform runtime does while a JavaScript
// exception is pending.
//
// Node refuses most calls that may run JavaScript (property access, element
// access, coercion, promise creation, property definition) while an exception
// is pending, and answers napi_pending_exception. The platform runtime
// carries them out, and the module's lenient parsers rely on that: a bad
// value is reported as a JavaScript error and the walk goes on with the next
// property. CallPastPendingException sets the pending exception aside, makes
// the call, and puts it back, so the first exception stays the one JavaScript
// sees. An exception raised by the call itself (a getter that throws) is
// dropped in favour of the first. The call's status is what
// napi_get_last_error_info then reports, as after any call.
//
// Thread: the env's JavaScript thread, like the calls it makes.
#ifndef NAPI_HOST_PENDING_EXCEPTION_H
#define NAPI_HOST_PENDING_EXCEPTION_H

#include <node_api.h>

#include "last_error.h"

namespace NapiHost {

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
    return SetLastError(env, status);
}

} // namespace NapiHost

#endif // NAPI_HOST_PENDING_EXCEPTION_H
