// The client library's service events (nav_info_service_events.h) for the
// client API: setEventHandler(fn) gives this JavaScript environment its
// event function, once; from then on each event is fn(kind, detail) on this
// environment's thread, in the order the library raised them, with kind
// 'connect' | 'disconnect' | 'refused' | 'resumed' and detail
// { generation, result, reason, registration: 'status' | 'metadata' | 'system', bundleName }.
// Events never keep the environment alive. The observer goes with the
// environment.
#ifndef NAVINFO_COMPANION_SERVICE_EVENTS_H
#define NAVINFO_COMPANION_SERVICE_EVENTS_H

#include <node_api.h>

#include <cstdint>

namespace NavInfoCompanion {

// Holds the environment's thread-safe function that carries events, shared
// with the library's observer, which may be called once more after removal.
struct EventChannel {
    napi_threadsafe_function tsfn = nullptr;
    uint64_t observerId = 0;
};

napi_value JsSetEventHandler(napi_env env, napi_callback_info info);
// Environment teardown: no more events for it.
void StopEvents(EventChannel& channel) noexcept;

} // namespace NavInfoCompanion

#endif // NAVINFO_COMPANION_SERVICE_EVENTS_H
