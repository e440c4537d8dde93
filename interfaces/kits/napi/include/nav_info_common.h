// Constants and records shared by every source file of the module: the log
// identity and log macros, the argument counts, the refusal codes, and the
// name tables of the query and command kinds.
#ifndef NAVIGATION_INFO_NAPI_NAV_INFO_COMMON_H
#define NAVIGATION_INFO_NAPI_NAV_INFO_COMMON_H

#include <cstdint>
#include <string>
#include <vector>

#include "hilog/log.h"
#include "navigation_info_data.h"

namespace OHOS::NavigationInfoService {

constexpr unsigned int NAV_LOG_DOMAIN = 0xD005401;
constexpr const char* NAV_LOG_TAG = "NavInfoJsNapi";

constexpr size_t ARGC_INIT1 = 1;
constexpr size_t ARGC_INIT2 = 2;
constexpr size_t ARGC_ONE = 1;
constexpr size_t ARGC_TWO = 2;
constexpr size_t ARGC_THREE = 3;

constexpr int32_t ERR_NO_PERMISSION = 1005;
constexpr int32_t ERR_NOT_SYSTEM_APP = 1015;

// Read buffer of the string readers: at most 255 bytes and the terminating zero.
constexpr size_t STRING_BUFFER_SIZE = 256;

// Names of the kinds, indexed by their QueryType and CommandType values.
inline const std::vector<std::string> QUERY_TYPE_NAMES = {
    "navigationStatus",
    "navigationMetadata",
};

inline const std::vector<std::string> COMMAND_TYPE_NAMES = {
    "startNavigation",
    "stopNavigation",
    "goHome",
    "goToCompany",
    "startMapLayer",
    "stopMapLayer",
    "zoomInMap",
    "zoomOutMap",
    "changeTheme",
    "startUpdateNavigationStatus",
    "stopUpdateNavigationStatus",
};

// The base name of a source path, at compile time.
constexpr const char* NavFileBaseName(const char* path)
{
    const char* base = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '/') {
            base = p + 1;
        }
    }
    return base;
}

} // namespace OHOS::NavigationInfoService

// Every message starts with the source file's base name, the line and the
// bare name of the function that logs.
#define NAV_LOG_PRINT(level, fmt, ...)                                                       \
    ((void)HiLogPrint(LOG_CORE, level, OHOS::NavigationInfoService::NAV_LOG_DOMAIN,          \
        OHOS::NavigationInfoService::NAV_LOG_TAG, "[%{public}s:%{public}d]%{public}s# " fmt, \
        OHOS::NavigationInfoService::NavFileBaseName(__FILE__), __LINE__, __FUNCTION__, ##__VA_ARGS__))

#define NAVI_LOGI(fmt, ...) NAV_LOG_PRINT(LOG_INFO, fmt, ##__VA_ARGS__)
// For a statement inside a lambda, logged in the name of the enclosing function.
#define NAVI_LOGI_AS(function, fmt, ...)                                                     \
    ((void)HiLogPrint(LOG_CORE, LOG_INFO, OHOS::NavigationInfoService::NAV_LOG_DOMAIN,       \
        OHOS::NavigationInfoService::NAV_LOG_TAG, "[%{public}s:%{public}d]%{public}s# " fmt, \
        OHOS::NavigationInfoService::NavFileBaseName(__FILE__), __LINE__, function, ##__VA_ARGS__))
#define NAVI_LOGW(fmt, ...) NAV_LOG_PRINT(LOG_WARN, fmt, ##__VA_ARGS__)
#define NAVI_LOGE(fmt, ...) NAV_LOG_PRINT(LOG_ERROR, fmt, ##__VA_ARGS__)

#endif // NAVIGATION_INFO_NAPI_NAV_INFO_COMMON_H
