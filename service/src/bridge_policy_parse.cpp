#include "bridge_policy_parse.h"

#include <set>

#include "nav_info_service_ipc.h"

namespace OHOS::NavigationInfoService {
namespace {

using nlohmann::json;

bool ReadName(const json& value, size_t limit, std::string& out)
{
    if (!value.is_string() || value.get_ref<const std::string&>().empty() ||
        value.get_ref<const std::string&>().size() > limit) {
        return false;
    }
    out = value.get<std::string>();
    return true;
}

bool ReadBundles(const json& section, const char* key, std::vector<std::string>& out, std::set<std::string>& seen,
    std::string& error)
{
    auto found = section.find(key);
    if (found == section.end()) {
        return true;
    }
    const std::string what = std::string("bridge: \"") + key + "\" ";
    if (!found->is_array() || found->size() > MAX_BRIDGE_BUNDLES) {
        error = what + "must be an array of at most " + std::to_string(MAX_BRIDGE_BUNDLES) + " bundle names";
        return false;
    }
    for (const auto& item : *found) {
        std::string name;
        if (!ReadName(item, MAX_BUNDLE_NAME_LENGTH, name)) {
            error = what + "holds something that is not a bundle name of 1 to " +
                std::to_string(MAX_BUNDLE_NAME_LENGTH) + " bytes";
            return false;
        }
        // A bundle has one home: never exported and imported at once, never twice.
        if (!seen.insert(name).second) {
            error = what + "lists a bundle that the bridge section already names";
            return false;
        }
        out.push_back(std::move(name));
    }
    return true;
}

} // namespace

bool ParseBridgePolicy(const json& section, BridgePolicy& bridge, std::string& error)
{
    if (!section.is_object()) {
        error = "\"bridge\" must be an object";
        return false;
    }
    for (const auto& item : section.items()) {
        const std::string& key = item.key();
        if (key != "domain" && key != "partition" && key != "node" && key != "export" && key != "import" &&
            key != "livelinessMs" && key != "insecure") {
            error = "bridge: unknown key (known: domain, partition, node, export, import, livelinessMs, insecure)";
            return false;
        }
    }
    auto domain = section.find("domain");
    if (domain != section.end()) {
        if (!domain->is_number_integer() || domain->get<int64_t>() < 0 || domain->get<int64_t>() > MAX_BRIDGE_DOMAIN) {
            error = "bridge: \"domain\" must be an integer from 0 to " + std::to_string(MAX_BRIDGE_DOMAIN);
            return false;
        }
        bridge.domain = static_cast<uint32_t>(domain->get<int64_t>());
    }
    auto partition = section.find("partition");
    if (partition != section.end()) {
        // Wildcards would let this daemon meet partitions nobody named.
        if (!ReadName(*partition, MAX_BRIDGE_PARTITION_BYTES, bridge.partition) ||
            bridge.partition.find_first_of("*?[]\\") != std::string::npos) {
            error = "bridge: \"partition\" must be a name of 1 to " + std::to_string(MAX_BRIDGE_PARTITION_BYTES) +
                " bytes without wildcards";
            return false;
        }
    }
    auto node = section.find("node");
    // No '/': the other daemons name this one's requesters "node/bundle".
    if (node != section.end() &&
        (!ReadName(*node, MAX_BUNDLE_NAME_LENGTH, bridge.node) || bridge.node.find('/') != std::string::npos)) {
        error = "bridge: \"node\" must be a name of 1 to " + std::to_string(MAX_BUNDLE_NAME_LENGTH) +
            " bytes without '/'";
        return false;
    }
    auto liveliness = section.find("livelinessMs");
    if (liveliness != section.end()) {
        if (!liveliness->is_number_integer() || liveliness->get<int64_t>() < MIN_BRIDGE_LIVELINESS.count() ||
            liveliness->get<int64_t>() > MAX_BRIDGE_LIVELINESS.count()) {
            error = "bridge: \"livelinessMs\" must be an integer from " +
                std::to_string(MIN_BRIDGE_LIVELINESS.count()) + " to " + std::to_string(MAX_BRIDGE_LIVELINESS.count());
            return false;
        }
        bridge.liveliness = std::chrono::milliseconds(liveliness->get<int64_t>());
    }
    auto insecure = section.find("insecure");
    if (insecure != section.end()) {
        if (!insecure->is_boolean()) {
            error = "bridge: \"insecure\" must be true or false";
            return false;
        }
        bridge.insecure = insecure->get<bool>();
    }
    std::set<std::string> seen;
    return ReadBundles(section, "export", bridge.exports, seen, error) &&
        ReadBundles(section, "import", bridge.imports, seen, error);
}

} // namespace OHOS::NavigationInfoService
