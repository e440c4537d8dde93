#include "service_events.h"

#include <memory>

#include "companion_env.h"
#include "js_values.h"
#include "nav_info_client.h"

namespace NavInfoCompanion {
namespace {

using namespace OHOS::NavigationInfoService;

const char* KindName(ServiceEventKind kind)
{
    switch (kind) {
        case ServiceEventKind::CONNECTED: return "connect";
        case ServiceEventKind::DISCONNECTED: return "disconnect";
        case ServiceEventKind::REFUSED: return "refused";
        default: return "resumed";
    }
}

const char* RegistrationName(RegistrationKind kind)
{
    switch (kind) {
        case RegistrationKind::STATUS_LISTENER: return "status";
        case RegistrationKind::METADATA_LISTENER: return "metadata";
        case RegistrationKind::REQUEST_OBSERVER: return "requests";
        default: return "system";
    }
}

// Loop thread, or env == nullptr when the environment went first: the event is then only freed.
void CallJsEvent(napi_env env, napi_value function, void*, void* data)
{
    std::unique_ptr<ServiceEvent> event(static_cast<ServiceEvent*>(data));
    if (env == nullptr || function == nullptr) {
        return;
    }
    try {
        napi_value detail = nullptr;
        if (napi_create_object(env, &detail) != napi_ok) {
            return;
        }
        SetNamed(env, detail, "generation", MakeDouble(env, static_cast<double>(event->generation)));
        SetNamed(env, detail, "result", MakeInt32(env, event->result));
        SetNamed(env, detail, "reason", MakeString(env, event->reason));
        SetNamed(env, detail, "registration", MakeString(env, RegistrationName(event->registration)));
        SetNamed(env, detail, "bundleName", MakeString(env, event->bundleName));
        napi_value argv[] = {MakeString(env, KindName(event->kind)), detail};
        // A throwing event function is reported by napi_host as uncaught.
        napi_call_function(env, Undefined(env), function, 2, argv, nullptr);
    } catch (...) {
        // No memory to convert the event: it is lost; the state stays readable (serviceConnected).
    }
}

} // namespace

napi_value JsSetEventHandler(napi_env env, napi_callback_info info)
{
    return Guarded(env, [&]() -> napi_value {
        CallArgs<1> args;
        if (!args.Read(env, info) || !IsFunction(env, args.argv[0])) {
            return ThrowTypeError(env, "setEventHandler(fn): fn must be a function");
        }
        CompanionEnv* state = GetCompanionEnv(env);
        if (state == nullptr) {
            return nullptr;
        }
        if (state->events != nullptr) {
            napi_throw_error(env, nullptr, "setEventHandler: this environment has its event function already");
            return nullptr;
        }
        auto channel = std::make_shared<EventChannel>();
        napi_value name = MakeString(env, "navinfo_companion events");
        if (napi_create_threadsafe_function(env, args.argv[0], nullptr, name, 0, 1, nullptr, nullptr, nullptr,
                CallJsEvent, &channel->tsfn) != napi_ok) {
            napi_throw_error(env, nullptr, "setEventHandler: the event channel could not be created");
            return nullptr;
        }
        std::shared_ptr<const EventChannel> shared = channel;
        channel->observerId = NavInfoClient::AddServiceObserver([shared](const ServiceEvent& event) {
            auto queued = std::make_unique<ServiceEvent>(event);
            if (napi_call_threadsafe_function(shared->tsfn, queued.get(), napi_tsfn_nonblocking) == napi_ok) {
                static_cast<void>(queued.release()); // CallJsEvent frees it
            }
        });
        if (channel->observerId == 0) {
            napi_throw_error(env, nullptr, "setEventHandler: the client library took no observer");
            return nullptr;
        }
        state->events = std::move(channel);
        return Undefined(env);
    });
}

void StopEvents(EventChannel& channel) noexcept
{
    NavInfoClient::RemoveServiceObserver(channel.observerId);
    channel.observerId = 0;
}

} // namespace NavInfoCompanion
