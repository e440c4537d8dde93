// Conversion between the navigation records and plain JavaScript objects,
// for the test addon. Strict: a property that is present must have the right
// type (else a TypeError naming it is thrown and false returned); a missing
// or undefined property keeps the record's default.
#ifndef TEST_ADDON_RECORD_JS_H
#define TEST_ADDON_RECORD_JS_H

#include <node_api.h>

#include <string>

#include "navigation_info_data.h"

namespace NavInfoTest {

using OHOS::NavigationInfoService::NavigationMetadata;
using OHOS::NavigationInfoService::NavigationStatus;
using OHOS::NavigationInfoService::ResultData;

bool ReadString(napi_env env, napi_value value, const char* what, std::string& out);
bool ReadInt64(napi_env env, napi_value value, const char* what, int64_t& out);
bool ReadStatus(napi_env env, napi_value value, NavigationStatus& status);
bool ReadMetadata(napi_env env, napi_value value, NavigationMetadata& metadata);
// undefined or null gives empty parameters.
bool ReadParams(napi_env env, napi_value value, OHOS::AAFwk::WantParams& params);
// {code, message, data}: all optional.
bool ReadResultData(napi_env env, napi_value value, ResultData& data);

// Every field, numbers for the 64-bit time and the text vectors' elements.
napi_value StatusToJs(napi_env env, const NavigationStatus& status);
napi_value MetadataToJs(napi_env env, const NavigationMetadata& metadata);
// A plain object when the want conversion is built, else its text form.
napi_value ParamsToJs(napi_env env, const OHOS::AAFwk::WantParams& params);
napi_value ResultDataToJs(napi_env env, const ResultData& data);

} // namespace NavInfoTest

#endif // TEST_ADDON_RECORD_JS_H
