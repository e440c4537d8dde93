// Entry point of the napi_host test addon. Context-aware, so Workers can load it.
#include "host_addon.h"

namespace HostTest {

std::vector<Export>& Exports()
{
    static std::vector<Export> exports;
    return exports;
}

bool Fail(napi_env env, const char* message)
{
    napi_throw_error(env, nullptr, message);
    return false;
}

bool Uints(napi_env env, napi_callback_info info, const std::vector<uint32_t*>& out)
{
    napi_value argv[4] = {};
    size_t argc = 4;
    if (napi_get_cb_info(env, info, &argc, argv, nullptr, nullptr) != napi_ok || argc < out.size()) {
        return Fail(env, "too few arguments");
    }
    size_t i = 0;
    for (uint32_t* value : out) {
        if (napi_get_value_uint32(env, argv[i++], value) != napi_ok) {
            return Fail(env, "an argument is not a number");
        }
    }
    return true;
}

napi_value MakeInt(napi_env env, int64_t value)
{
    napi_value result = nullptr;
    napi_create_int64(env, value, &result);
    return result;
}

napi_value Ints(napi_env env, std::initializer_list<std::pair<const char*, int64_t>> properties)
{
    napi_value object = nullptr;
    napi_create_object(env, &object);
    for (const auto& [name, value] : properties) {
        napi_set_named_property(env, object, name, MakeInt(env, value));
    }
    return object;
}

} // namespace HostTest

NAPI_MODULE_INIT()
{
    for (const auto& entry : HostTest::Exports()) {
        napi_value fn = nullptr;
        if (napi_create_function(env, entry.name, NAPI_AUTO_LENGTH, entry.callback, nullptr, &fn) == napi_ok) {
            napi_set_named_property(env, exports, entry.name, fn);
        }
    }
    // The statuses the tests compare with, by name.
    napi_set_named_property(env, exports, "status",
        HostTest::Ints(env, {{"ok", napi_ok}, {"invalidArg", napi_invalid_arg}, {"closing", napi_closing}}));
    return exports;
}
