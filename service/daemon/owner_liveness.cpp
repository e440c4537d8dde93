#include "owner_liveness.h"

#include <algorithm>
#include <system_error>
#include <utility>
#include <vector>

#include "daemon_log.h"
#include "ipc_connection.h"
#include "message_option.h"
#include "message_parcel.h"
#include "nav_info_service_ipc.h"

namespace OHOS::NavigationInfoService {
namespace {

// How often the thread looks while something is watched: the lateness of a
// verdict beyond the time-out.
constexpr std::chrono::milliseconds kCheckEvery{25};
// Keep-alives per time-out, so that one lost to a busy moment is not the end.
constexpr int kKeepAlivesPerTimeout = 4;
constexpr std::chrono::milliseconds kMaxKeepAliveInterval{1000};

std::chrono::milliseconds IntervalFor(std::chrono::milliseconds timeout)
{
    return std::clamp(timeout / kKeepAlivesPerTimeout, kCheckEvery, kMaxKeepAliveInterval);
}

void SendKeepAlive(const sptr<IRemoteObject>& responder, uint64_t sequence)
{
    MessageParcel data;
    MessageParcel reply;
    MessageOption option(MessageOption::TF_ASYNC);
    if (data.WriteInterfaceToken(KeepAliveDescriptor()) && data.WriteUint64(sequence)) {
        responder->SendRequest(KEEP_ALIVE, data, reply, option); // a dead connection is the checker's to see
    }
}

} // namespace

OwnerLiveness::OwnerLiveness(TimeoutOf timeoutOf) : timeoutOf_(std::move(timeoutOf)) {}

OwnerLiveness::~OwnerLiveness()
{
    Stop();
}

bool OwnerLiveness::Start()
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (thread_.joinable()) {
        return true;
    }
    stopping_ = false;
    try {
        thread_ = std::thread([this] { Run(); });
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

void OwnerLiveness::Stop()
{
    std::thread thread;
    std::map<uint64_t, Watched> forgotten;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        thread = std::move(thread_);
        forgotten.swap(watched_); // released outside the lock
    }
    wake_.notify_all();
    if (thread.joinable()) {
        thread.join();
    }
}

void OwnerLiveness::Offer(const std::shared_ptr<IpcConnection>& connection, sptr<IRemoteObject> responder)
{
    if (connection == nullptr || responder == nullptr) {
        return;
    }
    sptr<IRemoteObject> replaced;
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopping_) {
        return;
    }
    Watched& entry = watched_[connection->GetId()];
    entry.connection = connection;
    replaced = std::exchange(entry.responder, std::move(responder));
}

void OwnerLiveness::Watch(const std::shared_ptr<IpcConnection>& connection, const std::string& bundleName)
{
    if (connection == nullptr) {
        return;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = watched_.find(connection->GetId());
        if (stopping_ || found == watched_.end() || found->second.watching) {
            return;
        }
        Watched& entry = found->second;
        entry.bundleName = bundleName;
        entry.lastHeard = entry.lastSent = Clock::now();
        entry.watching = true;
    }
    wake_.notify_all();
}

void OwnerLiveness::Answered(uint64_t connectionId, uint64_t sequence)
{
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = watched_.find(connectionId);
    // An answer to a keep-alive never sent proves nothing.
    if (found != watched_.end() && sequence != 0 && sequence <= found->second.sent) {
        found->second.lastHeard = Clock::now();
    }
}

void OwnerLiveness::Forget(uint64_t connectionId)
{
    Watched forgotten;
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = watched_.find(connectionId);
    if (found != watched_.end()) {
        forgotten = std::move(found->second);
        watched_.erase(found);
    }
}

size_t OwnerLiveness::WatchedCount() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    size_t count = 0;
    for (const auto& [id, entry] : watched_) {
        count += entry.watching ? 1 : 0;
    }
    return count;
}

bool OwnerLiveness::AnyWatchedLocked() const
{
    for (const auto& [id, entry] : watched_) {
        if (entry.watching) {
            return true;
        }
    }
    return false;
}

void OwnerLiveness::Run()
{
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
        if (!AnyWatchedLocked()) {
            wake_.wait(lock, [this] { return stopping_ || AnyWatchedLocked(); });
            continue;
        }
        wake_.wait_for(lock, kCheckEvery, [this] { return stopping_; });
        if (stopping_) {
            break;
        }
        lock.unlock();
        Check();
        lock.lock();
    }
}

void OwnerLiveness::Check()
{
    struct Due {
        sptr<IRemoteObject> responder;
        uint64_t sequence;
    };
    struct Silent {
        std::shared_ptr<IpcConnection> connection;
        std::string bundleName;
        long long silentMs;
    };
    std::vector<Due> due;
    std::vector<Silent> silent;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const Clock::time_point now = Clock::now();
        for (auto it = watched_.begin(); it != watched_.end();) {
            Watched& entry = it->second;
            std::shared_ptr<IpcConnection> connection = entry.connection.lock();
            if (connection == nullptr) {
                it = watched_.erase(it);
                continue;
            }
            if (!entry.watching) {
                ++it;
                continue;
            }
            const std::chrono::milliseconds timeout = timeoutOf_(entry.bundleName);
            if (now - entry.lastHeard >= timeout) {
                auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now - entry.lastHeard).count();
                silent.push_back({std::move(connection), entry.bundleName, static_cast<long long>(ms)});
                it = watched_.erase(it);
                continue;
            }
            if (now - entry.lastSent >= IntervalFor(timeout)) {
                entry.lastSent = now;
                due.push_back({entry.responder, ++entry.sent});
            }
            ++it;
        }
    }
    for (const Due& keepAlive : due) {
        SendKeepAlive(keepAlive.responder, keepAlive.sequence);
    }
    for (const Silent& frozen : silent) {
        DAEMON_LOGW("connection %{public}llu (%{public}s, pid %{public}d) answered no keep-alive for %{public}lld ms: "
                    "its process is taken as frozen, its bundle as gone; closing it",
            static_cast<unsigned long long>(frozen.connection->GetId()), frozen.bundleName.c_str(),
            static_cast<int>(frozen.connection->GetPeerCredentials().pid), frozen.silentMs);
        frozen.connection->Close();
    }
}

} // namespace OHOS::NavigationInfoService
