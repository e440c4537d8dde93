// One Node-API async work whose only job is to run a completion step on the
// JavaScript thread of the environment that created it.
#ifndef NAVIGATION_INFO_NAPI_ASYNC_CALL_H
#define NAVIGATION_INFO_NAPI_ASYNC_CALL_H

#include <node_api.h>

#include <functional>
#include <string>

namespace OHOS::NavigationInfoService {

class AsyncCall {
public:
    struct AsyncContext {
        napi_env env = nullptr;
        napi_async_work work = nullptr;
        std::function<void()> execute;
        std::function<void(napi_env)> complete;
    };

    // JavaScript thread.
    AsyncCall(std::function<void()> execute, std::function<void(napi_env)> complete);
    // Any thread. A work that was never queued is handed to its JavaScript
    // thread with empty steps, so that it is deleted there.
    ~AsyncCall();
    AsyncCall(const AsyncCall&) = delete;
    AsyncCall& operator=(const AsyncCall&) = delete;

    // JavaScript thread: creates the work, without queueing it.
    void CreateAsyncWork(napi_env env, napi_deferred deferred, const std::string& resourceName);
    // Any thread: queues the work; from then on the context belongs to it.
    // False when there was nothing to queue or queueing failed.
    bool Call();

    static void OnExecute(napi_env env, void* data);
    static void OnComplete(napi_env env, napi_status status, void* data);

private:
    AsyncContext* context_ = nullptr;
};

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_ASYNC_CALL_H
