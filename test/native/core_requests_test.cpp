// Queries and commands through the core: each accepted request is answered
// exactly once, whatever races its answer, its time-out and its listener's end.
#include <gtest/gtest.h>

#include <cstdlib>
#include <system_error>

#include "core_test_support.h"
#include "nav_info_errors.h"
#include "worker_pool.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;
using std::chrono::milliseconds;

class CoreRequestTest : public ::testing::Test {
protected:
    void SetUp() override { Build(executor_); }
    void Build(std::shared_ptr<Executor> executor, size_t maxOutstanding = DEFAULT_MAX_OUTSTANDING_REQUESTS)
    {
        CoreOptions options;
        options.executor = std::move(executor);
        options.policy = RuleAccessPolicy::AllowAll();
        options.maxOutstandingPerClient = maxOutstanding;
        core_ = NavInfoServiceCore::Create(options);
        ASSERT_EQ(core_->RegisterSystemNavigationListener(nav_, listener_), NAV_INFO_SUCCESS);
    }
    int32_t Query(sptr<RecordingCallback> callback, const CallerInfo* caller = nullptr)
    {
        return core_->QueryNavigationInfo(caller ? *caller : sys_, "com.nav", NAVIGATION_STATUS, {}, callback);
    }

    std::shared_ptr<ManualExecutor> executor_ = std::make_shared<ManualExecutor>();
    std::shared_ptr<NavInfoServiceCore> core_;
    CallerInfo nav_ = MakeCaller("com.nav", 1);
    CallerInfo sys_ = MakeCaller("com.sys", 2);
    sptr<HoldingSystemListener> listener_ = new HoldingSystemListener();
};

TEST_F(CoreRequestTest, TheListenerGetsTheRequestAndTheFirstAnswerIsForwardedIntact)
{
    AAFwk::WantParams params;
    params.SetParam("zoom", AAFwk::WantValue::Int(3));
    sptr<RecordingCallback> callback = new RecordingCallback();
    ASSERT_EQ(core_->SendNavigationCmd(sys_, "com.nav", ZOOM_IN_MAP, params, callback), NAV_INFO_SUCCESS);
    EXPECT_EQ(listener_->Count(), 0u) << "the listener is called through the executor";
    executor_->RunAll();
    ASSERT_EQ(listener_->Count(), 1u);
    EXPECT_FALSE(listener_->requests[0].isQuery);
    EXPECT_EQ(listener_->requests[0].type, ZOOM_IN_MAP);
    EXPECT_EQ(listener_->requests[0].params, params);

    sptr<IMapCallback> answer = listener_->CallbackAt(0);
    answer->Callback(Answer(0, "done", "level", 4));
    answer->Callback(Answer(7, "again"));
    EXPECT_EQ(callback->Count(), 0u) << "the answer goes through the executor too";
    executor_->RunAll();
    ASSERT_EQ(callback->Count(), 1u);
    EXPECT_EQ(callback->First().code, 0);
    EXPECT_EQ(callback->First().message, "done");
    EXPECT_EQ(callback->First().data, Answer(0, "", "level", 4).data);
    EXPECT_EQ(core_->OutstandingRequestCount(), 0u);
}

TEST_F(CoreRequestTest, UnansweredRequestTimesOut)
{
    core_->SetRequestTimeout(milliseconds(5));
    sptr<RecordingCallback> callback = new RecordingCallback();
    ASSERT_EQ(Query(callback), NAV_INFO_SUCCESS);
    executor_->RunAll();
    ASSERT_TRUE(WaitUntil([&] {
        executor_->RunAll();
        return callback->Count() > 0;
    }));
    EXPECT_EQ(callback->First().code, NAV_INFO_ERR_TIMEOUT);
    EXPECT_EQ(callback->First().message, "Timed out");
    EXPECT_TRUE(callback->First().data.IsEmpty());

    listener_->CallbackAt(0)->Callback(Answer(0, "too late"));
    executor_->RunAll();
    EXPECT_EQ(callback->Count(), 1u);
    EXPECT_EQ(core_->OutstandingRequestCount(), 0u);
}

TEST_F(CoreRequestTest, AnsweredRequestIsNotAnsweredAgainByItsTimeOut)
{
    core_->SetRequestTimeout(milliseconds(20));
    sptr<RecordingCallback> callback = new RecordingCallback();
    ASSERT_EQ(Query(callback), NAV_INFO_SUCCESS);
    executor_->RunAll();
    listener_->CallbackAt(0)->Callback(Answer(0, "ok"));
    // A later request with a longer time-out: once it has timed out, the
    // first request's deadline has certainly passed too.
    core_->SetRequestTimeout(milliseconds(40));
    sptr<RecordingCallback> later = new RecordingCallback();
    ASSERT_EQ(Query(later), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] {
        executor_->RunAll();
        return later->Count() > 0;
    }));
    executor_->RunAll();
    EXPECT_EQ(later->First().code, NAV_INFO_ERR_TIMEOUT);
    EXPECT_EQ(callback->Count(), 1u);
}

TEST_F(CoreRequestTest, RemovingTheListenerAnswersItsRequestsNotFound)
{
    sptr<RecordingCallback> unregistered = new RecordingCallback();
    ASSERT_EQ(Query(unregistered), NAV_INFO_SUCCESS);
    ASSERT_EQ(core_->UnRegisterSystemNavigationListener(nav_), NAV_INFO_SUCCESS);
    executor_->RunAll();
    ASSERT_EQ(unregistered->Count(), 1u);
    EXPECT_EQ(unregistered->First().code, NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(unregistered->First().message, "Not found");

    // The old listener's late answer is ignored.
    listener_->CallbackAt(0)->Callback(Answer(0, "late"));
    executor_->RunAll();
    EXPECT_EQ(unregistered->Count(), 1u);
}

TEST_F(CoreRequestTest, ReplacingTheListenerAnswersTheOldOnesRequestsNotFound)
{
    sptr<RecordingCallback> toOld = new RecordingCallback();
    ASSERT_EQ(Query(toOld), NAV_INFO_SUCCESS);
    sptr<HoldingSystemListener> replacement = new HoldingSystemListener();
    ASSERT_EQ(core_->RegisterSystemNavigationListener(nav_, replacement), NAV_INFO_SUCCESS);
    sptr<RecordingCallback> toNew = new RecordingCallback();
    ASSERT_EQ(Query(toNew), NAV_INFO_SUCCESS);
    executor_->RunAll();
    ASSERT_EQ(toOld->Count(), 1u);
    EXPECT_EQ(toOld->First().code, NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(toNew->Count(), 0u);
    ASSERT_EQ(replacement->Count(), 1u);
    replacement->CallbackAt(0)->Callback(Answer(0, "new"));
    executor_->RunAll();
    ASSERT_EQ(toNew->Count(), 1u);
    EXPECT_EQ(toNew->First().message, "new");
}

TEST_F(CoreRequestTest, ClientGoneAnswersRequestsToItAndDropsItsOwn)
{
    CallerInfo otherSys = MakeCaller("com.sys2", 3);
    sptr<RecordingCallback> fromGone = new RecordingCallback();
    sptr<RecordingCallback> fromOther = new RecordingCallback();
    ASSERT_EQ(Query(fromGone), NAV_INFO_SUCCESS);
    ASSERT_EQ(Query(fromOther, &otherSys), NAV_INFO_SUCCESS);
    executor_->RunAll();

    core_->OnClientGone(sys_.clientId); // a requester goes: its request is dropped
    EXPECT_EQ(core_->OutstandingRequestCount(), 1u);
    core_->OnClientGone(nav_.clientId); // the target goes: the others' requests fail
    executor_->RunAll();
    EXPECT_EQ(fromGone->Count(), 0u);
    ASSERT_EQ(fromOther->Count(), 1u);
    EXPECT_EQ(fromOther->First().code, NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(core_->OutstandingRequestCount(), 0u);

    sptr<RecordingCallback> afterwards = new RecordingCallback();
    EXPECT_EQ(Query(afterwards, &otherSys), NAV_INFO_ERR_NOT_FOUND) << "its listener went with it";
    listener_->CallbackAt(0)->Callback(Answer(0, "late"));
    executor_->RunAll();
    EXPECT_EQ(fromGone->Count(), 0u);
}

TEST_F(CoreRequestTest, ResetAnswersOutstandingRequestsNotFound)
{
    sptr<RecordingCallback> callback = new RecordingCallback();
    ASSERT_EQ(Query(callback), NAV_INFO_SUCCESS);
    core_->Reset();
    executor_->RunAll();
    ASSERT_EQ(callback->Count(), 1u);
    EXPECT_EQ(callback->First().code, NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(core_->OutstandingRequestCount(), 0u);
}

TEST_F(CoreRequestTest, OutstandingLimitIsPerClientAndFreedByAnswers)
{
    Build(executor_, 3);
    std::vector<sptr<RecordingCallback>> callbacks;
    for (int i = 0; i < 3; ++i) {
        callbacks.push_back(new RecordingCallback());
        ASSERT_EQ(Query(callbacks.back()), NAV_INFO_SUCCESS);
    }
    sptr<RecordingCallback> refused = new RecordingCallback();
    EXPECT_EQ(Query(refused), NAV_INFO_ERR_TOO_MANY_REQUESTS);
    EXPECT_EQ(core_->SendNavigationCmd(sys_, "com.nav", GO_HOME, {}, refused), NAV_INFO_ERR_TOO_MANY_REQUESTS);
    CallerInfo other = MakeCaller("com.sys2", 9);
    EXPECT_EQ(Query(new RecordingCallback(), &other), NAV_INFO_SUCCESS) << "another client has its own limit";

    executor_->RunAll();
    listener_->CallbackAt(0)->Callback(Answer(0, "ok"));
    EXPECT_EQ(Query(new RecordingCallback()), NAV_INFO_SUCCESS);
    executor_->RunAll();
    EXPECT_EQ(refused->Count(), 0u);
}

TEST(CoreRequestFailureTest, ExecutorThatCannotRunRefusesWithoutCallingBack)
{
    CoreOptions options;
    options.executor = std::make_shared<RefusingExecutor>();
    options.policy = RuleAccessPolicy::AllowAll();
    auto core = NavInfoServiceCore::Create(options);
    ASSERT_EQ(core->RegisterSystemNavigationListener(MakeCaller("com.nav", 1), new HoldingSystemListener()), 0);
    sptr<RecordingCallback> callback = new RecordingCallback();
    EXPECT_EQ(core->QueryNavigationInfo(MakeCaller("com.sys", 2), "com.nav", NAVIGATION_STATUS, {}, callback),
        NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    EXPECT_EQ(core->OutstandingRequestCount(), 0u);
    EXPECT_EQ(callback->Count(), 0u);
}

TEST(CoreRequestFailureTest, TimerThreadThatCannotStartRefusesRequests)
{
    CoreOptions options;
    options.executor = std::make_shared<InlineExecutor>();
    options.policy = RuleAccessPolicy::AllowAll();
    options.timerThreadStarter = [](std::function<void()>) -> std::thread {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    };
    auto core = NavInfoServiceCore::Create(options);
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
    ASSERT_EQ(core->RegisterSystemNavigationListener(MakeCaller("com.nav", 1), listener), 0);
    sptr<RecordingCallback> callback = new RecordingCallback();
    EXPECT_EQ(core->QueryNavigationInfo(MakeCaller("com.sys", 2), "com.nav", NAVIGATION_STATUS, {}, callback),
        NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    EXPECT_EQ(listener->Count(), 0u);
    EXPECT_EQ(callback->Count(), 0u);
    EXPECT_EQ(core->UpdateNavigationStatus(MakeCaller("com.nav", 1), {}), NAV_INFO_SUCCESS)
        << "publishing needs no timer";
}

TEST(CoreRequestLifetimeTest, AnswersAfterTheCoreIsGoneAreDropped)
{
    auto executor = std::make_shared<ManualExecutor>();
    CoreOptions options;
    options.executor = executor;
    options.policy = RuleAccessPolicy::AllowAll();
    auto core = NavInfoServiceCore::Create(options);
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
    ASSERT_EQ(core->RegisterSystemNavigationListener(MakeCaller("com.nav", 1), listener), 0);
    sptr<RecordingCallback> callback = new RecordingCallback();
    ASSERT_EQ(core->QueryNavigationInfo(MakeCaller("com.sys", 2), "com.nav", NAVIGATION_STATUS, {}, callback), 0);
    executor->RunAll();
    core.reset();
    listener->CallbackAt(0)->Callback(Answer(0, "orphan"));
    executor->RunAll();
    EXPECT_EQ(callback->Count(), 0u);
}

// Answers from the listener's side arrive on an executor thread, never on the
// thread that answered.
TEST(CoreRequestPoolTest, AnswersArriveOnPoolThreads)
{
    auto pool = std::make_shared<WorkerPool>(2);
    CoreOptions options;
    options.executor = pool;
    options.policy = RuleAccessPolicy::AllowAll();
    auto core = NavInfoServiceCore::Create(options);
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
    ASSERT_EQ(core->RegisterSystemNavigationListener(MakeCaller("com.nav", 1), listener), 0);
    sptr<RecordingCallback> callback = new RecordingCallback();
    ASSERT_EQ(core->QueryNavigationInfo(MakeCaller("com.sys", 2), "com.nav", NAVIGATION_METADATA, {}, callback), 0);
    ASSERT_TRUE(WaitUntil([&] { return listener->Count() == 1; }));
    listener->CallbackAt(0)->Callback(Answer(0, "from the test thread"));
    ASSERT_TRUE(WaitUntil([&] { return callback->Count() == 1; }));
    std::lock_guard<std::mutex> lock(callback->mutex);
    EXPECT_NE(callback->threads[0], std::this_thread::get_id());
}

// Many requests, each raced by two answering threads, a short time-out and
// the removal of the listener: every callback must be called exactly once.
TEST(CoreRequestRaceTest, EveryRequestIsAnsweredExactlyOnce)
{
    constexpr int ROUNDS = 20;
    constexpr int REQUESTERS = 3;
    constexpr int PER_REQUESTER = 30;
    std::vector<sptr<RecordingCallback>> callbacks;
    {
        auto pool = std::make_shared<WorkerPool>(4);
        CoreOptions options;
        options.executor = pool;
        options.policy = RuleAccessPolicy::AllowAll();
        options.requestTimeout = milliseconds(2);
        auto core = NavInfoServiceCore::Create(options);
        CallerInfo nav = MakeCaller("com.nav", 1);
        std::mutex callbacksMutex;
        std::atomic<int> accepted{0};

        for (int round = 0; round < ROUNDS; ++round) {
            core->SetRequestTimeout(milliseconds(round % 2 == 0 ? 2 : 1000));
            sptr<HoldingSystemListener> listener = new HoldingSystemListener();
            ASSERT_EQ(core->RegisterSystemNavigationListener(nav, listener), 0);
            std::atomic<bool> stop{false};
            auto answerAll = [&](bool reverse) {
                while (!stop.load()) {
                    size_t count = listener->Count();
                    for (size_t i = 0; i < count; ++i) {
                        auto cb = listener->CallbackAt(reverse ? count - 1 - i : i);
                        cb->Callback(Answer(0, reverse ? "reverse" : "forward"));
                    }
                    std::this_thread::yield();
                }
            };
            std::thread forward(answerAll, false);
            std::thread backward(answerAll, true);
            std::vector<std::thread> requesters;
            for (int r = 0; r < REQUESTERS; ++r) {
                requesters.emplace_back([&, r] {
                    CallerInfo sys = MakeCaller("com.sys" + std::to_string(r), 10 + r);
                    for (int i = 0; i < PER_REQUESTER; ++i) {
                        sptr<RecordingCallback> callback = new RecordingCallback();
                        int32_t result = i % 2 == 0
                            ? core->QueryNavigationInfo(sys, "com.nav", NAVIGATION_STATUS, {}, callback)
                            : core->SendNavigationCmd(sys, "com.nav", GO_HOME, {}, callback);
                        if (result == NAV_INFO_SUCCESS) {
                            ++accepted;
                            std::lock_guard<std::mutex> lock(callbacksMutex);
                            callbacks.push_back(callback);
                        } else {
                            EXPECT_EQ(result, NAV_INFO_ERR_NOT_FOUND) << "only refusal: the listener was removed";
                        }
                    }
                });
            }
            std::thread remover([&] {
                std::this_thread::sleep_for(std::chrono::microseconds(200));
                core->UnRegisterSystemNavigationListener(nav);
            });
            for (auto& t : requesters) {
                t.join();
            }
            remover.join();
            bool drained = WaitUntil([&] { return core->OutstandingRequestCount() == 0; });
            stop = true;
            forward.join();
            backward.join();
            ASSERT_TRUE(drained);
        }
        core.reset();
        EXPECT_GT(accepted.load(), 0);
    } // the pool runs what is queued, then joins: every delivery has happened
    std::map<int32_t, int> byCode;
    for (auto& callback : callbacks) {
        ASSERT_EQ(callback->Count(), 1u);
        byCode[callback->First().code]++;
    }
    for (const auto& entry : byCode) {
        EXPECT_TRUE(entry.first == 0 || entry.first == NAV_INFO_ERR_TIMEOUT || entry.first == NAV_INFO_ERR_NOT_FOUND)
            << entry.first;
    }
}

TEST(ServiceSettingsTest, RequestTimeoutComesFromTheEnvironmentWhenUsable)
{
    unsetenv(REQUEST_TIMEOUT_ENV);
    EXPECT_EQ(RequestTimeoutFromEnvironment(), DEFAULT_REQUEST_TIMEOUT);
    setenv(REQUEST_TIMEOUT_ENV, "250", 1);
    EXPECT_EQ(RequestTimeoutFromEnvironment(), milliseconds(250));
    for (const char* bad : {"abc", "-5", "0", "12ms", ""}) {
        setenv(REQUEST_TIMEOUT_ENV, bad, 1);
        EXPECT_EQ(RequestTimeoutFromEnvironment(), DEFAULT_REQUEST_TIMEOUT) << bad;
    }
    unsetenv(REQUEST_TIMEOUT_ENV);
}

} // namespace
} // namespace OHOS::NavigationInfoService
