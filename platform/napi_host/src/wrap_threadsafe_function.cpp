// napi_create_threadsafe_function, napi_call_threadsafe_function,
// napi_acquire_threadsafe_function, napi_release_threadsafe_function.
//
// On the platform runtime these tolerate a null handle, and a handle whose
// environment is gone; Node aborts on the first and frees the function under
// the second. The wrappers:
//  - answer napi_invalid_arg for a null handle;
//  - track every function created through the wrapper, and pass each call
//    from any thread through the function's gate, which the loop thread
//    closes before Node frees the function: in the environment's cleanup hook
//    and in the function's finalizer (which Node runs right before freeing
//    it, also after a release). A closed gate, or a handle that is not tracked
//    (any more), answers napi_closing;
//  - carry out a blocking call as non-blocking tries with waits in the gate in
//    between, so no thread is ever blocked inside Node (see CallBlocking);
//  - queue each item in an envelope that carries its hand-off ticket, and run
//    ticketed items in ticket order on the loop thread (hand_off_ticket.h);
//  - unref each new function: the module keeps one per listener for good and
//    never releases it, and a registered listener alone must not keep a
//    script alive. A script that only listens keeps itself alive, e.g. with a
//    timer.
// Items still queued when Node frees a function, and items still waiting for
// their turn, reach its call-into-JS callback with env == nullptr, as in
// Node; the callbacks free their data.
//
// Threads: create on the env's loop thread only; call, acquire and release
// from any thread. Not guarded (loop thread only, as in Node, and unused by
// the module): napi_ref/unref_threadsafe_function and
// napi_get_threadsafe_function_context.
#include <chrono>
#include <memory>

#include "env_state.h"
#include "hand_off_order.h"
#include "host_log.h"
#include "napi_host/hand_off_ticket.h"
#include "no_throw.h"
#include "real_napi.h"
#include "tsfn_registry.h"

using namespace NapiHost;

namespace {

// The caller's call-into-JS callback and context, which the trampoline below
// stands in for. One per function, never freed: Node may still drain queued
// items through the trampoline after the function's finalizer has run, and
// the module keeps its functions for the environment's life anyway.
struct CallJsTarget {
    napi_threadsafe_function_call_js callJs;
    void* context;
    std::shared_ptr<HandOffOrder> order;
};

// Loop thread. Runs the caller's callback for one item, then hands an
// exception it left pending (a listener that threw) to Node's
// 'uncaughtException', as an exception thrown by any other event callback
// is. Without this, Node turns it into a deprecation warning for modules of
// this Node-API version and the error itself is lost.
void RunItem(napi_env env, napi_value jsCallback, const CallJsTarget& target, void* data)
{
    if (target.callJs != nullptr) {
        target.callJs(env, jsCallback, target.context, data);
    } else if (env != nullptr && jsCallback != nullptr) {
        napi_value undefined = nullptr;
        napi_get_undefined(env, &undefined);
        __real_napi_call_function(env, undefined, jsCallback, 0, nullptr, nullptr);
    }
    bool pending = false;
    if (env == nullptr || napi_is_exception_pending(env, &pending) != napi_ok || !pending) {
        return;
    }
    napi_value error = nullptr;
    if (napi_get_and_clear_last_exception(env, &error) == napi_ok) {
        napi_fatal_exception(env, error);
    }
}

// Loop thread: an item that ran after another in the same callback gets a
// handle scope of its own.
void RunInScope(napi_env env, napi_value jsCallback, const CallJsTarget& target, void* data)
{
    napi_handle_scope scope = nullptr;
    bool scoped = napi_open_handle_scope(env, &scope) == napi_ok;
    RunItem(env, jsCallback, target, data);
    if (scoped) {
        napi_close_handle_scope(env, scope);
    }
}

// The call-into-JS callback Node sees for every tracked function; loop
// thread. Unwraps the envelope; an item with a place waits for its turn, and
// every item whose turn has come runs now, in order. With env == nullptr Node
// is emptying the queue of a function it frees: the item is only handed back
// to be freed.
void CallJsTrampoline(napi_env env, napi_value jsCallback, void* context, void* raw)
{
    auto* target = static_cast<CallJsTarget*>(context);
    std::unique_ptr<Envelope> envelope(static_cast<Envelope*>(raw));
    if (env == nullptr || (envelope->place == 0 && !envelope->wakeOnly)) {
        if (!envelope->wakeOnly) {
            RunItem(env, jsCallback, *target, envelope->data);
        }
        return;
    }
    if (!envelope->wakeOnly && !target->order->Arrive(envelope->place, envelope->data)) {
        NAPI_HOST_LOGE("out of memory: an item runs out of its turn");
        RunItem(env, jsCallback, *target, envelope->data);
    }
    envelope.reset();
    void* data = nullptr;
    for (bool first = true; target->order->PopDue(data); first = false) {
        if (first) {
            RunItem(env, jsCallback, *target, data);
        } else {
            RunInScope(env, jsCallback, *target, data);
        }
    }
}

// The finalizer napi_host gives Node for every tracked function; loop thread.
// Node runs it right before freeing the function: the gate is closed first,
// then the caller's own finalizer runs.
void FinalizeTracked(napi_env env, void* finalize_data, void* context)
{
    std::unique_ptr<std::shared_ptr<TsfnEntry>> holder(static_cast<std::shared_ptr<TsfnEntry>*>(finalize_data));
    const std::shared_ptr<TsfnEntry>& entry = *holder;
    RetireTsfn(entry);
    auto* target = static_cast<CallJsTarget*>(context);
    try {
        // Items that waited for their turn are handed back to be freed, as
        // Node does with the items still in its queue right after this.
        for (void* data : entry->order->TakeWaiting()) {
            RunItem(nullptr, nullptr, *target, data);
        }
    } catch (...) {
        NAPI_HOST_LOGE("items waiting for their turn could not be freed");
    }
    if (entry->userFinalize != nullptr) {
        try {
            entry->userFinalize(env, entry->userFinalizeData, target != nullptr ? target->context : nullptr);
        } catch (...) {
            NAPI_HOST_LOGE("a thread-safe function's finalizer threw");
        }
    }
}

napi_status CreateTracked(napi_env env, napi_value func, napi_value async_resource, napi_value async_resource_name,
    size_t max_queue_size, size_t initial_thread_count, void* thread_finalize_data, napi_finalize thread_finalize_cb,
    void* context, napi_threadsafe_function_call_js call_js_cb, napi_threadsafe_function* result)
{
    if (env == nullptr || result == nullptr) {
        // Node reports the bad argument.
        return __real_napi_create_threadsafe_function(env, func, async_resource, async_resource_name, max_queue_size,
            initial_thread_count, thread_finalize_data, thread_finalize_cb, context, call_js_cb, result);
    }
    // The environment's cleanup hook is registered before the function's own.
    std::shared_ptr<EnvState> state;
    napi_status status = AcquireEnvState(env, &state);
    if (status != napi_ok) {
        return status;
    }
    auto entry = std::make_shared<TsfnEntry>(state.get(), thread_finalize_cb, thread_finalize_data);
    entry->order = std::make_shared<HandOffOrder>();
    auto holder = std::make_unique<std::shared_ptr<TsfnEntry>>(entry);
    auto target = std::make_unique<CallJsTarget>(CallJsTarget{call_js_cb, context, entry->order});
    status = __real_napi_create_threadsafe_function(env, func, async_resource, async_resource_name, max_queue_size,
        initial_thread_count, holder.get(), FinalizeTracked, target.get(), CallJsTrampoline, result);
    if (status != napi_ok) {
        // Node did not keep the function, and never calls its finalizer.
        return status;
    }
    static_cast<void>(holder.release()); // FinalizeTracked owns it now
    static_cast<void>(target.release()); // kept for the function's whole life, see CallJsTarget
    entry->handle = *result;
    entry->order->handle = *result;
    if (!PublishTsfn(entry)) {
        // An untracked handle would be unguarded: have Node close it (without
        // the caller's finalizer, since the caller is told it failed).
        entry->userFinalize = nullptr;
        __real_napi_release_threadsafe_function(*result, napi_tsfn_abort);
        *result = nullptr;
        return napi_generic_failure;
    }
    napi_unref_threadsafe_function(env, *result);
    return napi_ok;
}

// How long a blocking call waits between two tries on a full queue.
constexpr std::chrono::microseconds FULL_QUEUE_RETRY{500};

// Runs realCall(entry) on func unless func is null, unknown or dead.
template <typename RealCall>
napi_status CallGuarded(napi_threadsafe_function func, RealCall&& realCall)
{
    if (func == nullptr) {
        return napi_invalid_arg;
    }
    std::shared_ptr<TsfnEntry> entry = FindTsfn(func);
    if (!entry) {
        return napi_closing;
    }
    GateEntry inside(entry->gate);
    if (!inside.entered()) {
        return napi_closing;
    }
    return realCall(*entry);
}

// A blocking call never blocks inside Node: it retries a non-blocking one
// while the queue is full, waiting in the gate in between. Node wakes only one
// blocked caller when a function starts closing, and frees the function with
// the others still blocked on its condition variable; and a thread blocked
// inside Node would keep the gate from closing.
napi_status CallBlocking(napi_threadsafe_function func, void* data, CallGate& gate)
{
    for (;;) {
        napi_status status = __real_napi_call_threadsafe_function(func, data, napi_tsfn_nonblocking);
        if (status != napi_queue_full) {
            return status;
        }
        if (!gate.WaitInside(FULL_QUEUE_RETRY)) {
            return napi_closing;
        }
    }
}

// Queues data on func in an envelope (blocking: see CallBlocking). The
// ticket in use on this thread, if it is one of func's and still unused,
// gives the envelope its place, and is used up once the item is queued.
napi_status CallEnveloped(napi_threadsafe_function func, void* data, napi_threadsafe_function_call_mode mode,
    TsfnEntry& entry)
{
    HandOffTicket* ticket = HandOffTicket::InUse();
    if (ticket != nullptr && (ticket->Queued() || ticket->Order() != entry.order)) {
        ticket = nullptr;
    }
    auto envelope = std::make_unique<Envelope>();
    envelope->place = ticket != nullptr ? ticket->Place() : 0;
    envelope->data = data;
    napi_status status = mode == napi_tsfn_blocking ? CallBlocking(func, envelope.get(), entry.gate)
                                                    : __real_napi_call_threadsafe_function(func, envelope.get(), mode);
    if (status == napi_ok) {
        static_cast<void>(envelope.release()); // the trampoline frees it
        if (ticket != nullptr) {
            ticket->MarkQueued();
        }
    }
    return status;
}

} // namespace

extern "C" napi_status __wrap_napi_create_threadsafe_function(napi_env env, napi_value func, napi_value async_resource,
    napi_value async_resource_name, size_t max_queue_size, size_t initial_thread_count, void* thread_finalize_data,
    napi_finalize thread_finalize_cb, void* context, napi_threadsafe_function_call_js call_js_cb,
    napi_threadsafe_function* result)
{
    return NoThrow([&] {
        return CreateTracked(env, func, async_resource, async_resource_name, max_queue_size, initial_thread_count,
            thread_finalize_data, thread_finalize_cb, context, call_js_cb, result);
    });
}

extern "C" napi_status __wrap_napi_call_threadsafe_function(napi_threadsafe_function func, void* data,
    napi_threadsafe_function_call_mode is_blocking)
{
    return NoThrow([&] {
        return CallGuarded(func, [&](TsfnEntry& entry) { return CallEnveloped(func, data, is_blocking, entry); });
    });
}

extern "C" napi_status __wrap_napi_acquire_threadsafe_function(napi_threadsafe_function func)
{
    return NoThrow(
        [&] { return CallGuarded(func, [&](TsfnEntry&) { return __real_napi_acquire_threadsafe_function(func); }); });
}

extern "C" napi_status __wrap_napi_release_threadsafe_function(napi_threadsafe_function func,
    napi_threadsafe_function_release_mode mode)
{
    return NoThrow([&] {
        return CallGuarded(func, [&](TsfnEntry&) { return __real_napi_release_threadsafe_function(func, mode); });
    });
}
