#include "addon_exports.h"
#include "nav_info_test_hooks.h"

namespace NavInfoTest {

std::vector<AddonExport>& AddonExports()
{
    static std::vector<AddonExport> exports;
    return exports;
}

napi_value ThrowTestError(napi_env env, const std::string& message)
{
    napi_throw_error(env, nullptr, message.c_str());
    return nullptr;
}

napi_value Js(napi_env env, bool value)
{
    napi_value out = nullptr;
    napi_get_boolean(env, value, &out);
    return out;
}

napi_value Js(napi_env env, const std::string& value)
{
    napi_value out = nullptr;
    napi_create_string_utf8(env, value.data(), value.size(), &out);
    return out;
}

napi_value Object(napi_env env, std::initializer_list<std::pair<const char*, napi_value>> properties)
{
    napi_value out = nullptr;
    napi_create_object(env, &out);
    for (const auto& [name, value] : properties) {
        napi_set_named_property(env, out, name, value);
    }
    return out;
}

} // namespace NavInfoTest

namespace {

napi_value Init(napi_env env, napi_value exports)
{
    // Loading the control surface puts the recording transport in front of the client's own.
    OHOS::NavigationInfoService::TestHooks::Enable();
    std::vector<napi_property_descriptor> descriptors;
    for (const auto& entry : NavInfoTest::AddonExports()) {
        descriptors.push_back(
            {entry.name, nullptr, entry.callback, nullptr, nullptr, nullptr, napi_enumerable, nullptr});
    }
    return napi_define_properties(env, exports, descriptors.size(), descriptors.data()) == napi_ok ? exports : nullptr;
}

} // namespace

NAPI_MODULE(navinfo_test_addon, Init)
