// Connection life cycle: creation, the reader thread, the handshake, replies,
// releases and the clean-up when the connection ends.
#include "ipc_connection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <exception>

#include "hilog/log_rate_limit.h"
#include "ipc_errors.h"
#include "ipc_log.h"
#include "ipc_object_proxy.h"
#include "ipc_socket.h"
#include "ipc_thread_pool.h"
#include "message_parcel.h"

namespace OHOS {

namespace {

constexpr size_t kReadChunk = 64 * 1024;
constexpr int kHandshakePending = 1;

std::atomic<uint64_t> gNextConnectionId{1};

// What the reader waits for. Every wait has a deadline except for the next
// frame on a client's connection, or on a server's without an idle rule.
enum class ReadWait { HANDSHAKE, REST_OF_FRAME, IDLE, FRAME };

// Why reading ended, for the log: received is what ReceiveSome returned.
const char* EndOfReading(long received, ReadWait wait)
{
    if (received == 0) {
        return "peer closed";
    }
    if (received != IpcSocket::kReceiveTimedOut) {
        return "read failed";
    }
    switch (wait) {
        case ReadWait::HANDSHAKE: return "handshake timed out";
        case ReadWait::REST_OF_FRAME: return "frame not completed in time";
        default: return "idle";
    }
}

} // namespace

IpcConnection::IpcConnection(int fd, Options options)
    : id_(gNextConnectionId.fetch_add(1)),
      role_(options.role),
      fd_(fd),
      pool_(std::move(options.pool)),
      authenticator_(std::move(options.authenticator)),
      onClosed_(std::move(options.onClosed)),
      runOnReader_(std::move(options.runOnReader)),
      sendTimeoutMs_(options.sendTimeoutMs > 0 ? options.sendTimeoutMs : kSendTimeoutMs),
      handshakeTimeoutMs_(options.handshakeTimeoutMs > 0 ? options.handshakeTimeoutMs : kHandshakeTimeoutMs),
      frameTimeoutMs_(options.frameTimeoutMs > 0 ? options.frameTimeoutMs : kFrameReadTimeoutMs),
      idleTimeoutMs_(role_ == Role::SERVER && options.idleTimeoutMs > 0 ? options.idleTimeoutMs : 0)
{
    if (role_ == Role::SERVER && options.root != nullptr) {
        ExportEntry root;
        root.object = options.root;
        root.pinned = true;
        exportHandles_[options.root.GetRefPtr()] = 0;
        exports_.emplace(0, std::move(root));
    }
}

IpcConnection::~IpcConnection()
{
    CloseOutbound(); // done already unless the reader never ran
    {
        std::lock_guard<std::mutex> lock(readerMutex_);
        if (reader_.joinable()) {
            if (reader_.get_id() == std::this_thread::get_id()) {
                reader_.detach(); // the reader dropped the last reference on its way out
            } else {
                reader_.join();
            }
        }
    }
    close(fd_);
}

std::shared_ptr<IpcConnection> IpcConnection::Create(int fd, Options options)
{
    std::shared_ptr<IpcConnection> connection;
    try {
        connection.reset(new IpcConnection(fd, std::move(options)));
    } catch (...) {
        close(fd);
        return nullptr;
    }
    IpcSocket::Credentials cred;
    if (IpcSocket::GetPeerCredentials(fd, cred)) {
        connection->peer_ = {cred.pid, cred.uid, cred.gid};
    }
    try {
        std::lock_guard<std::mutex> lock(connection->readerMutex_);
        connection->reader_ = std::thread([connection] { connection->ReaderMain(); });
    } catch (const std::exception& e) {
        IPC_LOGE("connection %{public}llu: reader thread not started: %{public}s",
            static_cast<unsigned long long>(connection->id_), e.what());
        return nullptr;
    }
    return connection;
}

IpcHelloInfo IpcConnection::GetHelloInfo() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return hello_;
}

bool IpcConnection::IsAlive() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return state_ != State::CLOSED;
}

void IpcConnection::SetAttribute(std::shared_ptr<void> attribute)
{
    std::shared_ptr<void> old;
    std::lock_guard<std::mutex> lock(mutex_);
    old.swap(attribute_);
    attribute_ = std::move(attribute);
}

std::shared_ptr<void> IpcConnection::GetAttribute() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return attribute_;
}

size_t IpcConnection::GetExportedObjectCount() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return exports_.size();
}

size_t IpcConnection::GetProxyCount() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return proxies_.size();
}

void IpcConnection::Shutdown(const char* reason)
{
    IPC_LOGI("connection %{public}llu: shutting down: %{public}s", static_cast<unsigned long long>(id_), reason);
    shutdown(fd_, SHUT_RDWR);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        shuttingDown_ = true;
    }
    onewayRoom_.notify_all(); // a reader waiting for room ends too
}

void IpcConnection::Close()
{
    Shutdown("closed locally");
    std::thread reader;
    {
        std::lock_guard<std::mutex> lock(readerMutex_);
        if (reader_.joinable() && reader_.get_id() != std::this_thread::get_id()) {
            reader = std::move(reader_);
        }
    }
    if (reader.joinable()) {
        reader.join();
    }
}

int IpcConnection::SendHello(const IpcHelloInfo& hello, int timeoutMs)
{
    if (role_ != Role::CLIENT || hello.bundleName.size() > kMaxBundleNameLength ||
        hello.token.size() > kMaxTokenLength) {
        return IPC_ERR_INVALID_DATA;
    }
    Parcel payload;
    if (!payload.WriteString(hello.bundleName) || !payload.WriteString(hello.token)) {
        return IPC_ERR_INVALID_DATA;
    }
    IpcWire::FrameHeader header;
    header.type = IpcWire::FrameType::HELLO;
    if (!WriteFrame(header, payload.GetData(), payload.GetDataSize(), {})) {
        return IPC_ERR_DEAD_OBJECT;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    bool answered = handshakeDone_.wait_for(lock, std::chrono::milliseconds(timeoutMs),
        [this] { return handshakeStatus_ != kHandshakePending; });
    int status = answered ? handshakeStatus_ : IPC_ERR_TIMED_OUT;
    lock.unlock();
    if (status != IPC_OK) {
        Close();
    }
    return status;
}

sptr<IRemoteObject> IpcConnection::GetRootObject()
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (role_ != Role::CLIENT || state_ != State::READY) {
        return nullptr;
    }
    bool ok = true;
    sptr<IPCObjectProxy> proxy = ProxyForLocked(0, false, ok);
    return ok ? sptr<IRemoteObject>(proxy) : nullptr;
}

void IpcConnection::ReaderMain()
{
    using Clock = std::chrono::steady_clock;
    const auto handshakeDeadline = Clock::now() + std::chrono::milliseconds(handshakeTimeoutMs_);
    try {
        std::vector<uint8_t> chunk(kReadChunk);
        IpcWire::FrameDecoder decoder;
        IpcWire::Frame frame;
        Clock::time_point frameStarted;             // first bytes of the unfinished frame
        Clock::time_point lastFrame = Clock::now(); // the latest whole frame
        bool running = true;
        while (running) {
            ReadWait wait = ReadWait::FRAME;
            Clock::time_point deadline = Clock::time_point::max();
            {
                std::lock_guard<std::mutex> lock(mutex_);
                if (state_ == State::HANDSHAKE) {
                    wait = ReadWait::HANDSHAKE;
                    deadline = handshakeDeadline;
                }
            }
            if (wait == ReadWait::FRAME && decoder.BufferedBytes() > 0) {
                wait = ReadWait::REST_OF_FRAME;
                deadline = frameStarted + std::chrono::milliseconds(frameTimeoutMs_);
            } else if (wait == ReadWait::FRAME && idleTimeoutMs_ > 0) {
                wait = ReadWait::IDLE;
                deadline = lastFrame + std::chrono::milliseconds(idleTimeoutMs_);
            }
            int timeoutMs = -1;
            if (deadline != Clock::time_point::max()) {
                // Rounded up: a wait cut short by the rounding would spin until the deadline.
                auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
                timeoutMs = left > 0 ? static_cast<int>(left) : 0;
            }
            long n = IpcSocket::ReceiveSome(fd_, chunk.data(), chunk.size(), timeoutMs);
            if (n == IpcSocket::kReceiveTimedOut && Clock::now() < deadline) {
                continue; // woken a little early
            }
            if (n == IpcSocket::kReceiveTimedOut && wait == ReadWait::IDLE && !HoldsNothing()) {
                lastFrame = Clock::now(); // busy, not idle: look again later
                continue;
            }
            if (n <= 0) {
                if (wait == ReadWait::REST_OF_FRAME && n == IpcSocket::kReceiveTimedOut) {
                    HILOG_RATE_LIMITED(IPC_LOGW, "connection %{public}llu: frame not completed within %{public}d ms",
                        static_cast<unsigned long long>(id_), frameTimeoutMs_);
                }
                IPC_LOGI("connection %{public}llu: %{public}s", static_cast<unsigned long long>(id_),
                    EndOfReading(n, wait));
                break;
            }
            const bool hadPartFrame = decoder.BufferedBytes() > 0;
            decoder.Feed(chunk.data(), static_cast<size_t>(n));
            size_t frames = 0;
            for (;;) {
                IpcWire::DecodeStatus status = decoder.Next(frame);
                if (status == IpcWire::DecodeStatus::NEED_MORE) {
                    break;
                }
                if (status != IpcWire::DecodeStatus::OK) {
                    HILOG_RATE_LIMITED(IPC_LOGW, "connection %{public}llu: bad frame: %{public}s",
                        static_cast<unsigned long long>(id_), IpcWire::DecodeStatusName(status));
                    running = false;
                    break;
                }
                ++frames;
                if (!HandleFrame(frame)) {
                    running = false;
                    break;
                }
            }
            const auto now = Clock::now();
            if (frames > 0) {
                lastFrame = now;
            }
            // Bytes left over start a new frame, unless they continue the one that was waiting.
            if (frames > 0 || !hadPartFrame) {
                frameStarted = now;
            }
        }
    } catch (const std::exception& e) {
        IPC_LOGE("connection %{public}llu: reader stopped: %{public}s", static_cast<unsigned long long>(id_), e.what());
    } catch (...) {
        IPC_LOGE("connection %{public}llu: reader stopped", static_cast<unsigned long long>(id_));
    }
    shutdown(fd_, SHUT_RDWR);
    TearDown();
}

void IpcConnection::KeepWhileIdle()
{
    keptWhileIdle_.store(true);
}

bool IpcConnection::HoldsNothing() const
{
    if (keptWhileIdle_.load()) {
        return false;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    return proxies_.empty() && exports_.size() <= 1 && pending_.empty() && incomingSync_ == 0 && oneway_.empty() &&
        !onewayRunning_;
}

bool IpcConnection::HandleFrame(IpcWire::Frame& frame)
{
    using IpcWire::FrameType;
    State state;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        state = state_;
    }
    const FrameType type = frame.header.type;
    bool handshaking = state == State::HANDSHAKE;
    if (type == FrameType::HELLO) {
        if (role_ == Role::SERVER && handshaking) {
            return HandleHello(frame);
        }
    } else if (type == FrameType::HELLO_ACK) {
        if (role_ == Role::CLIENT && handshaking) {
            return HandleHelloAck(frame);
        }
    } else if (state == State::READY) {
        switch (type) {
            case FrameType::TRANSACTION: return HandleTransaction(frame);
            case FrameType::ONEWAY: return HandleOneway(frame);
            case FrameType::REPLY: return HandleReply(frame);
            case FrameType::RELEASE: return HandleRelease(frame);
            default: break;
        }
    }
    HILOG_RATE_LIMITED(IPC_LOGW, "connection %{public}llu: frame type %{public}u out of order",
        static_cast<unsigned long long>(id_), static_cast<unsigned>(type));
    return false;
}

bool IpcConnection::HandleHello(const IpcWire::Frame& frame)
{
    Parcel payload;
    IpcHelloInfo hello;
    if (!payload.SetData(frame.payload.data(), frame.payload.size()) || !payload.ReadString(hello.bundleName) ||
        !payload.ReadString(hello.token) || hello.bundleName.size() > kMaxBundleNameLength ||
        hello.token.size() > kMaxTokenLength) {
        HILOG_RATE_LIMITED(IPC_LOGW, "connection %{public}llu: malformed HELLO", static_cast<unsigned long long>(id_));
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        hello_ = hello;
    }
    int status = IPC_OK;
    if (authenticator_) {
        try {
            status = authenticator_(*this, hello);
        } catch (...) {
            status = IPC_ERR_PERMISSION;
        }
    }
    IpcWire::FrameHeader ack;
    ack.type = IpcWire::FrameType::HELLO_ACK;
    ack.code = static_cast<uint32_t>(status);
    if (status == IPC_OK) {
        // Ready before the answer leaves, so that a transaction right behind it is accepted.
        std::lock_guard<std::mutex> lock(mutex_);
        state_ = State::READY;
    }
    if (!WriteFrame(ack, nullptr, 0, {})) {
        return false;
    }
    if (status != IPC_OK) {
        HILOG_RATE_LIMITED(IPC_LOGW, "connection %{public}llu: refused (pid %{public}d, status %{public}d)",
            static_cast<unsigned long long>(id_), static_cast<int>(peer_.pid), status);
        return false;
    }
    return true;
}

bool IpcConnection::HandleHelloAck(const IpcWire::Frame& frame)
{
    int status = static_cast<int32_t>(frame.header.code);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (status == IPC_OK) {
            state_ = State::READY;
        }
        // A refusal must not look like "still pending" to SendHello.
        handshakeStatus_ = status == kHandshakePending ? IPC_ERR_PERMISSION : status;
    }
    handshakeDone_.notify_all();
    return status == IPC_OK;
}

bool IpcConnection::HandleReply(IpcWire::Frame& frame)
{
    std::vector<sptr<IRemoteObject>> objects;
    if (!ImportObjects(frame.objects, objects)) {
        return false;
    }
    std::shared_ptr<PendingCall> call;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (frame.header.transactionId >= nextTransactionId_) {
            HILOG_RATE_LIMITED(IPC_LOGW, "connection %{public}llu: reply to a transaction never sent",
                static_cast<unsigned long long>(id_));
            return false;
        }
        auto it = pending_.find(frame.header.transactionId);
        if (it != pending_.end()) {
            call = it->second;
            pending_.erase(it);
            call->finished = true;
            call->status = static_cast<int32_t>(frame.header.code);
            call->payload = std::move(frame.payload);
            call->objects = std::move(objects);
        }
    }
    if (call) {
        call->done.notify_all();
    }
    // A late reply (the caller timed out) is dropped here; its proxies release
    // their references as they go.
    return true;
}

bool IpcConnection::HandleRelease(const IpcWire::Frame& frame)
{
    sptr<IRemoteObject> dropped;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = exports_.find(frame.header.handle);
        if (it == exports_.end()) {
            HILOG_RATE_LIMITED(IPC_LOGW, "connection %{public}llu: release of unknown handle %{public}u",
                static_cast<unsigned long long>(id_), frame.header.handle);
            return false;
        }
        ExportEntry& entry = it->second;
        if (entry.pinned) {
            return true;
        }
        if (entry.peerRefs < frame.header.code) {
            HILOG_RATE_LIMITED(IPC_LOGW, "connection %{public}llu: release of more references than handed out",
                static_cast<unsigned long long>(id_));
            return false;
        }
        entry.peerRefs -= frame.header.code;
        if (entry.peerRefs == 0) {
            dropped = std::move(entry.object);
            exportHandles_.erase(dropped.GetRefPtr());
            exports_.erase(it);
        }
    }
    return true; // `dropped` goes here, outside the lock
}

void IpcConnection::TearDown()
{
    std::vector<sptr<IRemoteObject>> exported;
    std::vector<sptr<IPCObjectProxy>> proxies;
    std::deque<std::function<void()>> oneway;
    std::vector<std::shared_ptr<PendingCall>> calls;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        state_ = State::CLOSED;
        if (handshakeStatus_ == kHandshakePending) {
            handshakeStatus_ = IPC_ERR_DEAD_OBJECT;
        }
        for (auto& [id, call] : pending_) {
            call->finished = true;
            call->status = IPC_ERR_DEAD_OBJECT;
            calls.push_back(call);
        }
        pending_.clear();
        for (auto& [handle, entry] : exports_) {
            exported.push_back(std::move(entry.object));
        }
        exports_.clear();
        exportHandles_.clear();
        for (auto& [handle, entry] : proxies_) {
            sptr<IPCObjectProxy> proxy = entry.weak.promote();
            if (proxy != nullptr) {
                proxies.push_back(proxy);
            }
        }
        proxies_.clear();
        oneway.swap(oneway_);
    }
    CloseOutbound();
    handshakeDone_.notify_all();
    for (auto& call : calls) {
        call->done.notify_all();
    }
    for (auto& proxy : proxies) {
        proxy->SendObituary();
    }
    proxies.clear();
    oneway.clear();
    exported.clear();
    if (onClosed_) {
        try {
            onClosed_(shared_from_this());
        } catch (...) {
            IPC_LOGE("connection %{public}llu: closed callback threw", static_cast<unsigned long long>(id_));
        }
    }
}

} // namespace OHOS
