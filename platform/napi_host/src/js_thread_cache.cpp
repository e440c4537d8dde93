#include "js_thread_cache.h"

#include <cstring>
#include <new>

#include "real_napi.h"

namespace NapiHost {

struct JsThreadCache {
    napi_env env = nullptr;
    bool keysLookedUp = false;
    napi_ref objectKeys = nullptr;
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

// Object.keys of the environment's global object, if it is still the
// builtin: its source text is then native code under the name "keys".
napi_value LookUpObjectKeys(napi_env env)
{
    napi_value global = nullptr;
    napi_value object = nullptr;
    napi_value keys = nullptr;
    napi_value functionPrototype = nullptr;
    napi_value function = nullptr;
    napi_value toString = nullptr;
    napi_value text = nullptr;
    char source[64] = {0};
    size_t length = 0;
    napi_valuetype type = napi_undefined;
    if (napi_get_global(env, &global) != napi_ok ||
        __real_napi_get_named_property(env, global, "Object", &object) != napi_ok ||
        __real_napi_get_named_property(env, object, "keys", &keys) != napi_ok ||
        napi_typeof(env, keys, &type) != napi_ok || type != napi_function ||
        __real_napi_get_named_property(env, global, "Function", &function) != napi_ok ||
        __real_napi_get_named_property(env, function, "prototype", &functionPrototype) != napi_ok ||
        __real_napi_get_named_property(env, functionPrototype, "toString", &toString) != napi_ok ||
        __real_napi_call_function(env, keys, toString, 0, nullptr, &text) != napi_ok ||
        napi_get_value_string_utf8(env, text, source, sizeof(source), &length) != napi_ok) {
        bool pending = false;
        if (napi_is_exception_pending(env, &pending) == napi_ok && pending) {
            napi_value dropped = nullptr;
            napi_get_and_clear_last_exception(env, &dropped);
        }
        return nullptr;
    }
    return std::strcmp(source, "function keys() { [native code] }") == 0 ? keys : nullptr;
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

napi_value BuiltinObjectKeys(napi_env env, JsThreadCache& cache) noexcept
{
    napi_value keys = nullptr;
    if (!cache.keysLookedUp) {
        cache.keysLookedUp = true;
        keys = LookUpObjectKeys(env);
        if (keys != nullptr && napi_create_reference(env, keys, 1, &cache.objectKeys) != napi_ok) {
            cache.objectKeys = nullptr;
        }
        return cache.objectKeys != nullptr ? keys : nullptr;
    }
    if (cache.objectKeys == nullptr || napi_get_reference_value(env, cache.objectKeys, &keys) != napi_ok) {
        return nullptr;
    }
    return keys;
}

} // namespace NapiHost
