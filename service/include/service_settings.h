// Settings of the service core and where they come from.
#ifndef SERVICE_SERVICE_SETTINGS_H
#define SERVICE_SERVICE_SETTINGS_H

#include <chrono>
#include <cstddef>

#include "nav_info_service_ipc.h" // MAX_BUNDLE_NAME_LENGTH

namespace OHOS::NavigationInfoService {

constexpr std::chrono::milliseconds DEFAULT_REQUEST_TIMEOUT{10000};
// Outstanding queries and commands one client may have at a time.
constexpr size_t DEFAULT_MAX_OUTSTANDING_REQUESTS = 1024;
// Status and metadata listeners one client may have registered at a time,
// both kinds together (beyond: NAV_INFO_ERR_TOO_MANY_REQUESTS).
constexpr size_t DEFAULT_MAX_FOLLOWS_PER_CLIENT = 256;
// The environment variable overriding the request time-out, in milliseconds.
constexpr const char* REQUEST_TIMEOUT_ENV = "NAVINFO_REQUEST_TIMEOUT_MS";

// Any thread. NAVINFO_REQUEST_TIMEOUT_MS when it is a positive whole number,
// else (logged when set but unusable) DEFAULT_REQUEST_TIMEOUT.
std::chrono::milliseconds RequestTimeoutFromEnvironment() noexcept;

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_SERVICE_SETTINGS_H
