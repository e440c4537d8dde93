// Transactions: sending them (any thread), receiving them (reader thread)
// and running them on the IPC thread pool.
#include <chrono>
#include <exception>
#include <utility>

#include "ipc_connection.h"
#include "hilog/log_rate_limit.h"
#include "ipc_errors.h"
#include "ipc_log.h"
#include "ipc_skeleton.h"
#include "ipc_socket.h"
#include "ipc_thread_pool.h"
#include "message_parcel.h"

namespace OHOS {

namespace {

unsigned long long Id(uint64_t id)
{
    return static_cast<unsigned long long>(id);
}

size_t FrameBytes(const IpcWire::Frame& frame)
{
    return frame.payload.size() + frame.objects.size() * kWireObjectSize;
}

} // namespace

bool IpcConnection::WriteFrame(const IpcWire::FrameHeader& header, const uint8_t* payload, size_t payloadSize,
    const std::vector<IpcWire::WireObject>& objects, uint64_t supersedeKey)
{
    std::vector<uint8_t> bytes;
    try {
        if (!IpcWire::EncodeFrame(header, payload, payloadSize, objects, bytes)) {
            IPC_LOGE("connection %{public}llu: frame not encodable", Id(id_));
            return false;
        }
        return QueueFrame(std::move(bytes), header.handle, objects.empty() ? supersedeKey : 0,
            header.type != IpcWire::FrameType::TRANSACTION && header.type != IpcWire::FrameType::HELLO);
    } catch (...) {
        return false;
    }
}

int IpcConnection::SendTransaction(uint32_t handle, uint32_t code, MessageParcel& data, MessageParcel& reply,
    MessageOption& option)
{
    const bool oneway = (option.GetFlags() & MessageOption::TF_ASYNC) != 0;
    if (data.GetDataSize() > kMaxFramePayload || data.GetDataSize() % 4 != 0) {
        return IPC_ERR_INVALID_DATA;
    }
    try {
        std::vector<IpcWire::WireObject> wire;
        int status = ExportObjects(data.GetObjects(), wire);
        if (status != IPC_OK) {
            return status;
        }
        IpcWire::FrameHeader header;
        header.type = oneway ? IpcWire::FrameType::ONEWAY : IpcWire::FrameType::TRANSACTION;
        header.handle = handle;
        header.code = code;
        std::shared_ptr<PendingCall> call;
        {
            std::vector<sptr<IRemoteObject>> dropped;
            std::unique_lock<std::mutex> lock(mutex_);
            if (state_ != State::READY || (!oneway && pending_.size() >= kMaxOutstandingSyncTransactions)) {
                status = state_ != State::READY ? IPC_ERR_DEAD_OBJECT : IPC_ERR_TOO_MANY;
                UnexportLocked(wire, dropped);
                lock.unlock();
                return status;
            }
            if (!oneway) {
                call = std::make_shared<PendingCall>();
                header.transactionId = nextTransactionId_++;
                pending_[header.transactionId] = call;
                if (readerWaiting_) {
                    onewayRoom_.notify_all(); // the reply must be read: the reader reads on
                }
            }
        }
        if (!WriteFrame(header, data.GetData(), data.GetDataSize(), wire, oneway ? option.GetSupersedeKey() : 0)) {
            std::lock_guard<std::mutex> lock(mutex_);
            pending_.erase(header.transactionId);
            return IPC_ERR_DEAD_OBJECT;
        }
        if (oneway) {
            return IPC_OK;
        }
        int waitMs = option.GetWaitTimeMs() > 0 ? option.GetWaitTimeMs() : kDefaultSyncTimeoutMs;
        std::vector<uint8_t> payload;
        std::vector<sptr<IRemoteObject>> objects;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            if (!call->done.wait_for(lock, std::chrono::milliseconds(waitMs), [&] { return call->finished; })) {
                pending_.erase(header.transactionId);
                IPC_LOGW("connection %{public}llu: transaction %{public}llu (code %{public}u) timed out", Id(id_),
                    Id(header.transactionId), code);
                return IPC_ERR_TIMED_OUT;
            }
            status = call->status;
            payload.swap(call->payload);
            objects.swap(call->objects);
        }
        reply.ClearAll();
        if (payload.size() > reply.GetMaxCapacity() || !reply.SetData(payload.data(), payload.size()) ||
            !reply.SetObjects(std::move(objects))) {
            return IPC_ERR_INVALID_DATA;
        }
        return status;
    } catch (...) {
        return IPC_ERR_NO_MEMORY;
    }
}

bool IpcConnection::HandleTransaction(IpcWire::Frame& frame)
{
    const size_t bytes = FrameBytes(frame);
    const uint64_t transactionId = frame.header.transactionId;
    std::vector<sptr<IRemoteObject>> objects;
    if (!ImportObjects(frame.objects, objects)) {
        return false;
    }
    bool busy = false;
    sptr<IRemoteObject> target;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        // A caller that timed out no longer counts its call while we may still
        // run it, so a well-behaved peer can go past the limit: answer busy.
        if (incomingSync_ >= kMaxOutstandingSyncTransactions || incomingBytes_ + bytes > kMaxPendingIncomingBytes) {
            HILOG_RATE_LIMITED(IPC_LOGW, "connection %{public}llu: too many transactions in progress, answering busy",
                Id(id_));
            busy = true;
        } else {
            incomingSync_++;
            incomingBytes_ += bytes;
            target = FindExportedLocked(frame.header.handle);
        }
    }
    if (busy) {
        SendReply(transactionId, IPC_ERR_BUSY, nullptr);
        return true; // `objects` are released as they go
    }
    MessageParcel data;
    data.SetData(frame.payload.data(), frame.payload.size());
    data.SetObjects(std::move(objects));
    int refusal = IPC_OK;
    if (target == nullptr) {
        refusal = IPC_ERR_UNKNOWN_OBJECT;
    } else if (runOnReader_) {
        runOnReader_([&] { RunSync(transactionId, target, frame.header.code, data, bytes); });
    } else {
        auto self = shared_from_this();
        uint32_t code = frame.header.code;
        auto task = [self, transactionId, target, code, data = std::move(data), bytes]() mutable {
            self->RunSync(transactionId, target, code, data, bytes);
        };
        if (pool_ == nullptr || !pool_->Submit(std::move(task))) {
            refusal = IPC_ERR_BUSY;
        }
    }
    if (refusal != IPC_OK) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            incomingSync_--;
            incomingBytes_ -= bytes;
        }
        SendReply(transactionId, refusal, nullptr);
    }
    return true;
}

bool IpcConnection::HandleOneway(IpcWire::Frame& frame)
{
    const size_t bytes = FrameBytes(frame);
    std::vector<sptr<IRemoteObject>> objects;
    if (!ImportObjects(frame.objects, objects)) {
        return false;
    }
    MessageParcel data;
    data.SetData(frame.payload.data(), frame.payload.size());
    data.SetObjects(std::move(objects));
    auto self = shared_from_this();
    bool startDrain = false;
    sptr<IRemoteObject> inlineTarget;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        sptr<IRemoteObject> target = FindExportedLocked(frame.header.handle);
        if (target == nullptr) {
            HILOG_RATE_LIMITED(IPC_LOGW, "connection %{public}llu: one-way transaction for unknown handle %{public}u",
                Id(id_), frame.header.handle);
            return true; // dropped; `data` releases its objects outside the lock
        }
        uint32_t code = frame.header.code;
        if (oneway_.empty() && !onewayRunning_) {
            // Nothing before it waits to run: this thread runs it, without
            // handing it over to an IPC thread first. The call runs alone,
            // so later ones still come after it.
            onewayRunning_ = true;
            inlineTarget = target;
        } else {
            oneway_.push_back([self, target, code, data = std::move(data), bytes]() mutable {
                MessageParcel reply;
                MessageOption option(MessageOption::TF_ASYNC);
                self->Dispatch(target, code, data, reply, option);
                std::lock_guard<std::mutex> lock(self->mutex_);
                self->incomingBytes_ -= bytes;
            });
            incomingBytes_ += bytes;
            if (!onewayRunning_) {
                onewayRunning_ = true;
                startDrain = true;
            }
        }
    }
    if (inlineTarget != nullptr) {
        // NOLINTNEXTLINE(bugprone-use-after-move): data moves only on the branch that leaves inlineTarget null
        auto run = [&] {
            MessageParcel reply;
            MessageOption option(MessageOption::TF_ASYNC);
            Dispatch(inlineTarget, frame.header.code, data, reply, option);
        };
        if (runOnReader_) {
            runOnReader_(run);
        } else {
            run();
        }
        std::lock_guard<std::mutex> lock(mutex_);
        onewayRunning_ = false;
        return true;
    }
    // One drain task per connection runs the one-way calls in the order they came.
    if (startDrain && (pool_ == nullptr || !pool_->Submit([self] { self->DrainOneway(); }))) {
        IPC_LOGE("connection %{public}llu: no IPC thread for one-way calls", Id(id_));
        return false;
    }
    // The sender is slowed down instead of cut off: nothing more is read
    // until the calls waiting to run are down to the limit.
    return WaitForOnewayRoom();
}

bool IpcConnection::HasOnewayRoomLocked() const
{
    if (incomingBytes_ >= kMaxPendingIncomingBytes || oneway_.size() >= kHardMaxQueuedOnewayTransactions) {
        return false;
    }
    return oneway_.size() < kMaxQueuedOnewayTransactions || !pending_.empty();
}

bool IpcConnection::WaitForOnewayRoom()
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (!HasOnewayRoomLocked()) {
        readerWaiting_ = true;
        onewayRoom_.wait(lock, [this] { return shuttingDown_ || HasOnewayRoomLocked(); });
        readerWaiting_ = false;
    }
    return !shuttingDown_;
}

void IpcConnection::DrainOneway()
{
    for (;;) {
        std::function<void()> call;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (readerWaiting_ && HasOnewayRoomLocked()) {
                onewayRoom_.notify_all();
            }
            if (oneway_.empty()) {
                onewayRunning_ = false;
                return;
            }
            call = std::move(oneway_.front());
            oneway_.pop_front();
        }
        call();
    }
}

int IpcConnection::Dispatch(const sptr<IRemoteObject>& target, uint32_t code, MessageParcel& data, MessageParcel& reply,
    MessageOption& option)
{
    ScopedCallingIdentity identity(peer_.pid, peer_.uid, peer_.gid, shared_from_this());
    try {
        return target->SendRequest(code, data, reply, option);
    } catch (const std::exception& e) {
        IPC_LOGE("connection %{public}llu: stub threw on code %{public}u: %{public}s", Id(id_), code, e.what());
    } catch (...) {
        IPC_LOGE("connection %{public}llu: stub threw on code %{public}u", Id(id_), code);
    }
    reply.ClearAll();
    return IPC_ERR_STUB_EXCEPTION;
}

void IpcConnection::RunSync(uint64_t transactionId, const sptr<IRemoteObject>& target, uint32_t code,
    MessageParcel& data, size_t bytes)
{
    MessageParcel reply;
    MessageOption option(MessageOption::TF_SYNC);
    int status = Dispatch(target, code, data, reply, option);
    {
        // Counted off before the reply leaves, so that the peer's next call is not
        // taken as one too many.
        std::lock_guard<std::mutex> lock(mutex_);
        incomingSync_--;
        incomingBytes_ -= bytes;
    }
    SendReply(transactionId, status, &reply);
}

void IpcConnection::SendReply(uint64_t transactionId, int status, MessageParcel* reply)
{
    IpcWire::FrameHeader header;
    header.type = IpcWire::FrameType::REPLY;
    header.transactionId = transactionId;
    std::vector<IpcWire::WireObject> wire;
    const uint8_t* payload = nullptr;
    size_t payloadSize = 0;
    if (reply != nullptr) {
        int exported = reply->GetDataSize() <= kMaxFramePayload ? ExportObjects(reply->GetObjects(), wire)
                                                                : IPC_ERR_INVALID_DATA;
        if (exported == IPC_OK) {
            payload = reply->GetData();
            payloadSize = reply->GetDataSize();
        } else {
            IPC_LOGE("connection %{public}llu: reply of transaction %{public}llu not sendable: %{public}d", Id(id_),
                Id(transactionId), exported);
            status = exported;
        }
    }
    header.code = static_cast<uint32_t>(status);
    WriteFrame(header, payload, payloadSize, wire);
}

} // namespace OHOS
