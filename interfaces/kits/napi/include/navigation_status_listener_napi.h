// Carries the service's status changes to the JavaScript listener's
// onStatusChanged(bundleName, status) on its JavaScript thread.
#ifndef NAVIGATION_INFO_NAPI_NAVIGATION_STATUS_LISTENER_NAPI_H
#define NAVIGATION_INFO_NAPI_NAVIGATION_STATUS_LISTENER_NAPI_H

#include <node_api.h>

#include <string>

#include "nav_napi_common.h"
#include "navigation_listeners.h"

namespace OHOS::NavigationInfoService {

class NavigationStatusListenerNapi : public NavigationStatusListener {
public:
    struct JsCallbackData {
        NavigationStatus navStatus;
        std::string bundleName;
    };

    // JavaScript thread: takes listenerObject's onStatusChanged for every later delivery.
    NavigationStatusListenerNapi(napi_env env, napi_value listenerObject);
    ~NavigationStatusListenerNapi() override;

    // IPC thread: copies the change and returns at once.
    void OnStatusChanged(const NavigationStatus& status, const std::string& bundleName) override;

    // Delivery thread: queues one change on the thread-safe function.
    // data by value: the delivery thread gets its own copy.
    // NOLINTNEXTLINE(performance-unnecessary-value-param)
    static void CallThreadSafeFunc(const ThreadSafeFnInfo& info, JsCallbackData data);
    // JavaScript thread: calls onStatusChanged; owns and frees data.
    static void CallJsStatusChanged(napi_env env, napi_value jsCallback, void* context, void* data);
};

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_NAVIGATION_STATUS_LISTENER_NAPI_H
