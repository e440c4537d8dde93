// Roles that one JavaScript environment of the process holds at a time.
//
// The module delivers status and metadata changes, and the queries and
// commands of the navigation role, to the functions registered last in the
// whole process, whatever thread registered them. The client API therefore
// lets one environment at a time follow ("following") and one serve
// ("serving"); another environment asking for a held role is refused instead
// of silently taking the deliveries over.
//
// Threads: any; guarded by one mutex.
#ifndef NAVINFO_COMPANION_THREAD_CLAIMS_H
#define NAVINFO_COMPANION_THREAD_CLAIMS_H

#include <node_api.h>

#include <cstdint>
#include <string>

namespace NavInfoCompanion {

// True when the role was free or already held by envId; it is then envId's.
bool ClaimRole(const std::string& role, uint64_t envId);
// Gives the role up if envId holds it.
void ReleaseRole(const std::string& role, uint64_t envId);
void ReleaseAllRoles(uint64_t envId) noexcept;

// claim(role) -> boolean; release(role).
napi_value JsClaim(napi_env env, napi_callback_info info);
napi_value JsRelease(napi_env env, napi_callback_info info);

} // namespace NavInfoCompanion

#endif // NAVINFO_COMPANION_THREAD_CLAIMS_H
