// Carries the service's metadata changes to the JavaScript listener's
// onMetadataChanged(bundleName, metadata) on its JavaScript thread.
#ifndef NAVIGATION_INFO_NAPI_NAVIGATION_METADATA_LISTENER_NAPI_H
#define NAVIGATION_INFO_NAPI_NAVIGATION_METADATA_LISTENER_NAPI_H

#include <node_api.h>

#include <string>

#include "nav_napi_common.h"
#include "navigation_listeners.h"

namespace OHOS::NavigationInfoService {

class NavigationMetadataListenerNapi : public NavigationMetadataListener {
public:
    struct JsCallbackData {
        NavigationMetadata navMetadata;
        std::string bundleName;
    };

    // JavaScript thread: takes listenerObject's onMetadataChanged for every later delivery.
    NavigationMetadataListenerNapi(napi_env env, napi_value listenerObject);
    ~NavigationMetadataListenerNapi() override;

    // IPC thread: copies the change and returns at once.
    void OnMetadataChanged(const NavigationMetadata& metadata, const std::string& bundleName) override;

    // Delivery thread: queues one change on the thread-safe function.
    // data by value: the delivery thread gets its own copy.
    // NOLINTNEXTLINE(performance-unnecessary-value-param)
    static void CallThreadSafeFunc(const ThreadSafeFnInfo& info, JsCallbackData data);
    // JavaScript thread: calls onMetadataChanged; owns and frees data.
    static void CallJsMetadataChanged(napi_env env, napi_value jsCallback, void* context, void* data);
};

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_NAVIGATION_METADATA_LISTENER_NAPI_H
