#include "ipc_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "ipc_limits.h"

namespace OHOS::IpcSocket {

bool GetPeerCredentials(int fd, Credentials& out)
{
    struct ucred cred {};
    socklen_t len = sizeof(cred);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0 || len != sizeof(cred)) {
        return false;
    }
    out.pid = cred.pid;
    out.uid = cred.uid;
    out.gid = cred.gid;
    return true;
}

bool SendAll(int fd, const uint8_t* data, size_t size, int timeoutMs)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    size_t sent = 0;
    while (sent < size) {
        ssize_t n = send(fd, data + sent, size - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            sent += static_cast<size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
            return false;
        }
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            return false;
        }
        struct pollfd pfd {
            fd, POLLOUT, 0
        };
        int ready = poll(&pfd, 1, static_cast<int>(left));
        if (ready < 0 && errno != EINTR) {
            return false;
        }
        if (ready > 0 && (pfd.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
            return false;
        }
    }
    return true;
}

long ReceiveSome(int fd, uint8_t* buf, size_t size, int timeoutMs)
{
    if (timeoutMs != 0) {
        struct pollfd pfd {
            fd, POLLIN, 0
        };
        int ready = 0;
        do {
            ready = poll(&pfd, 1, timeoutMs);
        } while (ready < 0 && errno == EINTR);
        if (ready < 0) {
            return -1;
        }
        if (ready == 0) {
            return kReceiveTimedOut;
        }
    }
    for (;;) {
        ssize_t n = recv(fd, buf, size, MSG_DONTWAIT);
        if (n >= 0) {
            return static_cast<long>(n);
        }
        if (errno == EINTR) {
            continue;
        }
        return errno == EAGAIN || errno == EWOULDBLOCK ? kReceiveTimedOut : -1;
    }
}

bool MakeAddress(const std::string& path, void* addr, unsigned int& addrLen)
{
    auto* un = static_cast<struct sockaddr_un*>(addr);
    if (path.empty() || path.size() > kMaxSocketPathLength || path.size() >= sizeof(un->sun_path) ||
        path.find('\0') != std::string::npos) {
        return false;
    }
    std::memset(un, 0, sizeof(*un));
    un->sun_family = AF_UNIX;
    std::memcpy(un->sun_path, path.c_str(), path.size() + 1);
    addrLen = static_cast<unsigned int>(offsetof(struct sockaddr_un, sun_path) + path.size() + 1);
    return true;
}

} // namespace OHOS::IpcSocket
