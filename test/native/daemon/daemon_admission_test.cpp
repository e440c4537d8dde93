// Who the daemon lets in and for how long: one uid cannot take every
// connection, and a connection that holds nothing is closed when silent
// without its application noticing.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

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

TEST_F(DaemonTest, ASilentPublisherIsClosedAndPublishesAgainWhileAFollowerStays)
{
    StopDaemon();
    config_.idleTimeout = std::chrono::milliseconds(200);
    StartDaemon();
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<RecordingStatusListener> listener = new RecordingStatusListener();
    ASSERT_EQ(sys->RegisterNavigationStatusListener(MAP, listener), NAV_INFO_SUCCESS);
    NavigationStatus status;
    status.routeIndex = 1;
    ASSERT_EQ(nav->UpdateNavigationStatus(status), NAV_INFO_SUCCESS);
    const uint64_t first = nav->ConnectionGeneration();
    ASSERT_TRUE(WaitUntil([&] { return nav->ConnectionGeneration() == 0; })) << "the publisher holds nothing";
    // The daemon lists the connection until its clean-up is done.
    EXPECT_TRUE(WaitUntil([&] { return daemon_->ConnectionCount() == 1; })) << "the follower holds its listener";

    status.routeIndex = 2;
    EXPECT_EQ(nav->UpdateNavigationStatus(status), NAV_INFO_SUCCESS) << "the next call connects again";
    EXPECT_GT(nav->ConnectionGeneration(), first);
    ASSERT_TRUE(WaitUntil([&] { return listener->Count() == 2; }));
    EXPECT_EQ(listener->Calls()[1].status.routeIndex, 2);
}

} // namespace
} // namespace OHOS::NavigationInfoService
