// napi_host's log lines: the platform log, under its own tag.
#ifndef NAPI_HOST_HOST_LOG_H
#define NAPI_HOST_HOST_LOG_H

#include "hilog/log.h"

namespace NapiHost {
constexpr unsigned int HOST_LOG_DOMAIN = 0xD005410;
constexpr const char* HOST_LOG_TAG = "NapiHost";
} // namespace NapiHost

#define NAPI_HOST_LOGW(fmt, ...) \
    ((void)HiLogPrint(LOG_CORE, LOG_WARN, ::NapiHost::HOST_LOG_DOMAIN, ::NapiHost::HOST_LOG_TAG, fmt, ##__VA_ARGS__))
#define NAPI_HOST_LOGE(fmt, ...) \
    ((void)HiLogPrint(LOG_CORE, LOG_ERROR, ::NapiHost::HOST_LOG_DOMAIN, ::NapiHost::HOST_LOG_TAG, fmt, ##__VA_ARGS__))

#endif // NAPI_HOST_HOST_LOG_H
