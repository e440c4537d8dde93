// The local stand-in for an object that lives in the peer of a connection.
// SendRequest sends a transaction for the peer's handle; a synchronous one
// waits for the reply. The connection makes proxies when handles arrive: the
// same handle yields the same proxy while that proxy lives. When the last
// strong reference goes, the peer is told (RELEASE) so it can drop the object.
//
// Threads: every member may be called from any thread. OnRemoteDied of the
// death recipients runs on the connection's reader thread, outside all IPC
// locks, once.
#ifndef PLATFORM_IPC_IPC_OBJECT_PROXY_H
#define PLATFORM_IPC_IPC_OBJECT_PROXY_H

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "iremote_object.h"

namespace OHOS {

class IpcConnection;

class IPCObjectProxy : public IRemoteObject {
public:
    IPCObjectProxy(std::shared_ptr<IpcConnection> connection, uint32_t handle);
    ~IPCObjectProxy() override;

    int32_t GetObjectRefCount() override;
    // Returns the remote OnRemoteRequest status, or an IpcStatus transport
    // failure (IPC_ERR_DEAD_OBJECT once the connection is gone,
    // IPC_ERR_TIMED_OUT when the reply takes longer than the option's wait
    // time or kDefaultSyncTimeoutMs). Safe to call from an IPC thread, also
    // while another call of that thread waits for its reply.
    int SendRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;
    bool IsProxyObject() const override { return true; }
    bool IsObjectDead() const override;
    bool CheckObjectLegality() const override { return true; }
    // False once the object is dead (the recipient is not kept then) or for null.
    bool AddDeathRecipient(const sptr<DeathRecipient>& recipient) override;
    bool RemoveDeathRecipient(const sptr<DeathRecipient>& recipient) override;
    int Dump(int fd, const std::vector<std::u16string>& args) override;

    uint32_t GetHandle() const { return handle_; }
    const std::shared_ptr<IpcConnection>& GetConnection() const { return connection_; }

    // Called by the connection when it is lost: marks the proxy dead and
    // tells each recipient once.
    void SendObituary();

    void OnLastStrongRef(const void* objectId) override;

private:
    friend class IpcConnection;

    const std::shared_ptr<IpcConnection> connection_;
    const uint32_t handle_;
    // References of the peer's handle this proxy received and has not yet
    // released. Guarded by the connection's table lock.
    uint64_t acquired_ = 0;
    std::atomic<bool> dead_{false};
    std::mutex recipientsMutex_;
    std::vector<sptr<DeathRecipient>> recipients_; // guarded by recipientsMutex_
};

} // namespace OHOS

#endif // PLATFORM_IPC_IPC_OBJECT_PROXY_H
