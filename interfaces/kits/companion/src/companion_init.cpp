// The companion addon's exports, defined once per JavaScript environment.
#include <node_api.h>

#include "companion_env.h"
#include "request_observing.h"
#include "request_sender.h"
#include "service_events.h"
#include "service_inspector.h"
#include "service_state.h"
#include "status_reader.h"
#include "thread_claims.h"

namespace NavInfoCompanion {
namespace {

napi_value Init(napi_env env, napi_value exports)
{
    if (!InitCompanionEnv(env)) {
        napi_throw_error(env, nullptr, "navinfo_companion: could not initialise");
        return nullptr;
    }
    const napi_property_descriptor properties[] = {
        {"readStatus", nullptr, JsReadStatus, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"serviceConnected", nullptr, JsServiceConnected, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"setAnswerHandler", nullptr, JsSetAnswerHandler, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"sendRequest", nullptr, JsSendRequest, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"claim", nullptr, JsClaim, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"release", nullptr, JsRelease, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"inspectService", nullptr, JsInspectService, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"connect", nullptr, JsConnect, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"connectionGeneration", nullptr, JsConnectionGeneration, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"holdConnection", nullptr, JsHoldConnection, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"configure", nullptr, JsConfigure, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"endpoint", nullptr, JsEndpoint, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"setEventHandler", nullptr, JsSetEventHandler, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"observeRequests", nullptr, JsObserveRequests, nullptr, nullptr, nullptr, napi_enumerable, nullptr},
        {"stopObservingRequests", nullptr, JsStopObservingRequests, nullptr, nullptr, nullptr, napi_enumerable,
            nullptr},
    };
    if (napi_define_properties(env, exports, sizeof(properties) / sizeof(properties[0]), properties) != napi_ok) {
        return nullptr;
    }
    return exports;
}

} // namespace
} // namespace NavInfoCompanion

NAPI_MODULE(navinfo_companion, NavInfoCompanion::Init)
