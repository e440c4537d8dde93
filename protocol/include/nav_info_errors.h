// Results of the navigation information service's operations.
#ifndef PROTOCOL_NAV_INFO_ERRORS_H
#define PROTOCOL_NAV_INFO_ERRORS_H

#include <cstdint>

namespace OHOS::NavigationInfoService {

constexpr int32_t NAV_INFO_SUCCESS = 0;
constexpr int32_t NAV_INFO_ERR_INVALID_PARAM = 1001; // empty bundle name, unknown kind
constexpr int32_t NAV_INFO_ERR_SERVICE_UNAVAILABLE = 1002;
constexpr int32_t NAV_INFO_ERR_NOT_FOUND = 1003; // no navigation application of that name
constexpr int32_t NAV_INFO_ERR_TIMEOUT = 1004;
constexpr int32_t NAV_INFO_ERR_NO_PERMISSION = 1005;
constexpr int32_t NAV_INFO_ERR_TOO_MANY_REQUESTS = 1006; // outstanding-request limit of a caller
constexpr int32_t NAV_INFO_ERR_NOT_SYSTEM_APP = 1015;

// A short English text for a result, for answers the service makes itself.
const char* NavInfoResultText(int32_t result);

} // namespace OHOS::NavigationInfoService

#endif // PROTOCOL_NAV_INFO_ERRORS_H
