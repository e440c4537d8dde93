// The service embedded in this process: one core for the whole process, the
// identity this process calls it with, and the IPC threads as its executor.
//
// Identity: bundle name from NAVINFO_BUNDLE_NAME (default
// "com.example.navigation"), this process's pid and uid, client id 1.
// Policy: the file NAVINFO_POLICY_FILE names, or allow-all without one.
// Time-out: NAVINFO_REQUEST_TIMEOUT_MS, or 10 s.
#ifndef EMBEDDED_EMBEDDED_SERVICE_H
#define EMBEDDED_EMBEDDED_SERVICE_H

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "caller_info.h"
#include "nav_info_service_core.h"

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
    // Any thread: who this process is to the core.
    CallerInfo Caller() const;

    // Any thread; for the test hooks.
    void SetBundleName(std::string bundleName);
    void SetAccessPolicy(std::shared_ptr<const AccessPolicy> policy);
    void SetRequestTimeout(std::chrono::milliseconds timeout);
    // Forgets every record, follower and listener; outstanding requests are
    // answered NOT_FOUND. The identity, policy and time-out stay as set.
    void Reset();

private:
    EmbeddedService();

    const std::shared_ptr<NavInfoServiceCore> core_;
    const int32_t pid_;
    const int32_t uid_;
    mutable std::mutex mutex_; // guards bundleName_
    std::string bundleName_;
};

} // namespace OHOS::NavigationInfoService

#endif // EMBEDDED_EMBEDDED_SERVICE_H
