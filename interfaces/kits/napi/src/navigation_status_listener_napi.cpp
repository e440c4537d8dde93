#include "navigation_status_listener_napi.h"

#include "listener_delivery.h"

namespace OHOS::NavigationInfoService {
namespace {

// Never destroyed: the client library's IPC threads run until the process
// ends and read it while exit handlers run.
ThreadSafeFnSlot& g_statusChangedFnInfo = *new ThreadSafeFnSlot;

} // namespace

NavigationStatusListenerNapi::NavigationStatusListenerNapi(napi_env env, napi_value listenerObject)
{
    sptr<ThreadSafeFnInfo> info = new ThreadSafeFnInfo("onStatusChanged", CallJsStatusChanged);
    // Filled before it is published, so that an IPC thread never copies a half-made record.
    createThreadSafeFunction(env, listenerObject, info);
    g_statusChangedFnInfo.Set(info);
}

NavigationStatusListenerNapi::~NavigationStatusListenerNapi() = default;

void NavigationStatusListenerNapi::OnStatusChanged(const NavigationStatus& status, const std::string& bundleName)
{
    NAVI_LOGI("callback:OnStatusChanged");
    JsCallbackData data{status, bundleName};
    StartDelivery<JsCallbackData>(g_statusChangedFnInfo, std::move(data), CallThreadSafeFunc);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the delivery's own copy
void NavigationStatusListenerNapi::CallThreadSafeFunc(const ThreadSafeFnInfo& info, JsCallbackData data)
{
    if (!QueueDelivery(info, data)) {
        NAVI_LOGI("acquire threadsafe function failed");
    }
}

void NavigationStatusListenerNapi::CallJsStatusChanged(napi_env env, napi_value jsCallback, void* context, void* data)
{
    auto* callbackData = static_cast<JsCallbackData*>(data);
    if (env == nullptr) {
        // The environment is being torn down: only free the delivery.
        delete callbackData;
        return;
    }
    NAVI_LOGI("is called!");
    CallJsListener(env, jsCallback, callbackData, g_statusChangedFnInfo, callbackData->bundleName,
        [callbackData](napi_env env, napi_value& record) {
            SetNavigationStatusData(env, callbackData->navStatus, record);
        });
}

} // namespace OHOS::NavigationInfoService
