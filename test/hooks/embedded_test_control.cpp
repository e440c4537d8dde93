// The hooks over the embedded service: this process's identity, policy and
// time-out there, and emptying it. Kept apart from the client hooks because
// it builds policies of the service core, which only the native tests link.
#include <chrono>

#include "access_policy.h"
#include "embedded_service.h"
#include "hooks_internal.h"
#include "nav_info_test_hooks.h"

namespace OHOS::NavigationInfoService::TestHooks {

void SetBundleName(const std::string& bundleName) noexcept
{
    Guarded(__func__, 0, [&] {
        CallerInfo caller = EmbeddedCallerFromEnvironment();
        caller.bundleName = bundleName;
        Recorder().Retarget(CreateEmbeddedTransport(std::move(caller)));
        return 0;
    });
}

void SetPolicy(const std::map<std::string, BundlePolicy>& bundles) noexcept
{
    Guarded(__func__, 0, [&] {
        std::map<std::string, BundleAccess> rules;
        for (const auto& entry : bundles) {
            BundleAccess access;
            access.systemApp = entry.second.systemApp;
            access.navigationPermission = entry.second.navigationPermission;
            rules.emplace(entry.first, std::move(access));
        }
        EmbeddedService::Instance().Core().SetAccessPolicy(
            std::make_shared<const RuleAccessPolicy>(true, std::move(rules)));
        return 0;
    });
}

void SetPolicyAllowAll() noexcept
{
    Guarded(__func__, 0, [] {
        EmbeddedService::Instance().Core().SetAccessPolicy(RuleAccessPolicy::AllowAll());
        return 0;
    });
}

void ResetService() noexcept
{
    Guarded(__func__, 0, [] {
        EmbeddedService::Instance().Core().Reset();
        Recorder().ForgetListeners();
        ForgetAnswers();
        return 0;
    });
}

} // namespace OHOS::NavigationInfoService::TestHooks
