// Carries the service's queries and commands to the navigation application's
// onQueryNavigationInfo / onReceiveNavigationCmd, and the value their promise
// fulfils with back to the requester as a ResultData.
#ifndef NAVIGATION_INFO_NAPI_SYSTEM_NAVIGATION_LISTENER_NAPI_H
#define NAVIGATION_INFO_NAPI_SYSTEM_NAVIGATION_LISTENER_NAPI_H

#include <node_api.h>

#include "nav_napi_common.h"
#include "navigation_listeners.h"

namespace OHOS::NavigationInfoService {

class SystemNavigationListenerNapi : public SystemNavigationListener {
public:
    struct JsCallbackData {
        int32_t type = 0;
        AAFwk::WantParams wantParams;
        sptr<IMapCallback> mapCallback;
    };

    // JavaScript thread: takes the listener object's two functions for every later request.
    SystemNavigationListenerNapi(napi_env env, napi_value listener);
    ~SystemNavigationListenerNapi() override;

    // IPC thread: copies the request and returns at once.
    void OnQueryNavigationInfo(QueryType type, AAFwk::WantParams parameters, sptr<IMapCallback> callback) override;
    void OnReceiveNavigationCmd(CommandType type, AAFwk::WantParams parameters, sptr<IMapCallback> callback) override;

    // Delivery thread.
    // data by value: the delivery thread gets its own copy.
    // NOLINTNEXTLINE(performance-unnecessary-value-param)
    static void CallThreadSafeFunc(const ThreadSafeFnInfo& info, JsCallbackData data);
    // JavaScript thread.
    static void CallJsQueryNavigationInfo(napi_env env, napi_value function, void* context, void* data);
    static void CallJsReceiveNavigationCmd(napi_env env, napi_value function, void* context, void* data);
    static void CallJsFunction(napi_env env, napi_value function, napi_value* arguments, JsCallbackData* data);
    static napi_value PromiseThenFunction(napi_env env, napi_callback_info info);
    static void ParseResultData(napi_env env, napi_value value, ResultData& result);
};

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_SYSTEM_NAVIGATION_LISTENER_NAPI_H
