// Reading the access policy from its JSON file (format: docs/access-policy.md).
// Every failure gives a policy that denies everything, never an exception,
// and a one-line reason. The file is taken only if it is a regular file of
// at most MAX_POLICY_FILE_BYTES, nested at most MAX_POLICY_DEPTH levels, with
// no key twice in one object: whatever is handed in as a policy file (a FIFO,
// a device, a huge or hostile file) costs bounded time, memory and stack.
#ifndef SERVICE_ACCESS_POLICY_FILE_H
#define SERVICE_ACCESS_POLICY_FILE_H

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "access_policy.h"
#include "bridge_policy.h"
#include "service_settings.h"

namespace OHOS::NavigationInfoService {

// The environment variable naming the policy file.
constexpr const char* POLICY_FILE_ENV = "NAVINFO_POLICY_FILE";

constexpr size_t MAX_POLICY_FILE_BYTES = 1024 * 1024;
// Objects and arrays inside one another; the format itself needs 4.
constexpr int MAX_POLICY_DEPTH = 8;

struct PolicyLoadResult {
    std::shared_ptr<const RuleAccessPolicy> policy; // never null: DenyAll() on failure
    bool ok = false;
    std::string error; // why it failed, one line, for the log; empty when ok
    // The "bridge" section; null when the file has none (or on failure).
    std::shared_ptr<const BridgePolicy> bridge;
    // "goneRetentionSeconds": how long a gone publisher's UNAVAILABLE is kept.
    std::chrono::milliseconds goneRetention = DEFAULT_GONE_RETENTION;
};

// Any thread. Parses the text of a policy file.
PolicyLoadResult ParseAccessPolicy(const std::string& jsonText) noexcept;
// Any thread. Reads and parses a policy file; a missing or unreadable file
// fails, and so does anything that is not a regular file. The error starts
// with the path.
PolicyLoadResult LoadAccessPolicyFile(const std::string& path) noexcept;
// Any thread. The policy NAVINFO_POLICY_FILE names, or AllowAll() when the
// variable is unset or empty. A failure is logged as an error and denies all.
std::shared_ptr<const RuleAccessPolicy> AccessPolicyFromEnvironment() noexcept;
// Any thread. The same, with the file's other settings: the defaults when
// the variable is unset or empty; on failure the policy denies all (logged).
PolicyLoadResult PolicyFromEnvironment() noexcept;

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_ACCESS_POLICY_FILE_H
