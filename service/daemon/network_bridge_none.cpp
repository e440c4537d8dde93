// The daemon built without NAVINFO_DDS_BRIDGE: no bridge.
#include "network_bridge.h"

namespace OHOS::NavigationInfoService {

bool NetworkBridgeBuiltIn()
{
    return false;
}

std::unique_ptr<NetworkBridge> StartNetworkBridge(DaemonService&, const BridgePolicy&, std::string& error)
{
    error = "this navinfo-service was built without the DDS bridge (cmake -DNAVINFO_DDS_BRIDGE=ON)";
    return nullptr;
}

} // namespace OHOS::NavigationInfoService
