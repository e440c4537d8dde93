// The service manager through libsystemd (sd-daemon.h).
#include "service_manager.h"

#include <systemd/sd-daemon.h>
#include <sys/socket.h>

#include <cstdlib>
#include <cstring>

#include "errno_text.h"

namespace OHOS::NavigationInfoService::ServiceManager {

ActivationSocket TakeActivationSocket()
{
    ActivationSocket result;
    const int count = sd_listen_fds(1);
    if (count == 0) {
        return result;
    }
    result.activated = true;
    if (count < 0) {
        result.error = std::string("cannot take the sockets handed over: ") + ErrnoText(-count);
        return result;
    }
    if (count != 1) {
        result.error = "expected one socket from the service manager, got " + std::to_string(count);
        return result;
    }
    const int fd = SD_LISTEN_FDS_START;
    const int check = sd_is_socket_unix(fd, SOCK_STREAM, 1, nullptr, 0);
    if (check <= 0) {
        result.error = check < 0 ? std::string("the socket handed over is unusable: ") + ErrnoText(-check)
                                 : "the socket handed over is no listening Unix stream socket (ListenStream=PATH)";
        return result;
    }
    result.fd = fd;
    return result;
}

bool Notify(const std::string& state)
{
    return sd_notify(0, state.c_str()) > 0;
}

bool Supervised()
{
    const char* socket = std::getenv("NOTIFY_SOCKET");
    return socket != nullptr && *socket != '\0';
}

std::chrono::microseconds WatchdogInterval()
{
    uint64_t usec = 0;
    return sd_watchdog_enabled(0, &usec) > 0 ? std::chrono::microseconds(usec) : std::chrono::microseconds(0);
}

} // namespace OHOS::NavigationInfoService::ServiceManager
