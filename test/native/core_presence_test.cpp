// What the core says when a bundle's publisher goes, and who may publish for
// a bundle: its first live client, until that client is gone.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>
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

// A core whose retention clock the test moves, with a short cap of gone bundles.
struct ReleaseFixture {
    static constexpr std::chrono::milliseconds RETENTION{1000};
    static constexpr size_t CAP = 3;
    std::shared_ptr<ManualExecutor> executor = std::make_shared<ManualExecutor>();
    std::chrono::steady_clock::time_point now{};
    std::shared_ptr<NavInfoServiceCore> core;
    CallerInfo sys = MakeCaller("com.sys", 2);
    uint64_t nextClient = 100;

    ReleaseFixture()
    {
        CoreOptions options;
        options.executor = executor;
        options.policy = RuleAccessPolicy::AllowAll();
        options.goneRetention = RETENTION;
        options.maxGoneBundles = CAP;
        options.clock = [this] { return now; };
        core = NavInfoServiceCore::Create(options);
    }
    // A publisher of bundle that publishes a status and guidance, then goes.
    void PublishAndGo(const std::string& bundle, int32_t status = 1)
    {
        CallerInfo nav = MakeCaller(bundle, nextClient++);
        ASSERT_EQ(core->UpdateNavigationStatus(nav, Status(status)), 0);
        ASSERT_EQ(core->UpdateNavigationMetadata(nav, Guidance("A1")), 0);
        core->OnClientGone(nav.clientId);
    }
    void Advance(std::chrono::milliseconds by) { now += by; }
    int32_t Read(const std::string& bundle)
    {
        NavigationStatus read;
        return core->GetNavigationStatus(sys, bundle, read);
    }
};

// What a reader gets for a gone bundle, by how long and how many others have gone since.
TEST(CoreReleaseTest, AGoneBundleIsKeptForTheRetentionAndTheCapThenReadsAsNeverSeen)
{
    using std::chrono::milliseconds;
    struct Row {
        const char* what;
        std::function<void(ReleaseFixture&)> act;
        std::vector<std::pair<std::string, int32_t>> reads; // bundle -> GetNavigationStatus result
    };
    const Row rows[] = {
        {"within the retention",
            [](ReleaseFixture& f) {
                f.PublishAndGo("a");
                f.Advance(ReleaseFixture::RETENTION - milliseconds(1));
            },
            {{"a", NAV_INFO_SUCCESS}}},
        {"once the retention passed",
            [](ReleaseFixture& f) {
                f.PublishAndGo("a");
                f.Advance(ReleaseFixture::RETENTION);
            },
            {{"a", NAV_INFO_ERR_NOT_FOUND}}},
        {"a live bundle past the retention",
            [](ReleaseFixture& f) {
                ASSERT_EQ(f.core->UpdateNavigationStatus(MakeCaller("live", 9), Status(1)), 0);
                f.PublishAndGo("a");
                f.Advance(ReleaseFixture::RETENTION * 5);
            },
            {{"live", NAV_INFO_SUCCESS}, {"a", NAV_INFO_ERR_NOT_FOUND}}},
        {"gone, then published for again",
            [](ReleaseFixture& f) {
                f.PublishAndGo("a");
                ASSERT_EQ(f.core->UpdateNavigationStatus(MakeCaller("a", 9), Status(1)), 0);
                f.Advance(ReleaseFixture::RETENTION * 5);
            },
            {{"a", NAV_INFO_SUCCESS}}},
        {"said UNAVAILABLE itself, then went",
            [](ReleaseFixture& f) {
                f.PublishAndGo("a", MAP_STATUS_UNAVAILABLE);
                f.Advance(ReleaseFixture::RETENTION);
            },
            {{"a", NAV_INFO_ERR_NOT_FOUND}}},
        {"one more than the cap: the oldest goes first",
            [](ReleaseFixture& f) {
                for (const char* bundle : {"a", "b", "c", "d"}) {
                    f.PublishAndGo(bundle);
                    f.Advance(milliseconds(1));
                }
            },
            {{"a", NAV_INFO_ERR_NOT_FOUND}, {"b", NAV_INFO_SUCCESS}, {"c", NAV_INFO_SUCCESS}, {"d", NAV_INFO_SUCCESS}}},
        {"a shorter retention set later applies to the gone ones",
            [](ReleaseFixture& f) {
                f.PublishAndGo("a");
                f.Advance(milliseconds(10));
                f.core->SetGoneRetention(milliseconds(10));
            },
            {{"a", NAV_INFO_ERR_NOT_FOUND}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        ReleaseFixture f;
        row.act(f);
        for (const auto& [bundle, result] : row.reads) {
            EXPECT_EQ(f.Read(bundle), result) << bundle;
        }
        ServiceSnapshot snapshot;
        ASSERT_EQ(f.core->InspectService(f.sys, snapshot), 0);
        size_t readable = 0;
        for (const auto& entry : row.reads) {
            readable += entry.second == NAV_INFO_SUCCESS ? 1 : 0;
        }
        EXPECT_EQ(snapshot.statuses.size(), readable) << "a released bundle leaves nothing to dump";
    }
}

TEST(CoreReleaseTest, AGoneBundleKeepsABareUnavailableAndARestoreAfterReleaseIsTaken)
{
    ReleaseFixture f;
    NavigationStatus own = Status(MAP_STATUS_UNAVAILABLE);
    own.customData = std::string(4096, 'x');
    CallerInfo nav = MakeCaller("a", 50);
    ASSERT_EQ(f.core->UpdateNavigationStatus(nav, own), 0);
    NavigationStatus read;
    ASSERT_EQ(f.core->GetNavigationStatus(f.sys, "a", read), 0);
    const int64_t saidAt = read.updateTime;
    f.core->OnClientGone(nav.clientId);
    ASSERT_EQ(f.core->GetNavigationStatus(f.sys, "a", read), 0);
    EXPECT_EQ(read.status, MAP_STATUS_UNAVAILABLE);
    EXPECT_EQ(read.customData, "") << "nothing of its last status but the fact is kept";
    EXPECT_TRUE(read.passPoint.empty());
    EXPECT_EQ(read.updateTime, saidAt) << "it said so itself, then";

    f.Advance(ReleaseFixture::RETENTION);
    ASSERT_EQ(f.core->RestoreNavigationStatus(MakeCaller("a", 51), Status(1, 8)), 0);
    ASSERT_EQ(f.core->GetNavigationStatus(f.sys, "a", read), 0);
    EXPECT_EQ(read.routeIndex, 8) << "after release the bundle is new: a restore is taken";
}

// Another client publishes while a snapshot is being copied.
TEST(CoreReleaseTest, ASnapshotCopiesItsRecordsWithoutTheLockAndWithinItsByteBound)
{
    auto executor = std::make_shared<ManualExecutor>();
    std::shared_ptr<NavInfoServiceCore> core;
    bool publishedDuringCopy = false;
    std::future<int32_t> publish; // outlives the hook: a publish that waits must not be waited for there
    CoreOptions options;
    options.executor = executor;
    options.policy = RuleAccessPolicy::AllowAll();
    options.maxSnapshotRecordBytes = 3 * 70 * 1024; // room for three of the four records below
    options.beforeSnapshotCopy = [&core, &publish, &publishedDuringCopy] {
        // On another thread: were the lock still held, the publish would wait for it.
        publish = std::async(std::launch::async,
            [&core] { return core->UpdateNavigationStatus(MakeCaller("other", 60), Status(1)); });
        publishedDuringCopy = publish.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    };
    core = NavInfoServiceCore::Create(options);
    for (int i = 0; i < 4; ++i) {
        NavigationStatus large = Status(1);
        large.customData = std::string(64 * 1024 - 16, static_cast<char>('a' + i));
        ASSERT_EQ(core->UpdateNavigationStatus(MakeCaller("big" + std::to_string(i), 70 + i), large), 0);
    }
    ServiceSnapshot snapshot;
    ASSERT_EQ(core->InspectService(MakeCaller("com.sys", 2), snapshot), 0);
    EXPECT_TRUE(publishedDuringCopy) << "a publish completes while the snapshot copies";
    EXPECT_EQ(publish.get(), NAV_INFO_SUCCESS);
    ASSERT_EQ(snapshot.statuses.size(), 3u) << "the records beyond the byte bound are left out";
    EXPECT_TRUE(snapshot.truncated);
    EXPECT_EQ(snapshot.statuses[2].status.customData[0], 'c');
}

} // namespace
} // namespace OHOS::NavigationInfoService
