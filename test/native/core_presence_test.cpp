// What the core says when a bundle's publisher goes, and who may publish for
// a bundle: its first live client, until that client is gone.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "core_test_support.h"
#include "nav_info_errors.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;

constexpr const char* NAV = "com.nav";

NavigationStatus Status(int32_t status, int32_t routeIndex = 3)
{
    NavigationStatus record;
    record.status = status;
    record.naviType = 1;
    record.destLocation = Location{"Office", 1, 13.4, 52.5, 34.0};
    record.passPoint = {Location{"A", 0, 1.0, 2.0, 3.0}};
    record.routeIndex = routeIndex;
    record.customData = "route";
    record.theme = 1;
    record.routePreference = {HIGHWAY_FIRST};
    return record;
}

NavigationMetadata Guidance(const std::string& road)
{
    NavigationMetadata metadata;
    metadata.currentRoadName = road;
    metadata.segmentLeftDis = 260;
    return metadata;
}

class CorePresenceTest : public ::testing::Test {
protected:
    std::shared_ptr<ManualExecutor> executor_ = std::make_shared<ManualExecutor>();
    std::shared_ptr<NavInfoServiceCore> core_ = MakeCore(executor_);
    CallerInfo nav_ = MakeCaller(NAV, 1);
    CallerInfo navAgain_ = MakeCaller(NAV, 4); // a second process claiming the same bundle
    CallerInfo sys_ = MakeCaller("com.sys", 2);
    sptr<RecordingStatusListener> statuses_ = new RecordingStatusListener();
    sptr<RecordingMetadataListener> guidance_ = new RecordingMetadataListener();

    void Follow()
    {
        ASSERT_EQ(core_->RegisterNavigationStatusListener(sys_, NAV, statuses_), 0);
        ASSERT_EQ(core_->RegisterNavigationMetadataListener(sys_, NAV, guidance_), 0);
    }
    size_t MetadataHeld()
    {
        ServiceSnapshot snapshot;
        EXPECT_EQ(core_->InspectService(sys_, snapshot), 0);
        return snapshot.metadata.size();
    }
};

// How much of a gone owner's state the followers and readers see, by what it did before it went.
TEST_F(CorePresenceTest, AGoneOwnerLeavesUnavailableAndNoGuidance)
{
    struct Row {
        const char* what;
        std::function<void(NavInfoServiceCore&, const CallerInfo&)> before;
        bool told;          // the followers get a new UNAVAILABLE when it goes
        int32_t readResult; // GetNavigationStatus afterwards
    };
    sptr<ISystemNavigationListener> server = new HoldingSystemListener();
    const Row rows[] = {
        {"navigating with guidance",
            [](NavInfoServiceCore& core, const CallerInfo& nav) {
                ASSERT_EQ(core.UpdateNavigationStatus(nav, Status(1)), 0);
                ASSERT_EQ(core.UpdateNavigationMetadata(nav, Guidance("A1")), 0);
            },
            true, NAV_INFO_SUCCESS},
        {"guidance only",
            [](NavInfoServiceCore& core, const CallerInfo& nav) {
                ASSERT_EQ(core.UpdateNavigationMetadata(nav, Guidance("A1")), 0);
            },
            true, NAV_INFO_SUCCESS},
        {"said UNAVAILABLE itself",
            [](NavInfoServiceCore& core, const CallerInfo& nav) {
                ASSERT_EQ(core.UpdateNavigationMetadata(nav, Guidance("A1")), 0);
                ASSERT_EQ(core.UpdateNavigationStatus(nav, Status(MAP_STATUS_UNAVAILABLE)), 0);
            },
            false, NAV_INFO_SUCCESS},
        {"only served requests",
            [server](NavInfoServiceCore& core, const CallerInfo& nav) {
                ASSERT_EQ(core.RegisterSystemNavigationListener(nav, server), 0);
            },
            false, NAV_INFO_ERR_NOT_FOUND},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        core_->Reset();
        statuses_ = new RecordingStatusListener();
        guidance_ = new RecordingMetadataListener();
        Follow();
        row.before(*core_, nav_);
        executor_->RunAll();
        const size_t statusesBefore = statuses_->Count();
        const size_t guidanceBefore = guidance_->Count();

        core_->OnClientGone(nav_.clientId);
        executor_->RunAll();

        auto calls = statuses_->Calls();
        ASSERT_EQ(calls.size(), statusesBefore + (row.told ? 1 : 0));
        NavigationStatus read;
        ASSERT_EQ(core_->GetNavigationStatus(sys_, NAV, read), row.readResult);
        if (row.told) {
            const NavigationStatus& said = calls.back().status;
            EXPECT_EQ(said.status, MAP_STATUS_UNAVAILABLE);
            EXPECT_EQ(said.destLocation.name, "") << "nothing of the gone route is repeated";
            EXPECT_TRUE(said.passPoint.empty());
            EXPECT_EQ(said.routeIndex, 0);
            EXPECT_EQ(said.customData, "");
            EXPECT_GT(said.updateTime, 0);
            EXPECT_EQ(read.status, MAP_STATUS_UNAVAILABLE);
            EXPECT_EQ(read.updateTime, said.updateTime);
        }
        EXPECT_EQ(guidance_->Count(), guidanceBefore) << "no metadata is said for it";
        EXPECT_EQ(MetadataHeld(), 0u) << "its guidance is dropped";
        sptr<RecordingMetadataListener> late = new RecordingMetadataListener();
        ASSERT_EQ(core_->RestoreNavigationMetadataListener(MakeCaller("com.late", 9), NAV, late), 0);
        executor_->RunAll();
        EXPECT_EQ(late->Count(), 0u) << "a restored follower does not get the dropped guidance";
    }
}

TEST_F(CorePresenceTest, GuidanceStillOnItsWayToAFollowerIsNotDeliveredOnceItsPublisherWent)
{
    Follow();
    ASSERT_EQ(core_->UpdateNavigationStatus(nav_, Status(1)), 0);
    ASSERT_EQ(core_->UpdateNavigationMetadata(nav_, Guidance("Turn left")), 0);
    core_->OnClientGone(nav_.clientId); // before any drain ran
    executor_->RunAll();
    EXPECT_EQ(guidance_->Count(), 0u);
    auto calls = statuses_->Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls.back().status.status, MAP_STATUS_UNAVAILABLE) << "the follower ends on UNAVAILABLE";
}

// Who may act for a bundle while another client owns it, and after.
TEST_F(CorePresenceTest, ASecondClaimantIsRefusedUntilTheOwnerIsGoneThenTakesOver)
{
    struct Row {
        const char* call;
        std::function<int32_t(NavInfoServiceCore&, const CallerInfo&)> claim;
    };
    const Row rows[] = {
        {"publish a status",
            [](NavInfoServiceCore& core, const CallerInfo& c) { return core.UpdateNavigationStatus(c, Status(1, 7)); }},
        {"publish metadata",
            [](NavInfoServiceCore& core, const CallerInfo& c) {
                return core.UpdateNavigationMetadata(c, Guidance("B2"));
            }},
        {"restore a status",
            [](NavInfoServiceCore& core, const CallerInfo& c) {
                return core.RestoreNavigationStatus(c, Status(1, 7));
            }},
        {"restore metadata",
            [](NavInfoServiceCore& core, const CallerInfo& c) {
                return core.RestoreNavigationMetadata(c, Guidance("B2"));
            }},
        {"register the navigation listener",
            [](NavInfoServiceCore& core, const CallerInfo& c) {
                return core.RegisterSystemNavigationListener(c, new HoldingSystemListener());
            }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.call);
        core_->Reset();
        statuses_ = new RecordingStatusListener();
        guidance_ = new RecordingMetadataListener();
        Follow();
        sptr<HoldingSystemListener> ownerServer = new HoldingSystemListener();
        ASSERT_EQ(core_->UpdateNavigationStatus(nav_, Status(1, 3)), 0);
        ASSERT_EQ(core_->UpdateNavigationMetadata(nav_, Guidance("A1")), 0);
        ASSERT_EQ(core_->RegisterSystemNavigationListener(nav_, ownerServer), 0);

        EXPECT_EQ(row.claim(*core_, navAgain_), NAV_INFO_ERR_NO_PERMISSION);
        EXPECT_EQ(row.claim(*core_, navAgain_), NAV_INFO_ERR_NO_PERMISSION) << "and again while the owner is live";
        EXPECT_EQ(core_->UnRegisterSystemNavigationListener(navAgain_), NAV_INFO_ERR_NO_PERMISSION)
            << "the owner's listener is not the claimant's to remove";
        NavigationStatus read;
        ASSERT_EQ(core_->GetNavigationStatus(sys_, NAV, read), 0);
        EXPECT_EQ(read.routeIndex, 3) << "the refused claim changed nothing";
        ServiceSnapshot snapshot;
        ASSERT_EQ(core_->InspectService(sys_, snapshot), 0);
        ASSERT_EQ(snapshot.owners.size(), 2u);
        EXPECT_EQ(snapshot.owners[0].clientId, nav_.clientId);
        EXPECT_FALSE(snapshot.owners[0].waiting);
        EXPECT_EQ(snapshot.owners[1].clientId, navAgain_.clientId);
        EXPECT_TRUE(snapshot.owners[1].waiting);
        EXPECT_EQ(snapshot.servers.size(), 1u);

        core_->OnClientGone(nav_.clientId);
        EXPECT_EQ(row.claim(*core_, navAgain_), NAV_INFO_SUCCESS) << "the waiting one takes over";
        EXPECT_EQ(core_->UpdateNavigationStatus(nav_, Status(1)), NAV_INFO_ERR_NO_PERMISSION)
            << "the new owner holds it against anyone else";
        ASSERT_EQ(core_->InspectService(sys_, snapshot), 0);
        ASSERT_EQ(snapshot.owners.size(), 2u);
        EXPECT_EQ(snapshot.owners[0].clientId, navAgain_.clientId);
        EXPECT_FALSE(snapshot.owners[0].waiting);
        executor_->RunAll();
        auto calls = statuses_->Calls();
        ASSERT_GE(calls.size(), 2u);
        EXPECT_EQ(calls[1].status.status, MAP_STATUS_UNAVAILABLE) << "the old owner's end comes first";
    }
}

TEST_F(CorePresenceTest, ACallRefusedForItsArgumentsTakesNoBundle)
{
    CoreOptions options;
    options.executor = executor_;
    options.policy = RuleAccessPolicy::AllowAll();
    options.limits.statusFits = [](const NavigationStatus& status, const std::string&) {
        return status.customData.size() < 10;
    };
    auto core = NavInfoServiceCore::Create(options);
    NavigationStatus tooLarge = Status(1);
    tooLarge.customData = std::string(20, 'x');
    ASSERT_EQ(core->RegisterSystemNavigationListener(nav_, nullptr), NAV_INFO_ERR_INVALID_PARAM);
    ASSERT_EQ(core->UpdateNavigationStatus(nav_, tooLarge), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core->UpdateNavigationStatus(navAgain_, Status(1)), NAV_INFO_SUCCESS);
}

TEST_F(CorePresenceTest, APublisherThatComesBackRestoresOverTheUnavailableSaidForIt)
{
    Follow();
    ASSERT_EQ(core_->UpdateNavigationStatus(nav_, Status(1, 3)), 0);
    core_->OnClientGone(nav_.clientId);
    // Its client connects again (a new client id) and sends what it held.
    ASSERT_EQ(core_->RestoreNavigationStatus(navAgain_, Status(1, 3)), 0);
    NavigationStatus read;
    ASSERT_EQ(core_->GetNavigationStatus(sys_, NAV, read), 0);
    EXPECT_EQ(read.status, 1);
    EXPECT_EQ(read.routeIndex, 3);
    // A record held from the live publisher itself stays, as before.
    ASSERT_EQ(core_->RestoreNavigationStatus(navAgain_, Status(1, 9)), 0);
    ASSERT_EQ(core_->GetNavigationStatus(sys_, NAV, read), 0);
    EXPECT_EQ(read.routeIndex, 3);
    executor_->RunAll();
    auto calls = statuses_->Calls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[1].status.status, MAP_STATUS_UNAVAILABLE);
    EXPECT_EQ(calls[2].status.status, 1);
}

} // namespace
} // namespace OHOS::NavigationInfoService
