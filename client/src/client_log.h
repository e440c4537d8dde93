// Log macros of the client library.
#ifndef CLIENT_CLIENT_LOG_H
#define CLIENT_CLIENT_LOG_H

#include "hilog/log.h"

namespace OHOS::NavigationInfoService {
constexpr unsigned int CLIENT_LOG_DOMAIN = 0xD005403;
constexpr const char* CLIENT_LOG_TAG = "NavInfoClient";
} // namespace OHOS::NavigationInfoService

#define CLIENT_LOG(level, fmt, ...)                                                    \
    ((void)HiLogPrint(LOG_CORE, level, OHOS::NavigationInfoService::CLIENT_LOG_DOMAIN, \
        OHOS::NavigationInfoService::CLIENT_LOG_TAG, "%{public}s: " fmt, __FUNCTION__, ##__VA_ARGS__))

#define CLIENT_LOGI(fmt, ...) CLIENT_LOG(LOG_INFO, fmt, ##__VA_ARGS__)
#define CLIENT_LOGW(fmt, ...) CLIENT_LOG(LOG_WARN, fmt, ##__VA_ARGS__)
#define CLIENT_LOGE(fmt, ...) CLIENT_LOG(LOG_ERROR, fmt, ##__VA_ARGS__)

#endif // CLIENT_CLIENT_LOG_H
