// Observers of the requests sent to a bundle: what they are told, under
// which id, and that they never hold up the request they observe.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>

#include "core_test_support.h"
#include "nav_info_errors.h"
#include "worker_pool.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;

// Keeps every observation; optionally blocks (at most two seconds) in the
// first one until released, as an observer that cannot keep up.
class RecordingObserver : public RequestObserverStub {
public:
    void OnRequestObserved(const RequestObservation& observation, const std::string& bundle) override
    {
        std::unique_lock<std::mutex> lock(mutex);
        seen.push_back(observation);
        bundles.push_back(bundle);
        if (blocking) {
            released.wait_for(lock, std::chrono::seconds(2), [this] { return !blocking; });
        }
    }
    void Release()
    {
        std::lock_guard<std::mutex> lock(mutex);
        blocking = false;
        released.notify_all();
    }
    std::mutex mutex;
    std::condition_variable released;
    bool blocking = false;
    std::vector<RequestObservation> seen;
    std::vector<std::string> bundles;
};

class CoreObserverTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        core_ = MakeCore(executor_);
        ASSERT_EQ(core_->RegisterSystemNavigationListener(nav_, listener_), NAV_INFO_SUCCESS);
        ASSERT_EQ(core_->RegisterRequestObserver(recorder_, "com.nav", observer_), NAV_INFO_SUCCESS);
    }
    std::shared_ptr<ManualExecutor> executor_ = std::make_shared<ManualExecutor>();
    std::shared_ptr<NavInfoServiceCore> core_;
    CallerInfo nav_ = MakeCaller("com.nav", 1);
    CallerInfo sys_ = MakeCaller("com.sys", 2);
    CallerInfo recorder_ = MakeCaller("com.recorder", 3);
    sptr<HoldingSystemListener> listener_ = new HoldingSystemListener();
    sptr<RecordingObserver> observer_ = new RecordingObserver();
};

TEST_F(CoreObserverTest, AcceptedRequestsAndTheirAnswersAreObservedUnderOneId)
{
    AAFwk::WantParams params;
    params.SetParam("zoom", AAFwk::WantValue::Int(3));
    sptr<RecordingCallback> queried = new RecordingCallback();
    sptr<RecordingCallback> commanded = new RecordingCallback();
    ASSERT_EQ(core_->QueryNavigationInfo(sys_, "com.nav", NAVIGATION_STATUS, {}, queried), NAV_INFO_SUCCESS);
    ASSERT_EQ(core_->SendNavigationCmd(sys_, "com.nav", ZOOM_IN_MAP, params, commanded), NAV_INFO_SUCCESS);
    executor_->RunAll();
    ASSERT_EQ(listener_->Count(), 2u);
    listener_->CallbackAt(1)->Callback(Answer(0, "zoomed", "level", 4));
    listener_->CallbackAt(0)->Callback(Answer(1, "no route"));
    executor_->RunAll();

    const auto& seen = observer_->seen;
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(observer_->bundles, std::vector<std::string>(4, "com.nav"));
    // row: query accepted, command accepted, command answered, query answered
    EXPECT_FALSE(seen[0].answered);
    EXPECT_EQ(seen[0].requester, "com.sys");
    EXPECT_EQ(seen[0].kind, RequestObservation::Kind::QUERY);
    EXPECT_EQ(seen[0].type, NAVIGATION_STATUS);
    EXPECT_FALSE(seen[1].answered);
    EXPECT_EQ(seen[1].kind, RequestObservation::Kind::COMMAND);
    EXPECT_EQ(seen[1].type, ZOOM_IN_MAP);
    EXPECT_EQ(seen[1].params, params);
    EXPECT_NE(seen[0].requestId, seen[1].requestId);
    EXPECT_TRUE(seen[2].answered);
    EXPECT_EQ(seen[2].requestId, seen[1].requestId);
    EXPECT_EQ(seen[2].answer.message, "zoomed");
    EXPECT_EQ(seen[2].answer.data, Answer(0, "", "level", 4).data);
    EXPECT_TRUE(seen[3].answered);
    EXPECT_EQ(seen[3].requestId, seen[0].requestId);
    EXPECT_EQ(seen[3].answer.code, 1);
    EXPECT_EQ(seen[3].answer.message, "no route");
}

TEST_F(CoreObserverTest, RefusedRequestsAndOtherBundlesAreNotObserved)
{
    sptr<RecordingCallback> callback = new RecordingCallback();
    EXPECT_EQ(core_->QueryNavigationInfo(sys_, "com.nav", static_cast<QueryType>(QUERY_TYPE_COUNT), {}, callback),
        NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->QueryNavigationInfo(sys_, "com.nav", NAVIGATION_STATUS, {}, nullptr), NAV_INFO_ERR_INVALID_PARAM);
    sptr<HoldingSystemListener> other = new HoldingSystemListener();
    ASSERT_EQ(core_->RegisterSystemNavigationListener(MakeCaller("com.other", 4), other), NAV_INFO_SUCCESS);
    EXPECT_EQ(core_->QueryNavigationInfo(sys_, "com.other", NAVIGATION_STATUS, {}, callback), NAV_INFO_SUCCESS);
    executor_->RunAll();
    EXPECT_TRUE(observer_->seen.empty());

    // An unregistered observer, or one whose client went, hears nothing more.
    EXPECT_EQ(core_->UnRegisterRequestObserver(recorder_, "com.nav"), NAV_INFO_SUCCESS);
    EXPECT_EQ(core_->UnRegisterRequestObserver(recorder_, "com.nav"), NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(core_->QueryNavigationInfo(sys_, "com.nav", NAVIGATION_STATUS, {}, callback), NAV_INFO_SUCCESS);
    executor_->RunAll();
    EXPECT_TRUE(observer_->seen.empty());
    EXPECT_EQ(core_->RegisterRequestObserver(recorder_, "com.nav", nullptr), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->RegisterRequestObserver(recorder_, "", observer_), NAV_INFO_ERR_INVALID_PARAM);
}

TEST(CoreObserverDelayTest, ASlowObserverDoesNotDelayTheRequest)
{
    auto core = MakeCore(std::make_shared<WorkerPool>(2));
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
    listener->answerAtOnce = [](const HoldingSystemListener::Request& request) {
        request.callback->Callback(Answer(0, "ok"));
    };
    ASSERT_EQ(core->RegisterSystemNavigationListener(MakeCaller("com.nav", 1), listener), NAV_INFO_SUCCESS);
    sptr<RecordingObserver> slow = new RecordingObserver();
    slow->blocking = true;
    ASSERT_EQ(core->RegisterRequestObserver(MakeCaller("com.recorder", 3), "com.nav", slow), NAV_INFO_SUCCESS);

    std::promise<ResultData> answered;
    struct Promising : MapCallback {
        explicit Promising(std::promise<ResultData>& p) : promise(p) {}
        void Callback(ResultData data) override { promise.set_value(std::move(data)); }
        std::promise<ResultData>& promise;
    };
    sptr<IMapCallback> callback = new Promising(answered);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(core->QueryNavigationInfo(MakeCaller("com.sys", 2), "com.nav", NAVIGATION_STATUS, {}, callback),
        NAV_INFO_SUCCESS);
    auto future = answered.get_future();
    ASSERT_EQ(future.wait_for(std::chrono::seconds(1)), std::future_status::ready)
        << "the requester waited for the observer";
    EXPECT_EQ(future.get().message, "ok");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    slow->Release();
}

} // namespace
} // namespace OHOS::NavigationInfoService
