// Elements of a typed array (or Buffer) as WantValues, read straight from
// its memory: listing its keys through Node-API would make one string per
// element, which for a 10 MB Buffer means seconds and hundreds of megabytes.
#ifndef PLATFORM_WANT_NAPI_TYPED_ARRAY_VALUES_H
#define PLATFORM_WANT_NAPI_TYPED_ARRAY_VALUES_H

#include <node_api.h>

#include <cstddef>
#include <optional>

#include "want_params.h"

namespace OHOS::AppExecFwk {

// Whether elements of this type can be read; Float16 elements, for one, cannot.
bool IsReadableTypedArrayType(napi_typedarray_type type);

// Element index of the array data starts at data. Elements give what reading
// them in JavaScript gives: a number, typed as for any JavaScript number, or
// a BigInt, which is left out (empty) when it does not fit in int64.
// type must be readable.
std::optional<AAFwk::WantValue> TypedArrayElement(napi_typedarray_type type, const void* data, size_t index);

} // namespace OHOS::AppExecFwk

#endif // PLATFORM_WANT_NAPI_TYPED_ARRAY_VALUES_H
