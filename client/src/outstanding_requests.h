// The queries and commands this process sent to the daemon and that are not
// answered yet, so that each is answered exactly once even if the daemon
// goes away meanwhile.
//
// The remote transport sends a TrackedRequest (a MapCallbackStub) to the
// daemon in place of the application's callback. The first of these settles
// it, and only the first reaches the application's callback:
//   - the daemon's answer (Callback over IPC);
//   - Settle() with a local answer (the transport's 1002 when the connection
//     of the request's generation is lost);
//   - Cancel() (the daemon refused the request, so the caller settles it).
//
// Threads: every member may be called from any thread. The application's
// callback is called without any lock held.
#ifndef CLIENT_OUTSTANDING_REQUESTS_H
#define CLIENT_OUTSTANDING_REQUESTS_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "navigation_listeners.h"

namespace OHOS::NavigationInfoService {

class OutstandingRequests;

class TrackedRequest : public MapCallbackStub {
public:
    TrackedRequest(sptr<IMapCallback> target, std::weak_ptr<OutstandingRequests> table, uint64_t generation);

    // The daemon's answer (IPC thread), or a local one: passed on if first.
    void Callback(ResultData data) override;
    // Ends the request without an answer; false if it was already settled.
    bool Cancel();
    // True once settled or cancelled.
    bool IsSettled() const;
    uint64_t Generation() const { return generation_; }

private:
    // True, with the target, if this call is the first to end the request.
    bool Take(sptr<IMapCallback>& target);

    const std::weak_ptr<OutstandingRequests> table_;
    const uint64_t generation_;
    mutable std::mutex mutex_; // guards target_ and settled_
    sptr<IMapCallback> target_;
    bool settled_ = false;
};

class OutstandingRequests : public std::enable_shared_from_this<OutstandingRequests> {
public:
    // A new tracked request for target on connection `generation`, already
    // counted as outstanding. May throw std::bad_alloc.
    sptr<TrackedRequest> Track(sptr<IMapCallback> target, uint64_t generation);
    // Called by a request when it ends.
    void Forget(const TrackedRequest* request);
    // Removes and returns the requests of that connection still open.
    std::vector<sptr<TrackedRequest>> TakeGeneration(uint64_t generation);
    size_t Count() const;

private:
    mutable std::mutex mutex_; // guards open_
    std::unordered_map<const TrackedRequest*, sptr<TrackedRequest>> open_;
};

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_OUTSTANDING_REQUESTS_H
