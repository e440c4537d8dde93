// Navigation information shared with the daemons of other machines (over DDS
// when the daemon is built with NAVINFO_DDS_BRIDGE; see docs/dds-bridge.md).
// The bridge serves the bundles the policy exports and makes the bundles it
// imports look local to this daemon's applications.
//
// Threads: StartNetworkBridge and the bridge's destruction from the daemon's
// owning thread, before DaemonService::Stop.
#ifndef SERVICE_DAEMON_NETWORK_BRIDGE_H
#define SERVICE_DAEMON_NETWORK_BRIDGE_H

#include <memory>
#include <string>

#include "bridge_policy.h"

namespace OHOS::NavigationInfoService {

class DaemonService;

class NetworkBridge {
public:
    virtual ~NetworkBridge() = default; // stops it: nothing is sent or received afterwards
};

// Whether this build has a bridge at all.
bool NetworkBridgeBuiltIn();

// Null with a one-line reason when it cannot start. service must outlive it.
std::unique_ptr<NetworkBridge> StartNetworkBridge(DaemonService& service, const BridgePolicy& policy,
    std::string& error);

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_NETWORK_BRIDGE_H
