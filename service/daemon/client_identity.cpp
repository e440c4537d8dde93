#include "client_identity.h"

#include "daemon_log.h"
#include "hilog/log_rate_limit.h"
#include "ipc_errors.h"
#include "ipc_skeleton.h"
#include "service_settings.h"

namespace OHOS::NavigationInfoService {

// A name a client may claim is one the core takes.
static_assert(MAX_BUNDLE_NAME_LENGTH == kMaxBundleNameLength, "bundle name limits differ");

namespace {

bool Allowed(const RuleAccessPolicy* policy, const std::string& bundle, int32_t uid, const std::string& token)
{
    return policy != nullptr && !bundle.empty() && policy->IdentityAllowed(bundle, uid, token);
}

} // namespace

IpcConnection::Authenticator MakeIdentityAuthenticator(const std::shared_ptr<const PolicySlot>& slot)
{
    return [slot](IpcConnection& connection, const IpcHelloInfo& hello) -> int {
        const auto& peer = connection.GetPeerCredentials();
        const int32_t uid = static_cast<int32_t>(peer.uid);
        std::shared_ptr<const RuleAccessPolicy> policy = slot->Get();
        bool allowed = Allowed(policy.get(), hello.bundleName, uid, hello.token);
        if (allowed) {
            connection.SetAttribute(std::make_shared<ClientIdentity>(hello.bundleName, uid, hello.token));
            // A reload that swapped the policy meanwhile may have looked at the
            // connections before this one had an identity: check it again.
            std::shared_ptr<const RuleAccessPolicy> now = slot->Get();
            allowed = now == policy || Allowed(now.get(), hello.bundleName, uid, hello.token);
        }
        if (!allowed) {
            // The token itself is never logged.
            HILOG_RATE_LIMITED(DAEMON_LOGW,
                "refused pid %{public}d uid %{public}d claiming \"%{public}s\" (%{public}s token)",
                static_cast<int>(peer.pid), uid, hello.bundleName.c_str(), hello.token.empty() ? "no" : "a");
            return IPC_ERR_PERMISSION;
        }
        DAEMON_LOGI("connection %{public}llu: pid %{public}d uid %{public}d is \"%{public}s\"",
            static_cast<unsigned long long>(connection.GetId()), static_cast<int>(peer.pid), uid,
            hello.bundleName.c_str());
        return IPC_OK;
    };
}

bool ShouldCloseAfterReload(const RuleAccessPolicy* before, const RuleAccessPolicy* after, const ClientIdentity& client)
{
    if (!Allowed(after, client.bundleName, client.uid, client.token)) {
        return true;
    }
    if (before == nullptr) {
        return false;
    }
    CallerInfo caller;
    caller.bundleName = client.bundleName;
    caller.uid = client.uid;
    return (before->IsSystemApp(caller) && !after->IsSystemApp(caller)) ||
        (before->HasNavigationPermission(caller) && !after->HasNavigationPermission(caller));
}

std::shared_ptr<ClientIdentity> CallingIdentity()
{
    return std::static_pointer_cast<ClientIdentity>(IPCSkeleton::GetCallingConnectionAttribute());
}

} // namespace OHOS::NavigationInfoService
