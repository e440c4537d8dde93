#include "async_call.h"

#include "nav_info_common.h"

namespace OHOS::NavigationInfoService {

AsyncCall::AsyncCall(std::function<void()> execute, std::function<void(napi_env)> complete)
    : context_(new AsyncContext())
{
    context_->execute = std::move(execute);
    context_->complete = std::move(complete);
}

AsyncCall::~AsyncCall()
{
    if (context_ == nullptr) {
        return;
    }
    AsyncContext* context = context_;
    context_ = nullptr;
    if (context->work == nullptr) {
        delete context;
        return;
    }
    // napi_delete_async_work belongs on the JavaScript thread, and this may
    // run on any thread: queue the work with nothing to do; OnComplete deletes
    // it and its context there. If the environment is gone, so is the work.
    context->execute = nullptr;
    context->complete = nullptr;
    if (napi_queue_async_work(context->env, context->work) != napi_ok) {
        delete context;
    }
}

void AsyncCall::CreateAsyncWork(napi_env env, napi_deferred deferred, const std::string& resourceName)
{
    NAVI_LOGI("CreateAsyncWork start.");
    context_->env = env;
    napi_value resource = nullptr;
    napi_create_string_utf8(env, resourceName.c_str(), NAPI_AUTO_LENGTH, &resource);
    napi_create_async_work(env, nullptr, resource, OnExecute, OnComplete, context_, &context_->work);
}

bool AsyncCall::Call()
{
    if (context_ == nullptr) {
        return false; // already queued: there is no work left to queue
    }
    if (napi_queue_async_work(context_->env, context_->work) != napi_ok) {
        // Not queued (the environment is gone): the context stays ours, to be
        // freed with this object.
        return false;
    }
    context_ = nullptr;
    NAVI_LOGI("run async call");
    return true;
}

void AsyncCall::OnExecute(napi_env env, void* data)
{
    auto* context = static_cast<AsyncContext*>(data);
    if (!context->execute) {
        return;
    }
    NAVI_LOGI("run the async runnable");
    context->execute();
    context->execute = nullptr;
}

void AsyncCall::OnComplete(napi_env env, napi_status status, void* data)
{
    auto* context = static_cast<AsyncContext*>(data);
    if (context->complete) {
        NAVI_LOGI("run the js callback function");
        context->complete(env);
        context->complete = nullptr;
    }
    napi_delete_async_work(context->env, context->work);
    delete context;
}

} // namespace OHOS::NavigationInfoService
