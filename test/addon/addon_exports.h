// Registry of the test addon's exports: each source file of the addon adds
// its functions with TEST_ADDON_EXPORT, and the addon's Init defines them all.
#ifndef TEST_ADDON_ADDON_EXPORTS_H
#define TEST_ADDON_ADDON_EXPORTS_H

#include <node_api.h>

#include <string>
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

// Throws a JavaScript error with the text and returns null, for argument errors.
napi_value ThrowTestError(napi_env env, const std::string& message);

} // namespace NavInfoTest

#define TEST_ADDON_EXPORT(name, callback) \
    static NavInfoTest::AddonExportRegistrar g_registrar_##callback(name, callback)

#endif // TEST_ADDON_ADDON_EXPORTS_H
