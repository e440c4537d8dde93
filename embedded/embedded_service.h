// The service embedded in this process: one core for the whole process, with
// the IPC threads as its executor, and the identity this process calls it with.
//
// Identity: bundle name from NAVINFO_BUNDLE_NAME (default
// "com.example.navigation"), this process's pid and uid, client id 1.
// Policy: the file NAVINFO_POLICY_FILE names, or allow-all without one.
// Time-out: NAVINFO_REQUEST_TIMEOUT_MS, or 10 s.
#ifndef EMBEDDED_EMBEDDED_SERVICE_H
#define EMBEDDED_EMBEDDED_SERVICE_H

#include <memory>

#include "caller_info.h"
#include "nav_info_service_core.h"
#include "nav_info_transport.h"

namespace OHOS::NavigationInfoService {

constexpr const char* BUNDLE_NAME_ENV = "NAVINFO_BUNDLE_NAME";
constexpr const char* DEFAULT_BUNDLE_NAME = "com.example.navigation";
constexpr uint64_t EMBEDDED_CLIENT_ID = 1;

class EmbeddedService {
public:
    // Any thread. Created at first use (may throw std::bad_alloc then) and
    // never destroyed, like the IPC threads that call its listeners.
    static EmbeddedService& Instance();

    // Any thread; set once at construction.
    NavInfoServiceCore& Core() const { return *core_; }

private:
    EmbeddedService();

    const std::shared_ptr<NavInfoServiceCore> core_;
};

// Who this process is to the embedded core, from the environment (above).
CallerInfo EmbeddedCallerFromEnvironment();

// A transport to the embedded core that calls it as caller; CreateEmbeddedTransport()
// (nav_info_transport.h) calls it as EmbeddedCallerFromEnvironment().
std::unique_ptr<NavInfoTransport> CreateEmbeddedTransport(CallerInfo caller);

} // namespace OHOS::NavigationInfoService

#endif // EMBEDDED_EMBEDDED_SERVICE_H
