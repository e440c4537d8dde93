#include "request_observing.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "companion_env.h"
#include "js_values.h"
#include "nav_info_client.h"
#include "nav_info_errors.h"
#include "napi_common_want.h"

namespace NavInfoCompanion {
namespace {

using namespace OHOS::NavigationInfoService;

struct QueuedObservation {
    RequestObservation observation;
    std::string bundle;
};

// Loop thread, or env == nullptr when the environment went first: the observation is then only freed.
void CallJsObservation(napi_env env, napi_value function, void*, void* data)
{
    std::unique_ptr<QueuedObservation> queued(static_cast<QueuedObservation*>(data));
    if (env == nullptr || function == nullptr) {
        return;
    }
    try {
        const RequestObservation& seen = queued->observation;
        napi_value object = nullptr;
        if (napi_create_object(env, &object) != napi_ok) {
            return;
        }
        SetNamed(env, object, "requestId", MakeDouble(env, static_cast<double>(seen.requestId)));
        SetNamed(env, object, "answered", MakeBool(env, seen.answered));
        SetNamed(env, object, "bundleName", MakeString(env, queued->bundle));
        SetNamed(env, object, "kind",
            MakeString(env, seen.kind == RequestObservation::Kind::QUERY ? "query" : "command"));
        SetNamed(env, object, "type", MakeInt32(env, seen.type));
        if (seen.answered) {
            SetNamed(env, object, "code", MakeInt32(env, seen.answer.code));
            SetNamed(env, object, "message", MakeString(env, seen.answer.message));
            SetNamed(env, object, "data", OHOS::AppExecFwk::WrapWantParams(env, seen.answer.data));
        } else {
            SetNamed(env, object, "requester", MakeString(env, seen.requester));
            SetNamed(env, object, "params", OHOS::AppExecFwk::WrapWantParams(env, seen.params));
        }
        napi_value argv[] = {object};
        // A throwing function is reported by napi_host as uncaught.
        napi_call_function(env, Undefined(env), function, 1, argv, nullptr);
    } catch (...) {
        // No memory to convert it: the observation is lost.
    }
}

// The thread-safe function of one observation, closed once under its mutex
// so that an IPC thread never calls it after it was released.
struct ObservationChannel {
    std::mutex mutex;
    napi_threadsafe_function tsfn = nullptr;
};

class ForwardingObserver : public RequestObserverStub {
public:
    explicit ForwardingObserver(std::shared_ptr<ObservationChannel> channel) : channel_(std::move(channel)) {}

    void OnRequestObserved(const RequestObservation& observation, const std::string& bundle) override
    {
        auto queued = std::make_unique<QueuedObservation>(QueuedObservation{observation, bundle});
        std::lock_guard<std::mutex> lock(channel_->mutex);
        if (channel_->tsfn != nullptr &&
            napi_call_threadsafe_function(channel_->tsfn, queued.get(), napi_tsfn_nonblocking) == napi_ok) {
            static_cast<void>(queued.release()); // CallJsObservation frees it
        }
    }

private:
    const std::shared_ptr<ObservationChannel> channel_;
};

// (environment id, bundle) -> the channel of that observation.
std::mutex g_mutex;
std::map<std::pair<uint64_t, std::string>, std::shared_ptr<ObservationChannel>> g_channels;

void Close(const std::shared_ptr<ObservationChannel>& channel)
{
    std::lock_guard<std::mutex> lock(channel->mutex);
    if (channel->tsfn != nullptr) {
        napi_release_threadsafe_function(channel->tsfn, napi_tsfn_release);
        channel->tsfn = nullptr;
    }
}

} // namespace

napi_value JsObserveRequests(napi_env env, napi_callback_info info)
{
    return Guarded(env, [&]() -> napi_value {
        CallArgs<2> args;
        std::string bundleName;
        if (!args.Read(env, info) || !ReadString(env, args.argv[0], bundleName) || !IsFunction(env, args.argv[1])) {
            return ThrowTypeError(env, "observeRequests(bundleName, fn): wrong argument types");
        }
        CompanionEnv* state = GetCompanionEnv(env);
        if (state == nullptr) {
            return nullptr;
        }
        auto channel = std::make_shared<ObservationChannel>();
        napi_value name = MakeString(env, "navinfo_companion request observations");
        if (napi_create_threadsafe_function(env, args.argv[1], nullptr, name, 0, 1, nullptr, nullptr, nullptr,
                CallJsObservation, &channel->tsfn) != napi_ok) {
            napi_throw_error(env, nullptr, "observeRequests: the channel could not be created");
            return nullptr;
        }
        napi_unref_threadsafe_function(env, channel->tsfn);
        OHOS::sptr<RequestObserverStub> observer = new ForwardingObserver(channel);
        const int32_t result = NavInfoClient::GetClientInstance()->RegisterRequestObserver(bundleName, observer);
        std::shared_ptr<ObservationChannel> replaced;
        if (result == NAV_INFO_SUCCESS) {
            std::lock_guard<std::mutex> lock(g_mutex);
            auto& slot = g_channels[{state->id, bundleName}];
            replaced = std::move(slot);
            slot = channel;
        } else {
            replaced = channel;
        }
        if (replaced != nullptr) {
            Close(replaced);
        }
        return MakeInt32(env, result);
    });
}

napi_value JsStopObservingRequests(napi_env env, napi_callback_info info)
{
    return Guarded(env, [&]() -> napi_value {
        CallArgs<1> args;
        std::string bundleName;
        if (!args.Read(env, info) || !ReadString(env, args.argv[0], bundleName)) {
            return ThrowTypeError(env, "stopObservingRequests(bundleName): bundleName must be a string");
        }
        CompanionEnv* state = GetCompanionEnv(env);
        if (state == nullptr) {
            return nullptr;
        }
        const int32_t result = NavInfoClient::GetClientInstance()->UnRegisterRequestObserver(bundleName);
        std::shared_ptr<ObservationChannel> channel;
        {
            std::lock_guard<std::mutex> lock(g_mutex);
            auto found = g_channels.find({state->id, bundleName});
            if (found != g_channels.end()) {
                channel = std::move(found->second);
                g_channels.erase(found);
            }
        }
        if (channel != nullptr) {
            Close(channel);
        }
        return MakeInt32(env, result);
    });
}

void ForgetObservations(uint64_t envId) noexcept
{
    try {
        std::vector<std::pair<std::string, std::shared_ptr<ObservationChannel>>> gone;
        {
            std::lock_guard<std::mutex> lock(g_mutex);
            for (auto entry = g_channels.begin(); entry != g_channels.end();) {
                if (entry->first.first == envId) {
                    gone.emplace_back(entry->first.second, std::move(entry->second));
                    entry = g_channels.erase(entry);
                } else {
                    ++entry;
                }
            }
        }
        for (auto& [bundle, channel] : gone) {
            {
                std::lock_guard<std::mutex> lock(channel->mutex);
                channel->tsfn = nullptr;
            }
            NavInfoClient::GetClientInstance()->UnRegisterRequestObserver(bundle);
        }
    } catch (...) {
        // Out of memory at teardown: the observers stay registered, and call nothing.
    }
}

} // namespace NavInfoCompanion
