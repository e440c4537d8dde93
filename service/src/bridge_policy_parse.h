// Reads the policy file's "bridge" section (see bridge_policy.h) as strictly
// as the rest of the file: unknown keys, wrong types, names out of bounds, a
// bundle listed twice or both exported and imported make the file invalid.
#ifndef SERVICE_BRIDGE_POLICY_PARSE_H
#define SERVICE_BRIDGE_POLICY_PARSE_H

#include <string>

#include <nlohmann/json.hpp>

#include "bridge_policy.h"

namespace OHOS::NavigationInfoService {

// False with a one-line reason (naming no value) when the section is refused.
bool ParseBridgePolicy(const nlohmann::json& section, BridgePolicy& bridge, std::string& error);

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_BRIDGE_POLICY_PARSE_H
