// Observing the queries and commands sent to a bundle, for the recorder:
// observeRequests(bundleName, fn) registers an observer at the service and
// returns the result (0 or a code of nav_info_errors.h); from then on each
// observation is fn({ requestId, answered, requester, kind: 'query' |
// 'command', type, params, code, message, data, bundleName }) on this
// environment's thread, in the order the service sent them.
// stopObservingRequests(bundleName) ends it and returns the result.
// Observations never keep the environment alive.
#ifndef NAVINFO_COMPANION_REQUEST_OBSERVING_H
#define NAVINFO_COMPANION_REQUEST_OBSERVING_H

#include <node_api.h>

#include <cstdint>

namespace NavInfoCompanion {

napi_value JsObserveRequests(napi_env env, napi_callback_info info);
napi_value JsStopObservingRequests(napi_env env, napi_callback_info info);
// Environment teardown: its observations end (their thread-safe functions
// go with the environment, so they are only let go of, not released).
void ForgetObservations(uint64_t envId) noexcept;

} // namespace NavInfoCompanion

#endif // NAVINFO_COMPANION_REQUEST_OBSERVING_H
