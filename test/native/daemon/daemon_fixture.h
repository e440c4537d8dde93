// The daemon in-process on a socket in a fresh temporary directory, with a
// policy of known bundles, and clients that are remote transports (each its
// own connection, as a separate application process would have).
#ifndef TEST_NATIVE_DAEMON_DAEMON_FIXTURE_H
#define TEST_NATIVE_DAEMON_DAEMON_FIXTURE_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "core_test_support.h"
#include "daemon_service.h"
#include "remote_transport.h"
#include "ipc_test_util.h"

namespace OHOS::NavigationInfoService::Testing {

constexpr const char* MAP = "com.example.map";        // navigation application: permission only
constexpr const char* DASH = "com.example.dash";      // system application with the permission
constexpr const char* GUEST = "com.example.guest";    // listed, may do nothing
constexpr const char* NO_PERM = "com.example.noperm"; // system application without the permission
constexpr const char* SECURE = "com.example.secure";  // system application behind a token
constexpr const char* SECURE_TOKEN = "s3cret";
constexpr const char* OTHER_UID = "com.example.otheruid"; // only for a uid that is not ours
constexpr const char* UNLISTED = "com.example.unlisted";  // not in the policy (denied by default)

std::shared_ptr<const RuleAccessPolicy> TestPolicy();

class DaemonTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // (Re)starts the daemon on the same socket.
    void StartDaemon();
    void StopDaemon();
    std::unique_ptr<RemoteTransport> Client(const std::string& bundle, const std::string& token = "");

    IpcTest::TempDir dir_;
    std::string socketPath_;
    DaemonConfig config_;
    std::unique_ptr<DaemonService> daemon_;
};

} // namespace OHOS::NavigationInfoService::Testing

#endif // TEST_NATIVE_DAEMON_DAEMON_FIXTURE_H
