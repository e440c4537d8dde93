// The socket transport end to end in one process: calls, replies, one-way
// order, calling identity, objects passed both ways and their release.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "ipc_object_proxy.h"
#include "transport_fixture.h"

namespace OHOS {
namespace {

using namespace IpcTest;

class TransportTest : public TransportFixture {
protected:
    void SetUp() override { StartServer(); }
};

TEST_F(TransportTest, SyncTransactionCarriesDataAndTheStubsStatusBothWays)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    EXPECT_TRUE(root->IsProxyObject());
    MessageParcel reply;
    ASSERT_EQ(Send(root, ECHO, reply,
                  [](MessageParcel& p) {
                      p.WriteString("north");
                      p.WriteInt32(41);
                  }),
        IPC_OK);
    EXPECT_EQ(reply.ReadString(), "north!");
    EXPECT_EQ(reply.ReadInt32(), 42);
    EXPECT_EQ(reply.GetReadableBytes(), 0u);

    EXPECT_EQ(Send(root, ECHO), IPC_ERR_INVALID_DATA) << "stub refused the (empty) data";
    EXPECT_EQ(Send(root, 999), IPC_ERR_UNKNOWN_TRANSACTION);
    EXPECT_EQ(Send(root, THROW), IPC_ERR_STUB_EXCEPTION) << "the exception stayed in the server";
    EXPECT_EQ(Send(root, ECHO), IPC_ERR_INVALID_DATA) << "and the connection still works";
}

TEST_F(TransportTest, CallingIdentityIsTheKernelsViewOfThePeer)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    MessageParcel reply;
    ASSERT_EQ(Send(root, WHO, reply), IPC_OK);
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
}

// One-way calls sent while the receiver runs none (its one-way thread is
// blocked) pile up far beyond what it queues and the socket holds: the
// receiver stops reading and the sender queues, and nobody closes. Plain
// calls all run, in order; calls with a supersede key keep only the newest
// while the receiver is behind, still in order and ending on the last.
TEST_F(TransportTest, OnewayCallsRunInOrderAndASlowReceiverSlowsTheSenderDown)
{
    constexpr int kCalls = 3000;
    for (uint64_t key : {uint64_t{0}, uint64_t{7}}) {
        SCOPED_TRACE(key);
        sptr<IRemoteObject> root = Connect();
        ASSERT_NE(root, nullptr);
        {
            std::lock_guard<std::mutex> lock(mutex_);
            recorded_.clear();
            blocked_ = released_ = false;
        }
        MessageParcel ignored;
        ASSERT_EQ(Send(root, BLOCK, ignored, nullptr, MessageOption(MessageOption::TF_ASYNC)), IPC_OK);
        ASSERT_TRUE(WaitBlocked());
        for (int i = 0; i < kCalls; ++i) {
            MessageOption option(MessageOption::TF_ASYNC);
            option.SetSupersedeKey(key);
            MessageParcel reply;
            ASSERT_EQ(Send(
                          root, RECORD, reply,
                          [i](MessageParcel& p) {
                              p.WriteInt32(i);
                              p.WriteString(std::string(1000, 'x')); // more than the socket holds
                          },
                          option),
                IPC_OK);
            EXPECT_EQ(reply.GetDataSize(), 0u);
        }
        Unblock();
        ASSERT_TRUE(WaitFor(
            [&] {
                std::lock_guard<std::mutex> lock(mutex_);
                return !recorded_.empty() && recorded_.back() == kCalls - 1;
            },
            10000));
        EXPECT_EQ(Ping(root), IPC_OK) << "the connection stayed";
        std::lock_guard<std::mutex> lock(mutex_);
        for (size_t i = 1; i < recorded_.size(); ++i) {
            ASSERT_LT(recorded_[i - 1], recorded_[i]);
        }
        if (key == 0) {
            EXPECT_EQ(recorded_.size(), static_cast<size_t>(kCalls));
        } else {
            EXPECT_LT(recorded_.size(), static_cast<size_t>(kCalls));
        }
    }
}

// With a runner for calls on the reader thread, synchronous calls run there
// too, each through the runner, with its reply, identity and failures as on
// the pool; one-way calls go through it as well.
TEST_F(TransportFixture, CallsRunOnTheReaderThreadThroughTheRunner)
{
    std::atomic<int> runs{0};
    IpcServerOptions options;
    options.runOnReader = [&](const std::function<void()>& run) {
        ++runs;
        run();
    };
    StartServer(std::move(options));
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    MessageParcel reply;
    ASSERT_EQ(Send(root, ECHO, reply,
                  [](MessageParcel& p) {
                      p.WriteString("east");
                      p.WriteInt32(1);
                  }),
        IPC_OK);
    EXPECT_EQ(reply.ReadString(), "east!");
    EXPECT_EQ(Send(root, THROW), IPC_ERR_STUB_EXCEPTION);
    ASSERT_EQ(Send(root, WHO, reply), IPC_OK);
    EXPECT_EQ(reply.ReadInt32(), getpid());
    EXPECT_EQ(runs.load(), 3) << "every synchronous call ran through the runner, before its reply";
    ASSERT_EQ(
        Send(
            root, RECORD, reply, [](MessageParcel& p) { p.WriteInt32(5); }, MessageOption(MessageOption::TF_ASYNC)),
        IPC_OK);
    EXPECT_TRUE(WaitFor([&] { return runs.load() == 4; }, 5000));
}

// Frames sent under a WriteBatch wait until it closes and then leave in
// order; a synchronous call inside one is not held (its reply would never
// come) and takes the held frames with it.
TEST_F(TransportTest, WriteBatchHoldsFramesUntilItClosesButNeverASynchronousCall)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    auto record = [&](int32_t value) {
        MessageParcel reply;
        return Send(
            root, RECORD, reply, [value](MessageParcel& p) { p.WriteInt32(value); },
            MessageOption(MessageOption::TF_ASYNC));
    };
    auto recorded = [&] {
        std::lock_guard<std::mutex> lock(mutex_);
        return recorded_;
    };
    {
        IpcConnection::WriteBatch batch;
        ASSERT_EQ(record(1), IPC_OK);
        ASSERT_EQ(record(2), IPC_OK);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_TRUE(recorded().empty()) << "nothing leaves before the batch closes";
    }
    ASSERT_TRUE(WaitFor([&] { return recorded().size() == 2; }, 5000));
    {
        IpcConnection::WriteBatch batch;
        ASSERT_EQ(record(3), IPC_OK);
        EXPECT_EQ(Ping(root), IPC_OK) << "a synchronous call inside a batch is answered";
        ASSERT_TRUE(WaitFor([&] { return recorded().size() == 3; }, 5000)) << "and took the held frame along";
    }
    EXPECT_EQ(recorded(), (std::vector<int32_t>{1, 2, 3}));
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
    MessageParcel reply;
    ASSERT_EQ(Send(root, CALL_BACK, reply,
                  [&](MessageParcel& p) {
                      p.WriteRemoteObject(callback);
                      p.WriteInt32(21);
                  }),
        IPC_OK);
    EXPECT_EQ(reply.ReadInt32(), IPC_OK);
    EXPECT_EQ(reply.ReadInt32(), 42);
    EXPECT_FALSE(ranOnCaller.load());
    EXPECT_EQ(callbackConnection.load(), IpcConnectionOf(root)->GetId());
}

TEST_F(TransportTest, SameObjectSentTwiceGivesTheSameProxyAndIsReleasedAtTheEnd)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    auto connection = IpcConnectionOf(root);
    std::atomic<bool> destroyed{false};
    sptr<IRemoteObject> callback = new FnStub(
        [](uint32_t, MessageParcel&, MessageParcel&, MessageOption&) { return IPC_OK; }, &destroyed);
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(Send(root, KEEP, [&](MessageParcel& p) { p.WriteRemoteObject(callback); }), IPC_OK);
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ASSERT_EQ(kept_.size(), 2u);
        EXPECT_EQ(kept_[0], kept_[1]);
    }
    EXPECT_EQ(connection->GetExportedObjectCount(), 1u);
    callback = nullptr; // the server's proxy keeps the object alive
    EXPECT_FALSE(destroyed.load());

    ASSERT_EQ(Send(root, DROP_KEPT), IPC_OK);
    EXPECT_TRUE(WaitFor([&] { return connection->GetExportedObjectCount() == 0; }));
    EXPECT_TRUE(WaitFor([&] { return destroyed.load(); }));
}

TEST_F(TransportTest, ServerObjectGoesToTheClientAndComesBackAsItself)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    sptr<IRemoteObject> made;
    {
        MessageParcel reply; // parcels hold their objects too
        ASSERT_EQ(Send(root, MAKE_OBJECT, reply), IPC_OK);
        made = reply.ReadRemoteObject();
    }
    ASSERT_NE(made, nullptr);
    EXPECT_TRUE(made->IsProxyObject());
    MessageParcel answer;
    ASSERT_EQ(Send(made, 0, answer), IPC_OK);
    EXPECT_EQ(answer.ReadInt32(), 77);
    MessageParcel verdict;
    ASSERT_EQ(Send(root, IS_MINE, verdict, [&](MessageParcel& p) { p.WriteRemoteObject(made); }), IPC_OK);
    EXPECT_TRUE(verdict.ReadBool());

    // Dropping the client's proxy releases the server's object; the root stays.
    auto serverSide = server_.GetConnections().at(0);
    EXPECT_EQ(serverSide->GetExportedObjectCount(), 2u);
    made = nullptr;
    EXPECT_TRUE(WaitFor([&] { return serverSide->GetExportedObjectCount() == 1; }));
    EXPECT_TRUE(WaitFor([&] { return madeDestroyed_.load(); }));
}

TEST_F(TransportTest, ProxyOfAnotherConnectionCannotBeForwarded)
{
    sptr<IRemoteObject> first = Connect();
    sptr<IRemoteObject> second = Connect();
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(Send(second, KEEP, [&](MessageParcel& p) { p.WriteRemoteObject(first); }), IPC_ERR_INVALID_DATA);
}

TEST_F(TransportTest, ManyThreadsShareOneConnection)
{
    sptr<IRemoteObject> root = Connect();
    ASSERT_NE(root, nullptr);
    constexpr int kThreads = 8;
    constexpr int kCallsEach = 50;
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kCallsEach; ++i) {
                MessageParcel reply;
                auto fill = [&](MessageParcel& p) {
                    p.WriteString(std::to_string(t));
                    p.WriteInt32(i);
                };
                if (Send(root, ECHO, reply, fill) == IPC_OK && reply.ReadString() == std::to_string(t) + "!" &&
                    reply.ReadInt32() == i + 1) {
                    good++;
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good.load(), kThreads * kCallsEach);
}

} // namespace
} // namespace OHOS
