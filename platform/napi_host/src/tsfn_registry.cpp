#include "tsfn_registry.h"

#include <mutex>
#include <new>
#include <unordered_map>

namespace NapiHost {
namespace {

// Leaked on purpose: other threads may still call through stale handles while
// static destructors run at exit.
struct TsfnRegistry {
    std::mutex mu;
    std::unordered_map<napi_threadsafe_function, std::shared_ptr<TsfnEntry>> entries; // guarded by mu
};

TsfnRegistry& Registry()
{
    static TsfnRegistry* registry = new TsfnRegistry;
    return *registry;
}

} // namespace

std::shared_ptr<TsfnEntry> FindTsfn(napi_threadsafe_function handle) noexcept
{
    TsfnRegistry& registry = Registry();
    std::lock_guard<std::mutex> lock(registry.mu);
    auto it = registry.entries.find(handle);
    return it == registry.entries.end() ? nullptr : it->second;
}

bool PublishTsfn(const std::shared_ptr<TsfnEntry>& entry) noexcept
{
    TsfnRegistry& registry = Registry();
    std::lock_guard<std::mutex> lock(registry.mu);
    try {
        // Node retires an entry (through its finalizer) before it frees the
        // function, so no live entry can be left at a new function's address;
        // whatever is there is stale and gets replaced.
        registry.entries[entry->handle] = entry;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void RetireTsfn(const std::shared_ptr<TsfnEntry>& entry) noexcept
{
    entry->gate.Close();
    TsfnRegistry& registry = Registry();
    std::lock_guard<std::mutex> lock(registry.mu);
    auto it = registry.entries.find(entry->handle);
    if (it != registry.entries.end() && it->second == entry) {
        registry.entries.erase(it);
    }
}

void CloseTsfnsOf(const EnvState* owner) noexcept
{
    // Closing under the registry lock is safe: a thread inside a gate took
    // the registry lock only for its lookup, before entering, and leaves the
    // gate soon (no call through it blocks inside Node).
    TsfnRegistry& registry = Registry();
    std::lock_guard<std::mutex> lock(registry.mu);
    for (auto& [handle, entry] : registry.entries) {
        if (entry->owner == owner) {
            entry->gate.Close();
        }
    }
}

} // namespace NapiHost
