// Conversion of WantParams to and from plain JavaScript objects.
#ifndef PLATFORM_WANT_NAPI_COMMON_WANT_H
#define PLATFORM_WANT_NAPI_COMMON_WANT_H

#include <node_api.h>

#include "want_params.h"

namespace OHOS::AppExecFwk {

// A new plain object holding the parameters, or null after a failed Node-API call.
napi_value WrapWantParams(napi_env env, const AAFwk::WantParams& wantParams);

// Reads the own enumerable properties of a plain object into wantParams.
// Returns false when param is not an object or reading stopped early; what
// was read before stays in wantParams.
bool UnwrapWantParams(napi_env env, napi_value param, AAFwk::WantParams& wantParams);

} // namespace OHOS::AppExecFwk

#endif // PLATFORM_WANT_NAPI_COMMON_WANT_H
