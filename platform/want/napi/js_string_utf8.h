// Reading a JavaScript string as UTF-8 into a std::string.
#ifndef PLATFORM_WANT_NAPI_JS_STRING_UTF8_H
#define PLATFORM_WANT_NAPI_JS_STRING_UTF8_H

#include <node_api.h>

#include <string>

namespace OHOS::AppExecFwk {

// The whole string, embedded NUL characters included. False when value is
// not a string or a Node-API call failed; out may then hold anything.
bool ReadJsStringUtf8(napi_env env, napi_value value, std::string& out);

} // namespace OHOS::AppExecFwk

#endif // PLATFORM_WANT_NAPI_JS_STRING_UTF8_H
