// napi_create_async_work, napi_delete_async_work, napi_queue_async_work.
//
// The module creates an async work on the loop thread when a request starts,
// queues it from whichever thread delivers the answer (often an IPC thread of
// a client library, where Node's napi_queue_async_work is not safe), and
// deletes it in its complete callback. The wrappers:
//  - track every work from creation to deletion in its environment's state;
//  - keep the environment's loop alive while it has works outstanding, by
//    ref'ing the host's per-environment thread-safe function (the hop);
//  - queue directly on the loop thread; from any other thread, run the work's
//    execute on a worker thread of the host (Node's worker pool can only be
//    reached from the loop thread, which would add a wake-up of the loop)
//    and hand its complete over to the loop through the hop from there;
//  - fail a queue request for an unknown work, or one whose environment is
//    gone or tearing down, without touching the environment or the work.
//
// Threads: create and delete on the env's loop thread only, as in Node; queue
// from any thread.
#include "env_state.h"
#include "loop_hop.h"
#include "no_throw.h"
#include "real_napi.h"

using namespace NapiHost;

namespace {

napi_status CreateTracked(napi_env env, napi_value async_resource, napi_value async_resource_name,
    napi_async_execute_callback execute, napi_async_complete_callback complete, void* data, napi_async_work* result)
{
    if (env == nullptr || result == nullptr) {
        // Node reports the bad argument.
        return __real_napi_create_async_work(env, async_resource, async_resource_name, execute, complete, data, result);
    }
    std::shared_ptr<EnvState> state;
    napi_status status = AcquireEnvState(env, &state);
    if (status != napi_ok) {
        return status;
    }
    status = EnsureHop(env, *state);
    if (status != napi_ok) {
        return status;
    }
    status = __real_napi_create_async_work(env, async_resource, async_resource_name, execute, complete, data, result);
    if (status != napi_ok) {
        return status;
    }
    bool first = false;
    napi_threadsafe_function hop = nullptr;
    try {
        std::lock_guard<std::mutex> lock(state->mu);
        state->works.emplace(*result, TrackedWork{state->nextWorkSerial++, execute, complete, data});
        first = state->works.size() == 1;
        hop = state->hop;
    } catch (...) {
        // An untracked work could not be queued from another thread.
        __real_napi_delete_async_work(env, *result);
        *result = nullptr;
        return napi_generic_failure;
    }
    if (first) {
        KeepLoopAlive(env, hop, true);
    }
    return napi_ok;
}

napi_status DeleteTracked(napi_env env, napi_async_work work)
{
    bool last = false;
    napi_threadsafe_function hop = nullptr;
    if (env != nullptr && work != nullptr) {
        if (std::shared_ptr<EnvState> state = FindEnvState(env)) {
            std::lock_guard<std::mutex> lock(state->mu);
            last = state->works.erase(work) == 1 && state->works.empty();
            hop = state->hop;
        }
    }
    napi_status status = __real_napi_delete_async_work(env, work);
    if (last && hop != nullptr) {
        KeepLoopAlive(env, hop, false);
    }
    return status;
}

napi_status QueueFromAnyThread(napi_env env, napi_async_work work)
{
    if (env == nullptr || work == nullptr) {
        return napi_invalid_arg;
    }
    // Only the registry is consulted before the environment is known to be
    // alive: env may be a dangling pointer here.
    std::shared_ptr<EnvState> state = FindEnvState(env);
    if (!state) {
        return napi_closing;
    }
    if (!OnLoopThread(*state)) {
        return HandOverToLoop(state, work);
    }
    // On the loop thread the environment cannot be torn down under us.
    {
        std::lock_guard<std::mutex> lock(state->mu);
        if (state->works.find(work) == state->works.end()) {
            return napi_invalid_arg;
        }
    }
    return __real_napi_queue_async_work(env, work);
}

} // namespace

extern "C" napi_status __wrap_napi_create_async_work(napi_env env, napi_value async_resource,
    napi_value async_resource_name, napi_async_execute_callback execute, napi_async_complete_callback complete,
    void* data, napi_async_work* result)
{
    return NoThrow(
        [&] { return CreateTracked(env, async_resource, async_resource_name, execute, complete, data, result); });
}

extern "C" napi_status __wrap_napi_delete_async_work(napi_env env, napi_async_work work)
{
    return NoThrow([&] { return DeleteTracked(env, work); });
}

extern "C" napi_status __wrap_napi_queue_async_work(napi_env env, napi_async_work work)
{
    return NoThrow([&] { return QueueFromAnyThread(env, work); });
}
