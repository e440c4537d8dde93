// Who the daemon lets in and for how long: one uid cannot take every
// connection, and a connection that holds nothing is closed when silent
// without its application noticing, while one that owns a bundle never is.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <thread>

#include "daemon_fixture.h"
#include "ipc_limits.h"
#include "nav_info_errors.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;
using IpcTest::HelloResult;

TEST_F(DaemonTest, SixtyFourIdleConnectionsOfOneUidLeaveRoomForAnotherUid)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to connect as another uid";
    }
    StopDaemon();
    config_.socketMode = 0666;
    ASSERT_EQ(chmod(dir_.Path().c_str(), 0755), 0);
    StartDaemon();
    const std::vector<uint8_t> hello = IpcTest::HelloFrame(DASH);
    std::vector<int> idle;
    for (size_t i = 0; i < kMaxServerConnectionsPerUid; ++i) {
        idle.push_back(IpcTest::RawConnect(socketPath_));
        ASSERT_EQ(IpcTest::RawHello(idle.back(), hello), HelloResult::ACCEPTED) << i;
    }
    int oneMore = IpcTest::RawConnect(socketPath_);
    EXPECT_EQ(IpcTest::RawHello(oneMore, hello), HelloResult::NO_ANSWER) << "beyond the share of this uid";
    close(oneMore);
    EXPECT_EQ(IpcTest::HelloAsUid(socketPath_, 65534, 65534, hello), HelloResult::ACCEPTED);
    for (int fd : idle) {
        close(fd);
    }
}

// A quiet owner is not idle: closing it would tell its followers UNAVAILABLE.
TEST_F(DaemonTest, TheIdleRuleClosesAConnectionThatHoldsNothingButNeverABundlesOwner)
{
    struct Row {
        const char* who;
        const char* bundle;
        std::function<int32_t(RemoteTransport&)> call;
        bool kept;
    };
    const Row rows[] = {
        {"a navigation app that only publishes, quiet at a red light", MAP,
            [](RemoteTransport& t) {
                NavigationStatus status;
                status.status = 1;
                return t.UpdateNavigationStatus(status);
            },
            true},
        {"a navigation app that published guidance only", MAP,
            [](RemoteTransport& t) { return t.UpdateNavigationMetadata(NavigationMetadata{}); }, true},
        {"a system app that read once", DASH,
            [](RemoteTransport& t) {
                NavigationStatus status;
                return t.GetNavigationStatus(MAP, status) == NAV_INFO_ERR_NOT_FOUND ? NAV_INFO_SUCCESS : -1;
            },
            false},
    };
    constexpr auto idle = std::chrono::milliseconds(200);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.who);
        StopDaemon();
        config_.idleTimeout = idle;
        StartDaemon();
        auto follower = Client(DASH);
        sptr<RecordingStatusListener> listener = new RecordingStatusListener();
        ASSERT_EQ(follower->RegisterNavigationStatusListener(MAP, listener), NAV_INFO_SUCCESS);
        auto quiet = Client(row.bundle);
        ASSERT_EQ(row.call(*quiet), NAV_INFO_SUCCESS);
        if (row.kept) {
            std::this_thread::sleep_for(idle * 5); // several rounds of the idle rule
            EXPECT_NE(quiet->ConnectionGeneration(), 0u) << "still connected";
            EXPECT_EQ(daemon_->ConnectionCount(), 2u);
            for (const auto& call : listener->Calls()) {
                EXPECT_NE(call.status.status, MAP_STATUS_UNAVAILABLE) << "its follower was never told it went";
            }
        } else {
            EXPECT_TRUE(WaitUntil([&] { return quiet->ConnectionGeneration() == 0; })) << "closed when silent";
            EXPECT_TRUE(WaitUntil([&] { return daemon_->ConnectionCount() == 1; })) << "the follower stays";
        }
    }
}

} // namespace
} // namespace OHOS::NavigationInfoService
