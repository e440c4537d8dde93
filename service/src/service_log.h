// Log macros of the service core.
#ifndef SERVICE_SERVICE_LOG_H
#define SERVICE_SERVICE_LOG_H

#include "hilog/log.h"

namespace OHOS::NavigationInfoService {
constexpr unsigned int SERVICE_LOG_DOMAIN = 0xD005402;
constexpr const char* SERVICE_LOG_TAG = "NavInfoService";
} // namespace OHOS::NavigationInfoService

#define SERVICE_LOG(level, fmt, ...)                                                    \
    ((void)HiLogPrint(LOG_CORE, level, OHOS::NavigationInfoService::SERVICE_LOG_DOMAIN, \
        OHOS::NavigationInfoService::SERVICE_LOG_TAG, "%{public}s: " fmt, __FUNCTION__, ##__VA_ARGS__))

#define SERVICE_LOGD(fmt, ...) SERVICE_LOG(LOG_DEBUG, fmt, ##__VA_ARGS__)
#define SERVICE_LOGI(fmt, ...) SERVICE_LOG(LOG_INFO, fmt, ##__VA_ARGS__)
#define SERVICE_LOGW(fmt, ...) SERVICE_LOG(LOG_WARN, fmt, ##__VA_ARGS__)
#define SERVICE_LOGE(fmt, ...) SERVICE_LOG(LOG_ERROR, fmt, ##__VA_ARGS__)

#endif // SERVICE_SERVICE_LOG_H
