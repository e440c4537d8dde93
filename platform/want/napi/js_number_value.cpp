#include "js_number_value.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace OHOS::AppExecFwk {

namespace {
constexpr double MAX_SAFE_INTEGER = 9007199254740991.0; // 2^53 - 1
}

AAFwk::WantValue JsNumberToWantValue(double number)
{
    bool isInteger = std::isfinite(number) && std::trunc(number) == number;
    // -0 is an integer by value, but INT or LONG would turn it into +0.
    if (isInteger && !(number == 0.0 && std::signbit(number))) {
        if (number >= static_cast<double>(std::numeric_limits<int32_t>::min()) &&
            number <= static_cast<double>(std::numeric_limits<int32_t>::max())) {
            return AAFwk::WantValue::Int(static_cast<int32_t>(number));
        }
        if (std::fabs(number) <= MAX_SAFE_INTEGER) {
            return AAFwk::WantValue::Long(static_cast<int64_t>(number));
        }
    }
    return AAFwk::WantValue::Double(number);
}

} // namespace OHOS::AppExecFwk
