// Connections ending and the daemon going away: requests settle exactly
// once, a restarted daemon gets every registration back without the
// application, and hostile or broken peers lose only their own connection.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "daemon_fixture.h"
#include "hilog/log_control.h"
#include "ipc_test_util.h"
#include "ipc_client.h"
#include "ipc_errors.h"
#include "message_parcel.h"
#include "nav_info_errors.h"
#include "nav_info_service_ipc.h"
#include "nav_info_service_stub.h"
#include "record_marshalling.h"
#include "request_observer.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;

TEST_F(DaemonTest, ARequestWhoseNavigationClientGoesAwayIsAnswered1003Once)
{
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
    ASSERT_EQ(nav->RegisterSystemNavigationListener(listener), NAV_INFO_SUCCESS);
    sptr<RecordingCallback> answer = new RecordingCallback();
    ASSERT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, answer), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return listener->Count() == 1; }));

    nav.reset(); // the navigation application's connection ends
    ASSERT_TRUE(WaitUntil([&] { return answer->Count() == 1; }));
    EXPECT_EQ(answer->First().code, NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(answer->First().message, "Not found");
    // Its listener went with it.
    sptr<RecordingCallback> later = new RecordingCallback();
    EXPECT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, later), NAV_INFO_ERR_NOT_FOUND);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(answer->Count(), 1u);
    EXPECT_EQ(sys->OutstandingRequestCount(), 0u);
}

TEST_F(DaemonTest, ARequesterThatGoesAwayLeavesNothingOutstanding)
{
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
    ASSERT_EQ(nav->RegisterSystemNavigationListener(listener), NAV_INFO_SUCCESS);
    ASSERT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, new RecordingCallback()), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return listener->Count() == 1; }));
    EXPECT_EQ(daemon_->Core().OutstandingRequestCount(), 1u);
    sys.reset();
    ASSERT_TRUE(WaitUntil([&] { return daemon_->Core().OutstandingRequestCount() == 0; }));
    // The navigation application answering late is harmless.
    listener->CallbackAt(0)->Callback(Answer(0, "late"));
    EXPECT_EQ(nav->UpdateNavigationStatus(NavigationStatus()), NAV_INFO_SUCCESS);
}

TEST_F(DaemonTest, FollowersOfAClosedConnectionAreDropped)
{
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<RecordingStatusListener> listener = new RecordingStatusListener();
    ASSERT_EQ(sys->RegisterNavigationStatusListener(MAP, listener), NAV_INFO_SUCCESS);
    sys.reset();
    // The daemon no longer holds the listener's proxy, so the stub is ours alone again.
    ASSERT_TRUE(WaitUntil([&] { return listener->GetSptrRefCount() == 1; }));
    EXPECT_EQ(nav->UpdateNavigationStatus(NavigationStatus()), NAV_INFO_SUCCESS);
}

TEST_F(DaemonTest, ARestartedDaemonGetsRegistrationsBackAndOpenRequestsSettle1002Once)
{
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
    sptr<RecordingStatusListener> follower = new RecordingStatusListener();
    ASSERT_EQ(nav->RegisterSystemNavigationListener(listener), NAV_INFO_SUCCESS);
    ASSERT_EQ(sys->RegisterNavigationStatusListener(MAP, follower), NAV_INFO_SUCCESS);
    sptr<RecordingCallback> open = new RecordingCallback();
    ASSERT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, open), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return listener->Count() == 1; }));
    const uint64_t firstGeneration = sys->ConnectionGeneration();

    StopDaemon();
    ASSERT_TRUE(WaitUntil([&] { return open->Count() == 1; }));
    EXPECT_EQ(open->First().code, NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    EXPECT_EQ(open->First().message, "Service unavailable");
    EXPECT_NE(open->threads[0], std::this_thread::get_id());

    // Meanwhile every call fails fast with 1002; a refused request is never answered.
    sptr<RecordingCallback> refused = new RecordingCallback();
    EXPECT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, refused), NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    NavigationStatus whileAway;
    whileAway.routeIndex = 7;
    EXPECT_EQ(nav->UpdateNavigationStatus(whileAway), NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    NavigationStatus read;
    EXPECT_EQ(sys->GetNavigationStatus(MAP, read), NAV_INFO_ERR_SERVICE_UNAVAILABLE);

    StartDaemon();
    // Both clients have registrations, so both come back without any call,
    // and the status published while away reaches the follower.
    ASSERT_TRUE(WaitUntil([&] { return follower->Count() == 1; }));
    EXPECT_EQ(follower->Calls()[0].status.routeIndex, 7);
    // The generation is published once the registrations are replayed, and a
    // replayed follow can deliver before that.
    EXPECT_TRUE(WaitUntil([&] { return sys->ConnectionGeneration() > firstGeneration; }));
    ASSERT_EQ(sys->GetNavigationStatus(MAP, read), NAV_INFO_SUCCESS);
    EXPECT_EQ(read.routeIndex, 7);

    NavigationStatus status;
    status.routeIndex = 42;
    ASSERT_EQ(nav->UpdateNavigationStatus(status), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return follower->Count() == 2; }));
    EXPECT_EQ(follower->Calls()[1].status.routeIndex, 42);

    listener->answerAtOnce = [](const HoldingSystemListener::Request& request) {
        request.callback->Callback(Answer(0, "after restart"));
    };
    sptr<RecordingCallback> again = new RecordingCallback();
    ASSERT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, again), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return again->Count() == 1; }));
    EXPECT_EQ(again->First().message, "after restart");

    // The old request's callback lives on in the navigation client; answering it reaches nobody.
    listener->CallbackAt(0)->Callback(Answer(0, "too late"));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(open->Count(), 1u);
    EXPECT_EQ(refused->Count(), 0u);
}

// What a restarted daemon gets back from each shape of client: a client with
// registrations comes back by itself, one with only records at its next call,
// and both bring everything they hold.
// Counts what the daemon tells an observer.
class CountingObserver : public RequestObserverStub {
public:
    void OnRequestObserved(const RequestObservation&, const std::string&) override { ++count_; }
    int Count() const { return count_.load(); }

private:
    std::atomic<int> count_{0};
};

TEST_F(DaemonTest, ARestartedDaemonGetsBackWhatEachShapeOfClientHolds)
{
    const struct {
        const char* name;
        bool listens;   // the navigation client registers a system navigation listener
        bool publishes; // the navigation client publishes a status
        bool follows;   // the system client follows the navigation client's status
        bool observes;  // a recorder observes the requests to the navigation client
    } shapes[] = {
        {"navigation app with a system listener", true, true, false, false},
        {"publish-only navigation app", false, true, false, false},
        {"follow-only system app", false, false, true, false},
        {"request observer beside a serving navigation app", true, false, false, true},
    };
    for (const auto& shape : shapes) {
        SCOPED_TRACE(shape.name);
        auto nav = Client(MAP);
        auto sys = Client(DASH);
        auto recorder = Client(DASH);
        sptr<HoldingSystemListener> listener = new HoldingSystemListener();
        listener->answerAtOnce = [](const HoldingSystemListener::Request& request) {
            request.callback->Callback(Answer(0, "restored"));
        };
        sptr<CountingObserver> observer = new CountingObserver();
        sptr<RecordingStatusListener> follower = new RecordingStatusListener();
        NavigationStatus status;
        status.routeIndex = 7;
        if (shape.listens) {
            ASSERT_EQ(nav->RegisterSystemNavigationListener(listener), NAV_INFO_SUCCESS);
        }
        if (shape.publishes) {
            ASSERT_EQ(nav->UpdateNavigationStatus(status), NAV_INFO_SUCCESS);
        }
        if (shape.follows) {
            ASSERT_EQ(sys->RegisterNavigationStatusListener(MAP, follower), NAV_INFO_SUCCESS);
        }
        if (shape.observes) {
            ASSERT_EQ(recorder->RegisterRequestObserver(MAP, observer), NAV_INFO_SUCCESS);
        }

        const uint64_t navGeneration = nav->ConnectionGeneration();
        const uint64_t sysGeneration = sys->ConnectionGeneration();
        const uint64_t recorderGeneration = recorder->ConnectionGeneration();
        StopDaemon();
        StartDaemon();
        // A new generation is published once everything is replayed.
        if (shape.listens) {
            ASSERT_TRUE(WaitUntil([&] { return nav->ConnectionGeneration() > navGeneration; }));
        } else if (shape.publishes) {
            // Its next call, of another kind, reconnects it (the first may still find the old connection).
            ASSERT_TRUE(WaitUntil([&] { return nav->UpdateNavigationMetadata({}) == NAV_INFO_SUCCESS; }));
        }
        if (shape.follows) {
            ASSERT_TRUE(WaitUntil([&] { return sys->ConnectionGeneration() > sysGeneration; }));
        }
        if (shape.observes) {
            ASSERT_TRUE(WaitUntil([&] { return recorder->ConnectionGeneration() > recorderGeneration; }));
        }
        NavigationStatus read;
        if (shape.publishes) {
            ASSERT_TRUE(
                WaitUntil([&] { return sys->GetNavigationStatus(MAP, read) != NAV_INFO_ERR_SERVICE_UNAVAILABLE; }));
            ASSERT_EQ(sys->GetNavigationStatus(MAP, read), NAV_INFO_SUCCESS) << "the status is back";
            EXPECT_EQ(read.routeIndex, 7);
        }
        if (shape.listens) {
            sptr<RecordingCallback> answer = new RecordingCallback();
            ASSERT_EQ(sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, answer), NAV_INFO_SUCCESS);
            ASSERT_TRUE(WaitUntil([&] { return answer->Count() == 1; }));
            EXPECT_EQ(answer->First().message, "restored");
        }
        if (shape.observes) {
            // The request and its answer, told to the observer the restarted daemon got back.
            EXPECT_TRUE(WaitUntil([&] { return observer->Count() == 2; })) << observer->Count();
        }
        if (shape.follows) {
            ASSERT_TRUE(WaitUntil([&] { return nav->UpdateNavigationStatus(status) == NAV_INFO_SUCCESS; }));
            // The previous shape's navigation client going may come first, as UNAVAILABLE.
            EXPECT_TRUE(WaitUntil([&] {
                for (const auto& call : follower->Calls()) {
                    if (call.status.routeIndex == 7) {
                        return true;
                    }
                }
                return false;
            }));
        }
    }
}

TEST_F(DaemonTest, EveryRequestSettlesExactlyOnceWhileTheDaemonRestartsUnderLoad)
{
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
    listener->answerAtOnce = [](const HoldingSystemListener::Request& request) {
        request.callback->Callback(Answer(0, "answer"));
    };
    ASSERT_EQ(nav->RegisterSystemNavigationListener(listener), NAV_INFO_SUCCESS);

    struct Sent {
        sptr<RecordingCallback> callback;
        int32_t result;
    };
    constexpr int THREADS = 4;
    constexpr int PER_THREAD = 150;
    std::vector<std::vector<Sent>> sent(THREADS);
    std::vector<std::thread> senders;
    senders.reserve(THREADS);
    for (int t = 0; t < THREADS; ++t) {
        senders.emplace_back([&, t] {
            for (int i = 0; i < PER_THREAD; ++i) {
                sptr<RecordingCallback> callback = new RecordingCallback();
                int32_t result = sys->QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, callback);
                sent[t].push_back({callback, result});
                std::this_thread::sleep_for(std::chrono::microseconds(500));
            }
        });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
    StopDaemon();
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
    StartDaemon();
    for (auto& sender : senders) {
        sender.join();
    }

    size_t accepted = 0;
    size_t refused = 0;
    for (const auto& list : sent) {
        for (const Sent& s : list) {
            if (s.result == NAV_INFO_SUCCESS) {
                ++accepted;
                ASSERT_TRUE(WaitUntil([&] { return s.callback->Count() >= 1; }));
                const int32_t code = s.callback->First().code;
                EXPECT_TRUE(code == 0 || code == NAV_INFO_ERR_SERVICE_UNAVAILABLE) << code;
            } else {
                ++refused;
                // 1003: the requester was back before the navigation client's listener.
                EXPECT_TRUE(s.result == NAV_INFO_ERR_SERVICE_UNAVAILABLE || s.result == NAV_INFO_ERR_NOT_FOUND)
                    << s.result;
            }
        }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    for (const auto& list : sent) {
        for (const Sent& s : list) {
            EXPECT_EQ(s.callback->Count(), s.result == NAV_INFO_SUCCESS ? 1u : 0u);
        }
    }
    EXPECT_GT(accepted, 0u);
    EXPECT_EQ(sys->OutstandingRequestCount(), 0u);
    RecordProperty("accepted", static_cast<int>(accepted));
    RecordProperty("refused", static_cast<int>(refused));
}

TEST_F(DaemonTest, AClientWithoutRegistrationsReconnectsOnItsNextCall)
{
    auto sys = Client(DASH);
    NavigationStatus read;
    ASSERT_EQ(sys->GetNavigationStatus(MAP, read), NAV_INFO_ERR_NOT_FOUND);
    StopDaemon();
    ASSERT_TRUE(WaitUntil([&] { return sys->ConnectionGeneration() == 0; }));
    StartDaemon();
    ASSERT_TRUE(WaitUntil([&] { return sys->GetNavigationStatus(MAP, read) == NAV_INFO_ERR_NOT_FOUND; }));
    EXPECT_GT(sys->ConnectionGeneration(), 0u);
}

// What the log says when a client reaches the daemon after failing to: a
// first connection is "connected", only one that was up before is "back".
TEST_F(DaemonTest, TheLogSaysBackOnlyForAConnectionThatWasUpBefore)
{
    struct Row {
        bool upBefore;      // the client was connected before the daemon went away
        const char* wanted; // the warning that tells the connection
        const char* absent;
    };
    const Row rows[] = {
        {true, "is back (generation", "connected to"},
        {false, "connected to", "is back"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.upBefore ? "up before" : "first connection");
        std::mutex mutex;
        std::vector<std::string> warnings;
        HiviewDFX::SetLogSink([&](const HiviewDFX::LogRecord& record) {
            if (record.level >= LOG_WARN && record.tag == "NavInfoClient") {
                std::lock_guard<std::mutex> lock(mutex);
                warnings.push_back(record.message);
            }
        });
        auto sys = Client(DASH);
        NavigationStatus read;
        if (row.upBefore) {
            ASSERT_EQ(sys->GetNavigationStatus(MAP, read), NAV_INFO_ERR_NOT_FOUND);
        }
        StopDaemon();
        ASSERT_TRUE(WaitUntil([&] { return sys->ConnectionGeneration() == 0; }));
        EXPECT_EQ(sys->GetNavigationStatus(MAP, read), NAV_INFO_ERR_SERVICE_UNAVAILABLE);
        StartDaemon();
        ASSERT_TRUE(WaitUntil([&] { return sys->GetNavigationStatus(MAP, read) == NAV_INFO_ERR_NOT_FOUND; }));
        HiviewDFX::SetLogSink(nullptr);
        std::string told;
        for (const std::string& line : warnings) {
            told += line + "\n";
        }
        EXPECT_NE(told.find(row.wanted), std::string::npos) << told;
        EXPECT_EQ(told.find(row.absent), std::string::npos) << told;
    }
}

TEST_F(DaemonTest, UnregisteringWhileTheDaemonIsAwayIsNotUndoneByTheRestart)
{
    auto nav = Client(MAP);
    auto sys = Client(DASH);
    sptr<RecordingStatusListener> kept = new RecordingStatusListener();
    sptr<RecordingStatusListener> dropped = new RecordingStatusListener();
    ASSERT_EQ(sys->RegisterNavigationStatusListener(MAP, kept), NAV_INFO_SUCCESS);
    ASSERT_EQ(sys->RegisterNavigationStatusListener(SECURE, dropped), NAV_INFO_SUCCESS);
    StopDaemon();
    EXPECT_EQ(sys->UnRegisterNavigationStatusListener(SECURE), NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    StartDaemon();
    ASSERT_TRUE(WaitUntil([&] { return sys->ConnectionGeneration() > 0; }));
    auto secure = Client(SECURE, SECURE_TOKEN);
    ASSERT_EQ(secure->UpdateNavigationStatus(NavigationStatus()), NAV_INFO_SUCCESS);
    ASSERT_EQ(nav->UpdateNavigationStatus(NavigationStatus()), NAV_INFO_SUCCESS);
    ASSERT_TRUE(WaitUntil([&] { return kept->Count() == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(dropped->Count(), 0u);
}

TEST_F(DaemonTest, MalformedRequestsAreRefusedAndRepeatedAbuseClosesOnlyThatConnection)
{
    IpcConnectOptions options;
    options.bundleName = DASH;
    int status = IPC_OK;
    sptr<IRemoteObject> raw = IpcConnect(socketPath_, options, &status);
    ASSERT_NE(raw, nullptr) << status;
    auto good = Client(MAP);

    auto send = [&](uint32_t code, const std::function<void(MessageParcel&)>& fill) {
        MessageParcel data;
        MessageParcel reply;
        MessageOption option;
        fill(data);
        return raw->SendRequest(code, data, reply, option);
    };
    const auto token = [](MessageParcel& p) { p.WriteInterfaceToken(NavInfoServiceDescriptor()); };
    // A well-formed request first: the connection works.
    EXPECT_EQ(send(SVC_GET_NAVIGATION_STATUS,
                  [&](MessageParcel& p) {
                      token(p);
                      p.WriteString(MAP);
                  }),
        IPC_OK);

    EXPECT_EQ(send(SVC_UPDATE_NAVIGATION_STATUS,
                  [&](MessageParcel& p) {
                      token(p);
                      p.WriteInt32(1);
                  }),
        IPC_ERR_INVALID_DATA); // truncated record
    EXPECT_EQ(send(SVC_GET_NAVIGATION_STATUS, [](MessageParcel& p) { p.WriteInterfaceToken(u"other"); }),
        IPC_ERR_INVALID_DATA);
    EXPECT_EQ(send(99, token), IPC_ERR_UNKNOWN_TRANSACTION);
    EXPECT_EQ(send(SVC_QUERY_NAVIGATION_INFO,
                  [&](MessageParcel& p) {
                      token(p);
                      p.WriteString(MAP);
                      p.WriteInt32(0);
                      p.WriteInt32(0); // empty parameters
                      p.WriteInt32(2); // neither absent nor present
                  }),
        IPC_ERR_INVALID_DATA);
    EXPECT_EQ(send(SVC_REGISTER_NAVIGATION_STATUS_LISTENER,
                  [&](MessageParcel& p) {
                      token(p);
                      p.WriteString(std::string(Marshalling::MAX_STRING_BYTES + 1, 'b'));
                  }),
        IPC_ERR_INVALID_DATA);
    EXPECT_FALSE(raw->IsObjectDead());
    EXPECT_EQ(good->UpdateNavigationStatus(NavigationStatus()), NAV_INFO_SUCCESS);

    for (uint32_t i = 5; i < MAX_REFUSED_REQUESTS; ++i) {
        send(SVC_UPDATE_NAVIGATION_METADATA, token);
    }
    ASSERT_TRUE(WaitUntil([&] { return raw->IsObjectDead(); }));
    EXPECT_EQ(good->UpdateNavigationStatus(NavigationStatus()), NAV_INFO_SUCCESS);
}

TEST_F(DaemonTest, GarbageOnTheSocketClosesThatConnectionOnly)
{
    auto good = Client(DASH);
    ASSERT_EQ(good->UpdateNavigationStatus(NavigationStatus()), NAV_INFO_SUCCESS);
    int fd = IpcTest::RawConnect(socketPath_);
    ASSERT_GE(fd, 0);
    const char garbage[] = "GET / HTTP/1.1\r\n\r\n and more bytes that are no frame at all";
    ASSERT_GT(send(fd, garbage, sizeof(garbage), MSG_NOSIGNAL), 0);
    EXPECT_TRUE(IpcTest::PeerClosesWithin(fd, 5000));
    close(fd);
    NavigationStatus read;
    EXPECT_EQ(good->GetNavigationStatus(DASH, read), NAV_INFO_SUCCESS);
}

TEST_F(DaemonTest, StoppingClosesEveryConnectionAndRemovesTheSocket)
{
    auto a = Client(MAP);
    auto b = Client(DASH);
    ASSERT_EQ(a->UpdateNavigationStatus(NavigationStatus()), NAV_INFO_SUCCESS);
    NavigationStatus read;
    ASSERT_EQ(b->GetNavigationStatus(MAP, read), NAV_INFO_SUCCESS);
    EXPECT_EQ(daemon_->ConnectionCount(), 2u);
    StopDaemon();
    EXPECT_NE(access(socketPath_.c_str(), F_OK), 0);
    ASSERT_TRUE(WaitUntil([&] { return a->ConnectionGeneration() == 0 && b->ConnectionGeneration() == 0; }));
}

// --- Without a daemon, and with one that does not answer ---

TEST(RemoteTransportWithoutService, EveryCallFailsFastWith1002)
{
    IpcTest::TempDir dir;
    ServiceEndpoint endpoint;
    endpoint.socketPath = dir.File("nobody.sock");
    endpoint.bundleName = DASH;
    RemoteTransport transport(endpoint);
    sptr<RecordingCallback> never = new RecordingCallback();
    NavigationStatus read;
    EXPECT_EQ(transport.UpdateNavigationStatus(NavigationStatus()), NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    EXPECT_EQ(transport.GetNavigationStatus(MAP, read), NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    EXPECT_EQ(transport.QueryNavigationInfo(MAP, NAVIGATION_STATUS, {}, never), NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    EXPECT_EQ(transport.RegisterNavigationStatusListener(MAP, new RecordingStatusListener()),
        NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    EXPECT_EQ(transport.OutstandingRequestCount(), 0u);
    EXPECT_EQ(never->Count(), 0u);
}

// A socket that accepts connections (the kernel does, from its backlog) but
// never says anything: the handshake times out instead of hanging the call.
TEST(RemoteTransportWithoutService, ASilentServerCostsNoMoreThanTheConnectTimeout)
{
    IpcTest::TempDir dir;
    const std::string path = dir.File("silent.sock");
    int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof(addr.sun_path) - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<struct sockaddr*>(&addr), sizeof(addr)), 0);
    ASSERT_EQ(listen(listener, 8), 0);

    ServiceEndpoint endpoint;
    endpoint.socketPath = path;
    endpoint.bundleName = DASH;
    endpoint.connectTimeoutMs = 300;
    RemoteTransport transport(endpoint);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(transport.UpdateNavigationStatus(NavigationStatus()), NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    // A bound against hanging, far above the 300 ms asked for.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    close(listener);
}

} // namespace
} // namespace OHOS::NavigationInfoService
