// Requests and replies written while a bridge drain runs on one of
// Cyclone's threads go to a thread of their own. A reliable write may wait
// (up to its max_blocking_time) for the other daemon's acknowledgements,
// and those are read by Cyclone's receive thread: a write waiting on that
// thread would wait for itself, and hold up every other sample meanwhile.
// The hot paths write nothing to DDS there (a record goes to local
// sockets, a request to the navigation application's socket, a reply to
// the requester's); what does (a refusal answered at once, a queued
// request sent when the one before it is answered) takes this detour.
// Elsewhere (socket readers, workers, the bridge's thread) a write runs
// where it is made.
//
// Threads: Run from any thread; Stop from the bridge's owner once no drain
// runs any more.
#ifndef SERVICE_DAEMON_WRITE_OFFLOAD_H
#define SERVICE_DAEMON_WRITE_OFFLOAD_H

#include <atomic>
#include <functional>
#include <memory>

#include "worker_pool.h"

namespace OHOS::NavigationInfoService {

class WriteOffload {
public:
    // While one is open on a thread, that thread is running a drain for Cyclone.
    class InDrain {
    public:
        InDrain() noexcept : outer_(t_inDrain) { t_inDrain = true; }
        ~InDrain() { t_inDrain = outer_; }
        InDrain(const InDrain&) = delete;
        InDrain& operator=(const InDrain&) = delete;

    private:
        const bool outer_;
    };

    // Runs write here, or on the offload thread when this thread runs a
    // drain. In order among the writes offloaded.
    void Run(const std::function<void()>& write)
    {
        if (t_inDrain && !stopped_.load() && pool_->Post(this, write)) {
            return;
        }
        write();
    }

    // Runs the writes still queued and ends the thread; later writes run where they are made.
    void Stop()
    {
        stopped_.store(true);
        pool_.reset();
    }

private:
    static inline thread_local bool t_inDrain = false;
    std::atomic<bool> stopped_{false};
    std::unique_ptr<WorkerPool> pool_ = std::make_unique<WorkerPool>(1); // its thread starts with the first write
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_WRITE_OFFLOAD_H
