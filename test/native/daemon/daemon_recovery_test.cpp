// Registrations the daemon refused come back by themselves once its policy
// allows them again, without the application making a call: each row takes a
// follower through one way of being refused and of being let in again, and
// checks the events the client library raises and the records that reach it.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

#include "daemon_fixture.h"
#include "nav_info_client.h"

namespace OHOS::NavigationInfoService::Testing {
namespace {

using namespace std::chrono_literals;

// The back-off of refused registrations starts here in these tests (1 s by
// default), so that its longest wait is 30 times this.
constexpr int kRetryBaseMs = 50;
constexpr auto kRecoveryBound = std::chrono::milliseconds(kRetryBaseMs * 30) + 1500ms;

// The test policy with DASH's entry replaced: `dash` null removes it (its identity is then refused).
std::shared_ptr<const RuleAccessPolicy> PolicyWithDash(const BundleAccess* dash)
{
    std::map<std::string, BundleAccess> bundles;
    bundles[MAP] = BundleAccess{false, true, {}, ""};
    if (dash != nullptr) {
        bundles[DASH] = *dash;
    }
    return std::make_shared<const RuleAccessPolicy>(true, std::move(bundles));
}

const BundleAccess kDashAllowed{true, true, {}, ""};
const BundleAccess kDashWithoutPermission{true, false, {}, ""};

// The REFUSED and RESUMED events of MAP's status listener, in order.
class RefusalLog {
public:
    RefusalLog()
    {
        id_ = NavInfoClient::AddServiceObserver([this](const ServiceEvent& event) {
            if ((event.kind == ServiceEventKind::REFUSED || event.kind == ServiceEventKind::RESUMED) &&
                event.registration == RegistrationKind::STATUS_LISTENER && event.bundleName == MAP) {
                std::lock_guard<std::mutex> lock(mutex_);
                kinds_.push_back(event.kind);
            }
        });
    }
    ~RefusalLog() { NavInfoClient::RemoveServiceObserver(id_); }
    std::vector<ServiceEventKind> Kinds()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return kinds_;
    }

private:
    uint64_t id_ = 0;
    std::mutex mutex_;
    std::vector<ServiceEventKind> kinds_;
};

class DaemonRecoveryTest : public DaemonTest {
protected:
    void SetUp() override
    {
        setenv("NAVINFO_REFUSAL_RETRY_MS", std::to_string(kRetryBaseMs).c_str(), 1);
        DaemonTest::SetUp();
    }
    void TearDown() override
    {
        DaemonTest::TearDown();
        unsetenv("NAVINFO_REFUSAL_RETRY_MS");
    }
    // Applies policy the way each row says: by reload, or by a restart under it.
    void Apply(bool restart, const std::shared_ptr<const RuleAccessPolicy>& policy)
    {
        config_.policy = policy;
        if (restart) {
            StopDaemon();
            StartDaemon();
        } else {
            daemon_->ReloadPolicy(policy);
        }
    }
};

TEST_F(DaemonRecoveryTest, ARefusedFollowerFollowsAgainWithinTheBoundWithoutACall)
{
    const struct {
        const char* name;
        const BundleAccess* refusing; // DASH's entry while refused (null: none, its identity refused)
        bool restart;                 // the policy changes by restarting the daemon instead of a reload
        bool refusedAtCall;           // refused at the registration call itself, not later
    } rows[] = {
        {"a reload takes the permission, another gives it back", &kDashWithoutPermission, false, false},
        {"a reload refuses the identity, another accepts it", nullptr, false, false},
        {"a restart under a narrowed policy, another under the fixed one", &kDashWithoutPermission, true, false},
        {"refused at the call, a reload then allows it", &kDashWithoutPermission, false, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Apply(row.restart, PolicyWithDash(&kDashAllowed));
        RefusalLog log;
        auto nav = Client(MAP);
        auto sys = Client(DASH);
        sptr<RecordingStatusListener> follower = new RecordingStatusListener();
        NavigationStatus status;
        status.routeIndex = 1;
        ASSERT_EQ(nav->UpdateNavigationStatus(status), NAV_INFO_SUCCESS);

        if (row.refusedAtCall) {
            Apply(row.restart, PolicyWithDash(row.refusing));
            ASSERT_TRUE(WaitUntil(
                [&] { return sys->RegisterNavigationStatusListener(MAP, follower) == NAV_INFO_ERR_NO_PERMISSION; }));
        } else {
            ASSERT_EQ(sys->RegisterNavigationStatusListener(MAP, follower), NAV_INFO_SUCCESS);
            Apply(row.restart, PolicyWithDash(row.refusing));
            ASSERT_TRUE(WaitUntil([&] { return log.Kinds().size() == 1; })) << "the refusal is told";
            EXPECT_EQ(log.Kinds()[0], ServiceEventKind::REFUSED);
        }
        // Published while the follower is refused: it gets it when it is back.
        status.routeIndex = 2;
        ASSERT_TRUE(WaitUntil([&] { return nav->UpdateNavigationStatus(status) == NAV_INFO_SUCCESS; }));
        const size_t seenBefore = follower->Count();

        const auto fixedAt = std::chrono::steady_clock::now();
        Apply(row.restart, PolicyWithDash(&kDashAllowed));
        ASSERT_TRUE(WaitUntil([&] { return !log.Kinds().empty() && log.Kinds().back() == ServiceEventKind::RESUMED; },
            kRecoveryBound))
            << "no call of the follower's process is made meanwhile";
        EXPECT_LE(std::chrono::steady_clock::now() - fixedAt, kRecoveryBound);
        if (!row.restart) { // a restarted daemon holds nothing until the publisher's next call
            ASSERT_TRUE(WaitUntil([&] { return follower->Count() > seenBefore; }));
            EXPECT_EQ(follower->Calls().back().status.routeIndex, 2) << "the record the daemon holds comes first";
        }
        status.routeIndex = 3;
        ASSERT_EQ(nav->UpdateNavigationStatus(status), NAV_INFO_SUCCESS);
        ASSERT_TRUE(WaitUntil([&] { return follower->Last().status.routeIndex == 3; }));
    }
}

TEST_F(DaemonRecoveryTest, AnUnfollowedRefusalIsNoLongerTried)
{
    RefusalLog log;
    auto sys = Client(DASH);
    sptr<RecordingStatusListener> follower = new RecordingStatusListener();
    ASSERT_EQ(sys->RegisterNavigationStatusListener(MAP, follower), NAV_INFO_SUCCESS);
    Apply(false, PolicyWithDash(&kDashWithoutPermission));
    ASSERT_TRUE(WaitUntil([&] { return log.Kinds().size() == 1; }));
    EXPECT_EQ(sys->UnRegisterNavigationStatusListener(MAP), NAV_INFO_ERR_NO_PERMISSION);
    Apply(false, PolicyWithDash(&kDashAllowed));
    std::this_thread::sleep_for(std::chrono::milliseconds(kRetryBaseMs * 4));
    auto nav = Client(MAP);
    NavigationStatus status;
    ASSERT_EQ(nav->UpdateNavigationStatus(status), NAV_INFO_SUCCESS);
    std::this_thread::sleep_for(std::chrono::milliseconds(kRetryBaseMs * 4));
    EXPECT_EQ(log.Kinds().size(), 1u) << "nothing resumed";
    EXPECT_EQ(follower->Count(), 0u);
}

} // namespace
} // namespace OHOS::NavigationInfoService::Testing
