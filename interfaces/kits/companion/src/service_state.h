// The client library's link to the service, for the client API:
//  serviceConnected() -> boolean: whether the client library reaches the
//    service now (always with the embedded service; with the daemon, while a
//    connection is live). It does not try to connect.
//  connect() -> boolean: connects now if the daemon is used and there is no
//    connection (at most its connect time-out); whether connected.
//  connectionGeneration() -> number: the daemon connection's number (1, 2, ...
//    per connection made), 0 without one and with the embedded service.
//  holdConnection(boolean): counted; while held, a missing connection is
//    sought in the background even with nothing registered.
//  configure({ socket?, bundleName?, token? }) -> string | null: before the
//    process's client is made, sets what it uses in place of the environment
//    (null); afterwards null only when what is given is what is in use, else
//    the reason why not.
//  endpoint() -> { socket, bundleName, embedded, probed }: what the client uses.
#ifndef NAVINFO_COMPANION_SERVICE_STATE_H
#define NAVINFO_COMPANION_SERVICE_STATE_H

#include <node_api.h>

namespace NavInfoCompanion {

napi_value JsServiceConnected(napi_env env, napi_callback_info info);
napi_value JsConnect(napi_env env, napi_callback_info info);
napi_value JsConnectionGeneration(napi_env env, napi_callback_info info);
napi_value JsHoldConnection(napi_env env, napi_callback_info info);
napi_value JsConfigure(napi_env env, napi_callback_info info);
napi_value JsEndpoint(napi_env env, napi_callback_info info);

} // namespace NavInfoCompanion

#endif // NAVINFO_COMPANION_SERVICE_STATE_H
