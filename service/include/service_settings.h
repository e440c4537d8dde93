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
// How long the records of a bundle whose publisher is gone (the UNAVAILABLE
// status said for it) are kept for readers, and how many such bundles at
// most (beyond: the oldest are forgotten first). The policy file's
// "goneRetentionSeconds" sets the time, from 1 s to MAX_GONE_RETENTION.
constexpr std::chrono::milliseconds DEFAULT_GONE_RETENTION{10 * 60 * 1000};
constexpr std::chrono::milliseconds MAX_GONE_RETENTION{24 * 60 * 60 * 1000};
constexpr size_t DEFAULT_MAX_GONE_BUNDLES = 1024;
// Bytes of records (as marshalled) one service snapshot copies at most; the
// records beyond are left out and the snapshot says `truncated`. Under the
// 1 MiB reply, so that a snapshot that copied them can still be sent.
constexpr size_t DEFAULT_MAX_SNAPSHOT_RECORD_BYTES = 768 * 1024;
// The environment variable overriding the request time-out, in milliseconds.
constexpr const char* REQUEST_TIMEOUT_ENV = "NAVINFO_REQUEST_TIMEOUT_MS";

// Any thread. NAVINFO_REQUEST_TIMEOUT_MS when it is a positive whole number,
// else (logged when set but unusable) DEFAULT_REQUEST_TIMEOUT.
std::chrono::milliseconds RequestTimeoutFromEnvironment() noexcept;

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_SERVICE_SETTINGS_H
