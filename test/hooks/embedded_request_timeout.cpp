// The embedded service's time-out of queries and commands. Apart from the
// other hooks over the embedded service because it needs nothing of the
// service core but what libnav_info_client exports, so that the test addon
// can have it too.
#include <chrono>

#include "embedded_service.h"
#include "hooks_internal.h"
#include "nav_info_test_hooks.h"

namespace OHOS::NavigationInfoService::TestHooks {

void SetRequestTimeoutMs(int64_t milliseconds) noexcept
{
    Guarded(__func__, 0, [&] {
        EmbeddedService::Instance().Core().SetRequestTimeout(
            std::chrono::milliseconds(milliseconds < 0 ? 0 : milliseconds));
        return 0;
    });
}

} // namespace OHOS::NavigationInfoService::TestHooks
