#include <vector>

#include "addon_exports.h"

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

} // namespace NavInfoTest

namespace {

napi_value Init(napi_env env, napi_value exports)
{
    std::vector<napi_property_descriptor> descriptors;
    for (const auto& entry : NavInfoTest::AddonExports()) {
        descriptors.push_back({entry.name, nullptr, entry.callback, nullptr, nullptr, nullptr,
            static_cast<napi_property_attributes>(napi_enumerable), nullptr});
    }
    if (napi_define_properties(env, exports, descriptors.size(), descriptors.data()) != napi_ok) {
        return nullptr;
    }
    return exports;
}

} // namespace

NAPI_MODULE(navinfo_test_addon, Init)
