// Who may do what: the service core asks an AccessPolicy two questions about
// a caller, and RuleAccessPolicy answers them from per-bundle rules (what the
// policy file describes; see docs/access-policy.md).
#ifndef SERVICE_ACCESS_POLICY_H
#define SERVICE_ACCESS_POLICY_H

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "caller_info.h"

namespace OHOS::NavigationInfoService {

// Implementations are immutable once shared, so any thread may ask them
// without a lock.
class AccessPolicy {
public:
    virtual ~AccessPolicy() = default;
    virtual bool IsSystemApp(const CallerInfo& caller) const = 0;
    virtual bool HasNavigationPermission(const CallerInfo& caller) const = 0;
};

// How long the daemon waits for a bundle owner's keep-alive answer, and the
// range a policy may set per bundle (livenessTimeoutMs).
constexpr std::chrono::milliseconds DEFAULT_LIVENESS_TIMEOUT{3000};
constexpr std::chrono::milliseconds MIN_LIVENESS_TIMEOUT{100};
constexpr std::chrono::milliseconds MAX_LIVENESS_TIMEOUT{600000};

// What one bundle may do, and (for the daemon) how to recognise it.
struct BundleAccess {
    bool systemApp = false;
    bool navigationPermission = false;
    // The daemon accepts a claim of this bundle name only from these uids;
    // empty: from any uid.
    std::vector<int32_t> uids;
    // The daemon accepts a claim of this bundle name only with this token;
    // empty: no token needed.
    std::string token;
    // The daemon declares the owner of this bundle frozen, and so gone, when
    // its connection leaves a keep-alive unanswered this long.
    std::chrono::milliseconds livenessTimeout = DEFAULT_LIVENESS_TIMEOUT;
};

class RuleAccessPolicy : public AccessPolicy {
public:
    // Bundles listed get their own rule. Unlisted bundles get nothing when
    // defaultDeny, and everything (system application with the permission)
    // otherwise.
    // Remote requesters ("node/bundle", see CallerInfo::remote) are judged by
    // their own rules (systemApp and navigationPermission only), and unlisted
    // ones as unlisted bundles are.
    RuleAccessPolicy(bool defaultDeny, std::map<std::string, BundleAccess> bundles,
        std::map<std::string, BundleAccess> remoteRequesters = {});

    // Every bundle is a system application with the permission.
    static std::shared_ptr<const RuleAccessPolicy> AllowAll();
    // No bundle is anything.
    static std::shared_ptr<const RuleAccessPolicy> DenyAll();

    bool IsSystemApp(const CallerInfo& caller) const override;
    bool HasNavigationPermission(const CallerInfo& caller) const override;

    // For the daemon's identity check: may a process of this uid that
    // presents this token act as bundleName? A listed bundle checks its uids
    // and token; an unlisted one is accepted unless defaultDeny.
    bool IdentityAllowed(const std::string& bundleName, int32_t uid, const std::string& token) const;

    // The liveness time-out of a bundle's owner: its rule's, else the default.
    std::chrono::milliseconds LivenessTimeout(const std::string& bundleName) const;

    bool DefaultDeny() const { return defaultDeny_; }
    // The rule of a listed bundle, or null.
    const BundleAccess* FindBundle(const std::string& bundleName) const;
    const std::map<std::string, BundleAccess>& Bundles() const { return bundles_; }
    const std::map<std::string, BundleAccess>& RemoteRequesters() const { return remoteRequesters_; }

private:
    // The rule the caller is judged by: a remote requester's or a bundle's; null when unlisted.
    const BundleAccess* RuleOf(const CallerInfo& caller) const;

    const bool defaultDeny_;
    const std::map<std::string, BundleAccess> bundles_;
    const std::map<std::string, BundleAccess> remoteRequesters_; // by "node/bundle"
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_ACCESS_POLICY_H
