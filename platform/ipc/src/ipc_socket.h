// Small POSIX socket helpers of the transport. Internal to the IPC layer.
// All functions are thread-safe and never raise SIGPIPE.
#ifndef PLATFORM_IPC_SRC_IPC_SOCKET_H
#define PLATFORM_IPC_SRC_IPC_SOCKET_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace OHOS::IpcSocket {

struct Credentials {
    pid_t pid = -1;
    uid_t uid = static_cast<uid_t>(-1);
    gid_t gid = static_cast<gid_t>(-1);
};

// The credentials the kernel recorded for the peer of a connected socket.
bool GetPeerCredentials(int fd, Credentials& out);

// Writes all size bytes, waiting for room at most timeoutMs in total.
// False on error, peer gone or time-out; the stream is then unusable.
bool SendAll(int fd, const uint8_t* data, size_t size, int timeoutMs);

// What Receiver::Receive returns when nothing arrived in time.
constexpr long kReceiveTimedOut = -2;

// Reads one socket, waiting in the read itself (the socket's receive
// time-out) instead of in a poll before it: one system call per read. Sends
// on the socket must pass MSG_DONTWAIT: the first Receive makes the socket
// blocking. One thread at a time.
class Receiver {
public:
    explicit Receiver(int fd) : fd_(fd) {}

    // Reads what is there into buf, waiting for something to arrive up to
    // timeoutMs (-1: no limit, 0: not at all). Returns bytes read, 0 at end of
    // stream, kReceiveTimedOut, or -1 on error. A time-out may come early, by
    // up to a quarter of timeoutMs: callers look at their deadline again.
    // Retries on EINTR.
    long Receive(uint8_t* buf, size_t size, int timeoutMs);

private:
    bool UseTimeout(int timeoutMs);

    const int fd_;
    bool blocking_ = false;
    int timeoutMs_ = -1; // the socket's receive time-out; -1: none
};

// Fills a sockaddr_un for path; false if path is empty or too long.
bool MakeAddress(const std::string& path, void* addr, unsigned int& addrLen);

} // namespace OHOS::IpcSocket

#endif // PLATFORM_IPC_SRC_IPC_SOCKET_H
