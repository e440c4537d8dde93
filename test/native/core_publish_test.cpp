// Publishing, reading and following through the core.
#include <gtest/gtest.h>

#include <thread>

#include "core_test_support.h"
#include "nav_info_errors.h"
#include "worker_pool.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;

NavigationStatus SampleStatus(int32_t status)
{
    NavigationStatus record;
    record.status = status;
    record.naviType = 2;
    record.destLocation = Location{"Office", 1, 13.4, 52.5, 34.0};
    record.passPoint = {Location{"A", 0, 1.0, 2.0, 3.0}};
    record.routeIndex = 3;
    record.customData = "payload";
    record.theme = 1;
    record.routePreference = {HIGHWAY_FIRST, TIME_FIRST};
    record.updateTime = 12345; // the core replaces it
    return record;
}

class CorePublishTest : public ::testing::Test {
protected:
    std::shared_ptr<ManualExecutor> executor_ = std::make_shared<ManualExecutor>();
    std::shared_ptr<NavInfoServiceCore> core_ = MakeCore(executor_);
    CallerInfo nav_ = MakeCaller("com.nav", 1);
    CallerInfo sysA_ = MakeCaller("com.sys.a", 2);
    CallerInfo sysB_ = MakeCaller("com.sys.b", 3);
};

TEST_F(CorePublishTest, EveryFollowerOfTheBundleGetsTheRecordThroughTheExecutorAndOthersNothing)
{
    sptr<RecordingStatusListener> a = new RecordingStatusListener();
    sptr<RecordingStatusListener> b = new RecordingStatusListener();
    sptr<RecordingStatusListener> elsewhere = new RecordingStatusListener();
    sptr<RecordingMetadataListener> metadataA = new RecordingMetadataListener();
    ASSERT_EQ(core_->RegisterNavigationStatusListener(sysA_, "com.nav", a), 0);
    ASSERT_EQ(core_->RegisterNavigationStatusListener(sysB_, "com.nav", b), 0);
    ASSERT_EQ(core_->RegisterNavigationStatusListener(sysA_, "com.other", elsewhere), 0);
    ASSERT_EQ(core_->RegisterNavigationMetadataListener(sysA_, "com.nav", metadataA), 0);

    ASSERT_EQ(core_->UpdateNavigationStatus(nav_, SampleStatus(7)), 0);
    NavigationMetadata metadata;
    metadata.currentRoadName = "A1";
    metadata.intersectionView = {65, 66};
    metadata.customData.SetParam("lane", AAFwk::WantValue::Int(2));
    ASSERT_EQ(core_->UpdateNavigationMetadata(nav_, metadata), 0);
    EXPECT_EQ(a->Count(), 0u) << "publishing returns before any follower is called";
    executor_->RunAll();

    for (auto* follower : {a.GetRefPtr(), b.GetRefPtr()}) {
        auto calls = follower->Calls();
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].status.status, 7);
        EXPECT_EQ(calls[0].bundle, "com.nav");
        EXPECT_GT(calls[0].status.updateTime, 0);
    }
    EXPECT_EQ(elsewhere->Count(), 0u);
    auto metadataCalls = metadataA->Calls();
    ASSERT_EQ(metadataCalls.size(), 1u);
    EXPECT_EQ(metadataCalls[0].bundle, "com.nav");
    EXPECT_EQ(metadataCalls[0].metadata.currentRoadName, "A1");
    EXPECT_EQ(metadataCalls[0].metadata.intersectionView, (std::vector<uint16_t>{65, 66}));
    EXPECT_EQ(metadataCalls[0].metadata.customData, metadata.customData);
}

TEST_F(CorePublishTest, RegisteringAgainReplacesAndUnregisteringEndsOnlyThatBundle)
{
    sptr<RecordingStatusListener> first = new RecordingStatusListener();
    sptr<RecordingStatusListener> second = new RecordingStatusListener();
    CallerInfo nav2 = MakeCaller("com.nav2", 4);
    ASSERT_EQ(core_->RegisterNavigationStatusListener(sysA_, "com.nav", first), 0);
    ASSERT_EQ(core_->RegisterNavigationStatusListener(sysA_, "com.nav", second), 0);
    ASSERT_EQ(core_->RegisterNavigationStatusListener(sysA_, "com.nav2", second), 0);
    ASSERT_EQ(core_->UpdateNavigationStatus(nav_, SampleStatus(1)), 0);
    executor_->RunAll();
    EXPECT_EQ(first->Count(), 0u);
    EXPECT_EQ(second->Count(), 1u);

    ASSERT_EQ(core_->UnRegisterNavigationStatusListener(sysA_, "com.nav"), 0);
    ASSERT_EQ(core_->UpdateNavigationStatus(nav_, SampleStatus(2)), 0);
    ASSERT_EQ(core_->UpdateNavigationStatus(nav2, SampleStatus(3)), 0);
    executor_->RunAll();
    auto calls = second->Calls();
    ASSERT_EQ(calls.size(), 2u) << "no calls for the unfollowed bundle, still calls for the other";
    EXPECT_EQ(calls[1].bundle, "com.nav2");
}

TEST_F(CorePublishTest, ClientGoneDropsItsFollowersAndItsPublisherComesBackUnderTheSameId)
{
    sptr<RecordingStatusListener> gone = new RecordingStatusListener();
    sptr<RecordingStatusListener> stays = new RecordingStatusListener();
    ASSERT_EQ(core_->RegisterNavigationStatusListener(sysA_, "com.nav", gone), 0);
    ASSERT_EQ(core_->RegisterNavigationStatusListener(sysB_, "com.nav", stays), 0);
    ASSERT_EQ(core_->UpdateNavigationStatus(nav_, SampleStatus(1)), 0);
    executor_->RunAll();
    core_->OnClientGone(sysA_.clientId);
    core_->OnClientGone(nav_.clientId); // the followers are told UNAVAILABLE (core_presence_test.cpp)
    ASSERT_EQ(core_->UpdateNavigationStatus(nav_, SampleStatus(2)), 0);
    executor_->RunAll();
    EXPECT_EQ(gone->Count(), 1u);
    EXPECT_EQ(stays->Count(), 3u);
    NavigationStatus read;
    EXPECT_EQ(core_->GetNavigationStatus(sysB_, "com.nav", read), NAV_INFO_SUCCESS);
    EXPECT_EQ(core_->UnRegisterNavigationStatusListener(sysA_, "com.nav"), NAV_INFO_ERR_NOT_FOUND);
}

TEST_F(CorePublishTest, ResetForgetsRecordsAndFollowers)
{
    sptr<RecordingStatusListener> follower = new RecordingStatusListener();
    ASSERT_EQ(core_->RegisterNavigationStatusListener(sysA_, "com.nav", follower), 0);
    ASSERT_EQ(core_->UpdateNavigationStatus(nav_, SampleStatus(1)), 0);
    executor_->RunAll();
    core_->Reset();
    NavigationStatus read;
    EXPECT_EQ(core_->GetNavigationStatus(sysA_, "com.nav", read), NAV_INFO_ERR_NOT_FOUND);
    ASSERT_EQ(core_->UpdateNavigationStatus(nav_, SampleStatus(2)), 0);
    executor_->RunAll();
    EXPECT_EQ(follower->Count(), 1u);
}

// A follower that publishes from inside its own call: only works if the core
// never calls listeners while holding its lock.
class RepublishingListener : public NavigationStatusListener {
public:
    RepublishingListener(std::weak_ptr<NavInfoServiceCore> core, CallerInfo publisher)
        : core_(std::move(core)),
          publisher_(std::move(publisher))
    {
    }
    void OnStatusChanged(const NavigationStatus& status, const std::string&) override
    {
        if (auto core = core_.lock(); core && status.status < 3) {
            NavigationStatus next = status;
            next.status += 1;
            results.push_back(core->UpdateNavigationStatus(publisher_, next));
        }
    }
    std::vector<int32_t> results;

private:
    std::weak_ptr<NavInfoServiceCore> core_;
    CallerInfo publisher_;
};

TEST(CorePublishInlineTest, ListenersMayCallBackIntoTheCore)
{
    auto core = MakeCore(std::make_shared<InlineExecutor>());
    CallerInfo nav = MakeCaller("com.nav", 1);
    CallerInfo sys = MakeCaller("com.sys", 2);
    sptr<RepublishingListener> listener = new RepublishingListener(core, nav);
    ASSERT_EQ(core->RegisterNavigationStatusListener(sys, "com.nav", listener), 0);
    ASSERT_EQ(core->UpdateNavigationStatus(nav, SampleStatus(1)), 0);
    EXPECT_EQ(listener->results, (std::vector<int32_t>{0, 0}));
    NavigationStatus read;
    ASSERT_EQ(core->GetNavigationStatus(sys, "com.nav", read), 0);
    EXPECT_EQ(read.status, 3);
}

// Two threads of one application publish at once: the follower sees each
// thread's records in order, and the last it gets is the one stored last.
TEST(CorePublishPoolTest, FollowersGetRecordsOnPoolThreadsInPublishingOrderEndingOnTheStoredOne)
{
    auto pool = std::make_shared<WorkerPool>(4); // outlives the core
    auto core = MakeCore(pool);
    CallerInfo nav = MakeCaller("com.nav", 1);
    CallerInfo sys = MakeCaller("com.sys", 2);
    sptr<RecordingStatusListener> follower = new RecordingStatusListener();
    ASSERT_EQ(core->RegisterNavigationStatusListener(sys, "com.nav", follower), 0);
    constexpr int COUNT = 300;
    auto publish = [&](int first) {
        for (int i = first; i < first + COUNT; ++i) {
            core->UpdateNavigationStatus(nav, SampleStatus(i));
        }
    };
    std::thread other(publish, 10000);
    publish(0);
    other.join();
    ASSERT_TRUE(WaitUntil([&] { return follower->Count() == 2 * COUNT; }));
    auto calls = follower->Calls();
    int last[2] = {-1, -1};
    for (const auto& call : calls) {
        int& previous = last[call.status.status >= 10000 ? 1 : 0];
        EXPECT_GT(call.status.status, previous);
        previous = call.status.status;
        EXPECT_NE(call.thread, std::this_thread::get_id());
    }
    NavigationStatus stored;
    ASSERT_EQ(core->GetNavigationStatus(sys, "com.nav", stored), 0);
    EXPECT_EQ(calls.back().status.status, stored.status);
}

class NumberedRecordingListener : public RecordingStatusListener, public NumberedStatusListener {
public:
    void OnNumberedStatusChanged(const NavigationStatus& status, const std::string& bundleName,
        NotificationNumber number) override
    {
        numbers.push_back(number);
        OnStatusChanged(status, bundleName);
    }
    std::vector<NotificationNumber> numbers; // one drain at a time writes it
};

// A follower whose outbox is full when a record comes loses the superseded
// records and gets the newest, in order; numbers show the gap to a follower
// that takes them. Each registration is a stream of its own.
TEST(CorePublishOutboxTest, AFollowerThatCannotKeepUpGetsTheNewestAndTheGapIsNumbered)
{
    auto executor = std::make_shared<ManualExecutor>();
    CoreOptions options;
    options.executor = executor;
    options.policy = RuleAccessPolicy::AllowAll();
    options.followerOutboxCapacity = 4;
    auto core = NavInfoServiceCore::Create(options);
    CallerInfo nav = MakeCaller("com.nav", 1);
    sptr<NumberedRecordingListener> numbered = new NumberedRecordingListener();
    sptr<RecordingStatusListener> plain = new RecordingStatusListener();
    ASSERT_EQ(core->RegisterNavigationStatusListener(MakeCaller("com.sys", 2), "com.nav", numbered), 0);
    ASSERT_EQ(core->RegisterNavigationStatusListener(MakeCaller("com.sys", 3), "com.nav", plain), 0);
    for (int i = 1; i <= 10; ++i) {
        ASSERT_EQ(core->UpdateNavigationStatus(nav, SampleStatus(i)), 0);
    }
    executor->RunAll();
    for (RecordingStatusListener* follower : {static_cast<RecordingStatusListener*>(numbered.GetRefPtr()),
             static_cast<RecordingStatusListener*>(plain.GetRefPtr())}) {
        auto calls = follower->Calls();
        ASSERT_EQ(calls.size(), 2u);
        EXPECT_EQ(calls[0].status.status, 9);
        EXPECT_EQ(calls[1].status.status, 10);
    }
    ASSERT_EQ(numbered->numbers.size(), 2u);
    EXPECT_NE(numbered->numbers[0].stream, 0u);
    EXPECT_EQ(numbered->numbers[0].sequence, 9u);
    EXPECT_EQ(numbered->numbers[1].sequence, 10u);

    ASSERT_EQ(core->RegisterNavigationStatusListener(MakeCaller("com.sys", 2), "com.nav", numbered), 0);
    ASSERT_EQ(core->UpdateNavigationStatus(nav, SampleStatus(11)), 0);
    executor->RunAll();
    ASSERT_EQ(numbered->numbers.size(), 3u);
    EXPECT_NE(numbered->numbers[2].stream, numbered->numbers[0].stream);
    EXPECT_EQ(numbered->numbers[2].sequence, 1u);
}

// A record that the transport could not carry to a follower is refused at
// publishing and not stored.
TEST(CorePublishLimitsTest, ARecordThatCannotReachFollowersIsRefusedAndNotStored)
{
    CoreOptions options;
    options.executor = std::make_shared<InlineExecutor>();
    options.policy = RuleAccessPolicy::AllowAll();
    options.limits.statusFits = [](const NavigationStatus& status, const std::string&) {
        return status.customData.size() < 10;
    };
    options.limits.metadataFits = [](const NavigationMetadata& metadata, const std::string& bundle) {
        return metadata.currentRoadName.size() + bundle.size() < 20;
    };
    auto core = NavInfoServiceCore::Create(options);
    CallerInfo nav = MakeCaller("com.nav", 1);
    CallerInfo sys = MakeCaller("com.sys", 2);
    NavigationStatus status = SampleStatus(1);
    ASSERT_EQ(core->UpdateNavigationStatus(nav, status), NAV_INFO_SUCCESS);
    status.customData = std::string(10, 'x');
    status.status = 2;
    EXPECT_EQ(core->UpdateNavigationStatus(nav, status), NAV_INFO_ERR_INVALID_PARAM);
    NavigationStatus read;
    ASSERT_EQ(core->GetNavigationStatus(sys, "com.nav", read), NAV_INFO_SUCCESS);
    EXPECT_EQ(read.status, 1) << "the refused record was not stored";
    NavigationMetadata metadata;
    metadata.currentRoadName = std::string(13, 'r'); // 20 with the bundle name
    EXPECT_EQ(core->UpdateNavigationMetadata(nav, metadata), NAV_INFO_ERR_INVALID_PARAM) << "bundle name counts";
}

} // namespace
} // namespace OHOS::NavigationInfoService
