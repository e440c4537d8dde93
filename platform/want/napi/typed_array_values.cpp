#include "typed_array_values.h"

#include <cstdint>
#include <cstring>
#include <limits>

#include "js_number_value.h"

namespace OHOS::AppExecFwk {

namespace {

// Copied out byte by byte, which is well-defined whatever the address.
template <typename T>
T LoadElement(const void* data, size_t index)
{
    T value;
    std::memcpy(&value, static_cast<const unsigned char*>(data) + index * sizeof(T), sizeof(T));
    return value;
}

} // namespace

bool IsReadableTypedArrayType(napi_typedarray_type type)
{
    switch (type) {
        case napi_int8_array:
        case napi_uint8_array:
        case napi_uint8_clamped_array:
        case napi_int16_array:
        case napi_uint16_array:
        case napi_int32_array:
        case napi_uint32_array:
        case napi_float32_array:
        case napi_float64_array:
        case napi_bigint64_array:
        case napi_biguint64_array: return true;
        default: return false;
    }
}

std::optional<AAFwk::WantValue> TypedArrayElement(napi_typedarray_type type, const void* data, size_t index)
{
    using AAFwk::WantValue;
    switch (type) {
        case napi_int8_array: return WantValue::Int(LoadElement<int8_t>(data, index));
        case napi_uint8_array:
        case napi_uint8_clamped_array: return WantValue::Int(LoadElement<uint8_t>(data, index));
        case napi_int16_array: return WantValue::Int(LoadElement<int16_t>(data, index));
        case napi_uint16_array: return WantValue::Int(LoadElement<uint16_t>(data, index));
        case napi_int32_array: return WantValue::Int(LoadElement<int32_t>(data, index));
        case napi_uint32_array: return JsNumberToWantValue(LoadElement<uint32_t>(data, index));
        case napi_float32_array: return JsNumberToWantValue(LoadElement<float>(data, index));
        case napi_float64_array: return JsNumberToWantValue(LoadElement<double>(data, index));
        case napi_bigint64_array: return WantValue::Long(LoadElement<int64_t>(data, index));
        case napi_biguint64_array: {
            uint64_t value = LoadElement<uint64_t>(data, index);
            if (value > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
                return std::nullopt;
            }
            return WantValue::Long(static_cast<int64_t>(value));
        }
        default: return std::nullopt;
    }
}

} // namespace OHOS::AppExecFwk
