#include "service_settings.h"

#include <cerrno>
#include <cstdlib>

#include "service_log.h"

namespace OHOS::NavigationInfoService {

std::chrono::milliseconds RequestTimeoutFromEnvironment() noexcept
{
    const char* text = std::getenv(REQUEST_TIMEOUT_ENV);
    if (text == nullptr || *text == '\0') {
        return DEFAULT_REQUEST_TIMEOUT;
    }
    errno = 0;
    char* end = nullptr;
    long long value = std::strtoll(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || value <= 0) {
        SERVICE_LOGW("%{public}s=\"%{public}s\" is not a positive number of milliseconds; using %{public}lld",
            REQUEST_TIMEOUT_ENV, text, static_cast<long long>(DEFAULT_REQUEST_TIMEOUT.count()));
        return DEFAULT_REQUEST_TIMEOUT;
    }
    return std::chrono::milliseconds(value);
}

} // namespace OHOS::NavigationInfoService
