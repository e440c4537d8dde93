// The transport when things go wrong: peers that die, stall, lie or send
// garbage, and the handshake's checks.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>

#include "transport_fixture.h"

namespace OHOS {
namespace {

using namespace IpcTest;
using IpcWire::FrameType;
using TransportFailureTest = TransportFixture;

class Recipient : public IRemoteObject::DeathRecipient {
public:
    void OnRemoteDied(const wptr<IRemoteObject>& object) override
    {
        deadObject = object.GetRefPtr();
        calls++;
    }
    std::atomic<int> calls{0};
    std::atomic<IRemoteObject*> deadObject{nullptr};
};

TEST_F(TransportFailureTest, ClientLearnsOfServerDeathOnce)
{
    StartServer();
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    sptr<Recipient> recipient = new Recipient();
    sptr<Recipient> removed = new Recipient();
    ASSERT_TRUE(root->AddDeathRecipient(recipient));
    ASSERT_TRUE(root->AddDeathRecipient(removed));
    ASSERT_TRUE(root->RemoveDeathRecipient(removed));
    EXPECT_FALSE(root->IsObjectDead());

    server_.Stop();
    ASSERT_TRUE(WaitFor([&] { return recipient->calls.load() == 1; }));
    EXPECT_EQ(recipient->deadObject.load(), root.GetRefPtr());
    EXPECT_EQ(removed->calls.load(), 0);
    EXPECT_TRUE(root->IsObjectDead());
    EXPECT_EQ(Ping(root), IPC_ERR_DEAD_OBJECT);
    EXPECT_FALSE(root->AddDeathRecipient(new Recipient()));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(recipient->calls.load(), 1);
}

TEST_F(TransportFailureTest, ServerLearnsOfClientDeathAndDropsItsObjects)
{
    StartServer();
    sptr<IRemoteObject> root = IpcConnect(path_);
    ASSERT_NE(root, nullptr);
    std::atomic<bool> callbackDestroyed{false};
    sptr<IRemoteObject> callback = new FnStub(
        [](uint32_t, MessageParcel&, MessageParcel&, MessageOption&) { return IPC_OK; }, &callbackDestroyed);
    ASSERT_EQ(Send(root, KEEP, [&](MessageParcel& p) { p.WriteRemoteObject(callback); }), IPC_OK);
    callback = nullptr; // only the server's proxy keeps it now

    sptr<Recipient> recipient = new Recipient();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ASSERT_EQ(kept_.size(), 1u);
        ASSERT_TRUE(kept_[0]->AddDeathRecipient(recipient));
    }
    auto clientConnection = IpcConnectionOf(root);
    EXPECT_EQ(clientConnection->GetExportedObjectCount(), 1u);
    clientConnection->Close();
    // Closing ran the client's clean-up: its exported object is gone.
    EXPECT_EQ(clientConnection->GetExportedObjectCount(), 0u);
    EXPECT_TRUE(callbackDestroyed.load());
    ASSERT_TRUE(WaitFor([&] { return recipient->calls.load() == 1; }));
    EXPECT_TRUE(WaitFor([&] { return server_.GetConnectionCount() == 0; }));
}

TEST_F(TransportFailureTest, WaitingSenderIsWokenWhenTheConnectionDies)
{
    StartServer();
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    auto call = std::async(std::launch::async, [&] {
        MessageParcel reply;
        MessageOption option;
        option.SetWaitTime(30);
        return Send(root, BLOCK, reply, nullptr, option);
    });
    ASSERT_TRUE(WaitBlocked());
    server_.GetConnections().at(0)->Close(); // the server side hangs up
    ASSERT_EQ(call.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(call.get(), IPC_ERR_DEAD_OBJECT);
}

TEST_F(TransportFailureTest, SlowReplyTimesOutAndTheConnectionStaysUsable)
{
    StartServer();
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    MessageParcel reply;
    MessageOption option;
    option.SetWaitTimeMs(100);
    EXPECT_EQ(Send(root, BLOCK, reply, nullptr, option), IPC_ERR_TIMED_OUT);
    Unblock(); // the late reply arrives and is dropped
    EXPECT_EQ(Ping(root), IPC_OK);
    EXPECT_TRUE(IpcConnectionOf(root)->IsAlive());
}

TEST_F(TransportFailureTest, HandshakeRefusesOrLabelsTheConnection)
{
    int status = IPC_OK;
    EXPECT_EQ(IpcConnect(path_, {}, &status), nullptr);
    EXPECT_EQ(status, IPC_ERR_CONNECT) << "no server";
    EXPECT_EQ(IpcConnect(std::string(200, 'x'), {}, &status), nullptr);
    EXPECT_EQ(status, IPC_ERR_INVALID_DATA) << "a path too long";

    IpcServerOptions options;
    options.handshakeTimeoutMs = 200;
    options.authenticator = [](IpcConnection& connection, const IpcHelloInfo& hello) {
        if (hello.bundleName != "com.example.maps" || hello.token != "secret") {
            return static_cast<int>(IPC_ERR_PERMISSION);
        }
        connection.SetAttribute(std::make_shared<std::string>("verified:" + hello.bundleName));
        return static_cast<int>(IPC_OK);
    };
    StartServer(std::move(options));
    const struct {
        const char* bundle;
        const char* token;
        int expected;
    } cases[] = {
        {"com.example.maps", "wrong", IPC_ERR_PERMISSION},
        {"", "", IPC_ERR_PERMISSION},
        {"com.example.maps", "secret", IPC_OK},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.bundle) + "/" + c.token);
        IpcConnectOptions connectOptions;
        connectOptions.bundleName = c.bundle;
        connectOptions.token = c.token;
        status = 1;
        sptr<IRemoteObject> root = IpcConnect(path_, connectOptions, &status);
        EXPECT_EQ(status, c.expected);
        ASSERT_EQ(root != nullptr, c.expected == IPC_OK);
        if (root != nullptr) {
            MessageParcel reply;
            ASSERT_EQ(Send(root, PING, reply), IPC_OK);
            EXPECT_EQ(reply.ReadInt32(), 1234);
            EXPECT_EQ(reply.ReadString(), "verified:com.example.maps");
            IpcConnectionOf(root)->Close();
        }
    }
    int fd = RawConnect(path_);
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(PeerClosesWithin(fd, 3000)) << "a silent peer is dropped after the handshake time-out";
    close(fd);
}

TEST_F(TransportFailureTest, RawClientSpeakingTheProtocolGetsAnswers)
{
    // The raw helpers make frames the server accepts, so the hostile cases
    // below fail for their fault and not for a broken helper.
    StartServer();
    int fd = RawConnect(path_);
    ASSERT_GE(fd, 0);
    ASSERT_TRUE(SendAll(fd, Join({HelloFrame(), Frame(FrameType::TRANSACTION, 1, 0, PING)})));
    std::vector<IpcWire::Frame> frames = ReadFrames(fd, 2);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].header.type, FrameType::HELLO_ACK);
    EXPECT_EQ(frames[0].header.code, 0u);
    EXPECT_EQ(frames[1].header.type, FrameType::REPLY);
    EXPECT_EQ(frames[1].header.transactionId, 1u);
    Parcel reply;
    ASSERT_TRUE(reply.SetData(frames[1].payload.data(), frames[1].payload.size()));
    EXPECT_EQ(reply.ReadInt32(), 1234);
    close(fd);
}

TEST_F(TransportFailureTest, HostileOrTruncatedBytesCloseOnlyThatConnection)
{
    StartServer();
    sptr<IRemoteObject> good = Connect();
    ASSERT_NE(good, nullptr);

    std::vector<uint8_t> hugeHeader = Frame(FrameType::TRANSACTION, 1, 0, PING);
    hugeHeader[24] = 0xFC; // payload size 0xFFFFFFFC
    hugeHeader[25] = hugeHeader[26] = hugeHeader[27] = 0xFF;
    std::vector<uint8_t> badObject = Frame(FrameType::TRANSACTION, 1, 0, PING, {},
        {{IpcWire::ObjectKind::SENDER_HANDLE, 1}});
    badObject[kFrameHeaderSize] = 9;
    const struct {
        const char* name;
        std::vector<uint8_t> bytes;
    } cases[] = {
        {"text garbage", {'G', 'E', 'T', ' ', '/', '\r', '\n'}},
        {"transaction before hello", Frame(FrameType::TRANSACTION, 1, 0, PING)},
        {"hello twice", Join({HelloFrame(), HelloFrame()})},
        {"oversized length", Join({HelloFrame(), hugeHeader})},
        {"unknown object kind", Join({HelloFrame(), badObject})},
        {"malformed hello", Frame(FrameType::HELLO, 0, 0, 0, {0xFF, 0xFF, 0xFF, 0x7F})},
        {"ack from a client", Frame(FrameType::HELLO_ACK, 0, 0, 0)},
        {"reply never asked for", Join({HelloFrame(), Frame(FrameType::REPLY, 5, 0, 0)})},
        {"release of unknown handle", Join({HelloFrame(), Frame(FrameType::RELEASE, 0, 77, 1)})},
        {"handing back a handle never exported",
            Join({HelloFrame(),
                Frame(FrameType::TRANSACTION, 1, 0, PING, {}, {{IpcWire::ObjectKind::RECEIVER_HANDLE, 55}})})},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        int fd = RawConnect(path_);
        ASSERT_GE(fd, 0);
        ASSERT_TRUE(SendAll(fd, c.bytes));
        EXPECT_TRUE(PeerClosesWithin(fd, 3000));
        close(fd);
        EXPECT_EQ(Ping(good), IPC_OK);
    }
    // A frame cut anywhere, then a hang-up, is harmless too.
    std::vector<uint8_t> call = Frame(FrameType::TRANSACTION, 1, 0, PING, {1, 2, 3, 4});
    for (size_t cut = 1; cut < call.size(); cut += 7) {
        int fd = RawConnect(path_);
        ASSERT_GE(fd, 0);
        const auto end = call.begin() + static_cast<std::ptrdiff_t>(cut);
        SendAll(fd, Join({HelloFrame(), std::vector<uint8_t>(call.begin(), end)}));
        close(fd);
    }
    EXPECT_EQ(Ping(good), IPC_OK);
    EXPECT_TRUE(WaitFor([&] { return server_.GetConnectionCount() == 1; }));
}

TEST_F(TransportFailureTest, TransactionsBeyondTheLimitAreAnsweredBusy)
{
    StartServer();
    int fd = RawConnect(path_);
    ASSERT_GE(fd, 0);
    constexpr size_t kExtra = 3;
    std::vector<uint8_t> bytes = HelloFrame();
    for (uint64_t id = 1; id <= kMaxOutstandingSyncTransactions + kExtra; ++id) {
        bytes = Join({bytes, Frame(FrameType::TRANSACTION, id, 0, BLOCK)});
    }
    ASSERT_TRUE(SendAll(fd, bytes));
    std::vector<IpcWire::Frame> early = ReadFrames(fd, 1 + kExtra);
    ASSERT_EQ(early.size(), 1 + kExtra);
    for (size_t i = 1; i < early.size(); ++i) {
        EXPECT_EQ(early[i].header.transactionId, kMaxOutstandingSyncTransactions + i);
        EXPECT_EQ(static_cast<int32_t>(early[i].header.code), IPC_ERR_BUSY);
    }
    Unblock();
    std::vector<IpcWire::Frame> rest = ReadFrames(fd, kMaxOutstandingSyncTransactions);
    ASSERT_EQ(rest.size(), kMaxOutstandingSyncTransactions);
    for (const auto& frame : rest) {
        EXPECT_EQ(frame.header.code, 0u);
        EXPECT_LE(frame.header.transactionId, kMaxOutstandingSyncTransactions);
    }
    close(fd);
}

} // namespace
} // namespace OHOS
