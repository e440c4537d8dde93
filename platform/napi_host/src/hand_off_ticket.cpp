#include "napi_host/hand_off_ticket.h"

#include <new>

#include "call_gate.h"
#include "hand_off_order.h"
#include "host_log.h"
#include "real_napi.h"
#include "tsfn_registry.h"

namespace NapiHost {
namespace {

thread_local HandOffTicket* t_inUse = nullptr;

// Lets the loop thread of order's function run the items that waited for a
// place that was given up: queues a wake-up, unless the function is gone
// (its waiting items are then freed at its finalization).
void WakeLoop(const std::shared_ptr<HandOffOrder>& order) noexcept
{
    std::shared_ptr<TsfnEntry> entry = FindTsfn(order->handle);
    if (!entry || entry->order != order) {
        return;
    }
    GateEntry inside(entry->gate);
    auto* wake = new (std::nothrow) Envelope{0, nullptr, true};
    if (!inside.entered() || wake == nullptr) {
        delete wake;
        return;
    }
    if (__real_napi_call_threadsafe_function(order->handle, wake, napi_tsfn_nonblocking) != napi_ok) {
        delete wake;
        NAPI_HOST_LOGW("items waiting behind a failed hand-off stay queued until the next item arrives");
    }
}

} // namespace

HandOffTicket HandOffTicket::Take(napi_threadsafe_function func) noexcept
{
    HandOffTicket ticket;
    if (func == nullptr) {
        return ticket;
    }
    std::shared_ptr<TsfnEntry> entry = FindTsfn(func);
    if (!entry) {
        return ticket;
    }
    GateEntry inside(entry->gate);
    if (inside.entered()) {
        ticket.order_ = entry->order;
        ticket.place_ = entry->order->NextPlace();
    }
    return ticket;
}

HandOffTicket::HandOffTicket(HandOffTicket&& other) noexcept
    : order_(std::move(other.order_)),
      place_(other.place_),
      queued_(other.queued_)
{
    other.order_ = nullptr;
    other.place_ = 0;
}

HandOffTicket& HandOffTicket::operator=(HandOffTicket&& other) noexcept
{
    if (this != &other) {
        GiveUp();
        order_ = std::move(other.order_);
        place_ = other.place_;
        queued_ = other.queued_;
        other.order_ = nullptr;
        other.place_ = 0;
    }
    return *this;
}

HandOffTicket::~HandOffTicket()
{
    GiveUp();
}

void HandOffTicket::GiveUp() noexcept
{
    if (order_ != nullptr && !queued_ && order_->GiveUp(place_)) {
        WakeLoop(order_);
    }
    order_ = nullptr;
}

HandOffTicket::Use::Use(HandOffTicket& ticket) noexcept : previous_(t_inUse)
{
    t_inUse = &ticket;
}

HandOffTicket::Use::~Use()
{
    t_inUse = previous_;
}

HandOffTicket* HandOffTicket::InUse() noexcept
{
    return t_inUse;
}

} // namespace NapiHost
