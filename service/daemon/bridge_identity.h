// How the network bridge appears to the service core. The bridge calls the
// core in-process, as the socket server does, under client ids that no
// connection can have (connections count up from 1):
//  - BRIDGE_CLIENT_ID follows the exported bundles; BridgeGrantPolicy makes
//    it a system application with the permission, whatever the policy says;
//  - BRIDGE_IMPORT_CLIENT_ID publishes the records of imported bundles and
//    serves their requests, as those bundles: the policy must let them
//    publish exactly as it would a local application of that name;
//  - from BRIDGE_REMOTE_CLIENT_BASE on, one id per daemon that sends
//    requests, as remote callers named "node/bundle" (CallerInfo::remote),
//    which the policy judges by its remoteRequesters rules (caps per client
//    apply per daemon).
#ifndef SERVICE_DAEMON_BRIDGE_IDENTITY_H
#define SERVICE_DAEMON_BRIDGE_IDENTITY_H

#include <cstdint>
#include <memory>

#include "access_policy.h"

namespace OHOS::NavigationInfoService {

constexpr uint64_t BRIDGE_CLIENT_ID = uint64_t{1} << 63;
constexpr uint64_t BRIDGE_IMPORT_CLIENT_ID = BRIDGE_CLIENT_ID + 1;
constexpr uint64_t BRIDGE_REMOTE_CLIENT_BASE = BRIDGE_CLIENT_ID + 16;
constexpr const char* BRIDGE_BUNDLE_NAME = "navinfo-service.bridge";

// The daemon's policy plus the bridge's own follower. Immutable.
class BridgeGrantPolicy : public AccessPolicy {
public:
    explicit BridgeGrantPolicy(std::shared_ptr<const AccessPolicy> policy) : policy_(std::move(policy)) {}
    bool IsSystemApp(const CallerInfo& caller) const override
    {
        return caller.clientId == BRIDGE_CLIENT_ID || policy_->IsSystemApp(caller);
    }
    bool HasNavigationPermission(const CallerInfo& caller) const override
    {
        return caller.clientId == BRIDGE_CLIENT_ID || policy_->HasNavigationPermission(caller);
    }

private:
    const std::shared_ptr<const AccessPolicy> policy_;
};

// Null stays null: a daemon without a policy denies the bridge too.
inline std::shared_ptr<const AccessPolicy> WithBridgeGrant(std::shared_ptr<const AccessPolicy> policy)
{
    if (policy == nullptr) {
        return nullptr;
    }
    return std::make_shared<const BridgeGrantPolicy>(std::move(policy));
}

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_BRIDGE_IDENTITY_H
