#include "loop_hop.h"

#include <cstdint>
#include <new>
#include <shared_mutex>

#include "host_log.h"
#include "real_napi.h"
#include "worker_pool.h"

namespace NapiHost {
namespace {

using OHOS::NavigationInfoService::WorkerPool;

// As many as Node's worker pool has by default.
constexpr size_t HOST_WORKER_THREADS = 4;

// One completion in flight: created on the thread that queued the work, owned
// by the worker that runs its execute and then by the hop's queue, destroyed
// on the loop thread (by HopCallJs, also when Node empties the queue at
// teardown).
struct HopItem {
    std::shared_ptr<EnvState> state;
    napi_async_work work = nullptr;
    std::uint64_t serial = 0;
};

// The hop's call-into-JS callback: loop thread only. env is null when Node
// empties the queue of a function it is freeing: the completion is dropped.
// Node runs it in a callback scope, as it runs an async work's complete:
// promises the complete settles have their reactions run when it returns.
void HopCallJs(napi_env env, napi_value /* js_callback */, void* /* context */, void* data)
{
    std::unique_ptr<HopItem> item(static_cast<HopItem*>(data));
    if (env == nullptr || !item) {
        return;
    }
    EnvState& state = *item->state;
    napi_async_complete_callback complete = nullptr;
    void* workData = nullptr;
    {
        std::lock_guard<std::mutex> lock(state.mu);
        auto it = state.works.find(item->work);
        if (state.alive && it != state.works.end() && it->second.serial == item->serial) {
            complete = it->second.complete;
            workData = it->second.data;
        }
    }
    if (complete == nullptr) {
        // Node may still dispatch the hop while tearing the environment down;
        // a work created without a complete has nothing to run either.
        if (!state.alive) {
            NAPI_HOST_LOGW("dropped a completion: the work was deleted or the environment torn down");
        }
        return;
    }
    // complete usually deletes the work: nothing of it is used afterwards.
    complete(env, napi_ok, workData);
}

// The worker threads of the runtime that run the execute of works queued
// off the loop thread. Never destroyed: they may still be running during
// process exit, like the threads that queue the works.
WorkerPool& HostWorkers()
{
    static WorkerPool* const workers = new WorkerPool(HOST_WORKER_THREADS);
    return *workers;
}

// Hands one completion to the loop thread; takes item, which the hop's
// queue then owns. napi_closing (and item freed) when the environment is
// gone or tearing down.
napi_status QueueCompletion(HopItem& handed) noexcept
{
    std::unique_ptr<HopItem> item(&handed);
    EnvState& state = *item->state;
    std::shared_lock<std::shared_mutex> gate(state.hopGate);
    if (state.hop == nullptr) {
        return napi_closing; // gone, or tearing down
    }
    // Under the gate: the cleanup hook, which runs before Node frees the hop,
    // cannot pass until this call is over. Non-blocking on an unbounded queue,
    // so it fails only when Node has already marked the hop closing.
    if (__real_napi_call_threadsafe_function(state.hop, item.get(), napi_tsfn_nonblocking) != napi_ok) {
        return napi_closing;
    }
    static_cast<void>(item.release()); // the hop's queue owns it now
    return napi_ok;
}

} // namespace

napi_status EnsureHop(napi_env env, EnvState& state)
{
    {
        std::lock_guard<std::mutex> lock(state.mu);
        if (state.hop != nullptr) {
            return napi_ok;
        }
    }
    napi_value name = nullptr;
    napi_status status = napi_create_string_utf8(env, "napi_host.queue", NAPI_AUTO_LENGTH, &name);
    if (status != napi_ok) {
        return status;
    }
    // No JS function, unbounded queue, one thread (napi_host) that never
    // releases it: Node closes and frees it when the environment is torn down.
    napi_threadsafe_function hop = nullptr;
    status = __real_napi_create_threadsafe_function(env, nullptr, nullptr, name, 0, 1, nullptr, nullptr, nullptr,
        HopCallJs, &hop);
    if (status != napi_ok) {
        return status;
    }
    napi_unref_threadsafe_function(env, hop);
    std::lock_guard<std::shared_mutex> gate(state.hopGate);
    std::lock_guard<std::mutex> lock(state.mu);
    state.hop = hop;
    return napi_ok;
}

napi_status HandOverToLoop(const std::shared_ptr<EnvState>& state, napi_async_work work) noexcept
{
    // Allocated before taking the lock, and destroyed after releasing it when
    // not handed over.
    std::unique_ptr<HopItem> item(new (std::nothrow) HopItem);
    if (!item) {
        return napi_generic_failure;
    }
    item->state = state;
    item->work = work;
    TrackedWork tracked;
    {
        std::lock_guard<std::mutex> lock(state->mu);
        if (!state->alive || state->hop == nullptr) {
            return napi_closing;
        }
        auto it = state->works.find(work);
        if (it == state->works.end()) {
            return napi_invalid_arg;
        }
        tracked = it->second;
    }
    item->serial = tracked.serial;
    if (tracked.execute == nullptr) {
        return QueueCompletion(*item.release());
    }
    // The execute runs on a worker thread of the runtime, as Node's worker
    // pool would run it, and hands the complete over to the loop from there.
    HopItem* handed = item.release();
    bool posted = HostWorkers().Post(nullptr, [handed, execute = tracked.execute, data = tracked.data] {
        // execute must not use env (Node-API rule for execute callbacks).
        execute(handed->state->env, data);
        QueueCompletion(*handed);
    });
    if (!posted) {
        // No worker thread at all: run it here rather than never.
        tracked.execute(handed->state->env, tracked.data);
        return QueueCompletion(*handed);
    }
    return napi_ok;
}

void KeepLoopAlive(napi_env env, napi_threadsafe_function hop, bool keep)
{
    napi_status status = keep ? napi_ref_threadsafe_function(env, hop) : napi_unref_threadsafe_function(env, hop);
    if (status != napi_ok) {
        NAPI_HOST_LOGE("changing the loop's hold failed: status %{public}d", static_cast<int>(status));
    }
}

} // namespace NapiHost
