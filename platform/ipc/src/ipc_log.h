// Log macros of the IPC layer (domain 0xD001510, tag "IPC").
#ifndef PLATFORM_IPC_SRC_IPC_LOG_H
#define PLATFORM_IPC_SRC_IPC_LOG_H

#include "hilog/log.h"

#define IPC_LOG_DOMAIN 0xD001510u
#define IPC_LOG_TAG "IPC"
#define IPC_LOGD(fmt, ...) HiLogPrint(LOG_CORE, LOG_DEBUG, IPC_LOG_DOMAIN, IPC_LOG_TAG, fmt, ##__VA_ARGS__)
#define IPC_LOGI(fmt, ...) HiLogPrint(LOG_CORE, LOG_INFO, IPC_LOG_DOMAIN, IPC_LOG_TAG, fmt, ##__VA_ARGS__)
#define IPC_LOGW(fmt, ...) HiLogPrint(LOG_CORE, LOG_WARN, IPC_LOG_DOMAIN, IPC_LOG_TAG, fmt, ##__VA_ARGS__)
#define IPC_LOGE(fmt, ...) HiLogPrint(LOG_CORE, LOG_ERROR, IPC_LOG_DOMAIN, IPC_LOG_TAG, fmt, ##__VA_ARGS__)

#endif // PLATFORM_IPC_SRC_IPC_LOG_H
