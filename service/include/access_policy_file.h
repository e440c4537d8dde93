// Reading the access policy from its JSON file (format: docs/access-policy.md).
// Every failure gives a policy that denies everything, never an exception.
#ifndef SERVICE_ACCESS_POLICY_FILE_H
#define SERVICE_ACCESS_POLICY_FILE_H

#include <memory>
#include <string>

#include "access_policy.h"

namespace OHOS::NavigationInfoService {

// The environment variable naming the policy file.
constexpr const char* POLICY_FILE_ENV = "NAVINFO_POLICY_FILE";

struct PolicyLoadResult {
    std::shared_ptr<const RuleAccessPolicy> policy; // never null: DenyAll() on failure
    bool ok = false;
    std::string error; // why it failed, for the log; empty when ok
};

// Any thread. Parses the text of a policy file.
PolicyLoadResult ParseAccessPolicy(const std::string& jsonText) noexcept;
// Any thread. Reads and parses a policy file; a missing or unreadable file fails.
PolicyLoadResult LoadAccessPolicyFile(const std::string& path) noexcept;
// Any thread. The policy NAVINFO_POLICY_FILE names, or AllowAll() when the
// variable is unset or empty. A failure is logged as an error and denies all.
std::shared_ptr<const RuleAccessPolicy> AccessPolicyFromEnvironment() noexcept;

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_ACCESS_POLICY_FILE_H
