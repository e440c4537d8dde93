// Log macros of the navinfo-service daemon.
#ifndef SERVICE_DAEMON_DAEMON_LOG_H
#define SERVICE_DAEMON_DAEMON_LOG_H

#include "hilog/log.h"

namespace OHOS::NavigationInfoService {
constexpr unsigned int DAEMON_LOG_DOMAIN = 0xD005404;
constexpr const char* DAEMON_LOG_TAG = "NavInfoDaemon";
} // namespace OHOS::NavigationInfoService

#define DAEMON_LOG(level, fmt, ...)                                                    \
    ((void)HiLogPrint(LOG_CORE, level, OHOS::NavigationInfoService::DAEMON_LOG_DOMAIN, \
        OHOS::NavigationInfoService::DAEMON_LOG_TAG, "%{public}s: " fmt, __FUNCTION__, ##__VA_ARGS__))

#define DAEMON_LOGD(fmt, ...) DAEMON_LOG(LOG_DEBUG, fmt, ##__VA_ARGS__)
#define DAEMON_LOGI(fmt, ...) DAEMON_LOG(LOG_INFO, fmt, ##__VA_ARGS__)
#define DAEMON_LOGW(fmt, ...) DAEMON_LOG(LOG_WARN, fmt, ##__VA_ARGS__)
#define DAEMON_LOGE(fmt, ...) DAEMON_LOG(LOG_ERROR, fmt, ##__VA_ARGS__)

#endif // SERVICE_DAEMON_DAEMON_LOG_H
