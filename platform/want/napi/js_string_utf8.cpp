#include "js_string_utf8.h"

namespace OHOS::AppExecFwk {

namespace {
// Most keys and many values are short: one copy into a stack buffer saves
// asking for the length first.
constexpr size_t SHORT_STRING_BUFFER = 256;
// A UTF-8 character takes at most 4 bytes, so when at least that much room
// was left the copy cannot have been cut short.
constexpr size_t MAX_UTF8_CHAR_BYTES = 4;
} // namespace

bool ReadJsStringUtf8(napi_env env, napi_value value, std::string& out)
{
    char buffer[SHORT_STRING_BUFFER];
    size_t copied = 0;
    if (napi_get_value_string_utf8(env, value, buffer, sizeof(buffer), &copied) != napi_ok) {
        return false;
    }
    // The last byte of the buffer always holds the terminating NUL.
    if (copied + MAX_UTF8_CHAR_BYTES <= sizeof(buffer) - 1) {
        out.assign(buffer, copied);
        return true;
    }
    size_t length = 0;
    if (napi_get_value_string_utf8(env, value, nullptr, 0, &length) != napi_ok) {
        return false;
    }
    out.resize(length);
    // The string's own terminator gives the room for the NUL Node-API writes.
    if (napi_get_value_string_utf8(env, value, out.data(), length + 1, &copied) != napi_ok) {
        return false;
    }
    out.resize(copied);
    return true;
}

} // namespace OHOS::AppExecFwk
