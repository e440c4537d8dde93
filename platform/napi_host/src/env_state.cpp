#include "env_state.h"

#include "host_log.h"
#include "tsfn_registry.h"

namespace NapiHost {
namespace {

// The live states, one per live env. Leaked on purpose: threads of client
// libraries may still look states up while static destructors run at exit.
struct EnvRegistry {
    std::mutex mu;
    std::unordered_map<napi_env, std::shared_ptr<EnvState>> states; // guarded by mu
};

EnvRegistry& Registry()
{
    static EnvRegistry* registry = new EnvRegistry;
    return *registry;
}

// Env cleanup hook; runs on the env's loop thread while the env is still valid
// (napi_env is released by a hook registered earlier, so later in the run).
// From here on, the env counts as gone: lookups fail, queue requests from
// other threads fail, handed-over requests still queued are dropped, and every
// thread-safe function of the env answers napi_closing.
void OnEnvCleanup(void* arg)
{
    std::shared_ptr<EnvState> state;
    {
        EnvRegistry& registry = Registry();
        std::lock_guard<std::mutex> lock(registry.mu);
        // arg is owned by the registry until this hook takes it out.
        auto it = registry.states.find(static_cast<EnvState*>(arg)->env);
        if (it != registry.states.end() && it->second.get() == arg) {
            state = std::move(it->second);
            registry.states.erase(it);
        }
    }
    if (!state) {
        NAPI_HOST_LOGE("cleanup hook for an environment that is not registered");
        return;
    }
    {
        std::lock_guard<std::shared_mutex> gate(state->hopGate);
        std::lock_guard<std::mutex> lock(state->mu);
        state->alive = false;
        // Node closes and frees the host's thread-safe function itself.
        state->hop = nullptr;
        state->works.clear();
    }
    CloseTsfnsOf(state.get());
}

} // namespace

std::shared_ptr<EnvState> FindEnvState(napi_env env)
{
    EnvRegistry& registry = Registry();
    std::lock_guard<std::mutex> lock(registry.mu);
    auto it = registry.states.find(env);
    return it == registry.states.end() ? nullptr : it->second;
}

napi_status AcquireEnvState(napi_env env, std::shared_ptr<EnvState>* result)
{
    EnvRegistry& registry = Registry();
    std::shared_ptr<EnvState> state;
    {
        std::lock_guard<std::mutex> lock(registry.mu);
        auto it = registry.states.find(env);
        if (it != registry.states.end()) {
            *result = it->second;
            return napi_ok;
        }
        state = std::make_shared<EnvState>(env, std::this_thread::get_id());
        registry.states.emplace(env, state);
    }
    napi_status status = napi_add_env_cleanup_hook(env, OnEnvCleanup, state.get());
    if (status != napi_ok) {
        std::lock_guard<std::mutex> lock(registry.mu);
        registry.states.erase(env);
        return status;
    }
    *result = std::move(state);
    return napi_ok;
}

} // namespace NapiHost
