// The order of the ticketed items of one tracked thread-safe function (see
// napi_host/hand_off_ticket.h), and the envelope in which napi_host queues
// every item of a tracked function, so that the loop thread learns its place.
#ifndef NAPI_HOST_HAND_OFF_ORDER_H
#define NAPI_HOST_HAND_OFF_ORDER_H

#include <node_api.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

namespace NapiHost {

// What napi_host queues on a tracked function for one call: the caller's
// data and its place (0: none). A wake-up carries no data: it only lets the
// loop thread run items that waited for a place given up meanwhile.
struct Envelope {
    uint64_t place = 0;
    void* data = nullptr;
    bool wakeOnly = false;
};

struct HandOffOrder {
    // Set on the loop thread before the function is published, then read-only.
    napi_threadsafe_function handle = nullptr;

    // Any thread: the next place to hand out.
    uint64_t NextPlace();
    // Any thread: the item of place will never come. True when items already
    // wait behind it, so that the loop thread has to be woken to run them.
    // Out of memory, the place stays open and later items wait for good.
    bool GiveUp(uint64_t place) noexcept;
    // Loop thread: the item of place has come; it waits until its turn.
    // False when it could not be kept (out of memory): the caller runs it now.
    bool Arrive(uint64_t place, void* data) noexcept;
    // Loop thread: the next item whose turn it is, skipping places given up.
    bool PopDue(void*& data);
    // Loop thread, when the function is finalized: every item still waiting.
    // May throw std::bad_alloc.
    std::vector<void*> TakeWaiting();

private:
    struct Early {
        void* data = nullptr;
        bool givenUp = false;
    };

    std::mutex mu_;                   // guards every field below
    uint64_t nextPlace_ = 1;          // handed out next
    uint64_t nextDue_ = 1;            // runs next
    std::map<uint64_t, Early> early_; // places that came, or were given up, before their turn
};

} // namespace NapiHost

#endif // NAPI_HOST_HAND_OFF_ORDER_H
