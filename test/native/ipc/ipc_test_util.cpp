#include "ipc_test_util.h"

#include <ftw.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "ipc_wire.h"
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
    if (path_.empty()) {
        return;
    }
    nftw(path_.c_str(), [](const char* p, const struct stat*, int, struct FTW*) { return remove(p); }, 8,
        FTW_DEPTH | FTW_PHYS);
}

int RawConnect(const std::string& path)
{
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof(addr.sun_path) - 1);
    if (fd < 0 || connect(fd, reinterpret_cast<struct sockaddr*>(&addr), sizeof(addr)) != 0) {
        if (fd >= 0) {
            close(fd);
        }
        return -1;
    }
    return fd;
}

bool PeerClosesWithin(int fd, int timeoutMs)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    uint8_t buf[4096];
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return false;
        }
        struct pollfd pfd {fd, POLLIN, 0};
        if (poll(&pfd, 1, static_cast<int>(left.count())) <= 0) {
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

std::vector<uint8_t> HelloFrame(const std::string& bundleName, const std::string& token)
{
    Parcel payload;
    payload.WriteString(bundleName);
    payload.WriteString(token);
    IpcWire::FrameHeader header;
    header.type = IpcWire::FrameType::HELLO;
    std::vector<uint8_t> out;
    IpcWire::EncodeFrame(header, payload.GetData(), payload.GetDataSize(), {}, out);
    return out;
}

} // namespace OHOS::IpcTest
