#include "access_policy.h"

#include <algorithm>

namespace OHOS::NavigationInfoService {

RuleAccessPolicy::RuleAccessPolicy(bool defaultDeny, std::map<std::string, BundleAccess> bundles,
    std::map<std::string, BundleAccess> remoteRequesters)
    : defaultDeny_(defaultDeny),
      bundles_(std::move(bundles)),
      remoteRequesters_(std::move(remoteRequesters))
{
}

std::shared_ptr<const RuleAccessPolicy> RuleAccessPolicy::AllowAll()
{
    return std::make_shared<const RuleAccessPolicy>(false, std::map<std::string, BundleAccess>());
}

std::shared_ptr<const RuleAccessPolicy> RuleAccessPolicy::DenyAll()
{
    return std::make_shared<const RuleAccessPolicy>(true, std::map<std::string, BundleAccess>());
}

const BundleAccess* RuleAccessPolicy::FindBundle(const std::string& bundleName) const
{
    auto found = bundles_.find(bundleName);
    return found == bundles_.end() ? nullptr : &found->second;
}

const BundleAccess* RuleAccessPolicy::RuleOf(const CallerInfo& caller) const
{
    if (!caller.remote) {
        return FindBundle(caller.bundleName);
    }
    auto found = remoteRequesters_.find(caller.bundleName);
    return found == remoteRequesters_.end() ? nullptr : &found->second;
}

bool RuleAccessPolicy::IsSystemApp(const CallerInfo& caller) const
{
    const BundleAccess* rule = RuleOf(caller);
    return rule != nullptr ? rule->systemApp : !defaultDeny_;
}

bool RuleAccessPolicy::HasNavigationPermission(const CallerInfo& caller) const
{
    const BundleAccess* rule = RuleOf(caller);
    return rule != nullptr ? rule->navigationPermission : !defaultDeny_;
}

bool RuleAccessPolicy::IdentityAllowed(const std::string& bundleName, int32_t uid, const std::string& token) const
{
    const BundleAccess* rule = FindBundle(bundleName);
    if (rule == nullptr) {
        return !defaultDeny_;
    }
    if (!rule->uids.empty() && std::find(rule->uids.begin(), rule->uids.end(), uid) == rule->uids.end()) {
        return false;
    }
    return rule->token.empty() || rule->token == token;
}

std::chrono::milliseconds RuleAccessPolicy::LivenessTimeout(const std::string& bundleName) const
{
    const BundleAccess* rule = FindBundle(bundleName);
    return rule != nullptr ? rule->livenessTimeout : DEFAULT_LIVENESS_TIMEOUT;
}

} // namespace OHOS::NavigationInfoService
