// One owner per bundle between the daemon's connections, and what the
// followers see when the owner's connection ends. How an application process
// goes (exit, SIGKILL, closed by the daemon) is in test/js/presence.test.js.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "daemon_fixture.h"
#include "ipc_client.h"
#include "ipc_errors.h"
#include "ipc_object_stub.h"
#include "message_parcel.h"
#include "nav_info_errors.h"
#include "nav_info_service_ipc.h"
#include "record_marshalling.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;

NavigationStatus Navigating(int32_t routeIndex)
{
    NavigationStatus status;
    status.status = 1;
    status.routeIndex = routeIndex;
    status.destLocation.name = "Office";
    return status;
}

TEST_F(DaemonTest, ASecondConnectionOfABundleGets1005UntilTheOwnersConnectionEndsThenTakesOver)
{
    auto owner = Client(MAP);
    auto second = Client(MAP);
    auto dash = Client(DASH);
    sptr<RecordingStatusListener> follower = new RecordingStatusListener();
    ASSERT_EQ(dash->RegisterNavigationStatusListener(MAP, follower), NAV_INFO_SUCCESS);
    ASSERT_EQ(owner->UpdateNavigationStatus(Navigating(3)), NAV_INFO_SUCCESS);

    EXPECT_EQ(second->UpdateNavigationStatus(Navigating(9)), NAV_INFO_ERR_NO_PERMISSION);
    EXPECT_EQ(second->RegisterSystemNavigationListener(new HoldingSystemListener()), NAV_INFO_ERR_NO_PERMISSION);
    ServiceSnapshot snapshot;
    ASSERT_EQ(dash->InspectService(snapshot), NAV_INFO_SUCCESS);
    ASSERT_EQ(snapshot.owners.size(), 2u) << "the owner and one waiter";
    EXPECT_FALSE(snapshot.owners[0].waiting);
    EXPECT_TRUE(snapshot.owners[1].waiting);
    EXPECT_NE(snapshot.owners[0].clientId, snapshot.owners[1].clientId);

    owner.reset(); // its connection ends without a word
    ASSERT_TRUE(WaitUntil([&] {
        auto calls = follower->Calls();
        return !calls.empty() && calls.back().status.status == MAP_STATUS_UNAVAILABLE;
    }));
    NavigationStatus read;
    ASSERT_EQ(dash->GetNavigationStatus(MAP, read), NAV_INFO_SUCCESS);
    EXPECT_EQ(read.status, MAP_STATUS_UNAVAILABLE);
    EXPECT_EQ(read.destLocation.name, "");

    EXPECT_EQ(second->UpdateNavigationStatus(Navigating(9)), NAV_INFO_SUCCESS) << "the waiting one takes over";
    ASSERT_TRUE(WaitUntil([&] { return follower->Last().status.routeIndex == 9; }));
    ASSERT_EQ(dash->InspectService(snapshot), NAV_INFO_SUCCESS);
    ASSERT_EQ(snapshot.owners.size(), 1u);
    EXPECT_FALSE(snapshot.owners[0].waiting);
}

// A keep-alive responder of a process whose IPC threads have stopped: it
// takes the keep-alives and never answers.
class DeafResponder : public IPCObjectStub {
public:
    DeafResponder() : IPCObjectStub(KeepAliveDescriptor()) {}
    int OnRemoteRequest(uint32_t, MessageParcel&, MessageParcel&, MessageOption&) override { return IPC_OK; }
};

class LivenessTest : public DaemonTest {
protected:
    static constexpr std::chrono::milliseconds kLiveness{200};

    void SetUp() override
    {
        DaemonTest::SetUp();
        auto bundles = TestPolicy()->Bundles();
        bundles[MAP].livenessTimeout = kLiveness;
        config_.policy = std::make_shared<const RuleAccessPolicy>(true, std::move(bundles));
        StopDaemon();
        StartDaemon();
    }
};

// How the owner of MAP answers keep-alives, and whether its followers must
// be told it is gone after five liveness time-outs.
TEST_F(LivenessTest, AnOwnerIsGoneOnlyWhenItsKeepAlivesGoUnanswered)
{
    enum class Owner { LIBRARY, DEAF_OFFERED_FIRST, DEAF_OFFERED_AFTER };
    struct Row {
        const char* owner;
        Owner kind;
        bool gone;
    };
    const Row rows[] = {
        {"the client library, whose IPC threads answer", Owner::LIBRARY, false},
        // The client library's order: watched from the publish on, whatever
        // the process does after it.
        {"a deaf responder offered before the publish", Owner::DEAF_OFFERED_FIRST, true},
        {"a deaf responder offered once the connection owns", Owner::DEAF_OFFERED_AFTER, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.owner);
        auto dash = Client(DASH);
        sptr<RecordingStatusListener> follower = new RecordingStatusListener();
        ASSERT_EQ(dash->RegisterNavigationStatusListener(MAP, follower), NAV_INFO_SUCCESS);

        std::unique_ptr<RemoteTransport> library;
        sptr<IRemoteObject> raw;
        if (row.kind == Owner::LIBRARY) {
            library = Client(MAP);
            ASSERT_EQ(library->UpdateNavigationStatus(Navigating(3)), NAV_INFO_SUCCESS);
        } else {
            IpcConnectOptions options;
            options.bundleName = MAP;
            int status = IPC_OK;
            raw = IpcConnect(socketPath_, options, &status);
            ASSERT_NE(raw, nullptr) << status;
            MessageOption option;
            auto publish = [&] {
                MessageParcel data;
                MessageParcel reply;
                data.WriteInterfaceToken(NavInfoServiceDescriptor());
                ASSERT_TRUE(Marshalling::WriteNavigationStatus(data, Navigating(3)));
                ASSERT_EQ(raw->SendRequest(SVC_UPDATE_NAVIGATION_STATUS, data, reply, option), IPC_OK);
            };
            auto offer = [&] {
                MessageParcel keepAlive;
                MessageParcel keepAliveReply;
                keepAlive.WriteInterfaceToken(NavInfoServiceDescriptor());
                keepAlive.WriteInt32(OBJECT_PRESENT);
                keepAlive.WriteRemoteObject(new DeafResponder());
                ASSERT_EQ(raw->SendRequest(SVC_REGISTER_KEEP_ALIVE, keepAlive, keepAliveReply, option), IPC_OK);
                int32_t result = -1;
                ASSERT_TRUE(keepAliveReply.ReadInt32(result));
                ASSERT_EQ(result, NAV_INFO_SUCCESS);
            };
            if (row.kind == Owner::DEAF_OFFERED_FIRST) {
                offer();
                publish();
            } else {
                publish();
                offer();
            }
        }
        ASSERT_TRUE(WaitUntil([&] { return !follower->Calls().empty(); }));

        std::this_thread::sleep_for(kLiveness * 5);
        auto calls = follower->Calls();
        bool toldGone = calls.back().status.status == MAP_STATUS_UNAVAILABLE;
        EXPECT_EQ(toldGone, row.gone);
        NavigationStatus read;
        ASSERT_EQ(dash->GetNavigationStatus(MAP, read), NAV_INFO_SUCCESS);
        EXPECT_EQ(read.status == MAP_STATUS_UNAVAILABLE, row.gone);
        if (row.gone) {
            EXPECT_TRUE(raw->IsObjectDead()) << "the frozen owner's connection is closed";
        } else {
            EXPECT_EQ(library->UpdateNavigationStatus(Navigating(4)), NAV_INFO_SUCCESS) << "still the owner";
        }
        library.reset();
        raw = nullptr;
        // The next row's owner must not meet this one's UNAVAILABLE as news.
        ASSERT_TRUE(WaitUntil([&] { return follower->Last().status.status == MAP_STATUS_UNAVAILABLE; }));
    }
}

// The daemon's retention (the policy's goneRetentionSeconds) reaches its core:
// once it passes, the gone bundle reads as never published.
TEST_F(DaemonTest, AGoneBundleReadsAsNeverPublishedOnceTheDaemonsRetentionPassed)
{
    StopDaemon();
    config_.goneRetention = std::chrono::milliseconds(1);
    StartDaemon();
    auto owner = Client(MAP);
    auto dash = Client(DASH);
    ASSERT_EQ(owner->UpdateNavigationStatus(Navigating(3)), NAV_INFO_SUCCESS);
    NavigationStatus read;
    ASSERT_EQ(dash->GetNavigationStatus(MAP, read), NAV_INFO_SUCCESS) << "kept while its publisher is live";
    owner.reset();
    EXPECT_TRUE(WaitUntil([&] { return dash->GetNavigationStatus(MAP, read) == NAV_INFO_ERR_NOT_FOUND; }));
}

} // namespace
} // namespace OHOS::NavigationInfoService
