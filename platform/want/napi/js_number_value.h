// The WantValue type chosen for a JavaScript number.
#ifndef PLATFORM_WANT_NAPI_JS_NUMBER_VALUE_H
#define PLATFORM_WANT_NAPI_JS_NUMBER_VALUE_H

#include "want_params.h"

namespace OHOS::AppExecFwk {

// An integer in int32 range gives INT; any other integer that a double holds
// exactly (|n| <= 2^53 - 1) gives LONG; fractions, NaN, the infinities, -0 and
// larger magnitudes give DOUBLE, so that the value reads back unchanged.
AAFwk::WantValue JsNumberToWantValue(double number);

} // namespace OHOS::AppExecFwk

#endif // PLATFORM_WANT_NAPI_JS_NUMBER_VALUE_H
