// The object tables of a connection: local objects exported to the peer and
// proxies for the peer's objects, with the reference counts that keep an
// exported object alive exactly as long as the peer may still name it.
//
// Counting: every time a local object goes out in a frame, its entry's
// peerRefs grows by one. Every time a peer handle comes in, the proxy's
// acquired_ grows by one. When a proxy's last strong reference goes, it sends
// RELEASE with its acquired_ count and the exporter subtracts it; the entry
// goes at zero. Because the counts travel with the frames, a handle that is
// re-sent while an old proxy is dying stays valid for the new proxy.
#include <climits>

#include "ipc_connection.h"
#include "hilog/log_rate_limit.h"
#include "ipc_errors.h"
#include "ipc_log.h"
#include "ipc_object_proxy.h"

namespace OHOS {

int IpcConnection::ExportObjects(const std::vector<sptr<IRemoteObject>>& objects, std::vector<IpcWire::WireObject>& out)
{
    out.clear();
    if (objects.size() > kMaxObjectsPerParcel) {
        return IPC_ERR_TOO_MANY;
    }
    out.reserve(objects.size());
    std::vector<sptr<IRemoteObject>> dropped;
    std::unique_lock<std::mutex> lock(mutex_);
    if (state_ == State::CLOSED) {
        return IPC_ERR_DEAD_OBJECT;
    }
    int status = IPC_OK;
    for (const sptr<IRemoteObject>& object : objects) {
        if (object == nullptr) {
            status = IPC_ERR_INVALID_DATA;
            break;
        }
        if (object->IsProxyObject()) {
            // Only a proxy of this very connection can be handed back: the peer
            // knows the handle. A proxy of another process cannot be forwarded.
            auto* proxy = dynamic_cast<IPCObjectProxy*>(object.GetRefPtr());
            if (proxy == nullptr || proxy->GetConnection().get() != this) {
                status = IPC_ERR_INVALID_DATA;
                break;
            }
            out.push_back({IpcWire::ObjectKind::RECEIVER_HANDLE, proxy->GetHandle()});
            continue;
        }
        auto known = exportHandles_.find(object.GetRefPtr());
        uint32_t handle = 0;
        if (known != exportHandles_.end()) {
            handle = known->second;
            exports_[handle].peerRefs++;
        } else {
            if (exports_.size() >= kMaxExportedHandlesPerConnection) {
                status = IPC_ERR_TOO_MANY;
                break;
            }
            handle = nextHandle_;
            while (handle == 0 || exports_.count(handle) != 0) {
                ++handle;
            }
            nextHandle_ = handle + 1;
            ExportEntry entry;
            entry.object = object;
            entry.peerRefs = 1;
            exports_.emplace(handle, std::move(entry));
            exportHandles_[object.GetRefPtr()] = handle;
        }
        out.push_back({IpcWire::ObjectKind::SENDER_HANDLE, handle});
    }
    if (status != IPC_OK) {
        UnexportLocked(out, dropped);
        out.clear();
    }
    lock.unlock();
    return status; // `dropped` goes here, outside the lock
}

void IpcConnection::UnexportLocked(const std::vector<IpcWire::WireObject>& entries,
    std::vector<sptr<IRemoteObject>>& dropped)
{
    for (const IpcWire::WireObject& wire : entries) {
        if (wire.kind != IpcWire::ObjectKind::SENDER_HANDLE) {
            continue;
        }
        auto it = exports_.find(wire.handle);
        if (it == exports_.end() || it->second.pinned) {
            continue;
        }
        if (--it->second.peerRefs == 0) {
            dropped.push_back(std::move(it->second.object));
            exportHandles_.erase(dropped.back().GetRefPtr());
            exports_.erase(it);
        }
    }
}

bool IpcConnection::ImportObjects(const std::vector<IpcWire::WireObject>& entries,
    std::vector<sptr<IRemoteObject>>& out)
{
    out.clear();
    out.reserve(entries.size());
    std::lock_guard<std::mutex> lock(mutex_);
    if (state_ == State::CLOSED) {
        return false;
    }
    for (const IpcWire::WireObject& wire : entries) {
        if (wire.kind == IpcWire::ObjectKind::SENDER_HANDLE) {
            bool ok = true;
            sptr<IPCObjectProxy> proxy = ProxyForLocked(wire.handle, true, ok);
            if (!ok) {
                HILOG_RATE_LIMITED(IPC_LOGW, "connection %{public}llu: too many proxies",
                    static_cast<unsigned long long>(id_));
                return false;
            }
            out.push_back(proxy);
        } else {
            sptr<IRemoteObject> local = FindExportedLocked(wire.handle);
            if (local == nullptr) {
                HILOG_RATE_LIMITED(IPC_LOGW,
                    "connection %{public}llu: peer named handle %{public}u that we never exported",
                    static_cast<unsigned long long>(id_), wire.handle);
                return false;
            }
            out.push_back(local);
        }
    }
    return true;
}

sptr<IPCObjectProxy> IpcConnection::ProxyForLocked(uint32_t handle, bool countReference, bool& ok)
{
    ok = true;
    auto it = proxies_.find(handle);
    if (it != proxies_.end()) {
        sptr<IPCObjectProxy> live = it->second.weak.promote();
        if (live != nullptr) {
            if (countReference) {
                live->acquired_++;
            }
            return live;
        }
        // The old proxy is on its way out; it releases its own count.
    } else if (proxies_.size() >= kMaxImportedHandlesPerConnection) {
        ok = false;
        return nullptr;
    }
    sptr<IPCObjectProxy> proxy = new IPCObjectProxy(shared_from_this(), handle);
    proxy->acquired_ = countReference ? 1 : 0;
    ProxyEntry entry;
    entry.raw = proxy.GetRefPtr();
    entry.weak = proxy;
    proxies_[handle] = std::move(entry);
    return proxy;
}

sptr<IRemoteObject> IpcConnection::FindExportedLocked(uint32_t handle) const
{
    auto it = exports_.find(handle);
    return it != exports_.end() ? it->second.object : nullptr;
}

void IpcConnection::OnProxyReleased(IPCObjectProxy* proxy)
{
    uint64_t count = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = proxies_.find(proxy->GetHandle());
        if (it != proxies_.end() && it->second.raw == proxy) {
            proxies_.erase(it);
        }
        count = proxy->acquired_;
        proxy->acquired_ = 0;
        if (state_ != State::READY) {
            return;
        }
    }
    while (count > 0) {
        uint32_t chunk = count > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(count);
        IpcWire::FrameHeader header;
        header.type = IpcWire::FrameType::RELEASE;
        header.handle = proxy->GetHandle();
        header.code = chunk;
        if (!WriteFrame(header, nullptr, 0, {})) {
            return;
        }
        count -= chunk;
    }
}

} // namespace OHOS
