// The registry of thread-safe functions created through the wrapper of
// napi_create_threadsafe_function.
//
// Node frees a thread-safe function on its loop thread (after it was released,
// or when its environment is torn down), while other threads may still hold
// the handle. Each tracked handle has a gate: every wrapped call on it from
// any thread goes through the gate, and the loop thread closes the gate before
// Node frees the function, so calls that come later fail with napi_closing
// instead of touching freed memory.
#ifndef NAPI_HOST_TSFN_REGISTRY_H
#define NAPI_HOST_TSFN_REGISTRY_H

#include <node_api.h>

#include <memory>

#include "call_gate.h"

namespace NapiHost {

struct EnvState;
struct HandOffOrder;

struct TsfnEntry {
    TsfnEntry(const EnvState* o, napi_finalize f, void* d) : owner(o), userFinalize(f), userFinalizeData(d) {}

    // Set on the loop thread before the entry is published, read-only after.
    // owner identifies the environment; it is compared, never dereferenced.
    napi_threadsafe_function handle = nullptr;
    const EnvState* const owner;
    // The caller's finalizer. Read and written on the loop thread only.
    napi_finalize userFinalize;
    void* const userFinalizeData;
    // The order of the function's ticketed items; set before publishing.
    std::shared_ptr<HandOffOrder> order;

    // Closed once the function is dead; guards every real call on handle.
    CallGate gate;
};

// Any thread. The entry published for handle, or null.
std::shared_ptr<TsfnEntry> FindTsfn(napi_threadsafe_function handle) noexcept;

// Loop thread. Makes entry findable by its handle, replacing an entry left by
// a freed function at the same address. False when memory ran out.
bool PublishTsfn(const std::shared_ptr<TsfnEntry>& entry) noexcept;

// Loop thread, before Node frees the function. Closes the gate (waiting for
// threads inside a call) and forgets the entry.
void RetireTsfn(const std::shared_ptr<TsfnEntry>& entry) noexcept;

// Loop thread of the environment, from its cleanup hook. Closes the gate of
// every entry of that environment; the entries stay findable (and answer
// napi_closing) until Node frees their functions.
void CloseTsfnsOf(const EnvState* owner) noexcept;

} // namespace NapiHost

#endif // NAPI_HOST_TSFN_REGISTRY_H
