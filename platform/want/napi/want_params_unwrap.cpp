// UnwrapWantParams: JavaScript object graph -> WantParams.
#include <algorithm>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "js_number_value.h"
#include "js_string_utf8.h"
#include "napi_common_want.h"
#include "typed_array_values.h"
#include "want_napi_limits.h"

namespace OHOS::AppExecFwk {

namespace {

using AAFwk::WantParams;
using AAFwk::WantValue;

// Elements reserved up front at most: an array's length says nothing about
// how many elements it really holds (sparse arrays).
constexpr size_t MAX_ARRAY_RESERVE = 1024;

// One Unwrap call: keeps the value budget and whether the result is whole.
// Reading stops at once when a Node-API call fails, which covers a getter or
// proxy trap that throws: its exception stays pending for the caller.
class WantParamsReader {
public:
    explicit WantParamsReader(napi_env env) : env_(env) {}

    // Reads the own enumerable string-keyed properties of object, which sits
    // at nesting level depth. appendOnly: out holds none of object's keys, so
    // they can be appended without looking them up.
    void ReadObject(napi_value object, size_t depth, WantParams& out, bool appendOnly);

    // True when everything was read: no limit hit, no failure.
    bool Complete() const { return complete_; }

private:
    // Converts one property value or array element and hands it to keep
    // (called with a WantValue&&, so that the value is moved once, into its
    // place); depth is the level it has if it is an object or array. keep is
    // not called when the value is left out. A container read only in part
    // (reading stopped inside) is still given.
    template <typename Keep>
    void ReadValue(napi_value value, size_t depth, Keep&& keep);
    void ReadArray(napi_value array, size_t depth, std::vector<WantValue>& out);
    // The elements of a typed array or Buffer under the keys "0", "1", ...
    // (what its own enumerable properties are, unless some were added).
    void ReadTypedArray(napi_value typedArray, WantParams& out, bool appendOnly);
    // Counts one more value fetched; false (and reading stops) past the limit.
    bool TakeValue();
    void Stop()
    {
        stopped_ = true;
        complete_ = false;
    }

    napi_env env_;
    size_t valuesLeft_ = WANT_PARAMS_MAX_VALUES;
    bool stopped_ = false;
    bool complete_ = true;
};

bool WantParamsReader::TakeValue()
{
    if (valuesLeft_ == 0) {
        Stop();
        return false;
    }
    --valuesLeft_;
    return true;
}

void WantParamsReader::ReadObject(napi_value object, size_t depth, WantParams& out, bool appendOnly)
{
    bool isTypedArray = false;
    if (napi_is_typedarray(env_, object, &isTypedArray) != napi_ok) {
        Stop();
        return;
    }
    if (isTypedArray) {
        ReadTypedArray(object, out, appendOnly);
        return;
    }
    napi_value names = nullptr;
    uint32_t count = 0;
    // Own keys only: napi_get_property_names would add enumerable keys of
    // the prototype chain as well.
    if (napi_get_all_property_names(env_, object, napi_key_own_only,
            static_cast<napi_key_filter>(napi_key_enumerable | napi_key_skip_symbols), napi_key_numbers_to_strings,
            &names) != napi_ok ||
        napi_get_array_length(env_, names, &count) != napi_ok) {
        Stop();
        return;
    }
    out.Reserve(out.Size() + std::min<size_t>(count, valuesLeft_));
    std::string key;
    for (uint32_t i = 0; i < count && !stopped_; ++i) {
        napi_value jsKey = nullptr;
        napi_value jsValue = nullptr;
        if (!TakeValue()) {
            return;
        }
        if (napi_get_element(env_, names, i, &jsKey) != napi_ok || !ReadJsStringUtf8(env_, jsKey, key) ||
            napi_get_property(env_, object, jsKey, &jsValue) != napi_ok) {
            Stop();
            return;
        }
        ReadValue(jsValue, depth + 1, [&out, &key, appendOnly](WantValue&& value) {
            if (appendOnly) {
                out.AppendParam(std::move(key), std::move(value));
                key.clear();
            } else {
                out.SetParam(key, std::move(value));
            }
        });
    }
}

void WantParamsReader::ReadTypedArray(napi_value typedArray, WantParams& out, bool appendOnly)
{
    napi_typedarray_type type = napi_uint8_array;
    size_t length = 0;
    void* data = nullptr;
    if (napi_get_typedarray_info(env_, typedArray, &type, &length, &data, nullptr, nullptr) != napi_ok) {
        Stop();
        return;
    }
    if (!IsReadableTypedArrayType(type)) {
        complete_ = false;
        return;
    }
    out.Reserve(out.Size() + std::min(length, valuesLeft_));
    for (size_t i = 0; i < length; ++i) {
        if (!TakeValue()) {
            return;
        }
        std::optional<WantValue> element = TypedArrayElement(type, data, i);
        if (!element) {
            continue;
        }
        if (appendOnly) {
            out.AppendParam(std::to_string(i), std::move(*element));
        } else {
            out.SetParam(std::to_string(i), std::move(*element));
        }
    }
}

void WantParamsReader::ReadArray(napi_value array, size_t depth, std::vector<WantValue>& out)
{
    uint32_t length = 0;
    if (napi_get_array_length(env_, array, &length) != napi_ok) {
        Stop();
        return;
    }
    out.reserve(std::min<size_t>({length, valuesLeft_, MAX_ARRAY_RESERVE}));
    for (uint32_t i = 0; i < length && !stopped_; ++i) {
        napi_value jsElement = nullptr;
        if (!TakeValue()) {
            return;
        }
        if (napi_get_element(env_, array, i, &jsElement) != napi_ok) {
            Stop();
            return;
        }
        ReadValue(jsElement, depth + 1, [&out](WantValue&& element) { out.push_back(std::move(element)); });
    }
}

template <typename Keep>
void WantParamsReader::ReadValue(napi_value value, size_t depth, Keep&& keep)
{
    napi_valuetype type = napi_undefined;
    if (napi_typeof(env_, value, &type) != napi_ok) {
        Stop();
        return;
    }
    switch (type) {
        case napi_boolean: {
            bool flag = false;
            if (napi_get_value_bool(env_, value, &flag) != napi_ok) {
                break;
            }
            keep(WantValue::Bool(flag));
            return;
        }
        case napi_number: {
            double number = 0.0;
            if (napi_get_value_double(env_, value, &number) != napi_ok) {
                break;
            }
            keep(JsNumberToWantValue(number));
            return;
        }
        case napi_string: {
            std::string text;
            if (!ReadJsStringUtf8(env_, value, text)) {
                break;
            }
            keep(WantValue::String(std::move(text)));
            return;
        }
        case napi_bigint: {
            int64_t number = 0;
            bool lossless = false;
            if (napi_get_value_bigint_int64(env_, value, &number, &lossless) != napi_ok) {
                break;
            }
            // A BigInt beyond int64 has no WantValue form: it is left out.
            if (!lossless) {
                return;
            }
            keep(WantValue::Long(number));
            return;
        }
        case napi_object: {
            if (depth > WANT_PARAMS_MAX_DEPTH) {
                complete_ = false;
                return;
            }
            bool isArray = false;
            if (napi_is_array(env_, value, &isArray) != napi_ok) {
                break;
            }
            if (isArray) {
                std::vector<WantValue> elements;
                ReadArray(value, depth, elements);
                keep(WantValue::Array(std::move(elements)));
                return;
            }
            WantParams nested;
            ReadObject(value, depth, nested, true);
            keep(WantValue::Params(std::move(nested)));
            return;
        }
        default:
            // undefined, null, symbol, function, external: no WantValue form.
            return;
    }
    Stop();
}

} // namespace

bool UnwrapWantParams(napi_env env, napi_value param, AAFwk::WantParams& wantParams)
{
    if (env == nullptr || param == nullptr) {
        return false;
    }
    napi_valuetype type = napi_undefined;
    bool isArray = false;
    if (napi_typeof(env, param, &type) != napi_ok || type != napi_object ||
        napi_is_array(env, param, &isArray) != napi_ok || isArray) {
        return false;
    }
    WantParamsReader reader(env);
    try {
        reader.ReadObject(param, 1, wantParams, wantParams.IsEmpty());
    } catch (const std::exception&) {
        // Out of memory for a string or map: no C++ exception may reach the
        // JavaScript engine, so this read just fails like any other.
        return false;
    }
    return reader.Complete();
}

} // namespace OHOS::AppExecFwk
