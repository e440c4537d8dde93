// Ordered hand-off onto a thread-safe function.
//
// When several threads each queue one item on the same thread-safe function,
// the items enter Node's queue in whatever order the threads get there. A
// ticket fixes the order beforehand: it is taken where the order is known
// (the thread that receives the events, one after the other), travels with
// the item to the thread that queues it, and the loop thread runs the items
// of one function in the order of their tickets, holding an item that came
// early until the ones before it have run.
//
// A ticket whose item never enters the queue (no thread to carry it, the
// function could not be acquired, the call failed) gives up its place when
// it is destroyed, so nothing waits for it.
//
// Threads: Take and the destructor on any thread; Use on the thread that
// calls napi_call_threadsafe_function. A ticket itself belongs to one thread
// at a time.
#ifndef NAPI_HOST_HAND_OFF_TICKET_H
#define NAPI_HOST_HAND_OFF_TICKET_H

#include <node_api.h>

#include <cstdint>
#include <memory>

namespace NapiHost {

struct HandOffOrder;

class HandOffTicket {
public:
    // No place: the item runs whenever it arrives.
    HandOffTicket() noexcept = default;
    // The next place in func's order; an empty ticket for a null function,
    // one not created through napi_host, or one that is gone.
    static HandOffTicket Take(napi_threadsafe_function func) noexcept;

    HandOffTicket(HandOffTicket&& other) noexcept;
    HandOffTicket& operator=(HandOffTicket&& other) noexcept;
    HandOffTicket(const HandOffTicket&) = delete;
    HandOffTicket& operator=(const HandOffTicket&) = delete;
    // Gives up the place unless an item was queued with it.
    ~HandOffTicket();

    // While a Use lives, the first napi_call_threadsafe_function on the
    // ticket's function that this thread makes successfully queues its item
    // in the ticket's place.
    class Use {
    public:
        explicit Use(HandOffTicket& ticket) noexcept;
        ~Use();
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

    private:
        HandOffTicket* const previous_;
    };

    // Internal to napi_host: the ticket in use on this thread, or null.
    static HandOffTicket* InUse() noexcept;
    const std::shared_ptr<HandOffOrder>& Order() const noexcept { return order_; }
    uint64_t Place() const noexcept { return place_; }
    // The item is queued: the place is no longer given up at destruction.
    void MarkQueued() noexcept { queued_ = true; }
    bool Queued() const noexcept { return queued_; }

private:
    void GiveUp() noexcept;

    std::shared_ptr<HandOffOrder> order_;
    uint64_t place_ = 0;
    bool queued_ = false;
};

} // namespace NapiHost

#endif // NAPI_HOST_HAND_OFF_TICKET_H
