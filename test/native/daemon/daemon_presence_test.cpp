// One owner per bundle between the daemon's connections, and what the
// followers see when the owner's connection ends. How an application process
// goes (exit, SIGKILL, closed by the daemon) is in test/js/presence.test.js.
#include <gtest/gtest.h>

#include "daemon_fixture.h"
#include "nav_info_errors.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;

NavigationStatus Navigating(int32_t routeIndex)
{
    NavigationStatus status;
    status.status = 1;
    status.routeIndex = routeIndex;
    status.destLocation.name = "Office";
    return status;
}

TEST_F(DaemonTest, ASecondConnectionOfABundleGets1005UntilTheOwnersConnectionEndsThenTakesOver)
{
    auto owner = Client(MAP);
    auto second = Client(MAP);
    auto dash = Client(DASH);
    sptr<RecordingStatusListener> follower = new RecordingStatusListener();
    ASSERT_EQ(dash->RegisterNavigationStatusListener(MAP, follower), NAV_INFO_SUCCESS);
    ASSERT_EQ(owner->UpdateNavigationStatus(Navigating(3)), NAV_INFO_SUCCESS);

    EXPECT_EQ(second->UpdateNavigationStatus(Navigating(9)), NAV_INFO_ERR_NO_PERMISSION);
    EXPECT_EQ(second->RegisterSystemNavigationListener(new HoldingSystemListener()), NAV_INFO_ERR_NO_PERMISSION);
    ServiceSnapshot snapshot;
    ASSERT_EQ(dash->InspectService(snapshot), NAV_INFO_SUCCESS);
    ASSERT_EQ(snapshot.owners.size(), 2u) << "the owner and one waiter";
    EXPECT_FALSE(snapshot.owners[0].waiting);
    EXPECT_TRUE(snapshot.owners[1].waiting);
    EXPECT_NE(snapshot.owners[0].clientId, snapshot.owners[1].clientId);

    owner.reset(); // its connection ends without a word
    ASSERT_TRUE(WaitUntil([&] {
        auto calls = follower->Calls();
        return !calls.empty() && calls.back().status.status == MAP_STATUS_UNAVAILABLE;
    }));
    NavigationStatus read;
    ASSERT_EQ(dash->GetNavigationStatus(MAP, read), NAV_INFO_SUCCESS);
    EXPECT_EQ(read.status, MAP_STATUS_UNAVAILABLE);
    EXPECT_EQ(read.destLocation.name, "");

    EXPECT_EQ(second->UpdateNavigationStatus(Navigating(9)), NAV_INFO_SUCCESS) << "the waiting one takes over";
    ASSERT_TRUE(WaitUntil([&] { return follower->Calls().back().status.routeIndex == 9; }));
    ASSERT_EQ(dash->InspectService(snapshot), NAV_INFO_SUCCESS);
    ASSERT_EQ(snapshot.owners.size(), 1u);
    EXPECT_FALSE(snapshot.owners[0].waiting);
}

// The daemon's retention (the policy's goneRetentionSeconds) reaches its core:
// once it passes, the gone bundle reads as never published.
TEST_F(DaemonTest, AGoneBundleReadsAsNeverPublishedOnceTheDaemonsRetentionPassed)
{
    StopDaemon();
    config_.goneRetention = std::chrono::milliseconds(1);
    StartDaemon();
    auto owner = Client(MAP);
    auto dash = Client(DASH);
    ASSERT_EQ(owner->UpdateNavigationStatus(Navigating(3)), NAV_INFO_SUCCESS);
    NavigationStatus read;
    ASSERT_EQ(dash->GetNavigationStatus(MAP, read), NAV_INFO_SUCCESS) << "kept while its publisher is live";
    owner.reset();
    EXPECT_TRUE(WaitUntil([&] { return dash->GetNavigationStatus(MAP, read) == NAV_INFO_ERR_NOT_FOUND; }));
}

} // namespace
} // namespace OHOS::NavigationInfoService
