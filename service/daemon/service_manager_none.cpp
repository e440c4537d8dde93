// The service manager in a build without libsystemd: the daemon runs as a
// plain program, and says so when it is handed sockets it cannot take.
#include <cstdlib>

#include "service_manager.h"

namespace OHOS::NavigationInfoService::ServiceManager {

ActivationSocket TakeActivationSocket()
{
    ActivationSocket result;
    const char* fds = std::getenv("LISTEN_FDS");
    if (fds != nullptr && *fds != '\0') {
        result.activated = true;
        result.error = "built without libsystemd: socket activation is not supported";
    }
    return result;
}

bool Notify(const std::string&)
{
    return false;
}

bool Supervised()
{
    return false;
}

std::chrono::microseconds WatchdogInterval()
{
    return std::chrono::microseconds(0);
}

} // namespace OHOS::NavigationInfoService::ServiceManager
