// What napi_host keeps per JavaScript thread so that frequent calls need not
// redo the same work: handles of the environment that runs on the thread.
//
// Node runs one environment per thread (the main thread's, or a Worker's).
// The cache belongs to the environment it was made for: its cleanup hook
// drops it, and a thread asking for another environment gets none (callers
// then take the uncached path). The handles are strong references that Node
// frees with the environment.
//
// Thread: the environment's JavaScript thread only.
#ifndef NAPI_HOST_JS_THREAD_CACHE_H
#define NAPI_HOST_JS_THREAD_CACHE_H

#include <node_api.h>

namespace NapiHost {

struct JsThreadCache;

// The cache of env on this thread, made on first use; null when the thread
// has one for another environment or it could not be made.
JsThreadCache* CacheOf(napi_env env) noexcept;

// napi_host's own function `async (p) => { try { await p; } catch {} }` in
// env, compiled on first use; null when it could not be made. It reads no
// global binding and calls no script function: awaiting a native promise
// attaches its reactions directly, without calling the promise's then.
napi_value RejectionObserver(napi_env env, JsThreadCache& cache) noexcept;

} // namespace NapiHost

#endif // NAPI_HOST_JS_THREAD_CACHE_H
