#include "client_identity.h"

#include "daemon_log.h"
#include "hilog/log_rate_limit.h"
#include "ipc_errors.h"
#include "ipc_skeleton.h"
#include "service_settings.h"

namespace OHOS::NavigationInfoService {

// A name a client may claim is one the core takes.
static_assert(MAX_BUNDLE_NAME_LENGTH == kMaxBundleNameLength, "bundle name limits differ");

IpcConnection::Authenticator MakeIdentityAuthenticator(std::shared_ptr<const RuleAccessPolicy> policy)
{
    return [policy](IpcConnection& connection, const IpcHelloInfo& hello) -> int {
        const auto& peer = connection.GetPeerCredentials();
        const int32_t uid = static_cast<int32_t>(peer.uid);
        if (policy == nullptr || hello.bundleName.empty() ||
            !policy->IdentityAllowed(hello.bundleName, uid, hello.token)) {
            // The token itself is never logged.
            HILOG_RATE_LIMITED(DAEMON_LOGW, "refused pid %{public}d uid %{public}d claiming \"%{public}s\" (%{public}s token)",
                static_cast<int>(peer.pid), uid, hello.bundleName.c_str(), hello.token.empty() ? "no" : "a");
            return IPC_ERR_PERMISSION;
        }
        connection.SetAttribute(std::make_shared<ClientIdentity>(hello.bundleName));
        DAEMON_LOGI("connection %{public}llu: pid %{public}d uid %{public}d is \"%{public}s\"",
            static_cast<unsigned long long>(connection.GetId()), static_cast<int>(peer.pid), uid,
            hello.bundleName.c_str());
        return IPC_OK;
    };
}

std::shared_ptr<ClientIdentity> CallingIdentity()
{
    return std::static_pointer_cast<ClientIdentity>(IPCSkeleton::GetCallingConnectionAttribute());
}

} // namespace OHOS::NavigationInfoService
