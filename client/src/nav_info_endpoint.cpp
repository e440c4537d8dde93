#include "nav_info_endpoint.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace OHOS::NavigationInfoService {

// Kept equal to the daemon's DefaultSocketPath (service/daemon/daemon_options.cpp)
// and the tools' defaultDaemonSocket (apps/common/command_line.js).
std::string DefaultDaemonSocketPath()
{
    const char* runtimeDir = std::getenv("XDG_RUNTIME_DIR");
    if (runtimeDir != nullptr && *runtimeDir != '\0') {
        return std::string(runtimeDir) + "/navinfo-service.sock";
    }
    return "/tmp/navinfo-service-" + std::to_string(getuid()) + ".sock";
}

bool SomeoneListensAt(const std::string& socketPath) noexcept
{
    sockaddr_un address{};
    if (socketPath.empty() || socketPath.size() >= sizeof(address.sun_path)) {
        return false;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
    // Non-blocking: a listener whose backlog is full answers EAGAIN at once
    // instead of holding this thread; it listens all the same.
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        return false;
    }
    int status = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    bool listens = status == 0 || errno == EAGAIN || errno == EINPROGRESS;
    close(fd);
    return listens;
}

} // namespace OHOS::NavigationInfoService
