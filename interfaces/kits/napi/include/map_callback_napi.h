// Receives the answer to one query or command on an IPC thread and resolves
// the requester's promise with { code, message, data } on its JavaScript thread.
#ifndef NAVIGATION_INFO_NAPI_MAP_CALLBACK_NAPI_H
#define NAVIGATION_INFO_NAPI_MAP_CALLBACK_NAPI_H

#include <node_api.h>

#include <mutex>

#include "async_call.h"
#include "navigation_listeners.h"

namespace OHOS::NavigationInfoService {

class MapCallbackNapi : public MapCallback {
public:
    // JavaScript thread: the object becomes the only holder of deferred.
    MapCallbackNapi(napi_env env, napi_deferred deferred);
    // Any thread.
    ~MapCallbackNapi() override;

    // IPC thread (or any thread): stores the first answer and queues the
    // completion; a later answer is ignored.
    void Callback(ResultData data) override;

    // JavaScript thread.
    static void SetResultData(napi_env env, const ResultData& result, napi_value& value);

private:
    void CreateAsyncCall(napi_env env, napi_deferred deferred);

    AsyncCall* asyncCall_ = nullptr;
    ResultData resultData_;
    napi_deferred deferred_ = nullptr;
    std::mutex mutex_;
    // Guarded by mutex_: set by the first Callback.
    bool answered_ = false;
    // Keeps the object alive from the first Callback until its completion has
    // run on the JavaScript thread; dropped by the completion.
    sptr<MapCallbackNapi> keepAlive_;
};

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_MAP_CALLBACK_NAPI_H
