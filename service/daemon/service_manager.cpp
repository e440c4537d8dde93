// The service manager through libsystemd (sd-daemon.h).
#include "service_manager.h"

#include <systemd/sd-daemon.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
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

// Sent without waiting: sd_notify's socket blocks while the receiver's queue
// is full, and the main thread, which feeds the watchdog, is also the one
// that takes the stop signals. A notification that does not fit is dropped;
// the next watchdog period sends again.
bool Notify(const std::string& state)
{
    const char* path = std::getenv("NOTIFY_SOCKET");
    if (path == nullptr || (path[0] != '/' && path[0] != '@')) {
        return false;
    }
    struct sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    const size_t length = std::strlen(path);
    if (length >= sizeof(addr.sun_path)) {
        return false;
    }
    std::memcpy(addr.sun_path, path, length);
    if (path[0] == '@') {
        addr.sun_path[0] = '\0'; // an abstract socket address
    }
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        return false;
    }
    const auto addrLength = static_cast<socklen_t>(offsetof(struct sockaddr_un, sun_path) + length);
    const ssize_t sent = sendto(fd, state.data(), state.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
        reinterpret_cast<const struct sockaddr*>(&addr), addrLength);
    close(fd);
    return sent == static_cast<ssize_t>(state.size());
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
