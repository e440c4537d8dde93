#include "service_state.h"

#include "js_values.h"
#include "nav_info_client.h"

namespace NavInfoCompanion {

napi_value JsServiceConnected(napi_env env, napi_callback_info)
{
    using OHOS::NavigationInfoService::NavInfoClient;
    return MakeBool(env, NavInfoClient::GetClientInstance()->IsServiceConnected());
}

} // namespace NavInfoCompanion
