// Per-environment state of napi_host and the registry that finds it.
//
// "Environment" here is one napi_env: the env Node gives one addon in one Node
// environment (the main thread's or a Worker's). Node may hand a later
// environment the address of a freed one, so nothing is tracked by the bare
// pointer beyond the registry lookup: works, thread-safe functions and queue
// requests in flight refer to the EnvState of the environment they belong to.
#ifndef NAPI_HOST_ENV_STATE_H
#define NAPI_HOST_ENV_STATE_H

#include <node_api.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <unordered_map>

namespace NapiHost {

// A work created through the wrapper. The serial tells it apart from a later
// work at the same address; the callbacks and data, as given at creation, let
// a queue request from another thread run the work without the worker pool.
struct TrackedWork {
    std::uint64_t serial = 0;
    napi_async_execute_callback execute = nullptr;
    napi_async_complete_callback complete = nullptr;
    void* data = nullptr;
};

// Lives from the first wrapped call that needs it (on the env's loop thread)
// for as long as anything refers to it; the registry lets go of it in the
// env's cleanup hook. Its destructor touches neither Node nor JavaScript, so
// the last owner may drop it on any thread.
struct EnvState {
    EnvState(napi_env e, std::thread::id t) : env(e), loopThread(t) {}

    // Set at creation, read-only afterwards: any thread may read them. env is
    // handed to Node only on the loop thread, and only while alive.
    const napi_env env;
    const std::thread::id loopThread;

    std::mutex mu;
    // Held shared while a thread hands a completion to hop, exclusively while
    // hop is set or cleared: completions reach Node's queue (and wake the
    // loop) without holding mu, which the loop thread takes for every work
    // it creates, completes and deletes, and the cleanup hook, which runs
    // before Node frees hop, still waits for every hand-over in progress.
    std::shared_mutex hopGate;
    // Guarded by mu. Written on the loop thread only; read anywhere.
    bool alive = true; // false from the env's cleanup hook on
    // The host's thread-safe function that runs queue requests from other
    // threads on the loop thread (created lazily, null once not alive). Ref'd
    // while works is not empty, so outstanding works keep the loop alive.
    // Written under both mu and hopGate; read under either.
    napi_threadsafe_function hop = nullptr;
    // Works created through the wrapper and not yet deleted.
    std::unordered_map<napi_async_work, TrackedWork> works;
    std::uint64_t nextWorkSerial = 1;
};

// Any thread. The live state of env, or null when env was never seen or has
// been torn down.
std::shared_ptr<EnvState> FindEnvState(napi_env env);

// Loop thread of env only. The live state of env, created on first use along
// with its cleanup hook. Node runs cleanup hooks newest first; the hook is
// registered before napi_host creates or tracks any thread-safe function of
// env, so it runs after their own hooks (which mark them closing), and in any
// case before Node frees them (when it closes their handles, after all
// hooks). May throw std::bad_alloc.
napi_status AcquireEnvState(napi_env env, std::shared_ptr<EnvState>* result);

// Any thread. True when the calling thread is the loop thread of state.
inline bool OnLoopThread(const EnvState& state)
{
    return std::this_thread::get_id() == state.loopThread;
}

} // namespace NapiHost

#endif // NAPI_HOST_ENV_STATE_H
