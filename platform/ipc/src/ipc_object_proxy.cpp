#include "ipc_object_proxy.h"

#include <algorithm>

#include "ipc_connection.h"
#include "ipc_errors.h"
#include "ipc_log.h"

namespace OHOS {

IPCObjectProxy::IPCObjectProxy(std::shared_ptr<IpcConnection> connection, uint32_t handle)
    : connection_(std::move(connection)),
      handle_(handle)
{
}

IPCObjectProxy::~IPCObjectProxy() = default;

int32_t IPCObjectProxy::GetObjectRefCount()
{
    return GetSptrRefCount();
}

int IPCObjectProxy::SendRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option)
{
    if (dead_.load()) {
        return IPC_ERR_DEAD_OBJECT;
    }
    return connection_->SendTransaction(handle_, code, data, reply, option);
}

bool IPCObjectProxy::IsObjectDead() const
{
    return dead_.load() || !connection_->IsAlive();
}

bool IPCObjectProxy::AddDeathRecipient(const sptr<DeathRecipient>& recipient)
{
    if (recipient == nullptr) {
        return false;
    }
    std::lock_guard<std::mutex> lock(recipientsMutex_);
    if (dead_.load()) {
        return false;
    }
    recipients_.push_back(recipient);
    return true;
}

bool IPCObjectProxy::RemoveDeathRecipient(const sptr<DeathRecipient>& recipient)
{
    sptr<DeathRecipient> removed;
    std::lock_guard<std::mutex> lock(recipientsMutex_);
    auto it = std::find(recipients_.begin(), recipients_.end(), recipient);
    if (it == recipients_.end()) {
        return false;
    }
    removed = *it;
    recipients_.erase(it);
    return true;
}

int IPCObjectProxy::Dump(int, const std::vector<std::u16string>&)
{
    return IPC_OK;
}

void IPCObjectProxy::SendObituary()
{
    std::vector<sptr<DeathRecipient>> recipients;
    {
        std::lock_guard<std::mutex> lock(recipientsMutex_);
        if (dead_.exchange(true)) {
            return;
        }
        recipients.swap(recipients_);
    }
    wptr<IRemoteObject> self(static_cast<IRemoteObject*>(this));
    for (const sptr<DeathRecipient>& recipient : recipients) {
        try {
            recipient->OnRemoteDied(self);
        } catch (...) {
            IPC_LOGE("death recipient of handle %{public}u threw", handle_);
        }
    }
}

void IPCObjectProxy::OnLastStrongRef(const void*)
{
    connection_->OnProxyReleased(this);
}

} // namespace OHOS
