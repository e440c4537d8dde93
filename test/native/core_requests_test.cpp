// Queries and commands through the core: each accepted request is answered
// exactly once, whatever races its answer, its time-out and its listener's end.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <system_error>

#include "core_test_support.h"
#include "nav_info_errors.h"
#include "requester_aware_listener.h"
#include "worker_pool.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;
using std::chrono::milliseconds;

class CoreRequestTest : public ::testing::Test {
protected:
    void SetUp() override { Build(); }
    void Build(size_t maxOutstanding = DEFAULT_MAX_OUTSTANDING_REQUESTS,
        size_t maxInFlight = DEFAULT_MAX_IN_FLIGHT_PER_LISTENER)
    {
        CoreOptions options;
        options.executor = executor_;
        options.policy = RuleAccessPolicy::AllowAll();
        options.maxOutstandingPerClient = maxOutstanding;
        options.maxInFlightPerListener = maxInFlight;
        core_ = NavInfoServiceCore::Create(options);
        listener_ = new HoldingSystemListener();
        ASSERT_EQ(core_->RegisterSystemNavigationListener(nav_, listener_), NAV_INFO_SUCCESS);
    }
    int32_t Query(const sptr<RecordingCallback>& callback, const CallerInfo& caller)
    {
        return core_->QueryNavigationInfo(caller, "com.nav", NAVIGATION_STATUS, {}, callback);
    }
    // A query from sys_ that the core accepted.
    sptr<RecordingCallback> Accepted()
    {
        sptr<RecordingCallback> callback = new RecordingCallback();
        EXPECT_EQ(Query(callback, sys_), NAV_INFO_SUCCESS);
        return callback;
    }

    std::shared_ptr<ManualExecutor> executor_ = std::make_shared<ManualExecutor>();
    std::shared_ptr<NavInfoServiceCore> core_;
    CallerInfo nav_ = MakeCaller("com.nav", 1);
    CallerInfo sys_ = MakeCaller("com.sys", 2);
    sptr<HoldingSystemListener> listener_;
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

TEST_F(CoreRequestTest, OnlyUnansweredRequestsTimeOutOnceAndLateAnswersAreDropped)
{
    core_->SetRequestTimeout(milliseconds(20));
    sptr<RecordingCallback> answered = Accepted();
    executor_->RunAll();
    listener_->CallbackAt(0)->Callback(Answer(0, "ok"));
    // A later request with a longer time-out: once it has timed out, the
    // first request's deadline has certainly passed too.
    core_->SetRequestTimeout(milliseconds(40));
    sptr<RecordingCallback> unanswered = Accepted();
    ASSERT_TRUE(WaitUntil([&] {
        executor_->RunAll();
        return unanswered->Count() > 0;
    }));
    EXPECT_EQ(unanswered->First().code, NAV_INFO_ERR_TIMEOUT);
    EXPECT_EQ(unanswered->First().message, "Timed out");
    EXPECT_TRUE(unanswered->First().data.IsEmpty());

    listener_->CallbackAt(1)->Callback(Answer(0, "too late"));
    executor_->RunAll();
    EXPECT_EQ(answered->Count(), 1u);
    EXPECT_EQ(unanswered->Count(), 1u);
    EXPECT_EQ(core_->OutstandingRequestCount(), 0u);
}

// However its listener ends, a request to it is answered 1003 once, and the
// old listener's late answer is dropped.
TEST_F(CoreRequestTest, EndOfTheListenerAnswersItsRequestsNotFound)
{
    sptr<HoldingSystemListener> replacement;
    const struct {
        const char* name;
        std::function<void()> end;
        int32_t nextQuery; // a request made afterwards
    } cases[] = {
        {"unregistered", [&] { ASSERT_EQ(core_->UnRegisterSystemNavigationListener(nav_), 0); },
            NAV_INFO_ERR_NOT_FOUND},
        {"replaced",
            [&] {
                replacement = new HoldingSystemListener();
                ASSERT_EQ(core_->RegisterSystemNavigationListener(nav_, replacement), 0);
            },
            NAV_INFO_SUCCESS},
        {"client gone", [&] { core_->OnClientGone(nav_.clientId); }, NAV_INFO_ERR_NOT_FOUND},
        {"reset", [&] { core_->Reset(); }, NAV_INFO_ERR_NOT_FOUND},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Build();
        sptr<RecordingCallback> callback = Accepted();
        executor_->RunAll();
        c.end();
        executor_->RunAll();
        ASSERT_EQ(callback->Count(), 1u);
        EXPECT_EQ(callback->First().code, NAV_INFO_ERR_NOT_FOUND);
        EXPECT_EQ(callback->First().message, "Not found");
        EXPECT_EQ(core_->OutstandingRequestCount(), 0u);
        listener_->CallbackAt(0)->Callback(Answer(0, "late"));
        executor_->RunAll();
        EXPECT_EQ(callback->Count(), 1u);

        sptr<RecordingCallback> next = new RecordingCallback();
        ASSERT_EQ(Query(next, sys_), c.nextQuery);
        executor_->RunAll();
        if (c.nextQuery == NAV_INFO_SUCCESS) {
            ASSERT_EQ(replacement->Count(), 1u) << "the newest listener gets later requests";
            replacement->CallbackAt(0)->Callback(Answer(0, "new"));
            executor_->RunAll();
            EXPECT_EQ(next->First().message, "new");
        }
    }
}

TEST_F(CoreRequestTest, RequesterGoneDropsItsRequestsUnanswered)
{
    CallerInfo otherSys = MakeCaller("com.sys2", 3);
    sptr<RecordingCallback> fromGone = Accepted();
    sptr<RecordingCallback> fromOther = new RecordingCallback();
    ASSERT_EQ(Query(fromOther, otherSys), NAV_INFO_SUCCESS);
    executor_->RunAll();
    core_->OnClientGone(sys_.clientId);
    EXPECT_EQ(core_->OutstandingRequestCount(), 1u);
    listener_->CallbackAt(0)->Callback(Answer(0, "late"));
    listener_->CallbackAt(1)->Callback(Answer(0, "ok"));
    executor_->RunAll();
    EXPECT_EQ(fromGone->Count(), 0u);
    EXPECT_EQ(fromOther->First().message, "ok");
}

TEST_F(CoreRequestTest, OutstandingLimitIsPerClientAndFreedByAnswers)
{
    Build(3);
    for (int i = 0; i < 3; ++i) {
        Accepted();
    }
    sptr<RecordingCallback> refused = new RecordingCallback();
    EXPECT_EQ(Query(refused, sys_), NAV_INFO_ERR_TOO_MANY_REQUESTS);
    EXPECT_EQ(core_->SendNavigationCmd(sys_, "com.nav", GO_HOME, {}, refused), NAV_INFO_ERR_TOO_MANY_REQUESTS);
    EXPECT_EQ(Query(new RecordingCallback(), MakeCaller("com.sys2", 9)), NAV_INFO_SUCCESS)
        << "another client has its own limit";
    executor_->RunAll();
    listener_->CallbackAt(0)->Callback(Answer(0, "ok"));
    EXPECT_EQ(Query(new RecordingCallback(), sys_), NAV_INFO_SUCCESS);
    executor_->RunAll();
    EXPECT_EQ(refused->Count(), 0u);
}

// With two requests in flight, later ones wait: one goes out each time an
// earlier one completes, the waiting requesters taking turns (one that sent
// many does not hold back another that sent later), and one whose time-out
// comes while it waits is answered 1004 once and never sent.
TEST_F(CoreRequestTest, WaitingRequestsGoOutInTurnsAsEarlierOnesCompleteOrTimeOutWhileWaiting)
{
    Build(DEFAULT_MAX_OUTSTANDING_REQUESTS, 2);
    const CallerInfo other = MakeCaller("com.sys2", 3);
    // sys_ sends four, other one, then sys_ one more with a short time-out.
    std::vector<sptr<RecordingCallback>> callbacks = {Accepted(), Accepted(), Accepted(), Accepted()};
    callbacks.push_back(new RecordingCallback());
    ASSERT_EQ(Query(callbacks[4], other), NAV_INFO_SUCCESS);
    core_->SetRequestTimeout(milliseconds(20));
    callbacks.push_back(Accepted());
    executor_->RunAll();
    EXPECT_EQ(listener_->Count(), 2u);
    // Each request sent is answered with the name of the one expected in that place.
    const char* sentInOrder[] = {"first", "second", "third", "other's", "fourth"};
    listener_->CallbackAt(0)->Callback(Answer(0, sentInOrder[0]));
    executor_->RunAll();
    ASSERT_EQ(listener_->Count(), 3u) << "the third went out in the first one's place";
    ASSERT_TRUE(WaitUntil(
        [&] {
            executor_->RunAll();
            return callbacks[5]->Count() > 0;
        },
        milliseconds(3000)));
    EXPECT_EQ(callbacks[5]->First().code, NAV_INFO_ERR_TIMEOUT);
    for (size_t i = 1; i < std::size(sentInOrder); ++i) {
        ASSERT_GT(listener_->Count(), i);
        listener_->CallbackAt(i)->Callback(Answer(0, sentInOrder[i]));
        executor_->RunAll();
    }
    EXPECT_EQ(listener_->Count(), 5u) << "the timed-out one was never sent";
    const char* messages[] = {"first", "second", "third", "fourth", "other's", "Timed out"};
    for (size_t i = 0; i < callbacks.size(); ++i) {
        ASSERT_EQ(callbacks[i]->Count(), 1u) << i;
        EXPECT_EQ(callbacks[i]->First().message, messages[i]) << i;
    }
    EXPECT_EQ(core_->OutstandingRequestCount(), 0u);
}

// A listener inside the service that learns who asks (the bridge's stand-in):
// it gets each request through the requester-aware calls, never the plain ones.
class NamingSystemListener : public HoldingSystemListener, public RequesterAwareListener {
public:
    void OnQueryNavigationInfoFrom(const std::string& requester, QueryType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) override
    {
        Name(requester, "query");
        HoldingSystemListener::OnQueryNavigationInfo(type, std::move(params), std::move(callback));
    }
    void OnReceiveNavigationCmdFrom(const std::string& requester, CommandType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) override
    {
        Name(requester, "command");
        HoldingSystemListener::OnReceiveNavigationCmd(type, std::move(params), std::move(callback));
    }
    std::vector<std::string> Names()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return names;
    }

private:
    void Name(const std::string& requester, const char* kind)
    {
        std::lock_guard<std::mutex> lock(mutex);
        names.push_back(std::string(kind) + " of " + requester);
    }
    std::vector<std::string> names;
};

TEST_F(CoreRequestTest, ARequesterAwareListenerLearnsWhoAsksAlsoForRequestsThatWaitedTheirTurn)
{
    Build(DEFAULT_MAX_OUTSTANDING_REQUESTS, 1);
    sptr<NamingSystemListener> naming = new NamingSystemListener();
    ASSERT_EQ(core_->RegisterSystemNavigationListener(nav_, naming), NAV_INFO_SUCCESS);
    sptr<RecordingCallback> first = Accepted();
    sptr<RecordingCallback> second = new RecordingCallback();
    ASSERT_EQ(core_->SendNavigationCmd(MakeCaller("com.sys2", 3), "com.nav", GO_HOME, {}, second), NAV_INFO_SUCCESS);
    executor_->RunAll();
    ASSERT_EQ(naming->Count(), 1u) << "one in flight at a time";
    naming->CallbackAt(0)->Callback(Answer(0, "first"));
    executor_->RunAll();
    ASSERT_EQ(naming->Count(), 2u);
    EXPECT_EQ(naming->Names(), (std::vector<std::string>{"query of com.sys", "command of com.sys2"}));
    EXPECT_FALSE(naming->requests[1].isQuery);
    EXPECT_EQ(naming->requests[1].type, GO_HOME);
    EXPECT_EQ(listener_->Count(), 0u) << "the listener registered first was replaced";
}

TEST(CoreRequestFailureTest, ExecutorOrTimerThatCannotRunRefusesWithoutCallingBack)
{
    CoreOptions noTimer;
    noTimer.executor = std::make_shared<InlineExecutor>();
    noTimer.policy = RuleAccessPolicy::AllowAll();
    noTimer.timerThreadStarter = [](const std::function<void()>&) -> std::thread {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    };
    for (const auto& core : {MakeCore(std::make_shared<RefusingExecutor>()), NavInfoServiceCore::Create(noTimer)}) {
        sptr<HoldingSystemListener> listener = new HoldingSystemListener();
        ASSERT_EQ(core->RegisterSystemNavigationListener(MakeCaller("com.nav", 1), listener), 0);
        sptr<RecordingCallback> callback = new RecordingCallback();
        EXPECT_EQ(core->QueryNavigationInfo(MakeCaller("com.sys", 2), "com.nav", NAVIGATION_STATUS, {}, callback),
            NAV_INFO_ERR_SERVICE_UNAVAILABLE);
        EXPECT_EQ(core->OutstandingRequestCount(), 0u);
        EXPECT_EQ(listener->Count(), 0u);
        EXPECT_EQ(callback->Count(), 0u);
    }
    EXPECT_EQ(NavInfoServiceCore::Create(noTimer)->UpdateNavigationStatus(MakeCaller("com.nav", 1), {}),
        NAV_INFO_SUCCESS)
        << "publishing needs no timer";
}

TEST(CoreRequestLifetimeTest, AnswersAfterTheCoreIsGoneAreDropped)
{
    auto executor = std::make_shared<ManualExecutor>();
    auto core = MakeCore(executor);
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

// Many requests, each raced by two answering threads, a short time-out and
// the removal of the listener: every callback must be called exactly once.
TEST(CoreRequestRaceTest, EveryRequestIsAnsweredExactlyOnce)
{
    constexpr int ROUNDS = 20;
    constexpr int REQUESTERS = 3;
    constexpr int PER_REQUESTER = 30;
    std::vector<sptr<RecordingCallback>> callbacks;
    {
        auto pool = std::make_shared<WorkerPool>(4); // outlives the core
        auto core = MakeCore(pool);
        CallerInfo nav = MakeCaller("com.nav", 1);
        std::mutex callbacksMutex;
        for (int round = 0; round < ROUNDS; ++round) {
            core->SetRequestTimeout(milliseconds(round % 2 == 0 ? 2 : 1000));
            sptr<HoldingSystemListener> listener = new HoldingSystemListener();
            ASSERT_EQ(core->RegisterSystemNavigationListener(nav, listener), 0);
            std::atomic<bool> stop{false};
            auto answerAll = [&](bool reverse) {
                while (!stop.load()) {
                    size_t count = listener->Count();
                    for (size_t i = 0; i < count; ++i) {
                        listener->CallbackAt(reverse ? count - 1 - i : i)->Callback(Answer(0, "answer"));
                    }
                    std::this_thread::yield();
                }
            };
            std::vector<std::thread> threads;
            threads.emplace_back(answerAll, false);
            threads.emplace_back(answerAll, true);
            std::vector<std::thread> requesters;
            requesters.reserve(REQUESTERS);
            for (int r = 0; r < REQUESTERS; ++r) {
                requesters.emplace_back([&, r] {
                    CallerInfo sys = MakeCaller("com.sys" + std::to_string(r), 10 + r);
                    for (int i = 0; i < PER_REQUESTER; ++i) {
                        sptr<RecordingCallback> callback = new RecordingCallback();
                        int32_t result = i % 2 == 0
                            ? core->QueryNavigationInfo(sys, "com.nav", NAVIGATION_STATUS, {}, callback)
                            : core->SendNavigationCmd(sys, "com.nav", GO_HOME, {}, callback);
                        if (result == NAV_INFO_SUCCESS) {
                            std::lock_guard<std::mutex> lock(callbacksMutex);
                            callbacks.push_back(callback);
                        } else {
                            EXPECT_EQ(result, NAV_INFO_ERR_NOT_FOUND) << "only refusal: the listener was removed";
                        }
                    }
                });
            }
            requesters.emplace_back([&] {
                std::this_thread::sleep_for(std::chrono::microseconds(200));
                core->UnRegisterSystemNavigationListener(nav);
            });
            for (auto& t : requesters) {
                t.join();
            }
            bool drained = WaitUntil([&] { return core->OutstandingRequestCount() == 0; });
            stop = true;
            for (auto& t : threads) {
                t.join();
            }
            ASSERT_TRUE(drained);
        }
        core.reset();
        EXPECT_FALSE(callbacks.empty());
    } // the pool runs what is queued, then joins: every delivery has happened
    for (auto& callback : callbacks) {
        ASSERT_EQ(callback->Count(), 1u);
        int32_t code = callback->First().code;
        EXPECT_TRUE(code == 0 || code == NAV_INFO_ERR_TIMEOUT || code == NAV_INFO_ERR_NOT_FOUND) << code;
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
