// inspectService(): what the navigation information service holds, for the
// client API's NavigationClient.inspectService (system applications).
#ifndef NAVINFO_COMPANION_SERVICE_INSPECTOR_H
#define NAVINFO_COMPANION_SERVICE_INSPECTOR_H

#include <node_api.h>

namespace NavInfoCompanion {

// () -> { result, snapshot? }: snapshot only when result is 0, as
// { takenAt, truncated, clients, follows, servers, requests, statuses, metadata }.
napi_value JsInspectService(napi_env env, napi_callback_info info);

} // namespace NavInfoCompanion

#endif // NAVINFO_COMPANION_SERVICE_INSPECTOR_H
