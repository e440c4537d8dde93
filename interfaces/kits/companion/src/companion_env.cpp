#include "companion_env.h"

#include <atomic>
#include <memory>
#include <new>

#include "request_observing.h"
#include "service_events.h"
#include "thread_claims.h"

namespace NavInfoCompanion {

bool InitCompanionEnv(napi_env env)
{
    static std::atomic<uint64_t> nextId{1};
    auto* state = new (std::nothrow) CompanionEnv();
    if (state == nullptr) {
        return false;
    }
    state->id = nextId++;
    auto finalize = [](napi_env, void* data, void*) {
        std::unique_ptr<CompanionEnv> gone(static_cast<CompanionEnv*>(data));
        ReleaseAllRoles(gone->id);
        ForgetObservations(gone->id);
        if (gone->events != nullptr) {
            StopEvents(*gone->events);
        }
    };
    if (napi_set_instance_data(env, state, finalize, nullptr) != napi_ok) {
        delete state;
        return false;
    }
    return true;
}

CompanionEnv* GetCompanionEnv(napi_env env)
{
    void* data = nullptr;
    if (napi_get_instance_data(env, &data) != napi_ok || data == nullptr) {
        napi_throw_error(env, nullptr, "navinfo_companion: not initialised in this environment");
        return nullptr;
    }
    return static_cast<CompanionEnv*>(data);
}

} // namespace NavInfoCompanion
