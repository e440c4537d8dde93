// readStatus(bundleName) -> { result, status, updateTime }: one read of a
// bundle's latest navigation status through the client library. result is
// the client's result (0, or for example 1003 when the bundle never
// published); status (the same object form the module gives) and updateTime
// (when the service stored it, in milliseconds since the epoch) are present
// only when result is 0.
#ifndef NAVINFO_COMPANION_STATUS_READER_H
#define NAVINFO_COMPANION_STATUS_READER_H

#include <node_api.h>

namespace NavInfoCompanion {

napi_value JsReadStatus(napi_env env, napi_callback_info info);

} // namespace NavInfoCompanion

#endif // NAVINFO_COMPANION_STATUS_READER_H
