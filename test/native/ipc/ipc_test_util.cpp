#include "ipc_test_util.h"

#include <ftw.h>
#include <poll.h>
#include <sys/socket.h>
#include <grp.h>
#include <signal.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "parcel.h"

namespace OHOS::IpcTest {

TempDir::TempDir()
{
    char name[] = "/tmp/navipc.XXXXXX";
    if (mkdtemp(name) != nullptr) {
        path_ = name;
    }
}

TempDir::~TempDir()
{
    if (!path_.empty()) {
        nftw(
            path_.c_str(), [](const char* p, const struct stat*, int, struct FTW*) { return remove(p); }, 8,
            FTW_DEPTH | FTW_PHYS);
    }
}

int RawConnect(const std::string& path)
{
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof(addr.sun_path) - 1);
    if (fd >= 0 && connect(fd, reinterpret_cast<struct sockaddr*>(&addr), sizeof(addr)) != 0) {
        close(fd);
        fd = -1;
    }
    return fd;
}

bool SendAll(int fd, const std::vector<uint8_t>& bytes)
{
    return send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

bool PeerClosesWithin(int fd, int timeoutMs)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    uint8_t buf[4096];
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        struct pollfd pfd {
            fd, POLLIN, 0
        };
        if (left.count() <= 0 || poll(&pfd, 1, static_cast<int>(left.count())) <= 0) {
            return false;
        }
        ssize_t n = recv(fd, buf, sizeof(buf), 0);
        if (n == 0 || (n < 0 && errno == ECONNRESET)) {
            return true;
        }
        if (n < 0) {
            return false;
        }
    }
}

HelloResult RawHello(int fd, const std::vector<uint8_t>& hello, int timeoutMs)
{
    if (send(fd, hello.data(), hello.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(hello.size())) {
        return HelloResult::NO_ANSWER;
    }
    uint8_t ack[kFrameHeaderSize];
    size_t got = 0;
    while (got < sizeof(ack)) {
        struct pollfd pfd {
            fd, POLLIN, 0
        };
        if (poll(&pfd, 1, timeoutMs) <= 0) {
            return HelloResult::NO_ANSWER;
        }
        ssize_t n = recv(fd, ack + got, sizeof(ack) - got, 0);
        if (n <= 0) {
            return HelloResult::NO_ANSWER;
        }
        got += static_cast<size_t>(n);
    }
    // type at byte 6, status (little-endian int32) at byte 20.
    const bool accepted = ack[6] == static_cast<uint8_t>(IpcWire::FrameType::HELLO_ACK) && ack[20] == 0 &&
        ack[21] == 0 && ack[22] == 0 && ack[23] == 0;
    return accepted ? HelloResult::ACCEPTED : HelloResult::REFUSED;
}

HelloResult HelloAsUid(const std::string& path, uid_t uid, gid_t gid, const std::vector<uint8_t>& hello)
{
    struct sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof(addr.sun_path) - 1);
    pid_t child = fork();
    if (child < 0) {
        return HelloResult::NOT_SWITCHED;
    }
    if (child == 0) {
        // Only system calls from here on: the parent has other threads.
        if (setgroups(0, nullptr) != 0 || setgid(gid) != 0 || setuid(uid) != 0) {
            _exit(static_cast<int>(HelloResult::NOT_SWITCHED));
        }
        int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        if (fd < 0 || connect(fd, reinterpret_cast<struct sockaddr*>(&addr), sizeof(addr)) != 0) {
            _exit(static_cast<int>(HelloResult::NO_CONNECTION));
        }
        _exit(static_cast<int>(RawHello(fd, hello)));
    }
    int status = 0;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            return HelloResult::NO_ANSWER;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return WIFEXITED(status) ? static_cast<HelloResult>(WEXITSTATUS(status)) : HelloResult::NO_ANSWER;
}

std::vector<IpcWire::Frame> ReadFrames(int fd, size_t count)
{
    IpcWire::FrameDecoder decoder;
    std::vector<IpcWire::Frame> frames;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (frames.size() < count && std::chrono::steady_clock::now() < deadline) {
        uint8_t buf[4096];
        ssize_t n = recv(fd, buf, sizeof(buf), MSG_DONTWAIT);
        if (n == 0) {
            break;
        }
        if (n < 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            continue;
        }
        decoder.Feed(buf, static_cast<size_t>(n));
        IpcWire::Frame frame;
        while (decoder.Next(frame) == IpcWire::DecodeStatus::OK) {
            frames.push_back(frame);
        }
    }
    return frames;
}

std::vector<uint8_t> Frame(IpcWire::FrameType type, uint64_t id, uint32_t handle, uint32_t code,
    std::vector<uint8_t> payload, const std::vector<IpcWire::WireObject>& objects)
{
    IpcWire::FrameHeader header;
    header.type = type;
    header.transactionId = id;
    header.handle = handle;
    header.code = code;
    std::vector<uint8_t> out;
    IpcWire::EncodeFrame(header, payload.data(), payload.size(), objects, out);
    return out;
}

std::vector<uint8_t> HelloFrame(const std::string& bundleName, const std::string& token)
{
    Parcel payload;
    payload.WriteString(bundleName);
    payload.WriteString(token);
    return Frame(IpcWire::FrameType::HELLO, 0, 0, 0,
        std::vector<uint8_t>(payload.GetData(), payload.GetData() + payload.GetDataSize()));
}

std::vector<uint8_t> Join(const std::vector<std::vector<uint8_t>>& parts)
{
    std::vector<uint8_t> out;
    for (const auto& part : parts) {
        out.insert(out.end(), part.begin(), part.end());
    }
    return out;
}

} // namespace OHOS::IpcTest
