// A server in a temporary directory, for the transport tests. Its root
// object answers the codes of TransportFixture::Code.
#ifndef TEST_NATIVE_IPC_TRANSPORT_FIXTURE_H
#define TEST_NATIVE_IPC_TRANSPORT_FIXTURE_H

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <stdexcept>

#include "ipc_client.h"
#include "ipc_errors.h"
#include "ipc_server.h"
#include "ipc_skeleton.h"
#include "ipc_test_util.h"

namespace OHOS::IpcTest {

class TransportFixture : public testing::Test {
protected:
    enum Code : uint32_t {
        PING = 1,    // answers 1234 and the label of the calling connection
        ECHO,        // (text, number) -> (text + "!", number + 1)
        WHO,         // the calling identity
        CALL_BACK,   // (object, value): calls the object with value, answers its status and answer
        KEEP,        // keeps the object sent
        DROP_KEPT,   // drops the objects kept
        MAKE_OBJECT, // answers a new object of its own, which answers 77
        IS_MINE,     // whether the object sent is the one MAKE_OBJECT made
        THROW,       // throws
        RECORD,      // records the number sent
        BLOCK,       // waits for Unblock()
    };

    void TearDown() override
    {
        for (auto& root : connected_) {
            IpcConnectionOf(root)->Close();
        }
        Unblock();
        server_.Stop();
    }

    void StartServer(IpcServerOptions options = {})
    {
        root_ = new FnStub([this](uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption&) {
            return OnRoot(code, data, reply);
        });
        ASSERT_EQ(server_.Start(path_, root_, std::move(options)), IPC_OK);
    }

    // A connection to the server, closed at the end of the test.
    sptr<IRemoteObject> Connect()
    {
        int status = -1;
        sptr<IRemoteObject> root = IpcConnect(path_, {}, &status);
        EXPECT_EQ(status, IPC_OK);
        if (root != nullptr) {
            connected_.push_back(root);
        }
        return root;
    }

    static int Ping(const sptr<IRemoteObject>& root)
    {
        MessageParcel reply;
        int status = Send(root, PING, reply);
        return status == IPC_OK && reply.ReadInt32() != 1234 ? IPC_ERR_INVALID_DATA : status;
    }

    void Unblock()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        released_ = true;
        changed_.notify_all();
    }

    bool WaitBlocked()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(3), [this] { return blocked_; });
    }

    int OnRoot(uint32_t code, MessageParcel& data, MessageParcel& reply)
    {
        switch (code) {
            case PING: {
                auto label = IPCSkeleton::GetCallingConnectionAttribute();
                reply.WriteInt32(1234);
                reply.WriteString(label ? *static_cast<std::string*>(label.get()) : "");
                return IPC_OK;
            }
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
                sptr<IRemoteObject> callback = data.ReadRemoteObject();
                int32_t value = data.ReadInt32();
                if (callback == nullptr || !callback->IsProxyObject()) {
                    return IPC_ERR_INVALID_DATA;
                }
                MessageParcel answer;
                reply.WriteInt32(Send(callback, 1, answer, [&](MessageParcel& p) { p.WriteInt32(value); }));
                reply.WriteInt32(answer.ReadInt32());
                return IPC_OK;
            }
            case KEEP: {
                std::lock_guard<std::mutex> lock(mutex_);
                kept_.push_back(data.ReadRemoteObject());
                return kept_.back() != nullptr ? IPC_OK : IPC_ERR_INVALID_DATA;
            }
            case DROP_KEPT: {
                std::vector<sptr<IRemoteObject>> dropped; // released outside the lock
                std::lock_guard<std::mutex> lock(mutex_);
                dropped.swap(kept_);
                return IPC_OK;
            }
            case MAKE_OBJECT: {
                auto answer77 = [](uint32_t, MessageParcel&, MessageParcel& r, MessageOption&) {
                    return r.WriteInt32(77) ? 0 : -1;
                };
                sptr<IRemoteObject> made = new FnStub(answer77, &madeDestroyed_);
                made_ = made.GetRefPtr();
                reply.WriteRemoteObject(made);
                return IPC_OK;
            }
            case IS_MINE: {
                sptr<IRemoteObject> object = data.ReadRemoteObject();
                reply.WriteBool(object != nullptr && object.GetRefPtr() == made_);
                return IPC_OK;
            }
            case THROW: throw std::runtime_error("stub failure");
            case RECORD: {
                std::lock_guard<std::mutex> lock(mutex_);
                recorded_.push_back(data.ReadInt32());
                return IPC_OK;
            }
            case BLOCK: {
                std::unique_lock<std::mutex> lock(mutex_);
                blocked_ = true;
                changed_.notify_all();
                changed_.wait(lock, [this] { return released_; });
                return IPC_OK;
            }
            default: return IPC_ERR_UNKNOWN_TRANSACTION;
        }
    }

    TempDir dir_;
    std::string path_ = dir_.File("svc.sock");
    sptr<IRemoteObject> root_;
    IpcServer server_;
    std::vector<sptr<IRemoteObject>> connected_;
    std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    bool blocked_ = false;
    bool released_ = false;
    std::vector<sptr<IRemoteObject>> kept_;
    std::vector<int32_t> recorded_;
    std::atomic<bool> madeDestroyed_{false};
    IRemoteObject* made_ = nullptr;
};

} // namespace OHOS::IpcTest

#endif // TEST_NATIVE_IPC_TRANSPORT_FIXTURE_H
