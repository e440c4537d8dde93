// Shared helpers of the napi_host test addon. Every function here runs on
// the JavaScript thread of the env it is given.
#ifndef NAPI_HOST_TEST_HOST_ADDON_H
#define NAPI_HOST_TEST_HOST_ADDON_H

#include <node_api.h>

#include <cstddef>
#include <cstdint>

namespace HostTest {

struct Export {
    const char* name;
    napi_callback callback;
};

// Throws a JavaScript Error and returns nullptr, for returning from a callback.
napi_value Throw(napi_env env, const char* message);

// Fills argv (up to *argc entries) and sets *argc to the number passed.
bool GetArgs(napi_env env, napi_callback_info info, size_t* argc, napi_value* argv);

bool GetUint32(napi_env env, napi_value value, uint32_t* result);
napi_value MakeInt(napi_env env, int64_t value);
bool SetInt(napi_env env, napi_value object, const char* key, int64_t value);

void DefineExports(napi_env env, napi_value exports, const Export* list, size_t count);

// One per probe file.
void DefineNullReceiverProbe(napi_env env, napi_value exports);
void DefineAsyncWorkProbe(napi_env env, napi_value exports);
void DefineTsfnProbe(napi_env env, napi_value exports);

} // namespace HostTest

#endif // NAPI_HOST_TEST_HOST_ADDON_H
