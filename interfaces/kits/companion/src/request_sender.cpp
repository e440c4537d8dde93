#include "request_sender.h"

#include <atomic>
#include <memory>
#include <string>

#include "companion_env.h"
#include "js_values.h"
#include "nav_info_client.h"
#include "napi_common_want.h"

namespace NavInfoCompanion {
namespace {

using namespace OHOS::NavigationInfoService;

struct QueuedAnswer {
    double id = 0;
    ResultData data;
};

// Loop thread, or env == nullptr when the environment went before the
// answer could be run: the answer is then only freed.
void CallJsAnswer(napi_env env, napi_value function, void*, void* data)
{
    std::unique_ptr<QueuedAnswer> answer(static_cast<QueuedAnswer*>(data));
    if (env == nullptr || function == nullptr) {
        return;
    }
    try {
        napi_value argv[] = {
            MakeDouble(env, answer->id),
            MakeInt32(env, answer->data.code),
            MakeString(env, answer->data.message),
            OHOS::AppExecFwk::WrapWantParams(env, answer->data.data),
        };
        // A throwing answer function is reported by napi_host as uncaught.
        napi_call_function(env, Undefined(env), function, 4, argv, nullptr);
    } catch (...) {
        // No memory to convert the answer: it is lost, and the request runs into its time-out.
    }
}

// Takes the one answer of one request on an IPC thread and queues it for
// the requesting environment.
class AnswerForwarder : public MapCallback {
public:
    AnswerForwarder(std::shared_ptr<AnswerChannel> channel, double id) : channel_(std::move(channel)), id_(id) {}

    void Callback(ResultData data) override
    {
        if (answered_.exchange(true)) {
            return;
        }
        try {
            auto answer = std::make_unique<QueuedAnswer>();
            answer->id = id_;
            answer->data = std::move(data);
            if (napi_call_threadsafe_function(channel_->tsfn, answer.get(), napi_tsfn_nonblocking) == napi_ok) {
                static_cast<void>(answer.release()); // CallJsAnswer frees it
            }
        } catch (...) {
            // No memory for the answer: it is lost, as when the environment has gone.
        }
    }

private:
    const std::shared_ptr<AnswerChannel> channel_;
    const double id_;
    std::atomic<bool> answered_{false};
};

} // namespace

napi_value JsSetAnswerHandler(napi_env env, napi_callback_info info)
{
    return Guarded(env, [&]() -> napi_value {
        CallArgs<1> args;
        if (!args.Read(env, info) || !IsFunction(env, args.argv[0])) {
            return ThrowTypeError(env, "setAnswerHandler(fn): fn must be a function");
        }
        CompanionEnv* state = GetCompanionEnv(env);
        if (state == nullptr) {
            return nullptr;
        }
        if (state->answers != nullptr) {
            napi_throw_error(env, nullptr, "setAnswerHandler: this environment has its answer function already");
            return nullptr;
        }
        auto channel = std::make_shared<AnswerChannel>();
        napi_value name = MakeString(env, "navinfo_companion answers");
        if (napi_create_threadsafe_function(env, args.argv[0], nullptr, name, 0, 1, nullptr, nullptr, nullptr,
                CallJsAnswer, &channel->tsfn) != napi_ok) {
            napi_throw_error(env, nullptr, "setAnswerHandler: the answer channel could not be created");
            return nullptr;
        }
        state->answers = std::move(channel);
        return Undefined(env);
    });
}

napi_value JsSendRequest(napi_env env, napi_callback_info info)
{
    return Guarded(env, [&]() -> napi_value {
        CallArgs<5> args;
        double id = 0;
        bool isCommand = false;
        std::string bundleName;
        int32_t type = 0;
        OHOS::AAFwk::WantParams params;
        if (!args.Read(env, info) || napi_get_value_double(env, args.argv[0], &id) != napi_ok ||
            !ReadBool(env, args.argv[1], isCommand) || !ReadString(env, args.argv[2], bundleName) ||
            !ReadInt32(env, args.argv[3], type)) {
            return ThrowTypeError(env, "sendRequest(id, isCommand, bundleName, type, params): wrong argument types");
        }
        if (!OHOS::AppExecFwk::UnwrapWantParams(env, args.argv[4], params)) {
            return ThrowTypeError(env, "sendRequest: params could not be read");
        }
        CompanionEnv* state = GetCompanionEnv(env);
        if (state == nullptr) {
            return nullptr;
        }
        if (state->answers == nullptr) {
            napi_throw_error(env, nullptr, "sendRequest: setAnswerHandler was not called");
            return nullptr;
        }
        OHOS::sptr<MapCallback> callback = new AnswerForwarder(state->answers, id);
        auto client = NavInfoClient::GetClientInstance();
        int32_t result = isCommand
            ? client->SendNavigationCmd(bundleName, static_cast<CommandType>(type), std::move(params), callback)
            : client->QueryNavigationInfo(bundleName, static_cast<QueryType>(type), std::move(params), callback);
        return MakeInt32(env, result);
    });
}

} // namespace NavInfoCompanion
