// The transport when things go wrong: peers that die, stall, lie or send
// garbage, and the handshake's checks.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

#include "ipc_client.h"
#include "ipc_errors.h"
#include "ipc_server.h"
#include "ipc_skeleton.h"
#include "ipc_test_util.h"
#include "ipc_wire.h"

namespace OHOS {
namespace {

using IpcTest::FnStub;
using IpcTest::TempDir;
using IpcTest::WaitFor;

constexpr uint32_t kPing = 1;
constexpr uint32_t kBlock = 2;
constexpr uint32_t kKeep = 3;

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

class TransportFailureTest : public testing::Test {
protected:
    void SetUp() override { path_ = dir_.File("svc.sock"); }
    void TearDown() override
    {
        Unblock();
        server_.Stop();
    }

    void StartServer(IpcServerOptions options = {})
    {
        root_ = new FnStub([this](uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption&) {
            if (code == kBlock) {
                std::unique_lock<std::mutex> lock(blockMutex_);
                blocked_ = true;
                blockChanged_.notify_all();
                blockChanged_.wait(lock, [this] { return released_; });
                return IPC_OK;
            }
            if (code == kKeep) {
                std::lock_guard<std::mutex> lock(blockMutex_);
                kept_ = data.ReadRemoteObject();
                return kept_ != nullptr ? IPC_OK : IPC_ERR_INVALID_DATA;
            }
            reply.WriteInt32(1234);
            auto attribute = IPCSkeleton::GetCallingConnectionAttribute();
            reply.WriteString(attribute ? *static_cast<std::string*>(attribute.get()) : "");
            return IPC_OK;
        });
        ASSERT_EQ(server_.Start(path_, root_, std::move(options)), IPC_OK);
    }

    void Unblock()
    {
        std::lock_guard<std::mutex> lock(blockMutex_);
        released_ = true;
        blockChanged_.notify_all();
    }

    bool WaitBlocked()
    {
        std::unique_lock<std::mutex> lock(blockMutex_);
        return blockChanged_.wait_for(lock, std::chrono::seconds(3), [this] { return blocked_; });
    }

    static int Ping(const sptr<IRemoteObject>& root)
    {
        MessageParcel data;
        MessageParcel reply;
        MessageOption option;
        int status = root->SendRequest(kPing, data, reply, option);
        return status == IPC_OK && reply.ReadInt32() != 1234 ? IPC_ERR_INVALID_DATA : status;
    }

    TempDir dir_;
    std::string path_;
    sptr<IRemoteObject> root_;
    IpcServer server_;
    std::mutex blockMutex_;
    std::condition_variable blockChanged_;
    bool blocked_ = false;
    bool released_ = false;
    sptr<IRemoteObject> kept_;
};

TEST_F(TransportFailureTest, ClientLearnsOfServerDeath)
{
    StartServer();
    sptr<IRemoteObject> root = IpcConnect(path_);
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
    EXPECT_EQ(recipient->calls.load(), 1); // told once
}

TEST_F(TransportFailureTest, ServerLearnsOfClientDeathAndDropsItsObjects)
{
    StartServer();
    sptr<IRemoteObject> root = IpcConnect(path_);
    ASSERT_NE(root, nullptr);
    std::atomic<bool> callbackDestroyed{false};
    sptr<IRemoteObject> callback =
        new FnStub([](uint32_t, MessageParcel&, MessageParcel&, MessageOption&) { return IPC_OK; }, &callbackDestroyed);
    MessageParcel data;
    MessageParcel reply;
    MessageOption option;
    data.WriteRemoteObject(callback);
    ASSERT_EQ(root->SendRequest(kKeep, data, reply, option), IPC_OK);
    data.ClearAll();
    callback = nullptr; // only the server's proxy keeps it now

    sptr<Recipient> recipient = new Recipient();
    {
        std::lock_guard<std::mutex> lock(blockMutex_);
        ASSERT_NE(kept_, nullptr);
        ASSERT_TRUE(kept_->AddDeathRecipient(recipient));
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
    sptr<IRemoteObject> root = IpcConnect(path_);
    ASSERT_NE(root, nullptr);
    auto started = std::chrono::steady_clock::now();
    auto call = std::async(std::launch::async, [&] {
        MessageParcel data;
        MessageParcel reply;
        MessageOption option;
        option.SetWaitTime(30);
        return root->SendRequest(kBlock, data, reply, option);
    });
    ASSERT_TRUE(WaitBlocked());
    server_.GetConnections().at(0)->Close(); // the server side hangs up
    ASSERT_EQ(call.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(call.get(), IPC_ERR_DEAD_OBJECT);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
}

TEST_F(TransportFailureTest, SlowReplyTimesOutAndTheConnectionStaysUsable)
{
    StartServer();
    sptr<IRemoteObject> root = IpcConnect(path_);
    ASSERT_NE(root, nullptr);
    MessageParcel data;
    MessageParcel reply;
    MessageOption option;
    option.SetWaitTimeMs(100);
    EXPECT_EQ(root->SendRequest(kBlock, data, reply, option), IPC_ERR_TIMED_OUT);
    Unblock(); // the late reply arrives and is dropped
    EXPECT_EQ(Ping(root), IPC_OK);
    EXPECT_TRUE(IpcConnectionOf(root)->IsAlive());
    IpcConnectionOf(root)->Close();
}

TEST_F(TransportFailureTest, AuthenticatorRefusesOrLabelsTheConnection)
{
    IpcServerOptions options;
    options.authenticator = [](IpcConnection& connection, const IpcHelloInfo& hello) {
        if (hello.bundleName != "com.example.maps" || hello.token != "secret") {
            return static_cast<int>(IPC_ERR_PERMISSION);
        }
        connection.SetAttribute(std::make_shared<std::string>("verified:" + hello.bundleName));
        return static_cast<int>(IPC_OK);
    };
    StartServer(std::move(options));

    struct Case {
        const char* bundle;
        const char* token;
        int expected;
    } cases[] = {
        {"com.example.maps", "wrong", IPC_ERR_PERMISSION},
        {"", "", IPC_ERR_PERMISSION},
        {"com.example.maps", "secret", IPC_OK},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.bundle) + "/" + c.token);
        IpcConnectOptions connectOptions;
        connectOptions.bundleName = c.bundle;
        connectOptions.token = c.token;
        int status = 1;
        sptr<IRemoteObject> root = IpcConnect(path_, connectOptions, &status);
        EXPECT_EQ(status, c.expected);
        EXPECT_EQ(root != nullptr, c.expected == IPC_OK);
        if (root != nullptr) {
            MessageParcel data;
            MessageParcel reply;
            MessageOption option;
            ASSERT_EQ(root->SendRequest(kPing, data, reply, option), IPC_OK);
            EXPECT_EQ(reply.ReadInt32(), 1234);
            EXPECT_EQ(reply.ReadString(), "verified:com.example.maps");
            IpcConnectionOf(root)->Close();
        }
    }
}

TEST_F(TransportFailureTest, ConnectFailsCleanlyWithoutAServer)
{
    int status = IPC_OK;
    EXPECT_EQ(IpcConnect(path_, {}, &status), nullptr);
    EXPECT_EQ(status, IPC_ERR_CONNECT);
    EXPECT_EQ(IpcConnect(std::string(200, 'x'), {}, &status), nullptr);
    EXPECT_EQ(status, IPC_ERR_INVALID_DATA);
}

TEST_F(TransportFailureTest, SilentPeerIsDroppedAfterTheHandshakeTimeOut)
{
    IpcServerOptions options;
    options.handshakeTimeoutMs = 200;
    StartServer(std::move(options));
    int fd = IpcTest::RawConnect(path_);
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(IpcTest::PeerClosesWithin(fd, 3000));
    close(fd);
}

// Frames from a raw client. Each must close that client's connection only.
std::vector<uint8_t> Frame(IpcWire::FrameHeader h, std::vector<uint8_t> payload = {},
    std::vector<IpcWire::WireObject> objects = {})
{
    std::vector<uint8_t> out;
    EXPECT_TRUE(IpcWire::EncodeFrame(h, payload.data(), payload.size(), objects, out));
    return out;
}

IpcWire::FrameHeader Header(IpcWire::FrameType type, uint64_t id, uint32_t handle, uint32_t code)
{
    IpcWire::FrameHeader h;
    h.type = type;
    h.transactionId = id;
    h.handle = handle;
    h.code = code;
    return h;
}

std::vector<uint8_t> Join(std::vector<std::vector<uint8_t>> parts)
{
    std::vector<uint8_t> out;
    for (auto& part : parts) {
        out.insert(out.end(), part.begin(), part.end());
    }
    return out;
}

TEST_F(TransportFailureTest, HostileBytesCloseOnlyThatConnection)
{
    using IpcWire::FrameType;
    StartServer();
    sptr<IRemoteObject> good = IpcConnect(path_);
    ASSERT_NE(good, nullptr);

    std::vector<uint8_t> hugeHeader = Frame(Header(FrameType::TRANSACTION, 1, 0, kPing));
    hugeHeader[24] = 0xFC; // payload size 0xFFFFFFFC
    hugeHeader[25] = hugeHeader[26] = hugeHeader[27] = 0xFF;
    std::vector<uint8_t> badObject = Frame(Header(FrameType::TRANSACTION, 1, 0, kPing), {},
        {{IpcWire::ObjectKind::SENDER_HANDLE, 1}});
    badObject[kFrameHeaderSize] = 9;

    struct Case {
        const char* name;
        std::vector<uint8_t> bytes;
    } cases[] = {
        {"text garbage", {'G', 'E', 'T', ' ', '/', '\r', '\n'}},
        {"transaction before hello", Frame(Header(FrameType::TRANSACTION, 1, 0, kPing))},
        {"hello twice", Join({IpcTest::HelloFrame(), IpcTest::HelloFrame()})},
        {"oversized length", Join({IpcTest::HelloFrame(), hugeHeader})},
        {"unknown object kind", Join({IpcTest::HelloFrame(), badObject})},
        {"malformed hello", Frame(Header(FrameType::HELLO, 0, 0, 0), {0xFF, 0xFF, 0xFF, 0x7F})},
        {"ack from a client", Frame(Header(FrameType::HELLO_ACK, 0, 0, 0))},
        {"reply never asked for", Join({IpcTest::HelloFrame(), Frame(Header(FrameType::REPLY, 5, 0, 0))})},
        {"release of unknown handle", Join({IpcTest::HelloFrame(), Frame(Header(FrameType::RELEASE, 0, 77, 1))})},
        {"handing back a handle never exported", Join({IpcTest::HelloFrame(),
            Frame(Header(FrameType::TRANSACTION, 1, 0, kPing), {}, {{IpcWire::ObjectKind::RECEIVER_HANDLE, 55}})})},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        int fd = IpcTest::RawConnect(path_);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(send(fd, c.bytes.data(), c.bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(c.bytes.size()));
        EXPECT_TRUE(IpcTest::PeerClosesWithin(fd, 3000));
        close(fd);
        EXPECT_EQ(Ping(good), IPC_OK);
    }
    EXPECT_TRUE(WaitFor([&] { return server_.GetConnectionCount() == 1; }));
    IpcConnectionOf(good)->Close();
}

TEST_F(TransportFailureTest, TruncatedFrameThenHangUpIsHarmless)
{
    StartServer();
    sptr<IRemoteObject> good = IpcConnect(path_);
    ASSERT_NE(good, nullptr);
    std::vector<uint8_t> hello = IpcTest::HelloFrame();
    std::vector<uint8_t> call = Frame(Header(IpcWire::FrameType::TRANSACTION, 1, 0, kPing), {1, 2, 3, 4});
    for (size_t cut = 1; cut < call.size(); cut += 7) {
        int fd = IpcTest::RawConnect(path_);
        ASSERT_GE(fd, 0);
        send(fd, hello.data(), hello.size(), MSG_NOSIGNAL);
        send(fd, call.data(), cut, MSG_NOSIGNAL);
        close(fd);
    }
    EXPECT_EQ(Ping(good), IPC_OK);
    EXPECT_TRUE(WaitFor([&] { return server_.GetConnectionCount() == 1; }));
    IpcConnectionOf(good)->Close();
}

// Reads frames from a raw socket until `count` arrived or 3 s passed.
std::vector<IpcWire::Frame> ReadFrames(int fd, size_t count)
{
    IpcWire::FrameDecoder decoder;
    std::vector<IpcWire::Frame> frames;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (frames.size() < count && std::chrono::steady_clock::now() < deadline) {
        uint8_t buf[4096];
        ssize_t n = recv(fd, buf, sizeof(buf), MSG_DONTWAIT);
        if (n > 0) {
            decoder.Feed(buf, static_cast<size_t>(n));
            IpcWire::Frame frame;
            while (decoder.Next(frame) == IpcWire::DecodeStatus::OK) {
                frames.push_back(frame);
            }
        } else if (n == 0) {
            break;
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    return frames;
}

TEST_F(TransportFailureTest, TransactionsBeyondTheLimitAreAnsweredBusy)
{
    StartServer();
    int fd = IpcTest::RawConnect(path_);
    ASSERT_GE(fd, 0);
    constexpr size_t kExtra = 3;
    std::vector<uint8_t> bytes = IpcTest::HelloFrame();
    for (uint64_t id = 1; id <= kMaxOutstandingSyncTransactions + kExtra; ++id) {
        auto frame = Frame(Header(IpcWire::FrameType::TRANSACTION, id, 0, kBlock));
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    ASSERT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
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

TEST_F(TransportFailureTest, RawClientSpeakingTheProtocolGetsAnswers)
{
    // The same raw helpers as above produce frames the server accepts, so the
    // hostile cases fail for their fault and not for a broken helper.
    StartServer();
    int fd = IpcTest::RawConnect(path_);
    ASSERT_GE(fd, 0);
    std::vector<uint8_t> bytes = Join({IpcTest::HelloFrame(),
        Frame(Header(IpcWire::FrameType::TRANSACTION, 1, 0, kPing))});
    ASSERT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    IpcWire::FrameDecoder decoder;
    std::vector<IpcWire::Frame> frames;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (frames.size() < 2 && std::chrono::steady_clock::now() < deadline) {
        uint8_t buf[256];
        ssize_t n = recv(fd, buf, sizeof(buf), MSG_DONTWAIT);
        if (n > 0) {
            decoder.Feed(buf, static_cast<size_t>(n));
            IpcWire::Frame frame;
            while (decoder.Next(frame) == IpcWire::DecodeStatus::OK) {
                frames.push_back(frame);
            }
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].header.type, IpcWire::FrameType::HELLO_ACK);
    EXPECT_EQ(frames[0].header.code, 0u);
    EXPECT_EQ(frames[1].header.type, IpcWire::FrameType::REPLY);
    EXPECT_EQ(frames[1].header.transactionId, 1u);
    Parcel reply;
    ASSERT_TRUE(reply.SetData(frames[1].payload.data(), frames[1].payload.size()));
    EXPECT_EQ(reply.ReadInt32(), 1234);
    close(fd);
}

} // namespace
} // namespace OHOS
