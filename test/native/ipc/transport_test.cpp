// The socket transport end to end in one process: calls, replies, one-way
// order, calling identity, objects passed both ways and their release.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "ipc_client.h"
#include "ipc_errors.h"
#include "ipc_object_proxy.h"
#include "ipc_server.h"
#include "ipc_skeleton.h"
#include "ipc_test_util.h"

namespace OHOS {
namespace {

using IpcTest::FnStub;
using IpcTest::TempDir;
using IpcTest::WaitFor;

enum Code : uint32_t {
    ECHO = 1,
    WHO = 2,
    CALL_BACK = 3,
    KEEP = 4,
    DROP_KEPT = 5,
    MAKE_OBJECT = 6,
    IS_MINE = 7,
    THROW = 8,
    RECORD = 9,
};

// A server whose root object answers the codes above.
class TransportTest : public testing::Test {
protected:
    void SetUp() override
    {
        path_ = dir_.File("svc.sock");
        root_ = new FnStub([this](uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) {
            return OnRoot(code, data, reply, option);
        });
        ASSERT_EQ(server_.Start(path_, root_), IPC_OK);
    }

    void TearDown() override { server_.Stop(); }

    int OnRoot(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option)
    {
        switch (code) {
            case ECHO: {
                std::string text;
                int32_t number = 0;
                if (!data.ReadString(text) || !data.ReadInt32(number)) {
                    return IPC_ERR_INVALID_DATA;
                }
                reply.WriteString(text + "!");
                reply.WriteInt32(number + 1);
                return IPC_OK;
            }
            case WHO:
                reply.WriteInt32(IPCSkeleton::GetCallingPid());
                reply.WriteUint32(IPCSkeleton::GetCallingUid());
                reply.WriteUint64(IPCSkeleton::GetCallingConnectionId());
                reply.WriteBool(IPCSkeleton::IsHandlingTransaction());
                return IPC_OK;
            case CALL_BACK: {
                // Calls the client's object while the client's call waits.
                sptr<IRemoteObject> callback = data.ReadRemoteObject();
                int32_t value = data.ReadInt32();
                if (callback == nullptr || !callback->IsProxyObject()) {
                    return IPC_ERR_INVALID_DATA;
                }
                MessageParcel request;
                MessageParcel answer;
                MessageOption sync;
                request.WriteInt32(value);
                int status = callback->SendRequest(1, request, answer, sync);
                reply.WriteInt32(status);
                reply.WriteInt32(answer.ReadInt32());
                return IPC_OK;
            }
            case KEEP: {
                std::lock_guard<std::mutex> lock(keptMutex_);
                kept_.push_back(data.ReadRemoteObject());
                return kept_.back() != nullptr ? IPC_OK : IPC_ERR_INVALID_DATA;
            }
            case DROP_KEPT: {
                std::vector<sptr<IRemoteObject>> dropped;
                std::lock_guard<std::mutex> lock(keptMutex_);
                dropped.swap(kept_);
                return IPC_OK;
            }
            case MAKE_OBJECT: {
                sptr<IRemoteObject> made = new FnStub(
                    [](uint32_t, MessageParcel&, MessageParcel& r, MessageOption&) { return r.WriteInt32(77) ? 0 : -1; },
                    &madeDestroyed_);
                made_ = made.GetRefPtr();
                reply.WriteRemoteObject(made);
                return IPC_OK;
            }
            case IS_MINE: {
                sptr<IRemoteObject> object = data.ReadRemoteObject();
                reply.WriteBool(object != nullptr && object.GetRefPtr() == made_);
                return IPC_OK;
            }
            case THROW:
                throw std::runtime_error("stub failure");
            case RECORD: {
                std::lock_guard<std::mutex> lock(recordMutex_);
                recorded_.push_back(data.ReadInt32());
                recordChanged_.notify_all();
                return IPC_OK;
            }
            default:
                return IPC_ERR_UNKNOWN_TRANSACTION;
        }
    }

    sptr<IRemoteObject> Connect(IpcConnectOptions options = {})
    {
        int status = IPC_OK;
        sptr<IRemoteObject> root = IpcConnect(path_, options, &status);
        EXPECT_EQ(status, IPC_OK);
        return root;
    }

    TempDir dir_;
    std::string path_;
    sptr<IRemoteObject> root_;
    IpcServer server_;
    std::mutex keptMutex_;
    std::vector<sptr<IRemoteObject>> kept_;
    std::atomic<bool> madeDestroyed_{false};
    IRemoteObject* made_ = nullptr;
    std::mutex recordMutex_;
    std::condition_variable recordChanged_;
    std::vector<int32_t> recorded_;
};

TEST_F(TransportTest, SyncTransactionCarriesDataBothWays)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    EXPECT_TRUE(root->IsProxyObject());
    MessageParcel data;
    MessageParcel reply;
    MessageOption option;
    data.WriteString("north");
    data.WriteInt32(41);
    ASSERT_EQ(root->SendRequest(ECHO, data, reply, option), IPC_OK);
    EXPECT_EQ(reply.ReadString(), "north!");
    EXPECT_EQ(reply.ReadInt32(), 42);
    EXPECT_EQ(reply.GetReadableBytes(), 0u);
    IpcConnectionOf(root)->Close();
}

TEST_F(TransportTest, StatusOfTheStubReachesTheCaller)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    struct Case {
        uint32_t code;
        int expected;
    } cases[] = {
        {ECHO, IPC_ERR_INVALID_DATA},             // stub refused the (empty) data
        {999, IPC_ERR_UNKNOWN_TRANSACTION},       // a code the stub does not know
        {THROW, IPC_ERR_STUB_EXCEPTION},          // exception stayed in the server
        {ECHO, IPC_ERR_INVALID_DATA},             // and the connection still works
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.code);
        MessageParcel data;
        MessageParcel reply;
        MessageOption option;
        EXPECT_EQ(root->SendRequest(c.code, data, reply, option), c.expected);
    }
    IpcConnectionOf(root)->Close();
}

TEST_F(TransportTest, CallingIdentityIsTheKernelsViewOfThePeer)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    MessageParcel data;
    MessageParcel reply;
    MessageOption option;
    ASSERT_EQ(root->SendRequest(WHO, data, reply, option), IPC_OK);
    EXPECT_EQ(reply.ReadInt32(), getpid());
    EXPECT_EQ(reply.ReadUint32(), getuid());
    uint64_t connectionId = reply.ReadUint64();
    EXPECT_NE(connectionId, 0u);
    EXPECT_TRUE(reply.ReadBool());
    auto connections = server_.GetConnections();
    ASSERT_EQ(connections.size(), 1u);
    EXPECT_EQ(connections[0]->GetId(), connectionId);
    // Outside a dispatched call the identity is this process.
    EXPECT_EQ(IPCSkeleton::GetCallingConnectionId(), 0u);
    EXPECT_FALSE(IPCSkeleton::IsHandlingTransaction());
    IpcConnectionOf(root)->Close();
}

TEST_F(TransportTest, OnewayCallsRunInOrderWithoutWaiting)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    constexpr int kCalls = 200;
    for (int i = 0; i < kCalls; ++i) {
        MessageParcel data;
        MessageParcel reply;
        MessageOption option(MessageOption::TF_ASYNC);
        data.WriteInt32(i);
        ASSERT_EQ(root->SendRequest(RECORD, data, reply, option), IPC_OK);
        EXPECT_EQ(reply.GetDataSize(), 0u);
    }
    std::unique_lock<std::mutex> lock(recordMutex_);
    ASSERT_TRUE(recordChanged_.wait_for(lock, std::chrono::seconds(5),
        [&] { return recorded_.size() == static_cast<size_t>(kCalls); }));
    for (int i = 0; i < kCalls; ++i) {
        ASSERT_EQ(recorded_[i], i);
    }
    lock.unlock();
    IpcConnectionOf(root)->Close();
}

TEST_F(TransportTest, CallbackArrivesOnAnIpcThreadWhileTheCallWaits)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    const std::thread::id caller = std::this_thread::get_id();
    std::atomic<bool> ranOnCaller{true};
    std::atomic<uint64_t> callbackConnection{0};
    sptr<IRemoteObject> callback = new FnStub([&](uint32_t, MessageParcel& d, MessageParcel& r, MessageOption&) {
        ranOnCaller = std::this_thread::get_id() == caller;
        callbackConnection = IPCSkeleton::GetCallingConnectionId();
        r.WriteInt32(d.ReadInt32() * 2);
        return IPC_OK;
    });
    MessageParcel data;
    MessageParcel reply;
    MessageOption option;
    data.WriteRemoteObject(callback);
    data.WriteInt32(21);
    ASSERT_EQ(root->SendRequest(CALL_BACK, data, reply, option), IPC_OK);
    EXPECT_EQ(reply.ReadInt32(), IPC_OK);
    EXPECT_EQ(reply.ReadInt32(), 42);
    EXPECT_FALSE(ranOnCaller.load());
    EXPECT_EQ(callbackConnection.load(), IpcConnectionOf(root)->GetId());
    IpcConnectionOf(root)->Close();
}

TEST_F(TransportTest, SameObjectSentTwiceGivesTheSameProxyAndIsReleasedAtTheEnd)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    auto connection = IpcConnectionOf(root);
    std::atomic<bool> destroyed{false};
    sptr<IRemoteObject> callback =
        new FnStub([](uint32_t, MessageParcel&, MessageParcel&, MessageOption&) { return IPC_OK; }, &destroyed);
    for (int i = 0; i < 2; ++i) {
        MessageParcel data;
        MessageParcel reply;
        MessageOption option;
        data.WriteRemoteObject(callback);
        ASSERT_EQ(root->SendRequest(KEEP, data, reply, option), IPC_OK);
    }
    {
        std::lock_guard<std::mutex> lock(keptMutex_);
        ASSERT_EQ(kept_.size(), 2u);
        EXPECT_EQ(kept_[0], kept_[1]);
    }
    EXPECT_EQ(connection->GetExportedObjectCount(), 1u);
    callback = nullptr; // the server's proxy keeps the object alive
    EXPECT_FALSE(destroyed.load());

    MessageParcel data;
    MessageParcel reply;
    MessageOption option;
    ASSERT_EQ(root->SendRequest(DROP_KEPT, data, reply, option), IPC_OK);
    EXPECT_TRUE(WaitFor([&] { return connection->GetExportedObjectCount() == 0; }));
    EXPECT_TRUE(WaitFor([&] { return destroyed.load(); }));
    connection->Close();
}

TEST_F(TransportTest, ServerObjectGoesToTheClientAndComesBackAsItself)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    MessageParcel data;
    MessageParcel reply;
    MessageOption option;
    ASSERT_EQ(root->SendRequest(MAKE_OBJECT, data, reply, option), IPC_OK);
    sptr<IRemoteObject> made = reply.ReadRemoteObject();
    ASSERT_NE(made, nullptr);
    EXPECT_TRUE(made->IsProxyObject());

    MessageParcel call;
    MessageParcel answer;
    ASSERT_EQ(made->SendRequest(0, call, answer, option), IPC_OK);
    EXPECT_EQ(answer.ReadInt32(), 77);

    MessageParcel back;
    MessageParcel verdict;
    back.WriteRemoteObject(made);
    ASSERT_EQ(root->SendRequest(IS_MINE, back, verdict, option), IPC_OK);
    EXPECT_TRUE(verdict.ReadBool());

    // Dropping the client's proxy releases the server's object; the root stays.
    auto serverSide = server_.GetConnections().at(0);
    EXPECT_EQ(serverSide->GetExportedObjectCount(), 2u);
    made = nullptr;
    reply.ClearAll(); // parcels hold their objects too
    back.ClearAll();
    EXPECT_TRUE(WaitFor([&] { return serverSide->GetExportedObjectCount() == 1; }));
    EXPECT_TRUE(WaitFor([&] { return madeDestroyed_.load(); }));
    IpcConnectionOf(root)->Close();
}

TEST_F(TransportTest, ProxyOfAnotherConnectionCannotBeForwarded)
{
    sptr<IRemoteObject> first = Connect();
    sptr<IRemoteObject> second = Connect();
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    MessageParcel data;
    MessageParcel reply;
    MessageOption option;
    data.WriteRemoteObject(first);
    EXPECT_EQ(second->SendRequest(KEEP, data, reply, option), IPC_ERR_INVALID_DATA);
    IpcConnectionOf(first)->Close();
    IpcConnectionOf(second)->Close();
}

TEST_F(TransportTest, ManyThreadsShareOneConnection)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    constexpr int kThreads = 8;
    constexpr int kCallsEach = 50;
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kCallsEach; ++i) {
                MessageParcel data;
                MessageParcel reply;
                MessageOption option;
                data.WriteString(std::to_string(t));
                data.WriteInt32(i);
                if (root->SendRequest(ECHO, data, reply, option) == IPC_OK &&
                    reply.ReadString() == std::to_string(t) + "!" && reply.ReadInt32() == i + 1) {
                    good++;
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good.load(), kThreads * kCallsEach);
    IpcConnectionOf(root)->Close();
}

} // namespace
} // namespace OHOS
