#include "nav_info_errors.h"

namespace OHOS::NavigationInfoService {

const char* NavInfoResultText(int32_t result)
{
    switch (result) {
        case NAV_INFO_SUCCESS: return "Success";
        case NAV_INFO_ERR_INVALID_PARAM: return "Invalid argument";
        case NAV_INFO_ERR_SERVICE_UNAVAILABLE: return "Service unavailable";
        case NAV_INFO_ERR_NOT_FOUND: return "Not found";
        case NAV_INFO_ERR_TIMEOUT: return "Timed out";
        case NAV_INFO_ERR_NO_PERMISSION: return "No Permission";
        case NAV_INFO_ERR_TOO_MANY_REQUESTS: return "Too many requests";
        case NAV_INFO_ERR_NOT_SYSTEM_APP: return "Not System App";
        default: return "Unknown error";
    }
}

} // namespace OHOS::NavigationInfoService
