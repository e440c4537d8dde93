// The service stub and proxy pair over a real socket: publishing, following,
// queries and commands between connections, policy results, and the identity
// check at the handshake.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "ipc_limits.h"

#include "daemon_fixture.h"
#include "listener_proxies.h"
#include "message_parcel.h"
#include "nav_info_errors.h"
#include "nav_info_service_ipc.h"
#include "record_marshalling.h"
#include "record_samples.h"
#include "request_observer.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;

TEST_F(DaemonTest, StatusAndMetadataReachAFollowerOfAnotherConnectionOnAnIpcThread)
{
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<RecordingStatusListener> statusListener = new RecordingStatusListener();
    sptr<RecordingMetadataListener> metadataListener = new RecordingMetadataListener();
    ASSERT_EQ(sys->RegisterNavigationStatusListener(MAP, statusListener), NAV_INFO_SUCCESS);
    ASSERT_EQ(sys->RegisterNavigationMetadataListener(MAP, metadataListener), NAV_INFO_SUCCESS);

    const NavigationStatus status = StatusSamples()[1];
    const NavigationMetadata metadata = MetadataSamples()[1];
    ASSERT_EQ(nav->UpdateNavigationStatus(status), NAV_INFO_SUCCESS);
    ASSERT_EQ(nav->UpdateNavigationMetadata(metadata), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return statusListener->Count() == 1 && metadataListener->Count() == 1; }));

    auto statusCall = statusListener->Calls()[0];
    EXPECT_EQ(statusCall.bundle, MAP);
    EXPECT_NE(statusCall.thread, std::this_thread::get_id());
    EXPECT_GT(statusCall.status.updateTime, 0); // stamped by the daemon
    NavigationStatus expected = status;
    expected.updateTime = statusCall.status.updateTime;
    EXPECT_TRUE(Same(statusCall.status, expected));

    auto metadataCall = metadataListener->Calls()[0];
    EXPECT_EQ(metadataCall.bundle, MAP);
    EXPECT_TRUE(Same(metadataCall.metadata, metadata));

    NavigationStatus read;
    ASSERT_EQ(sys->GetNavigationStatus(MAP, read), NAV_INFO_SUCCESS);
    EXPECT_TRUE(Same(read, expected));
}

TEST_F(DaemonTest, AFollowerSeesStatusesInPublishingOrder)
{
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<RecordingStatusListener> listener = new RecordingStatusListener();
    ASSERT_EQ(sys->RegisterNavigationStatusListener(MAP, listener), NAV_INFO_SUCCESS);
    constexpr int COUNT = 200;
    for (int i = 0; i < COUNT; ++i) {
        NavigationStatus status;
        status.routeIndex = i;
        ASSERT_EQ(nav->UpdateNavigationStatus(status), NAV_INFO_SUCCESS);
    }
    ASSERT_TRUE(WaitUntil([&] { return listener->Count() == COUNT; }));
    auto calls = listener->Calls();
    for (int i = 0; i < COUNT; ++i) {
        ASSERT_EQ(calls[i].status.routeIndex, i);
    }
}

// Near the frame limit: a status whose publishing request fits but whose
// notification (a longer token, the bundle name, the number) would not is
// refused with 1001 and not stored; one that just fits reaches the follower.
TEST_F(DaemonTest, AStatusWhoseNotificationCannotFitIsRefusedAtPublishing)
{
    auto statusOfSize = [](size_t lastName) {
        NavigationStatus status;
        for (int i = 0; i < 16; ++i) {
            status.passPoint.push_back(Location{std::string(64000, 'p'), 0, 0, 0, 0});
        }
        status.passPoint.push_back(Location{std::string(lastName, 'q'), 0, 0, 0, 0});
        return status;
    };
    auto requestFits = [](const NavigationStatus& status) {
        MessageParcel request;
        return request.WriteInterfaceToken(NavInfoServiceDescriptor()) &&
            Marshalling::WriteNavigationStatus(request, status);
    };
    // The longest last name (a multiple of 4) for which fits holds.
    auto longest = [&](auto fits) {
        size_t low = 0;
        size_t high = 64000 / 4;
        while (low < high) {
            size_t middle = (low + high + 1) / 2;
            if (fits(statusOfSize(middle * 4))) {
                low = middle;
            } else {
                high = middle - 1;
            }
        }
        return low * 4;
    };
    const size_t lastName = longest(requestFits);
    const NavigationStatus tooLarge = statusOfSize(lastName);
    ASSERT_FALSE(StatusNotificationFits(tooLarge, MAP)) << "the largest request must not fit as a notification";
    const size_t fitting = longest([](const NavigationStatus& s) { return StatusNotificationFits(s, MAP); });

    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<RecordingStatusListener> listener = new RecordingStatusListener();
    ASSERT_EQ(sys->RegisterNavigationStatusListener(MAP, listener), NAV_INFO_SUCCESS);
    ASSERT_EQ(nav->UpdateNavigationStatus(statusOfSize(fitting)), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return listener->Count() == 1; }));
    EXPECT_EQ(listener->Calls()[0].status.passPoint.back().name.size(), fitting);
    EXPECT_EQ(nav->UpdateNavigationStatus(tooLarge), NAV_INFO_ERR_INVALID_PARAM);
    NavigationStatus read;
    ASSERT_EQ(sys->GetNavigationStatus(MAP, read), NAV_INFO_SUCCESS);
    EXPECT_EQ(read.passPoint.back().name.size(), fitting) << "the refused status was not stored";
}

TEST_F(DaemonTest, UnfollowingStopsDeliveries)
{
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<RecordingStatusListener> listener = new RecordingStatusListener();
    ASSERT_EQ(sys->RegisterNavigationStatusListener(MAP, listener), NAV_INFO_SUCCESS);
    ASSERT_EQ(sys->UnRegisterNavigationStatusListener(MAP), NAV_INFO_SUCCESS);
    EXPECT_EQ(sys->UnRegisterNavigationStatusListener(MAP), NAV_INFO_ERR_NOT_FOUND);
    ASSERT_EQ(nav->UpdateNavigationStatus(NavigationStatus()), NAV_INFO_SUCCESS);
    // A later follower of the same connection still gets its delivery, so the first had its chance.
    sptr<RecordingMetadataListener> probe = new RecordingMetadataListener();
    ASSERT_EQ(sys->RegisterNavigationMetadataListener(MAP, probe), NAV_INFO_SUCCESS);
    ASSERT_EQ(nav->UpdateNavigationMetadata(NavigationMetadata()), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return probe->Count() == 1; }));
    EXPECT_EQ(listener->Count(), 0u);
}

TEST_F(DaemonTest, QueriesAndCommandsAreAnsweredAcrossConnections)
{
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
    listener->answerAtOnce = [](const HoldingSystemListener::Request& request) {
        ResultData answer = Answer(request.isQuery ? 0 : 7, request.isQuery ? "query" : "command", "type",
            request.type);
        answer.data.SetParam("echo", AAFwk::WantValue::Params(request.params));
        request.callback->Callback(answer);
        request.callback->Callback(Answer(99, "second answer")); // ignored: one answer per request
    };
    ASSERT_EQ(nav->RegisterSystemNavigationListener(listener), NAV_INFO_SUCCESS);

    sptr<RecordingCallback> queryAnswer = new RecordingCallback();
    sptr<RecordingCallback> commandAnswer = new RecordingCallback();
    ASSERT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_METADATA, RichParams(), queryAnswer), NAV_INFO_SUCCESS);
    ASSERT_EQ(sys->SendNavigationCmd(MAP, CHANGE_THEME, AAFwk::WantParams(), commandAnswer), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return queryAnswer->Count() == 1 && commandAnswer->Count() == 1; }));

    ResultData query = queryAnswer->First();
    EXPECT_EQ(query.code, 0);
    EXPECT_EQ(query.message, "query");
    ASSERT_NE(query.data.GetParam("type"), nullptr);
    EXPECT_EQ(query.data.GetParam("type")->GetInt(), NAVIGATION_METADATA);
    ASSERT_NE(query.data.GetParam("echo"), nullptr);
    EXPECT_EQ(query.data.GetParam("echo")->GetParams(), RichParams());
    EXPECT_EQ(commandAnswer->First().code, 7);
    EXPECT_EQ(commandAnswer->First().data.GetParam("type")->GetInt(), CHANGE_THEME);

    ASSERT_TRUE(WaitUntil([&] { return sys->OutstandingRequestCount() == 0; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(queryAnswer->Count(), 1u);
    EXPECT_EQ(daemon_->Core().OutstandingRequestCount(), 0u);
}

// Keeps what the daemon tells an observer of another connection.
class ObservationLog : public RequestObserverStub {
public:
    void OnRequestObserved(const RequestObservation& observation, const std::string& bundle) override
    {
        std::lock_guard<std::mutex> lock(mutex_);
        seen_.push_back(observation);
        bundles_.push_back(bundle);
    }
    std::vector<RequestObservation> Seen()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return seen_;
    }

private:
    std::mutex mutex_;
    std::vector<RequestObservation> seen_;
    std::vector<std::string> bundles_;
};

TEST_F(DaemonTest, AnObserverOfAnotherConnectionSeesEachRequestAndItsAnswerInOrder)
{
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    auto recorder = Client(DASH);
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
    listener->answerAtOnce = [](const HoldingSystemListener::Request& request) {
        request.callback->Callback(
            Answer(request.isQuery ? 0 : 7, request.isQuery ? "query" : "command", "type", request.type));
    };
    ASSERT_EQ(nav->RegisterSystemNavigationListener(listener), NAV_INFO_SUCCESS);
    sptr<ObservationLog> observer = new ObservationLog();
    EXPECT_EQ(nav->RegisterRequestObserver(MAP, observer), NAV_INFO_ERR_NOT_SYSTEM_APP);
    ASSERT_EQ(recorder->RegisterRequestObserver(MAP, observer), NAV_INFO_SUCCESS);

    sptr<RecordingCallback> queryAnswer = new RecordingCallback();
    sptr<RecordingCallback> commandAnswer = new RecordingCallback();
    ASSERT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_METADATA, RichParams(), queryAnswer), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return queryAnswer->Count() == 1; }));
    ASSERT_EQ(sys->SendNavigationCmd(MAP, CHANGE_THEME, {}, commandAnswer), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return observer->Seen().size() == 4; }));

    const auto seen = observer->Seen();
    EXPECT_FALSE(seen[0].answered);
    EXPECT_EQ(seen[0].requester, DASH);
    EXPECT_EQ(seen[0].kind, RequestObservation::Kind::QUERY);
    EXPECT_EQ(seen[0].type, NAVIGATION_METADATA);
    EXPECT_EQ(seen[0].params, RichParams());
    EXPECT_TRUE(seen[1].answered);
    EXPECT_EQ(seen[1].requestId, seen[0].requestId);
    EXPECT_EQ(seen[1].answer.message, "query");
    EXPECT_EQ(seen[1].answer.data.GetParam("type")->GetInt(), NAVIGATION_METADATA);
    EXPECT_EQ(seen[2].kind, RequestObservation::Kind::COMMAND);
    EXPECT_EQ(seen[2].type, CHANGE_THEME);
    EXPECT_EQ(seen[3].requestId, seen[2].requestId);
    EXPECT_EQ(seen[3].answer.code, 7);

    ASSERT_EQ(recorder->UnRegisterRequestObserver(MAP), NAV_INFO_SUCCESS);
    EXPECT_EQ(recorder->UnRegisterRequestObserver(MAP), NAV_INFO_ERR_NOT_FOUND);
}

// Every request hands the navigation client one callback object. Keeping
// answered callbacks (as a garbage-collected application does) must not use
// up the connection's object handles.
TEST_F(DaemonTest, MoreRequestsThanObjectHandlesAreAnsweredWhileTheApplicationKeepsItsCallbacks)
{
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<HoldingSystemListener> listener = new HoldingSystemListener(); // keeps every callback
    listener->answerAtOnce = [](const HoldingSystemListener::Request& request) {
        request.callback->Callback(Answer(0, "ok"));
    };
    ASSERT_EQ(nav->RegisterSystemNavigationListener(listener), NAV_INFO_SUCCESS);
    const size_t count = kMaxExportedHandlesPerConnection + 300;
    for (size_t i = 0; i < count; ++i) {
        sptr<RecordingCallback> answer = new RecordingCallback();
        ASSERT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, answer), NAV_INFO_SUCCESS) << i;
        ASSERT_TRUE(WaitUntil([&] { return answer->Count() == 1; })) << i;
        ASSERT_EQ(answer->First().code, 0) << i;
    }
}

// A flood of queries from one requester: beyond its share (outstanding
// requests) it is refused 1006 at once; the navigation application is handed
// only DEFAULT_MAX_IN_FLIGHT_PER_LISTENER at a time and keeps its connection;
// the others wait in the daemon, taking turns with another requester, and
// every accepted query is answered exactly once.
TEST_F(DaemonTest, AQueryFloodIsPacedToTheNavigationApplicationAndEveryAcceptedQueryIsAnsweredOnce)
{
    auto nav = Client(MAP);
    auto flooding = Client(DASH);
    auto other = Client(DASH);
    sptr<HoldingSystemListener> listener = new HoldingSystemListener(); // answered by the test
    ASSERT_EQ(nav->RegisterSystemNavigationListener(listener), NAV_INFO_SUCCESS);
    const uint64_t navConnection = nav->ConnectionGeneration();
    const size_t share = DEFAULT_MAX_OUTSTANDING_REQUESTS;
    std::vector<sptr<RecordingCallback>> accepted;
    size_t refused = 0;
    for (size_t i = 0; i < share + 100; ++i) {
        sptr<RecordingCallback> answer = new RecordingCallback();
        int32_t result = flooding->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, answer);
        if (result == NAV_INFO_SUCCESS) {
            accepted.push_back(answer);
        } else {
            ASSERT_EQ(result, NAV_INFO_ERR_TOO_MANY_REQUESTS);
            ++refused;
        }
    }
    EXPECT_EQ(accepted.size(), share);
    EXPECT_EQ(refused, 100u);
    AAFwk::WantParams fromOther;
    fromOther.SetParam("from", AAFwk::WantValue::String("other"));
    sptr<RecordingCallback> otherAnswer = new RecordingCallback();
    ASSERT_EQ(other->QueryNavigationInfo(MAP, NAVIGATION_STATUS, fromOther, otherAnswer), NAV_INFO_SUCCESS);

    ASSERT_TRUE(WaitUntil([&] { return listener->Count() == DEFAULT_MAX_IN_FLIGHT_PER_LISTENER; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(listener->Count(), DEFAULT_MAX_IN_FLIGHT_PER_LISTENER) << "no more than its share in flight";
    // Each answer lets the next waiting request out; the other requester's
    // turn comes second.
    for (size_t answered = 0; answered < share + 1; ++answered) {
        ASSERT_TRUE(WaitUntil([&] { return listener->Count() > answered; })) << answered;
        listener->CallbackAt(answered)->Callback(Answer(0, "ok"));
    }
    {
        std::lock_guard<std::mutex> lock(listener->mutex);
        EXPECT_NE(listener->requests[DEFAULT_MAX_IN_FLIGHT_PER_LISTENER + 1].params.GetParam("from"), nullptr);
    }
    accepted.push_back(otherAnswer);
    ASSERT_TRUE(WaitUntil(
        [&] { return std::all_of(accepted.begin(), accepted.end(), [](const auto& a) { return a->Count() >= 1; }); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    for (const auto& answer : accepted) {
        ASSERT_EQ(answer->Count(), 1u);
        EXPECT_EQ(answer->First().code, 0);
    }
    EXPECT_EQ(nav->ConnectionGeneration(), navConnection) << "the navigation application stayed connected";
    EXPECT_EQ(daemon_->Core().OutstandingRequestCount(), 0u);
}

TEST_F(DaemonTest, ArgumentResultsComeFromTheCoreAsInProcess)
{
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<RecordingCallback> never = new RecordingCallback();
    EXPECT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, never), NAV_INFO_ERR_NOT_FOUND); // no listener
    EXPECT_EQ(nav->RegisterSystemNavigationListener(nullptr), NAV_INFO_ERR_INVALID_PARAM);
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
    ASSERT_EQ(nav->RegisterSystemNavigationListener(listener), NAV_INFO_SUCCESS);
    EXPECT_EQ(sys->QueryNavigationInfo(MAP, static_cast<QueryType>(99), {}, never), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(sys->SendNavigationCmd(MAP, static_cast<CommandType>(-1), {}, never), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, nullptr), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(sys->QueryNavigationInfo("", NAVIGATION_STATUS, {}, never), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(sys->RegisterNavigationStatusListener(MAP, nullptr), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(sys->RegisterNavigationStatusListener(std::string(64 * 1024, 'm'), new RecordingStatusListener()),
        NAV_INFO_ERR_INVALID_PARAM)
        << "a name the wire carries but no bundle can have";
    NavigationStatus read;
    EXPECT_EQ(sys->GetNavigationStatus(DASH, read), NAV_INFO_ERR_NOT_FOUND);
    // Parameters over the record limits never leave the client.
    EXPECT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, NestedParams(33), never), NAV_INFO_ERR_INVALID_PARAM);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(never->Count(), 0u);
    EXPECT_EQ(listener->Count(), 0u);
    EXPECT_EQ(sys->OutstandingRequestCount(), 0u);
}

TEST_F(DaemonTest, PolicyRefusalsAre1005And1015)
{
    auto guest = Client(GUEST);
    auto noPerm = Client(NO_PERM);
    auto map = Client(MAP);
    sptr<RecordingCallback> never = new RecordingCallback();
    NavigationStatus read;
    EXPECT_EQ(guest->UpdateNavigationStatus(NavigationStatus()), NAV_INFO_ERR_NO_PERMISSION);
    EXPECT_EQ(guest->RegisterSystemNavigationListener(new HoldingSystemListener()), NAV_INFO_ERR_NO_PERMISSION);
    EXPECT_EQ(guest->GetNavigationStatus(MAP, read), NAV_INFO_ERR_NOT_SYSTEM_APP);
    EXPECT_EQ(guest->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, never), NAV_INFO_ERR_NOT_SYSTEM_APP);
    EXPECT_EQ(map->SendNavigationCmd(MAP, GO_HOME, {}, never), NAV_INFO_ERR_NOT_SYSTEM_APP);
    EXPECT_EQ(map->RegisterNavigationMetadataListener(MAP, new RecordingMetadataListener()),
        NAV_INFO_ERR_NOT_SYSTEM_APP);
    EXPECT_EQ(noPerm->GetNavigationStatus(MAP, read), NAV_INFO_ERR_NO_PERMISSION);
    EXPECT_EQ(noPerm->UpdateNavigationMetadata(NavigationMetadata()), NAV_INFO_ERR_NO_PERMISSION);
    // Access is checked before arguments, over the wire as in-process.
    EXPECT_EQ(guest->QueryNavigationInfo("", static_cast<QueryType>(99), {}, nullptr), NAV_INFO_ERR_NOT_SYSTEM_APP);
    EXPECT_EQ(never->Count(), 0u);
    EXPECT_EQ(guest->OutstandingRequestCount(), 0u);
}

TEST_F(DaemonTest, TheOutstandingRequestLimitOfAConnectionAnswers1006)
{
    StopDaemon();
    config_.maxOutstandingPerClient = 3;
    StartDaemon();
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    auto other = Client(DASH);
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
    ASSERT_EQ(nav->RegisterSystemNavigationListener(listener), NAV_INFO_SUCCESS);
    std::vector<sptr<RecordingCallback>> callbacks;
    for (int i = 0; i < 4; ++i) {
        callbacks.push_back(new RecordingCallback());
        EXPECT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, callbacks.back()),
            i < 3 ? NAV_INFO_SUCCESS : NAV_INFO_ERR_TOO_MANY_REQUESTS);
    }
    // The limit is per connection: another one of the same bundle still gets through.
    sptr<RecordingCallback> fromOther = new RecordingCallback();
    EXPECT_EQ(other->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, fromOther), NAV_INFO_SUCCESS);
    EXPECT_EQ(sys->OutstandingRequestCount(), 3u);
    ASSERT_TRUE(WaitUntil([&] { return listener->Count() == 4; }));
    listener->CallbackAt(0)->Callback(Answer(0, "first"));
    ASSERT_TRUE(WaitUntil([&] { return callbacks[0]->Count() == 1; }));
    EXPECT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, callbacks[3]), NAV_INFO_SUCCESS);
}

TEST_F(DaemonTest, AClaimIsAcceptedOnlyAsThePolicyAllowsForUidAndToken)
{
    struct Claim {
        std::string bundle;
        std::string token;
        bool accepted;
    };
    const std::vector<Claim> claims = {
        {SECURE, SECURE_TOKEN, true}, {SECURE, "", false}, {SECURE, "guess", false}, {OTHER_UID, "", false},
        {UNLISTED, "", false}, {"", "", false}, {DASH, "any token", true}, // no token needed: one presented is ignored
    };
    for (const Claim& claim : claims) {
        SCOPED_TRACE(claim.bundle + " / " + claim.token);
        auto client = Client(claim.bundle, claim.token);
        NavigationStatus read;
        sptr<RecordingCallback> never = new RecordingCallback();
        if (claim.accepted) {
            EXPECT_EQ(client->GetNavigationStatus(MAP, read), NAV_INFO_ERR_NOT_FOUND);
            EXPECT_EQ(client->UpdateNavigationStatus(NavigationStatus()), NAV_INFO_SUCCESS);
        } else {
            // Every call of a refused connection is answered 1005, and again on retries.
            EXPECT_EQ(client->GetNavigationStatus(MAP, read), NAV_INFO_ERR_NO_PERMISSION);
            EXPECT_EQ(client->UpdateNavigationStatus(NavigationStatus()), NAV_INFO_ERR_NO_PERMISSION);
            EXPECT_EQ(client->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, never), NAV_INFO_ERR_NO_PERMISSION);
            std::this_thread::sleep_for(std::chrono::milliseconds(RETRY_BACKOFF_MIN_MS * 3));
            EXPECT_EQ(client->UnRegisterSystemNavigationListener(), NAV_INFO_ERR_NO_PERMISSION);
            EXPECT_EQ(client->ConnectionGeneration(), 0u);
            EXPECT_EQ(never->Count(), 0u);
        }
    }
}

TEST_F(DaemonTest, AConnectionPublishesOnlyUnderItsVerifiedName)
{
    auto secure = Client(SECURE, SECURE_TOKEN);
    auto dash = Client(DASH);
    sptr<RecordingStatusListener> followsMap = new RecordingStatusListener();
    sptr<RecordingStatusListener> followsSecure = new RecordingStatusListener();
    ASSERT_EQ(dash->RegisterNavigationStatusListener(MAP, followsMap), NAV_INFO_SUCCESS);
    ASSERT_EQ(dash->RegisterNavigationStatusListener(SECURE, followsSecure), NAV_INFO_SUCCESS);
    ASSERT_EQ(secure->UpdateNavigationStatus(NavigationStatus()), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return followsSecure->Count() == 1; }));
    EXPECT_EQ(followsSecure->Calls()[0].bundle, SECURE);
    NavigationStatus read;
    EXPECT_EQ(dash->GetNavigationStatus(MAP, read), NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(followsMap->Count(), 0u);
}

} // namespace
} // namespace OHOS::NavigationInfoService
