// The client library in embedded mode, and the test hooks that watch it
// through the transport seam. The client and the embedded service are
// process-wide, so each test starts from a reset.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "core_test_support.h"
#include "nav_info_client.h"
#include "nav_info_errors.h"
#include "nav_info_test_hooks.h"
#include "nav_info_transport.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;
namespace Hooks = TestHooks;
using Hooks::Operation;

const std::string SELF = "com.test.self";

class NavInfoClientTest : public ::testing::Test {
protected:
    void SetUp() override { ResetEverything(); }
    void TearDown() override { ResetEverything(); }
    static void ResetEverything()
    {
        Hooks::ClearForcedResults();
        Hooks::ResetCounts();
        Hooks::SetPolicyAllowAll();
        Hooks::SetBundleName(SELF);
        Hooks::SetRequestTimeoutMs(10000);
        Hooks::ResetService();
    }
    // Waits for the first answer, which must come from another thread. It
    // waits well under the 10 s time-out set above, so that a short time-out
    // whose timer only fires when it wakes for a 10 s deadline fails here.
    static ResultData AnswerOnAnotherThread(const sptr<RecordingCallback>& callback)
    {
        EXPECT_TRUE(WaitUntil([&] { return callback->Count() > 0; }, std::chrono::milliseconds(3000)));
        std::lock_guard<std::mutex> lock(callback->mutex);
        EXPECT_NE(callback->threads.at(0), std::this_thread::get_id());
        return callback->answers.at(0);
    }
    sptr<NavInfoClient> client_ = NavInfoClient::GetClientInstance();
};

TEST(NavInfoClientSingletonTest, NeverNullAndTheSameFromEveryThread)
{
    std::vector<NavInfoClient*> seen(16, nullptr);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&seen, i] { seen[i] = NavInfoClient::GetClientInstance().GetRefPtr(); });
    }
    for (auto& t : threads) {
        t.join();
    }
    ASSERT_NE(seen[0], nullptr);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), seen[0]), 16);
}

TEST_F(NavInfoClientTest, PublishedStatusIsReadBackAndFollowersAreCalledOnIpcThreads)
{
    sptr<RecordingStatusListener> follower = new RecordingStatusListener();
    ASSERT_EQ(client_->RegisterNavigationStatusListener(SELF, follower), NAV_INFO_SUCCESS);
    NavigationStatus status;
    status.status = 1;
    status.customData = "hello";
    status.updateTime = 12345; // the service sets its own time
    auto now = [] {
        using namespace std::chrono;
        return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    };
    int64_t before = now();
    ASSERT_EQ(client_->UpdateNavigationStatus(status), NAV_INFO_SUCCESS);
    int64_t after = now();
    NavigationStatus read;
    ASSERT_EQ(client_->GetNavigationStatus(SELF, read), NAV_INFO_SUCCESS);
    EXPECT_EQ(read.customData, "hello");
    EXPECT_GE(read.updateTime, before);
    EXPECT_LE(read.updateTime, after);
    ASSERT_TRUE(WaitUntil([&] { return follower->Count() == 1; }));
    auto call = follower->Calls()[0];
    EXPECT_EQ(call.bundle, SELF);
    EXPECT_EQ(call.status.status, 1);
    EXPECT_NE(call.thread, std::this_thread::get_id());
}

TEST_F(NavInfoClientTest, QueryAnsweredFromThisThreadArrivesOnceOnAnIpcThreadOrTimesOut)
{
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
    ASSERT_EQ(client_->RegisterSystemNavigationListener(listener), NAV_INFO_SUCCESS);
    sptr<RecordingCallback> callback = new RecordingCallback();
    ASSERT_EQ(client_->QueryNavigationInfo(SELF, NAVIGATION_STATUS, {}, callback), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return listener->Count() == 1; }));
    listener->CallbackAt(0)->Callback(Answer(0, "answer"));
    listener->CallbackAt(0)->Callback(Answer(0, "ignored"));
    EXPECT_EQ(AnswerOnAnotherThread(callback).message, "answer");

    Hooks::SetRequestTimeoutMs(5);
    sptr<RecordingCallback> unanswered = new RecordingCallback();
    ASSERT_EQ(client_->SendNavigationCmd(SELF, GO_HOME, {}, unanswered), NAV_INFO_SUCCESS);
    EXPECT_EQ(AnswerOnAnotherThread(unanswered).code, NAV_INFO_ERR_TIMEOUT) << "the time-out set by the hook";
    EXPECT_EQ(callback->Count(), 1u);
}

TEST_F(NavInfoClientTest, PolicyAndBundleNameChangeAtRuntime)
{
    Hooks::SetPolicy({{SELF, {false, true}}});
    NavigationStatus read;
    EXPECT_EQ(client_->UpdateNavigationStatus({}), NAV_INFO_SUCCESS);
    EXPECT_EQ(client_->GetNavigationStatus(SELF, read), NAV_INFO_ERR_NOT_SYSTEM_APP);
    Hooks::SetPolicy({{SELF, {true, false}}});
    EXPECT_EQ(client_->UpdateNavigationStatus({}), NAV_INFO_ERR_NO_PERMISSION);
    EXPECT_EQ(client_->GetNavigationStatus(SELF, read), NAV_INFO_ERR_NO_PERMISSION);
    Hooks::SetBundleName("com.unlisted");
    EXPECT_EQ(client_->UpdateNavigationStatus({}), NAV_INFO_ERR_NO_PERMISSION);
    Hooks::SetPolicyAllowAll();
    EXPECT_EQ(client_->UpdateNavigationStatus({}), NAV_INFO_SUCCESS);
    EXPECT_EQ(client_->GetNavigationStatus("com.unlisted", read), NAV_INFO_SUCCESS)
        << "published under the new bundle name";
    Hooks::SetBundleName("");
    EXPECT_EQ(client_->UpdateNavigationStatus({}), NAV_INFO_ERR_INVALID_PARAM);
}

TEST_F(NavInfoClientTest, ResetServiceForgetsRecordsAndAnswersOutstandingRequests)
{
    ASSERT_EQ(client_->UpdateNavigationStatus({}), NAV_INFO_SUCCESS);
    ASSERT_EQ(client_->RegisterSystemNavigationListener(new HoldingSystemListener()), NAV_INFO_SUCCESS);
    sptr<RecordingCallback> callback = new RecordingCallback();
    ASSERT_EQ(client_->QueryNavigationInfo(SELF, NAVIGATION_METADATA, {}, callback), NAV_INFO_SUCCESS);
    Hooks::ResetService();
    NavigationStatus read;
    EXPECT_EQ(client_->GetNavigationStatus(SELF, read), NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(client_->UnRegisterSystemNavigationListener(), NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(AnswerOnAnotherThread(callback).code, NAV_INFO_ERR_NOT_FOUND);
}

TEST_F(NavInfoClientTest, ForcedResultsAreCountedAndNeverReachTheService)
{
    NavigationStatus dummy;
    EXPECT_FALSE(Hooks::LastStatus(dummy)) << "nothing recorded before a call";
    Hooks::ForceResult(Operation::UPDATE_NAVIGATION_STATUS, -1);
    Hooks::ForceResult(Operation::GET_NAVIGATION_STATUS, 1002);
    NavigationStatus status;
    status.status = 5;
    EXPECT_EQ(client_->UpdateNavigationStatus(status), -1);
    NavigationStatus read;
    read.theme = 42;
    EXPECT_EQ(client_->GetNavigationStatus(SELF, read), 1002);
    EXPECT_EQ(read.theme, 42) << "a forced read leaves its output alone";
    EXPECT_EQ(Hooks::CallCount(Operation::UPDATE_NAVIGATION_STATUS), 1u);
    ASSERT_TRUE(Hooks::LastStatus(read));
    EXPECT_EQ(read.status, 5) << "recorded even when forced";

    Hooks::ClearForcedResults();
    EXPECT_EQ(client_->GetNavigationStatus(SELF, read), NAV_INFO_ERR_NOT_FOUND) << "the forced publish never arrived";
    EXPECT_EQ(Hooks::CallCount(Operation::GET_NAVIGATION_STATUS), 2u);
    Hooks::ResetCounts();
    EXPECT_EQ(Hooks::CallCount(Operation::GET_NAVIGATION_STATUS), 0u);
}

TEST_F(NavInfoClientTest, FireReachesOnlyListenersRegisteredAndNotUnregistered)
{
    sptr<RecordingStatusListener> status = new RecordingStatusListener();
    sptr<RecordingMetadataListener> metadata = new RecordingMetadataListener();
    EXPECT_EQ(Hooks::FireStatusChanged("com.fired", {}), 0u);
    Hooks::ForceResult(Operation::REGISTER_NAVIGATION_STATUS_LISTENER, 0); // tracked even when forced
    ASSERT_EQ(client_->RegisterNavigationStatusListener("com.fired", status), 0);
    ASSERT_EQ(client_->RegisterNavigationMetadataListener("com.fired", metadata), 0);
    NavigationStatus record;
    record.naviType = 3;
    EXPECT_EQ(Hooks::FireStatusChanged("com.fired", record), 1u);
    EXPECT_EQ(Hooks::FireStatusChanged("com.other", record), 0u);
    NavigationMetadata meta;
    meta.currentSpeed = 88;
    EXPECT_EQ(Hooks::FireMetadataChanged("com.fired", meta), 1u);
    ASSERT_TRUE(WaitUntil([&] { return status->Count() == 1 && metadata->Count() == 1; }));
    EXPECT_EQ(status->Calls()[0].status.naviType, 3);
    EXPECT_EQ(status->Calls()[0].bundle, "com.fired");
    EXPECT_NE(status->Calls()[0].thread, std::this_thread::get_id());
    EXPECT_EQ(metadata->Calls()[0].metadata.currentSpeed, 88u);

    ASSERT_EQ(client_->UnRegisterNavigationMetadataListener("com.fired"), 0);
    EXPECT_EQ(Hooks::FireMetadataChanged("com.fired", meta), 0u);
    Hooks::ForceResult(Operation::UNREGISTER_NAVIGATION_STATUS_LISTENER, 1003);
    client_->UnRegisterNavigationStatusListener("com.fired");
    EXPECT_EQ(Hooks::FireStatusChanged("com.fired", record), 1u) << "a failed unregistration keeps it";
}

TEST_F(NavInfoClientTest, AWrapThatFailsLeavesTheTransportInUse)
{
    EXPECT_FALSE(client_->WrapTransport([](NavInfoTransport&) { return std::unique_ptr<NavInfoTransport>(); }));
    EXPECT_FALSE(client_->WrapTransport(
        [](NavInfoTransport&) -> std::unique_ptr<NavInfoTransport> { throw std::runtime_error("wrap failed"); }));
    NavigationStatus read;
    EXPECT_EQ(client_->GetNavigationStatus(SELF, read), NAV_INFO_ERR_NOT_FOUND) << "the service still answers";
    EXPECT_EQ(Hooks::CallCount(Operation::GET_NAVIGATION_STATUS), 1u) << "through the recording transport";
}

// Answers every query twice, from its IPC thread.
class DoubleAnsweringListener : public SystemNavigationListener {
public:
    void OnQueryNavigationInfo(QueryType type, AAFwk::WantParams params, sptr<IMapCallback> callback) override
    {
        callback->Callback(ResultData{static_cast<int32_t>(type), "query", params});
        callback->Callback(ResultData{99, "second", {}});
    }
    void OnReceiveNavigationCmd(CommandType type, AAFwk::WantParams, sptr<IMapCallback> callback) override
    {
        callback->Callback(ResultData{static_cast<int32_t>(type), "command", {}});
    }
};

TEST_F(NavInfoClientTest, FiredRequestsRecordEveryAnswer)
{
    AAFwk::WantParams params;
    params.SetParam("q", AAFwk::WantValue::Bool(true));
    EXPECT_EQ(Hooks::FireQuery(NAVIGATION_STATUS, params), -1) << "no listener registered";
    ASSERT_EQ(client_->RegisterSystemNavigationListener(new DoubleAnsweringListener()), 0);
    int64_t query = Hooks::FireQuery(NAVIGATION_METADATA, params);
    int64_t command = Hooks::FireCommand(77, {}); // out of range on purpose: passed as given
    ASSERT_GT(query, 0);
    ASSERT_GT(command, 0);
    EXPECT_NE(query, command);

    std::vector<Hooks::RecordedAnswer> answers;
    ASSERT_TRUE(WaitUntil([&] {
        for (auto& answer : Hooks::TakeAnswers()) {
            answers.push_back(std::move(answer));
        }
        return answers.size() == 3;
    }));
    // The listener runs its calls in order, so its answers keep that order.
    EXPECT_EQ(answers[0].id, query);
    EXPECT_EQ(answers[0].data.code, NAVIGATION_METADATA);
    EXPECT_EQ(answers[0].data.data, params);
    EXPECT_EQ(answers[1].id, query);
    EXPECT_EQ(answers[1].data.code, 99);
    EXPECT_EQ(answers[2].id, command);
    EXPECT_EQ(answers[2].data.code, 77);
    EXPECT_TRUE(Hooks::TakeAnswers().empty());
}

TEST_F(NavInfoClientTest, LastQueryCallbackIsCalledTwiceInOrder)
{
    EXPECT_FALSE(Hooks::CallLastCallbackTwice(Operation::QUERY_NAVIGATION_INFO, {}, {}));
    EXPECT_FALSE(Hooks::CallLastCallbackTwice(Operation::GET_NAVIGATION_STATUS, {}, {}));
    Hooks::ForceResult(Operation::QUERY_NAVIGATION_INFO, 0);
    sptr<RecordingCallback> callback = new RecordingCallback();
    ASSERT_EQ(client_->QueryNavigationInfo("com.absent", NAVIGATION_STATUS, {}, callback), 0);
    ASSERT_TRUE(Hooks::CallLastCallbackTwice(Operation::QUERY_NAVIGATION_INFO, Answer(0, "one"), Answer(1004, "two")));
    ASSERT_TRUE(WaitUntil([&] { return callback->Count() == 2; }));
    EXPECT_EQ(AnswerOnAnotherThread(callback).message, "one");
    EXPECT_EQ(callback->answers[1].message, "two");
}

} // namespace
} // namespace OHOS::NavigationInfoService
