// Outgoing frames: one queue per connection, in sending order. A sender
// writes what the socket takes at once; a writer thread, started the first
// time the socket is full, writes the rest as the peer reads. No sender ever
// waits for the peer, so a slow peer holds up neither the threads that send
// to it nor other connections.
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>

#include <cerrno>
#include <exception>

#include "ipc_connection.h"
#include "ipc_log.h"

namespace OHOS {

namespace {

using Clock = std::chrono::steady_clock;

// How often the writer looks again at a peer that only has supersedable
// frames waiting (such a peer may stay behind for good).
constexpr int kIdleWriterPollMs = 1000;

unsigned long long Id(uint64_t id)
{
    return static_cast<unsigned long long>(id);
}

// The batch open on this thread, if any.
thread_local IpcConnection::WriteBatch* t_writeBatch = nullptr;

// Frames handed to one sendmsg at most.
constexpr size_t kMaxFramesPerWrite = 16;

} // namespace

bool IpcConnection::QueueFrame(std::vector<uint8_t> bytes, uint32_t handle, uint64_t supersedeKey, bool mayWait)
{
    const char* failure = nullptr;
    {
        std::lock_guard<std::mutex> lock(outMutex_);
        if (outClosed_) {
            return false;
        }
        const bool behind = outbound_.size() >= kSupersedeAfterQueuedFrames ||
            outboundBytes_ >= kSupersedeAfterQueuedBytes;
        if (supersedeKey != 0 && behind) {
            auto queued = replaceable_.find({handle, supersedeKey});
            if (queued != replaceable_.end()) {
                OutFrame& frame = outbound_[queued->second - outFrontId_];
                outboundBytes_ = outboundBytes_ - frame.bytes.size() + bytes.size();
                frame.bytes = std::move(bytes);
                ++supersededTotal_;
                if (uint64_t count = superseded_.Add(1)) {
                    IPC_LOGW("connection %{public}llu: %{public}llu superseded one-way calls not sent, the peer "
                             "reads slower than they come (%{public}llu in all)",
                        Id(id_), Id(count), Id(supersededTotal_));
                }
                return true;
            }
        }
        const uint64_t id = outFrontId_ + outbound_.size();
        OutFrame frame;
        frame.handle = handle;
        frame.supersedeKey = supersedeKey;
        outboundBytes_ += bytes.size();
        frame.bytes = std::move(bytes);
        outbound_.push_back(std::move(frame));
        if (supersedeKey != 0) {
            replaceable_[{handle, supersedeKey}] = id;
        } else {
            ++outboundPlain_;
        }
        if (outbound_.size() == 1) {
            lastWriteProgress_ = Clock::now();
        }
        WriteBatch* batch = mayWait ? t_writeBatch : nullptr;
        if (batch != nullptr) {
            if (!heldInBatch_) {
                heldInBatch_ = true;
                try {
                    batch->held_.push_back(shared_from_this());
                    return true;
                } catch (...) {
                    heldInBatch_ = false; // written now instead
                }
            } else {
                return true;
            }
        }
        failure = FlushQueuedLocked();
    }
    if (failure != nullptr) {
        Shutdown(failure);
        return false;
    }
    return true;
}

const char* IpcConnection::FlushQueuedLocked()
{
    if (!FlushLocked()) {
        return "write failed";
    }
    if (outbound_.empty()) {
        return nullptr;
    }
    if (outboundBytes_ > kMaxQueuedOutgoingBytes) {
        return "the peer does not read: too much waiting to be written";
    }
    if (writerStarted_) {
        outWork_.notify_one();
        return nullptr;
    }
    try {
        writer_ = std::thread([this] { WriterMain(); });
        writerStarted_ = true;
    } catch (const std::exception& e) {
        IPC_LOGE("connection %{public}llu: writer thread not started: %{public}s", Id(id_), e.what());
        return "no writer thread";
    }
    return nullptr;
}

void IpcConnection::FlushQueued()
{
    const char* failure = nullptr;
    {
        std::lock_guard<std::mutex> lock(outMutex_);
        heldInBatch_ = false;
        if (outClosed_) {
            return;
        }
        failure = FlushQueuedLocked();
    }
    if (failure != nullptr) {
        Shutdown(failure);
    }
}

IpcConnection::WriteBatch::WriteBatch() noexcept : outer_(t_writeBatch)
{
    t_writeBatch = this;
}

IpcConnection::WriteBatch::~WriteBatch()
{
    t_writeBatch = outer_;
    for (auto& connection : held_) {
        connection->FlushQueued();
    }
}

bool IpcConnection::FlushLocked()
{
    while (!outbound_.empty()) {
        // The frames at the front, the first from where it was left off.
        struct iovec parts[kMaxFramesPerWrite];
        size_t count = 0;
        for (auto it = outbound_.begin(); it != outbound_.end() && count < kMaxFramesPerWrite; ++it, ++count) {
            parts[count].iov_base = it->bytes.data() + it->written;
            parts[count].iov_len = it->bytes.size() - it->written;
        }
        struct msghdr message {};
        message.msg_iov = parts;
        message.msg_iovlen = count;
        ssize_t n = sendmsg(fd_, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno == EAGAIN || errno == EWOULDBLOCK;
        }
        lastWriteProgress_ = Clock::now();
        size_t left = static_cast<size_t>(n);
        while (left > 0 && !outbound_.empty()) {
            OutFrame& frame = outbound_.front();
            if (frame.written == 0 && frame.supersedeKey != 0) {
                // Started: no longer replaceable.
                auto entry = replaceable_.find({frame.handle, frame.supersedeKey});
                if (entry != replaceable_.end() && entry->second == outFrontId_) {
                    replaceable_.erase(entry);
                }
            }
            const size_t taken = std::min(left, frame.bytes.size() - frame.written);
            frame.written += taken;
            left -= taken;
            if (frame.written < frame.bytes.size()) {
                break;
            }
            outboundBytes_ -= frame.bytes.size();
            if (frame.supersedeKey == 0) {
                --outboundPlain_;
            }
            outbound_.pop_front();
            ++outFrontId_;
        }
    }
    return true;
}

void IpcConnection::WriterMain()
{
    std::unique_lock<std::mutex> lock(outMutex_);
    for (;;) {
        outWork_.wait(lock, [this] { return outClosed_ || !outbound_.empty(); });
        if (outClosed_) {
            return;
        }
        if (!FlushLocked()) {
            lock.unlock();
            Shutdown("write failed");
            return;
        }
        if (outbound_.empty()) {
            continue;
        }
        int timeoutMs = kIdleWriterPollMs;
        if (outboundPlain_ > 0) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                lastWriteProgress_ + std::chrono::milliseconds(sendTimeoutMs_) - Clock::now())
                            .count();
            if (left <= 0) {
                lock.unlock();
                Shutdown("the peer does not read");
                return;
            }
            timeoutMs = left < kIdleWriterPollMs ? static_cast<int>(left) : kIdleWriterPollMs;
        }
        lock.unlock();
        struct pollfd pfd {
            fd_, POLLOUT, 0
        };
        int ready = poll(&pfd, 1, timeoutMs);
        bool broken = ready > 0 && (pfd.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
        lock.lock();
        if (broken && !outClosed_) {
            lock.unlock();
            Shutdown("write failed");
            return;
        }
    }
}

void IpcConnection::CloseOutbound()
{
    std::thread writer;
    {
        std::lock_guard<std::mutex> lock(outMutex_);
        outClosed_ = true;
        outbound_.clear();
        replaceable_.clear();
        outboundBytes_ = 0;
        outboundPlain_ = 0;
        writer = std::move(writer_);
    }
    outWork_.notify_all();
    if (writer.joinable()) {
        writer.join();
    }
}

} // namespace OHOS
