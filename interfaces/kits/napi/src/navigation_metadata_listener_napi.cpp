#include "navigation_metadata_listener_napi.h"

#include "listener_delivery.h"

namespace OHOS::NavigationInfoService {
namespace {

// Never destroyed: the client library's IPC threads run until the process
// ends and read it while exit handlers run.
ThreadSafeFnSlot& g_metadataChangedFnInfo = *new ThreadSafeFnSlot;

} // namespace

NavigationMetadataListenerNapi::NavigationMetadataListenerNapi(napi_env env, napi_value listenerObject)
{
    sptr<ThreadSafeFnInfo> info = new ThreadSafeFnInfo("onMetadataChanged", CallJsMetadataChanged);
    // Filled before it is published, so that an IPC thread never copies a half-made record.
    createThreadSafeFunction(env, listenerObject, info);
    g_metadataChangedFnInfo.Set(info);
}

NavigationMetadataListenerNapi::~NavigationMetadataListenerNapi() = default;

void NavigationMetadataListenerNapi::OnMetadataChanged(const NavigationMetadata& metadata,
    const std::string& bundleName)
{
    NAVI_LOGI("callback:OnMetadataChanged");
    JsCallbackData data{metadata, bundleName};
    StartDelivery<JsCallbackData>(g_metadataChangedFnInfo, std::move(data), CallThreadSafeFunc);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the delivery's own copy
void NavigationMetadataListenerNapi::CallThreadSafeFunc(const ThreadSafeFnInfo& info, JsCallbackData data)
{
    NAVI_LOGI("CallThreadSafeFunc");
    if (!QueueDelivery(info, data)) {
        NAVI_LOGI("acquire threadsafe function failed");
    }
}

void NavigationMetadataListenerNapi::CallJsMetadataChanged(napi_env env, napi_value jsCallback, void* context,
    void* data)
{
    auto* callbackData = static_cast<JsCallbackData*>(data);
    if (env == nullptr) {
        // The environment is being torn down: only free the delivery.
        delete callbackData;
        return;
    }
    NAVI_LOGI("is called!");
    CallJsListener(env, jsCallback, callbackData, g_metadataChangedFnInfo, callbackData->bundleName,
        [callbackData](napi_env env, napi_value& record) {
            SetNavigationMetadata(env, callbackData->navMetadata, record);
        });
}

} // namespace OHOS::NavigationInfoService
