// The listener and callback stubs against the proxies of the same
// interfaces, in one process: a proxy's transaction reaches the stub's
// method with the record intact; anything else is refused before it.
#include <gtest/gtest.h>

#include <stdexcept>

#include "core_test_support.h"
#include "ipc_errors.h"
#include "listener_proxies.h"
#include "message_parcel.h"
#include "record_marshalling.h"
#include "record_samples.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;

int Deliver(const sptr<IRemoteObject>& stub, uint32_t code, MessageParcel& data)
{
    MessageParcel reply;
    MessageOption option(MessageOption::TF_ASYNC);
    return stub->SendRequest(code, data, reply, option);
}

TEST(ListenerStubs, ProxyCallsReachTheStubsWithTheRecordsIntact)
{
    sptr<RecordingStatusListener> status = new RecordingStatusListener();
    sptr<RecordingMetadataListener> metadata = new RecordingMetadataListener();
    sptr<RecordingCallback> callback = new RecordingCallback();
    sptr<HoldingSystemListener> system = new HoldingSystemListener();

    NavigationStatusListenerProxy(status->AsObject()).OnStatusChanged(StatusSamples()[1], "b1");
    NavigationMetadataListenerProxy(metadata->AsObject()).OnMetadataChanged(MetadataSamples()[2], "b2");
    MapCallbackProxy(callback->AsObject()).Callback(ResultSamples()[1]);
    SystemNavigationListenerProxy proxy(system->AsObject());
    proxy.OnQueryNavigationInfo(NAVIGATION_METADATA, RichParams(), callback);
    proxy.OnReceiveNavigationCmd(static_cast<CommandType>(42), AAFwk::WantParams(), callback);

    ASSERT_EQ(status->Count(), 1u);
    EXPECT_TRUE(Same(status->Calls()[0].status, StatusSamples()[1]));
    EXPECT_EQ(status->Calls()[0].bundle, "b1");
    ASSERT_EQ(metadata->Count(), 1u);
    EXPECT_TRUE(Same(metadata->Calls()[0].metadata, MetadataSamples()[2]));
    ASSERT_EQ(callback->Count(), 1u);
    EXPECT_TRUE(Same(callback->First(), ResultSamples()[1]));
    ASSERT_EQ(system->Count(), 2u);
    EXPECT_TRUE(system->requests[0].isQuery);
    EXPECT_EQ(system->requests[0].type, NAVIGATION_METADATA);
    EXPECT_EQ(system->requests[0].params, RichParams());
    EXPECT_EQ(system->requests[1].type, 42); // passed through: the service validated it
    // The stub handed back locally is the callback itself, not a proxy of it.
    EXPECT_EQ(system->CallbackAt(0).GetRefPtr(), static_cast<IMapCallback*>(callback.GetRefPtr()));
}

TEST(ListenerStubs, ACallbackThatIsNoStubTravelsThroughARelay)
{
    // Like the core's answer forwarders: an IMapCallback whose object cannot decode.
    class PlainCallback : public IMapCallback, public IPCObjectStub {
    public:
        void Callback(ResultData data) override { received.push_back(std::move(data)); }
        sptr<IRemoteObject> AsObject() override { return this; }
        std::vector<ResultData> received;
    };
    sptr<PlainCallback> plain = new PlainCallback();
    sptr<IRemoteObject> sent = MapCallbackObjectForSending(plain);
    ASSERT_NE(sent, nullptr);
    EXPECT_NE(sent.GetRefPtr(), plain->AsObject().GetRefPtr());
    MapCallbackProxy(sent).Callback(ResultData{3, "relayed", {}});
    ASSERT_EQ(plain->received.size(), 1u);
    EXPECT_EQ(plain->received[0].message, "relayed");

    sptr<RecordingCallback> stub = new RecordingCallback();
    EXPECT_EQ(MapCallbackObjectForSending(stub).GetRefPtr(), stub->AsObject().GetRefPtr());
    EXPECT_EQ(MapCallbackObjectForSending(nullptr), nullptr);
}

TEST(ListenerStubs, WhatDoesNotDecodeNeverReachesTheMethod)
{
    sptr<RecordingStatusListener> status = new RecordingStatusListener();
    sptr<RecordingCallback> callback = new RecordingCallback();
    sptr<HoldingSystemListener> system = new HoldingSystemListener();
    struct Case {
        const char* what;
        sptr<IRemoteObject> stub;
        uint32_t code;
        std::function<void(MessageParcel&)> fill;
        int status;
    };
    const std::vector<Case> cases = {
        {"status: wrong token", status, ON_STATUS_CHANGED,
            [](MessageParcel& p) {
                p.WriteInterfaceToken(IMapCallback::GetDescriptor());
                Marshalling::WriteNavigationStatus(p, NavigationStatus());
                p.WriteString("b");
            },
            IPC_ERR_INVALID_DATA},
        {"status: no bundle", status, ON_STATUS_CHANGED,
            [](MessageParcel& p) {
                p.WriteInterfaceToken(INavigationStatusListener::GetDescriptor());
                Marshalling::WriteNavigationStatus(p, NavigationStatus());
            },
            IPC_ERR_INVALID_DATA},
        {"status: no number", status, ON_STATUS_CHANGED,
            [](MessageParcel& p) {
                p.WriteInterfaceToken(INavigationStatusListener::GetDescriptor());
                Marshalling::WriteNavigationStatus(p, NavigationStatus());
                p.WriteString("b");
                p.WriteUint64(1);
            },
            IPC_ERR_INVALID_DATA},
        {"status: another interface's code", status, MAP_CALLBACK, [](MessageParcel&) {}, IPC_ERR_UNKNOWN_TRANSACTION},
        {"callback: truncated", callback, MAP_CALLBACK,
            [](MessageParcel& p) {
                p.WriteInterfaceToken(IMapCallback::GetDescriptor());
                p.WriteInt32(0);
            },
            IPC_ERR_INVALID_DATA},
        {"system: no callback object", system, ON_QUERY_NAVIGATION_INFO,
            [](MessageParcel& p) {
                p.WriteInterfaceToken(ISystemNavigationListener::GetDescriptor());
                p.WriteInt32(0);
                Marshalling::WriteWantParams(p, AAFwk::WantParams());
            },
            IPC_ERR_INVALID_DATA},
        {"system: callback of another interface", system, ON_RECEIVE_NAVIGATION_CMD,
            [status](MessageParcel& p) {
                p.WriteInterfaceToken(ISystemNavigationListener::GetDescriptor());
                p.WriteInt32(0);
                Marshalling::WriteWantParams(p, AAFwk::WantParams());
                p.WriteRemoteObject(status->AsObject());
            },
            IPC_ERR_INVALID_DATA},
        {"system: unknown code", system, 77, [](MessageParcel&) {}, IPC_ERR_UNKNOWN_TRANSACTION},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        MessageParcel data;
        c.fill(data);
        EXPECT_EQ(Deliver(c.stub, c.code, data), c.status);
    }
    EXPECT_EQ(status->Count(), 0u);
    EXPECT_EQ(callback->Count(), 0u);
    EXPECT_EQ(system->Count(), 0u);
}

TEST(ListenerStubs, AnExceptionInTheApplicationsMethodStaysInTheStub)
{
    class Throwing : public NavigationStatusListener {
    public:
        void OnStatusChanged(const NavigationStatus&, const std::string&) override
        {
            throw std::runtime_error("listener failed");
        }
    };
    sptr<Throwing> listener = new Throwing();
    MessageParcel data;
    ASSERT_TRUE(WriteStatusNotification(data, NavigationStatus(), "b", {1, 1}));
    EXPECT_EQ(Deliver(listener, ON_STATUS_CHANGED, data), IPC_ERR_STUB_EXCEPTION);
}

// The follower's side counts the records of a stream missing between the
// numbers that arrive; a stream seen for the first time, an unnumbered
// record, or one number again counts nothing.
TEST(ListenerStubs, NumberGapsCountTheRecordsDroppedOnTheWay)
{
    NotificationGaps gaps;
    const struct {
        NotificationNumber number;
        uint64_t missing;
    } arrivals[] = {
        {{5, 40}, 0},
        {{5, 41}, 0},
        {{5, 45}, 3},
        {{6, 1}, 0},
        {{5, 46}, 0},
        {{6, 9}, 7},
        {{0, 0}, 0},
        {{5, 46}, 0},
    };
    for (const auto& arrival : arrivals) {
        SCOPED_TRACE(arrival.number.sequence);
        EXPECT_EQ(gaps.Arrived("status", "b", arrival.number), arrival.missing);
    }
}

} // namespace
} // namespace OHOS::NavigationInfoService
