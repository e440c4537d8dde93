// The host's per-environment thread-safe function ("hop") that carries the
// completion of async works queued from other threads onto the environment's
// loop thread, and that keeps the loop alive while works are outstanding.
#ifndef NAPI_HOST_LOOP_HOP_H
#define NAPI_HOST_LOOP_HOP_H

#include <node_api.h>

#include <memory>

#include "env_state.h"

namespace NapiHost {

// Loop thread of state only. Creates the hop of state unless it has one. The
// hop starts unref'd: it holds the loop only while works are outstanding.
napi_status EnsureHop(napi_env env, EnvState& state);

// Any thread but the loop thread of state. Runs the execute of work on a
// worker thread of the host (as Node's worker pool would), which then hands
// its complete (status napi_ok) over to the loop thread, where it runs
// unless the work has been deleted by then. napi_ok once handed over;
// napi_invalid_arg for a work state does not track (nothing runs);
// napi_closing when the environment is gone or tearing down. A completion
// whose environment goes while its execute runs is dropped. The environment
// is not touched off its loop thread.
napi_status HandOverToLoop(const std::shared_ptr<EnvState>& state, napi_async_work work) noexcept;

// Loop thread of env only, with hop the live hop of env. Holds the loop alive
// (keep) or lets it end.
void KeepLoopAlive(napi_env env, napi_threadsafe_function hop, bool keep);

} // namespace NapiHost

#endif // NAPI_HOST_LOOP_HOP_H
