// Queries and commands whose answers the client API may drop.
//
// setAnswerHandler(fn) gives this JavaScript environment its answer function,
// once. sendRequest(id, isCommand, bundleName, type, params) sends one query
// (isCommand false; type a QueryType value) or command (a CommandType value)
// through the client library and returns the client's result. On 0 the
// answer comes later, exactly once, as fn(id, code, message, data) on this
// environment's thread; the client API forgets an id it no longer waits for,
// so a late answer is simply not looked at. On any other result no answer
// comes. Answers never keep the environment alive: the client API does that
// while it waits.
#ifndef NAVINFO_COMPANION_REQUEST_SENDER_H
#define NAVINFO_COMPANION_REQUEST_SENDER_H

#include <node_api.h>

namespace NavInfoCompanion {

// Holds the environment's thread-safe function that carries answers. It
// outlives the environment while requests are out: napi_host answers calls
// on a function whose environment has gone with napi_closing.
struct AnswerChannel {
    napi_threadsafe_function tsfn = nullptr;
};

napi_value JsSetAnswerHandler(napi_env env, napi_callback_info info);
napi_value JsSendRequest(napi_env env, napi_callback_info info);

} // namespace NavInfoCompanion

#endif // NAVINFO_COMPANION_REQUEST_SENDER_H
