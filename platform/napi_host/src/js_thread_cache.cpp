#include "js_thread_cache.h"

#include <new>

#include "real_napi.h"

namespace NapiHost {

struct JsThreadCache {
    napi_env env = nullptr;
    bool observerMade = false;
    napi_ref rejectionObserver = nullptr;
};

namespace {

thread_local JsThreadCache* t_cache = nullptr;

void DropCache(void* arg)
{
    auto* cache = static_cast<JsThreadCache*>(arg);
    if (t_cache == cache) {
        t_cache = nullptr;
    }
    delete cache;
}

napi_value CompileRejectionObserver(napi_env env)
{
    static constexpr const char* SOURCE = "(async (promise) => { try { await promise; } catch (ignored) {} })";
    napi_value source = nullptr;
    napi_value function = nullptr;
    napi_valuetype type = napi_undefined;
    if (napi_create_string_utf8(env, SOURCE, NAPI_AUTO_LENGTH, &source) != napi_ok ||
        napi_run_script(env, source, &function) != napi_ok || napi_typeof(env, function, &type) != napi_ok ||
        type != napi_function) {
        bool pending = false;
        if (napi_is_exception_pending(env, &pending) == napi_ok && pending) {
            napi_value dropped = nullptr;
            napi_get_and_clear_last_exception(env, &dropped);
        }
        return nullptr;
    }
    return function;
}

} // namespace

JsThreadCache* CacheOf(napi_env env) noexcept
{
    if (t_cache != nullptr) {
        return t_cache->env == env ? t_cache : nullptr;
    }
    auto* cache = new (std::nothrow) JsThreadCache;
    if (cache == nullptr) {
        return nullptr;
    }
    cache->env = env;
    if (napi_add_env_cleanup_hook(env, DropCache, cache) != napi_ok) {
        delete cache;
        return nullptr;
    }
    t_cache = cache;
    return cache;
}

napi_value RejectionObserver(napi_env env, JsThreadCache& cache) noexcept
{
    napi_value observer = nullptr;
    if (!cache.observerMade) {
        cache.observerMade = true;
        observer = CompileRejectionObserver(env);
        if (observer != nullptr && napi_create_reference(env, observer, 1, &cache.rejectionObserver) != napi_ok) {
            cache.rejectionObserver = nullptr;
        }
        return cache.rejectionObserver != nullptr ? observer : nullptr;
    }
    if (cache.rejectionObserver == nullptr ||
        napi_get_reference_value(env, cache.rejectionObserver, &observer) != napi_ok) {
        return nullptr;
    }
    return observer;
}

} // namespace NapiHost
