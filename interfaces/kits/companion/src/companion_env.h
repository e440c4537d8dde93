// What the companion keeps per JavaScript environment (the main thread's or a
// Worker's), as the environment's instance data: an id that is unique in the
// process, and the channel that carries answers to this environment.
#ifndef NAVINFO_COMPANION_COMPANION_ENV_H
#define NAVINFO_COMPANION_COMPANION_ENV_H

#include <node_api.h>

#include <cstdint>
#include <memory>

namespace NavInfoCompanion {

struct AnswerChannel;
struct EventChannel;

struct CompanionEnv {
    uint64_t id = 0;
    std::shared_ptr<AnswerChannel> answers; // null until the client API hands over its answer function
    std::shared_ptr<EventChannel> events;   // null until the client API hands over its event function
};

// Loop thread. Creates the state of env (at module initialisation); when the
// environment is torn down, the roles it held are given up. False on failure.
bool InitCompanionEnv(napi_env env);
// Loop thread. The state of env, or null (an exception is then pending).
CompanionEnv* GetCompanionEnv(napi_env env);

} // namespace NavInfoCompanion

#endif // NAVINFO_COMPANION_COMPANION_ENV_H
