// Log macros of the worker pool. Its lines keep the service's domain and tag:
// the pool is the executor through which the service calls listeners.
#ifndef PLATFORM_UTILS_WORKER_LOG_H
#define PLATFORM_UTILS_WORKER_LOG_H

#include "hilog/log.h"

namespace OHOS::NavigationInfoService {
constexpr unsigned int WORKER_LOG_DOMAIN = 0xD005402;
constexpr const char* WORKER_LOG_TAG = "NavInfoService";
} // namespace OHOS::NavigationInfoService

#define WORKER_LOG(level, fmt, ...)                                                    \
    ((void)HiLogPrint(LOG_CORE, level, OHOS::NavigationInfoService::WORKER_LOG_DOMAIN, \
        OHOS::NavigationInfoService::WORKER_LOG_TAG, "%{public}s: " fmt, __FUNCTION__, ##__VA_ARGS__))

#define WORKER_LOGE(fmt, ...) WORKER_LOG(LOG_ERROR, fmt, ##__VA_ARGS__)

#endif // PLATFORM_UTILS_WORKER_LOG_H
