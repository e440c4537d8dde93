#include "status_reader.h"

#include <string>

#include "js_values.h"
#include "nav_info_client.h"
#include "record_values.h"

namespace NavInfoCompanion {

using OHOS::NavigationInfoService::NavigationStatus;
using OHOS::NavigationInfoService::NavInfoClient;

napi_value JsReadStatus(napi_env env, napi_callback_info info)
{
    return Guarded(env, [&]() -> napi_value {
        CallArgs<1> args;
        std::string bundleName;
        if (!args.Read(env, info) || !ReadString(env, args.argv[0], bundleName)) {
            return ThrowTypeError(env, "readStatus(bundleName): bundleName must be a string");
        }
        NavigationStatus status;
        int32_t result = NavInfoClient::GetClientInstance()->GetNavigationStatus(bundleName, status);
        napi_value out = NewObject(env);
        SetNamed(env, out, "result", MakeInt32(env, result));
        if (result == OHOS::NavigationInfoService::NAV_INFO_SUCCESS) {
            SetNamed(env, out, "status", StatusToJs(env, status));
            SetNamed(env, out, "updateTime", MakeDouble(env, static_cast<double>(status.updateTime)));
        }
        return out;
    });
}

} // namespace NavInfoCompanion
