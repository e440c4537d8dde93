// Bounds on reading JavaScript values into WantParams and on writing them
// back. They keep a conversion finite on cyclic, very deep or very wide input.
#ifndef PLATFORM_WANT_NAPI_WANT_NAPI_LIMITS_H
#define PLATFORM_WANT_NAPI_WANT_NAPI_LIMITS_H

#include <cstddef>

namespace OHOS::AppExecFwk {

// Levels of nested objects and arrays, the outermost object being level 1.
// Deeper containers are left out; this is also what ends a cyclic object.
constexpr size_t WANT_PARAMS_MAX_DEPTH = 32;

// Property values and array elements fetched in one UnwrapWantParams call,
// counting the ones that are skipped and the nested containers themselves.
constexpr size_t WANT_PARAMS_MAX_VALUES = 100000;

} // namespace OHOS::AppExecFwk

#endif // PLATFORM_WANT_NAPI_WANT_NAPI_LIMITS_H
