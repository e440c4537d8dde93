// Paces the queries and commands the service sends to each navigation
// application (one system navigation listener registration): at most
// `inFlightLimit` are sent and not yet completed at a time; the others wait
// in the service, taking turns across requesters so that one flooding
// requester does not hold back another, and each requester's own in
// arrival order. A navigation application that answers slowly is therefore
// never handed more than it can hold; requesters are kept to their share
// before this (the core refuses beyond it).
//
// Threads: none of its own; the core calls it under its lock.
#ifndef SERVICE_REQUEST_PACER_H
#define SERVICE_REQUEST_PACER_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <unordered_map>

namespace OHOS::NavigationInfoService {

// Requests one navigation application has been sent and not yet completed.
constexpr size_t DEFAULT_MAX_IN_FLIGHT_PER_LISTENER = 64;

class RequestPacer {
public:
    explicit RequestPacer(size_t inFlightLimit) : limit_(inFlightLimit == 0 ? 1 : inFlightLimit) {}

    // A new request to registration from requester: true when it may be sent
    // now (it is in flight from here on), false when it waits its turn.
    // May throw std::bad_alloc (nothing is changed then).
    bool Admit(uint64_t registration, uint64_t requester, uint64_t requestId);
    // The request is completed (answered, timed out, or dropped); wasInFlight
    // tells whether it had been sent. Returns the waiting request that is sent
    // now in its place, or 0.
    uint64_t Complete(uint64_t registration, uint64_t requester, uint64_t requestId, bool wasInFlight);
    // The registration is gone with all its requests.
    void Forget(uint64_t registration);
    void Clear() { targets_.clear(); }

private:
    struct Target {
        size_t inFlight = 0;
        std::map<uint64_t, std::deque<uint64_t>> waiting; // requester -> request ids, oldest first
        std::deque<uint64_t> turns;                       // requesters with waiting requests, next first
    };

    const size_t limit_;
    std::unordered_map<uint64_t, Target> targets_; // by registration
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_REQUEST_PACER_H
