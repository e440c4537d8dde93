#include "thread_claims.h"

#include <map>
#include <mutex>

#include "companion_env.h"
#include "js_values.h"

namespace NavInfoCompanion {
namespace {

// Never freed: environments' finalizers may run while the process exits.
struct ClaimRegistry {
    std::mutex mutex;
    std::map<std::string, uint64_t> holders; // role -> environment id
};

ClaimRegistry& Registry()
{
    static auto* registry = new ClaimRegistry();
    return *registry;
}

} // namespace

bool ClaimRole(const std::string& role, uint64_t envId)
{
    std::lock_guard<std::mutex> lock(Registry().mutex);
    auto inserted = Registry().holders.emplace(role, envId);
    return inserted.first->second == envId;
}

void ReleaseRole(const std::string& role, uint64_t envId)
{
    std::lock_guard<std::mutex> lock(Registry().mutex);
    auto& holders = Registry().holders;
    auto found = holders.find(role);
    if (found != holders.end() && found->second == envId) {
        holders.erase(found);
    }
}

void ReleaseAllRoles(uint64_t envId) noexcept
{
    try {
        std::lock_guard<std::mutex> lock(Registry().mutex);
        auto& holders = Registry().holders;
        for (auto it = holders.begin(); it != holders.end();) {
            it = it->second == envId ? holders.erase(it) : std::next(it);
        }
    } catch (...) {
        // The mutex could not be taken: the roles stay held by an environment that is gone.
    }
}

napi_value JsClaim(napi_env env, napi_callback_info info)
{
    return Guarded(env, [&]() -> napi_value {
        CallArgs<1> args;
        std::string role;
        if (!args.Read(env, info) || !ReadString(env, args.argv[0], role)) {
            return ThrowTypeError(env, "claim(role): role must be a string");
        }
        CompanionEnv* state = GetCompanionEnv(env);
        return state == nullptr ? nullptr : MakeBool(env, ClaimRole(role, state->id));
    });
}

napi_value JsRelease(napi_env env, napi_callback_info info)
{
    return Guarded(env, [&]() -> napi_value {
        CallArgs<1> args;
        std::string role;
        if (!args.Read(env, info) || !ReadString(env, args.argv[0], role)) {
            return ThrowTypeError(env, "release(role): role must be a string");
        }
        CompanionEnv* state = GetCompanionEnv(env);
        if (state != nullptr) {
            ReleaseRole(role, state->id);
        }
        return state == nullptr ? nullptr : Undefined(env);
    });
}

} // namespace NavInfoCompanion
