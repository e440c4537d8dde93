// WrapWantParams: WantParams -> new plain JavaScript object.
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "napi_common_want.h"
#include "want_napi_limits.h"

namespace OHOS::AppExecFwk {

namespace {

using AAFwk::WantParams;
using AAFwk::WantValue;

class WantParamsWriter {
public:
    explicit WantParamsWriter(napi_env env) : env_(env) {}

    // Each returns false after the first failed Node-API call, or for a map
    // nested deeper than WANT_PARAMS_MAX_DEPTH (no Unwrap makes one; refusing
    // it keeps the recursion bounded).
    bool WriteParams(const WantParams& params, size_t depth, napi_value& out);

private:
    bool WriteValue(const WantValue& value, size_t depth, napi_value& out);
    bool WriteArray(const std::vector<WantValue>& elements, size_t depth, napi_value& out);
    bool AddDescriptor(const std::string& key, napi_value value);

    napi_env env_;
    // The property descriptors of the objects being written, innermost last:
    // an object's own descriptors sit above the size the stack had when it
    // was started, and are given back once it is defined.
    std::vector<napi_property_descriptor> descriptors_;
};

bool WantParamsWriter::AddDescriptor(const std::string& key, napi_value value)
{
    // Properties are defined, not assigned: "__proto__" becomes an own
    // property, and setters on Object.prototype are never called.
    napi_property_descriptor descriptor = {nullptr, nullptr, nullptr, nullptr, nullptr, value, napi_default_jsproperty,
        nullptr};
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result): a search for a NUL, not a string copy
    if (std::memchr(key.data(), '\0', key.size()) == nullptr) {
        // A C string name becomes an internalized key without a copy first.
        descriptor.utf8name = key.c_str();
    } else if (napi_create_string_utf8(env_, key.data(), key.size(), &descriptor.name) != napi_ok) {
        return false;
    }
    descriptors_.push_back(descriptor);
    return true;
}

bool WantParamsWriter::WriteParams(const WantParams& params, size_t depth, napi_value& out)
{
    if (depth > WANT_PARAMS_MAX_DEPTH || napi_create_object(env_, &out) != napi_ok) {
        return false;
    }
    const size_t base = descriptors_.size();
    bool ok = true;
    for (const auto& [key, value] : params.GetEntries()) {
        napi_value jsValue = nullptr;
        if (!WriteValue(value, depth + 1, jsValue) || !AddDescriptor(key, jsValue)) {
            ok = false;
            break;
        }
    }
    const size_t count = descriptors_.size() - base;
    if (ok && count > 0) {
        ok = napi_define_properties(env_, out, count, descriptors_.data() + base) == napi_ok;
    }
    descriptors_.resize(base);
    return ok;
}

bool WantParamsWriter::WriteArray(const std::vector<WantValue>& elements, size_t depth, napi_value& out)
{
    if (depth > WANT_PARAMS_MAX_DEPTH || napi_create_array_with_length(env_, elements.size(), &out) != napi_ok) {
        return false;
    }
    uint32_t index = 0;
    for (const auto& element : elements) {
        napi_value jsElement = nullptr;
        if (!WriteValue(element, depth + 1, jsElement) || napi_set_element(env_, out, index, jsElement) != napi_ok) {
            return false;
        }
        ++index;
    }
    return true;
}

bool WantParamsWriter::WriteValue(const WantValue& value, size_t depth, napi_value& out)
{
    switch (value.GetType()) {
        case WantValue::Type::BOOLEAN: return napi_get_boolean(env_, value.GetBool(), &out) == napi_ok;
        case WantValue::Type::INT: return napi_create_int32(env_, value.GetInt(), &out) == napi_ok;
        // Beyond 2^53 the nearest double is given: JavaScript numbers hold no more.
        case WantValue::Type::LONG: return napi_create_int64(env_, value.GetLong(), &out) == napi_ok;
        case WantValue::Type::DOUBLE: return napi_create_double(env_, value.GetDouble(), &out) == napi_ok;
        case WantValue::Type::STRING: {
            const std::string& text = value.GetString();
            return napi_create_string_utf8(env_, text.data(), text.size(), &out) == napi_ok;
        }
        case WantValue::Type::WANT_PARAMS: return WriteParams(value.GetParams(), depth, out);
        case WantValue::Type::ARRAY: return WriteArray(value.GetArray(), depth, out);
    }
    return false;
}

} // namespace

napi_value WrapWantParams(napi_env env, const AAFwk::WantParams& wantParams)
{
    if (env == nullptr) {
        return nullptr;
    }
    napi_value result = nullptr;
    try {
        if (WantParamsWriter(env).WriteParams(wantParams, 1, result)) {
            return result;
        }
    } catch (const std::exception&) {
        // Out of memory for the descriptors: fails like a Node-API call.
    }
    napi_value null = nullptr;
    napi_get_null(env, &null);
    return null;
}

} // namespace OHOS::AppExecFwk
