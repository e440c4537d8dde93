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

// The builtin Object.keys of env, or null when it cannot be had or is not
// the builtin (a script replaced it).
napi_value BuiltinObjectKeys(napi_env env, JsThreadCache& cache) noexcept;

// The own enumerable string-keyed property names of object, array indices
// as strings, in property order: napi_get_all_property_names (own only,
// enumerable, no symbols, numbers to strings), through the builtin
// Object.keys where it can be had, which answers from V8's cache of an
// object's keys instead of collecting them anew.
napi_status GetOwnEnumerableStringKeys(napi_env env, napi_value object, napi_value* result);

} // namespace NapiHost

#endif // NAPI_HOST_JS_THREAD_CACHE_H
