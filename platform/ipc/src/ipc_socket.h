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

// What ReceiveSome returns when nothing arrived in time.
constexpr long kReceiveTimedOut = -2;

// Reads what is there on fd into buf, waiting for something to arrive up to
// timeoutMs (-1: no limit, 0: not at all). Returns bytes read, 0 at end of
// stream, kReceiveTimedOut, or -1 on error. Retries on EINTR.
//
// It waits in poll, not in a blocking recv: a thread asleep in recv on a
// stream socket is also woken whenever the peer reads what this end sent
// (the room to write is signalled on the same wait queue), and each such
// wake is a context switch for nothing; poll is woken only for input.
long ReceiveSome(int fd, uint8_t* buf, size_t size, int timeoutMs);

// Fills a sockaddr_un for path; false if path is empty or too long.
bool MakeAddress(const std::string& path, void* addr, unsigned int& addrLen);

} // namespace OHOS::IpcSocket

#endif // PLATFORM_IPC_SRC_IPC_SOCKET_H
