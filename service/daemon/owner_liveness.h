// Frozen publishers: the daemon's keep-alive to the connections that own a
// bundle. A connection offers its keep-alive responder before its first call
// that may make it the owner (SVC_REGISTER_KEEP_ALIVE); watching starts in
// the call that makes it the owner (or at the offer, if it owns already), so
// there is no moment at which an owner with a responder is unwatched. From
// then on a thread of this class sends the responder a one-way KEEP_ALIVE a
// few times per liveness time-out, and the client
// library answers each from its IPC thread (SVC_KEEP_ALIVE_ANSWER). When the
// time-out passes with no answer, the process is taken as frozen (stopped,
// wedged): the connection is closed, and its end reports the bundle gone as
// for any other end (UNAVAILABLE, guidance dropped). A process that resumes
// finds its connection closed; the client library reconnects and restores
// its records, which the service then takes over the UNAVAILABLE.
//
// Nothing here waits for a client: keep-alives are one-way and answers are
// only noted, so one frozen process cannot hold back another's check.
//
// Threads: every member may be called from any thread; Stop not from the
// checking thread (it joins it).
#ifndef SERVICE_DAEMON_OWNER_LIVENESS_H
#define SERVICE_DAEMON_OWNER_LIVENESS_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "iremote_object.h"

namespace OHOS {
class IpcConnection;
}

namespace OHOS::NavigationInfoService {

class OwnerLiveness {
public:
    // The liveness time-out of a bundle, asked at each check (so a policy
    // reload applies at once).
    using TimeoutOf = std::function<std::chrono::milliseconds(const std::string& bundleName)>;

    explicit OwnerLiveness(TimeoutOf timeoutOf);
    ~OwnerLiveness();
    OwnerLiveness(const OwnerLiveness&) = delete;
    OwnerLiveness& operator=(const OwnerLiveness&) = delete;

    // Starts the checking thread; false if it could not be started.
    bool Start();
    // Stops checking and forgets every connection. Idempotent.
    void Stop();

    // The connection answers keep-alives through responder (a second offer
    // replaces the first); it is watched once Watch is called for it.
    void Offer(const std::shared_ptr<IpcConnection>& connection, sptr<IRemoteObject> responder);
    // The connection owns bundleName: its silence counts from now, if it
    // offered a responder and is not watched already (a connection that never
    // offered one, an older client, is never taken as frozen).
    void Watch(const std::shared_ptr<IpcConnection>& connection, const std::string& bundleName);
    // The connection answered the keep-alive numbered sequence.
    void Answered(uint64_t connectionId, uint64_t sequence);
    // The connection ended.
    void Forget(uint64_t connectionId);
    size_t WatchedCount() const;

private:
    using Clock = std::chrono::steady_clock;
    struct Watched {
        std::weak_ptr<IpcConnection> connection;
        std::string bundleName;
        sptr<IRemoteObject> responder;
        Clock::time_point lastHeard;
        Clock::time_point lastSent;
        uint64_t sent = 0;     // the number of the latest keep-alive sent
        bool watching = false; // false: offered, not an owner yet
    };

    void Run();
    bool AnyWatchedLocked() const;
    // One pass: sends the keep-alives that are due and closes the connections
    // that stayed silent for their time-out.
    void Check();

    const TimeoutOf timeoutOf_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::map<uint64_t, Watched> watched_; // offered and watched, by connection id
    std::thread thread_;
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_OWNER_LIVENESS_H
