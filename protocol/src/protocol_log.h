// Log macros of the protocol part. Its lines keep the client library's domain
// and tag, where the listener stubs and proxies log in every process.
#ifndef PROTOCOL_PROTOCOL_LOG_H
#define PROTOCOL_PROTOCOL_LOG_H

#include "hilog/log.h"

namespace OHOS::NavigationInfoService {
constexpr unsigned int PROTOCOL_LOG_DOMAIN = 0xD005403;
constexpr const char* PROTOCOL_LOG_TAG = "NavInfoClient";
} // namespace OHOS::NavigationInfoService

#define PROTOCOL_LOG(level, fmt, ...)                                                    \
    ((void)HiLogPrint(LOG_CORE, level, OHOS::NavigationInfoService::PROTOCOL_LOG_DOMAIN, \
        OHOS::NavigationInfoService::PROTOCOL_LOG_TAG, "%{public}s: " fmt, __FUNCTION__, ##__VA_ARGS__))

#define PROTOCOL_LOGI(fmt, ...) PROTOCOL_LOG(LOG_INFO, fmt, ##__VA_ARGS__)
#define PROTOCOL_LOGW(fmt, ...) PROTOCOL_LOG(LOG_WARN, fmt, ##__VA_ARGS__)
#define PROTOCOL_LOGE(fmt, ...) PROTOCOL_LOG(LOG_ERROR, fmt, ##__VA_ARGS__)

#endif // PROTOCOL_PROTOCOL_LOG_H
