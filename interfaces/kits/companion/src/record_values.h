// The navigation records as JavaScript objects, with the properties and in
// the order of the module's own objects.
#ifndef NAVINFO_COMPANION_RECORD_VALUES_H
#define NAVINFO_COMPANION_RECORD_VALUES_H

#include <node_api.h>

#include "navigation_info_data.h"

namespace NavInfoCompanion {

napi_value NewObject(napi_env env);
napi_value StatusToJs(napi_env env, const OHOS::NavigationInfoService::NavigationStatus& status);
napi_value MetadataToJs(napi_env env, const OHOS::NavigationInfoService::NavigationMetadata& metadata);

} // namespace NavInfoCompanion

#endif // NAVINFO_COMPANION_RECORD_VALUES_H
