#include "js_values.h"

namespace NavInfoCompanion {

napi_value ThrowTypeError(napi_env env, const char* message)
{
    bool pending = false;
    napi_is_exception_pending(env, &pending);
    if (!pending) {
        napi_throw_type_error(env, nullptr, message);
    }
    return nullptr;
}

bool ReadString(napi_env env, napi_value value, std::string& out)
{
    size_t length = 0;
    if (napi_get_value_string_utf8(env, value, nullptr, 0, &length) != napi_ok) {
        return false;
    }
    out.assign(length + 1, '\0');
    if (napi_get_value_string_utf8(env, value, out.data(), out.size(), &length) != napi_ok) {
        return false;
    }
    out.resize(length);
    return true;
}

bool ReadInt32(napi_env env, napi_value value, int32_t& out)
{
    return napi_get_value_int32(env, value, &out) == napi_ok;
}

bool ReadBool(napi_env env, napi_value value, bool& out)
{
    return napi_get_value_bool(env, value, &out) == napi_ok;
}

bool IsFunction(napi_env env, napi_value value)
{
    napi_valuetype type = napi_undefined;
    return napi_typeof(env, value, &type) == napi_ok && type == napi_function;
}

napi_value MakeInt32(napi_env env, int32_t value)
{
    napi_value out = nullptr;
    napi_create_int32(env, value, &out);
    return out;
}

napi_value MakeDouble(napi_env env, double value)
{
    napi_value out = nullptr;
    napi_create_double(env, value, &out);
    return out;
}

napi_value MakeString(napi_env env, const std::string& value)
{
    napi_value out = nullptr;
    napi_create_string_utf8(env, value.data(), value.size(), &out);
    return out;
}

napi_value MakeBool(napi_env env, bool value)
{
    napi_value out = nullptr;
    napi_get_boolean(env, value, &out);
    return out;
}

napi_value Undefined(napi_env env)
{
    napi_value out = nullptr;
    napi_get_undefined(env, &out);
    return out;
}

bool SetNamed(napi_env env, napi_value object, const char* name, napi_value value)
{
    return napi_set_named_property(env, object, name, value) == napi_ok;
}

} // namespace NavInfoCompanion
