// What the policy file's "bridge" section says about sharing navigation
// information with the daemons of other machines over DDS: which bundles this
// daemon serves to them (exports), which it takes from them (imports), and
// where they meet (DDS domain and partition). Format: docs/dds-bridge.md.
#ifndef SERVICE_BRIDGE_POLICY_H
#define SERVICE_BRIDGE_POLICY_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace OHOS::NavigationInfoService {

struct BridgePolicy {
    uint32_t domain = 0;
    std::string partition = "navinfo";
    // This daemon's name in the other daemons' logs; empty: the host name.
    std::string node;
    std::vector<std::string> exports;
    std::vector<std::string> imports;
    // How soon the others notice that this daemon is gone.
    std::chrono::milliseconds liveliness{2000};
    // Run the bridge without DDS Security (the Cyclone configuration has no
    // Security element): refused unless the policy says so.
    bool insecure = false;
};

// Highest DDS domain id that the standard port mapping allows.
constexpr uint32_t MAX_BRIDGE_DOMAIN = 230;
constexpr size_t MAX_BRIDGE_PARTITION_BYTES = 256;
constexpr size_t MAX_BRIDGE_BUNDLES = 128;
constexpr std::chrono::milliseconds MIN_BRIDGE_LIVELINESS{100};
constexpr std::chrono::milliseconds MAX_BRIDGE_LIVELINESS{60000};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_BRIDGE_POLICY_H
