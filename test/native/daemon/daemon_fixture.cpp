#include "daemon_fixture.h"

#include <cerrno>
#include <chrono>
#include <map>

#include "ipc_errors.h"

namespace OHOS::NavigationInfoService::Testing {

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
    socketPath_ = dir_.File("navinfo.sock");
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

} // namespace OHOS::NavigationInfoService::Testing
