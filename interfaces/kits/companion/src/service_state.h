// serviceConnected() -> boolean: whether the client library reaches the
// service now (always with the embedded service; with the daemon, while a
// connection is live). It does not try to connect.
#ifndef NAVINFO_COMPANION_SERVICE_STATE_H
#define NAVINFO_COMPANION_SERVICE_STATE_H

#include <node_api.h>

namespace NavInfoCompanion {

napi_value JsServiceConnected(napi_env env, napi_callback_info info);

} // namespace NavInfoCompanion

#endif // NAVINFO_COMPANION_SERVICE_STATE_H
