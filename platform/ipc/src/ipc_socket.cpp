#include "ipc_socket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/time.h>
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

bool Receiver::UseTimeout(int timeoutMs)
{
    if (!blocking_) {
        int flags = fcntl(fd_, F_GETFL);
        if (flags < 0 || ((flags & O_NONBLOCK) != 0 && fcntl(fd_, F_SETFL, flags & ~O_NONBLOCK) != 0)) {
            return false;
        }
        blocking_ = true;
    }
    // A time-out already set serves while it ends at most a quarter early.
    if (timeoutMs < 0 ? timeoutMs_ < 0
                      : timeoutMs_ >= 0 && timeoutMs_ <= timeoutMs && timeoutMs_ >= timeoutMs - timeoutMs / 4) {
        return true;
    }
    struct timeval tv {};
    if (timeoutMs > 0) {
        tv.tv_sec = timeoutMs / 1000;
        tv.tv_usec = static_cast<suseconds_t>(timeoutMs % 1000) * 1000;
    }
    if (setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof(tv)) != 0) {
        return false;
    }
    timeoutMs_ = timeoutMs < 0 ? -1 : timeoutMs;
    return true;
}

long Receiver::Receive(uint8_t* buf, size_t size, int timeoutMs)
{
    const int flags = timeoutMs == 0 ? MSG_DONTWAIT : 0;
    if (timeoutMs != 0 && !UseTimeout(timeoutMs)) {
        return -1;
    }
    for (;;) {
        ssize_t n = recv(fd_, buf, size, flags);
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
