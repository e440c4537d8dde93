// The test addon's exports: each source file defines its functions with
// TEST_ADDON_EXPORT(jsName) { ...env, info... }, and the addon's Init
// defines them all.
#ifndef TEST_ADDON_ADDON_EXPORTS_H
#define TEST_ADDON_ADDON_EXPORTS_H

#include <node_api.h>

#include <initializer_list>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace NavInfoTest {

struct AddonExport {
    const char* name;
    napi_callback callback;
};

std::vector<AddonExport>& AddonExports();

struct AddonExportRegistrar {
    AddonExportRegistrar(const char* name, napi_callback callback) { AddonExports().push_back({name, callback}); }
};

// Throws a JavaScript error with the text and returns null.
napi_value ThrowTestError(napi_env env, const std::string& message);

// JavaScript values.
napi_value Js(napi_env env, bool value);
napi_value Js(napi_env env, const std::string& value);
template <typename T, std::enable_if_t<std::is_arithmetic_v<T> || std::is_enum_v<T>, int> = 0>
napi_value Js(napi_env env, T value)
{
    napi_value out = nullptr;
    napi_create_double(env, static_cast<double>(value), &out);
    return out;
}
napi_value Object(napi_env env, std::initializer_list<std::pair<const char*, napi_value>> properties);

} // namespace NavInfoTest

#define TEST_ADDON_EXPORT(name)                                                  \
    static napi_value name(napi_env env, napi_callback_info info);               \
    static const NavInfoTest::AddonExportRegistrar g_export_##name(#name, name); \
    static napi_value name([[maybe_unused]] napi_env env, [[maybe_unused]] napi_callback_info info)

#endif // TEST_ADDON_ADDON_EXPORTS_H
