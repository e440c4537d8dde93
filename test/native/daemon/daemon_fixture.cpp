#include "daemon_fixture.h"

#include <ftw.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>

#include "ipc_errors.h"

namespace OHOS::NavigationInfoService::Testing {

TempDir::TempDir()
{
    char name[] = "/tmp/navdaemon.XXXXXX";
    if (mkdtemp(name) != nullptr) {
        path_ = name;
    }
}

TempDir::~TempDir()
{
    if (!path_.empty()) {
        nftw(path_.c_str(), [](const char* p, const struct stat*, int, struct FTW*) { return remove(p); }, 8,
            FTW_DEPTH | FTW_PHYS);
    }
}

std::shared_ptr<const RuleAccessPolicy> TestPolicy()
{
    std::map<std::string, BundleAccess> bundles;
    bundles[MAP] = BundleAccess{false, true, {}, ""};
    bundles[DASH] = BundleAccess{true, true, {}, ""};
    bundles[GUEST] = BundleAccess{false, false, {}, ""};
    bundles[NO_PERM] = BundleAccess{true, false, {}, ""};
    bundles[SECURE] = BundleAccess{true, true, {}, SECURE_TOKEN};
    bundles[OTHER_UID] = BundleAccess{true, true, {static_cast<int32_t>(getuid()) + 1}, ""};
    return std::make_shared<const RuleAccessPolicy>(true, std::move(bundles));
}

void DaemonTest::SetUp()
{
    ASSERT_FALSE(dir_.Path().empty());
    socketPath_ = dir_.Path() + "/navinfo.sock";
    config_.socketPath = socketPath_;
    config_.policy = TestPolicy();
    config_.requestTimeout = std::chrono::milliseconds(10000);
    StartDaemon();
}

void DaemonTest::TearDown()
{
    StopDaemon();
}

void DaemonTest::StartDaemon()
{
    daemon_ = std::make_unique<DaemonService>(config_);
    ASSERT_EQ(daemon_->Start(), IPC_OK);
}

void DaemonTest::StopDaemon()
{
    if (daemon_ != nullptr) {
        daemon_->Stop();
        daemon_.reset();
    }
}

std::unique_ptr<RemoteTransport> DaemonTest::Client(const std::string& bundle, const std::string& token)
{
    ServiceEndpoint endpoint;
    endpoint.socketPath = socketPath_;
    endpoint.bundleName = bundle;
    endpoint.token = token;
    return std::make_unique<RemoteTransport>(std::move(endpoint));
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
    char buffer[4096];
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        struct pollfd pfd {fd, POLLIN, 0};
        if (left.count() <= 0 || poll(&pfd, 1, static_cast<int>(left.count())) <= 0) {
            return false;
        }
        ssize_t n = recv(fd, buffer, sizeof(buffer), 0);
        if (n == 0 || (n < 0 && errno == ECONNRESET)) {
            return true;
        }
        if (n < 0) {
            return false;
        }
    }
}

} // namespace OHOS::NavigationInfoService::Testing
