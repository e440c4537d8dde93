// Parses the policy text. The format is strict: a key that is not known, a key
// given twice or a value of the wrong type makes the whole text invalid, so
// that a misspelt or repeated rule never silently grants or takes away access
// (with "last one wins", a second entry of a bundle without its token would
// let anyone claim that bundle). The text is hostile until proven otherwise:
// the parse stops at MAX_POLICY_DEPTH levels, and error messages quote at most
// a short, escaped piece of any name and never print a value itself.
#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "access_policy_file.h"
#include "bridge_policy_parse.h"
#include "nav_info_service_ipc.h"

namespace OHOS::NavigationInfoService {
namespace {

using nlohmann::json;

constexpr int SUPPORTED_VERSION = 1;
// Longest piece of a name, and longest message, that an error carries.
constexpr size_t MAX_QUOTED_BYTES = 64;
constexpr size_t MAX_ERROR_BYTES = 240;

// Stops the parse of a text whose shape is refused before it is built.
class ShapeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// text on one line and at most limit bytes: control bytes escaped, the rest cut.
std::string OneLine(const std::string& text, size_t limit)
{
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : text) {
        if (out.size() >= limit) {
            out += "...";
            break;
        }
        if (c < 0x20 || c == 0x7f) {
            out += "\\x";
            out += hex[c >> 4];
            out += hex[c & 0xf];
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

std::string Quote(const std::string& name)
{
    return "\"" + OneLine(name, MAX_QUOTED_BYTES) + "\"";
}

// What a refused value is, without printing it (it may be huge or nested).
std::string Describe(const json& value)
{
    if (value.is_number() || value.is_boolean() || value.is_null()) {
        return value.dump(); // a scalar: short
    }
    return value.is_string() ? "a string" : value.is_array() ? "an array" : "an object";
}

PolicyLoadResult Failure(const std::string& error)
{
    PolicyLoadResult result;
    result.policy = RuleAccessPolicy::DenyAll();
    result.ok = false;
    result.error = OneLine(error, MAX_ERROR_BYTES);
    return result;
}

// Parses text into a document, refusing a key repeated in one object and
// nesting deeper than MAX_POLICY_DEPTH (ShapeError), and invalid JSON
// (json::parse_error). The parser itself does not recurse.
json ParseGuarded(const std::string& text)
{
    struct ObjectKeys {
        std::string name; // the key this object is the value of ("" at the top)
        std::set<std::string> seen;
    };
    std::vector<ObjectKeys> objects;
    std::string lastKey;
    auto check = [&](int depth, json::parse_event_t event, json& parsed) {
        switch (event) {
            case json::parse_event_t::object_start:
            case json::parse_event_t::array_start:
                // depth counts the containers around this one.
                if (depth >= MAX_POLICY_DEPTH) {
                    throw ShapeError("nested deeper than " + std::to_string(MAX_POLICY_DEPTH) + " levels");
                }
                if (event == json::parse_event_t::object_start) {
                    objects.push_back({depth == 0 ? std::string() : lastKey, {}});
                }
                break;
            case json::parse_event_t::object_end: objects.pop_back(); break;
            case json::parse_event_t::key: {
                lastKey = parsed.get<std::string>();
                if (!objects.back().seen.insert(lastKey).second) {
                    const std::string& owner = objects.back().name;
                    throw ShapeError("the key " + Quote(lastKey) + " appears twice" +
                        (objects.size() > 1 ? " in " + Quote(owner) : std::string()));
                }
                break;
            }
            default: break;
        }
        return true;
    };
    return json::parse(text, check);
}

// Reads an optional boolean member; false with error set on a wrong type.
bool ReadBool(const json& object, const char* key, bool& out, const std::string& where, std::string& error)
{
    auto found = object.find(key);
    if (found == object.end()) {
        return true;
    }
    if (!found->is_boolean()) {
        error = where + "\"" + key + "\" must be true or false";
        return false;
    }
    out = found->get<bool>();
    return true;
}

bool ReadBundle(const std::string& name, const json& value, BundleAccess& access, std::string& error)
{
    const std::string where = "bundles[" + Quote(name) + "]: ";
    if (!value.is_object()) {
        error = where + "must be an object";
        return false;
    }
    for (const auto& item : value.items()) {
        const std::string& key = item.key();
        if (key != "systemApp" && key != "navigationPermission" && key != "uids" && key != "token" &&
            key != "livenessTimeoutMs") {
            error = where + "unknown key " + Quote(key);
            return false;
        }
    }
    if (!ReadBool(value, "systemApp", access.systemApp, where, error) ||
        !ReadBool(value, "navigationPermission", access.navigationPermission, where, error)) {
        return false;
    }
    auto uids = value.find("uids");
    if (uids != value.end()) {
        if (!uids->is_array()) {
            error = where + "\"uids\" must be an array of user ids";
            return false;
        }
        for (const auto& uid : *uids) {
            if (!uid.is_number_integer() || uid.get<int64_t>() < 0 ||
                uid.get<int64_t>() > std::numeric_limits<int32_t>::max()) {
                error = where + "\"uids\" holds something that is not a user id: " + Describe(uid);
                return false;
            }
            access.uids.push_back(static_cast<int32_t>(uid.get<int64_t>()));
        }
    }
    auto token = value.find("token");
    if (token != value.end()) {
        if (!token->is_string()) {
            error = where + "\"token\" must be a string";
            return false;
        }
        access.token = token->get<std::string>();
    }
    auto liveness = value.find("livenessTimeoutMs");
    if (liveness != value.end()) {
        if (!liveness->is_number_integer() || liveness->get<int64_t>() < MIN_LIVENESS_TIMEOUT.count() ||
            liveness->get<int64_t>() > MAX_LIVENESS_TIMEOUT.count()) {
            error = where + "\"livenessTimeoutMs\" must be an integer from " +
                std::to_string(MIN_LIVENESS_TIMEOUT.count()) + " to " + std::to_string(MAX_LIVENESS_TIMEOUT.count());
            return false;
        }
        access.livenessTimeout = std::chrono::milliseconds(liveness->get<int64_t>());
    }
    return true;
}

// A remote requester is "node/bundle": the node of the daemon it asks through
// (a bridge's node name has no '/') and the bundle that daemon verified. It can
// prove neither a uid nor a token here, so its rule has only the two rights.
bool ReadRemoteRequester(const std::string& name, const json& value, BundleAccess& access, std::string& error)
{
    const std::string where = "remoteRequesters[" + Quote(name) + "]: ";
    const size_t slash = name.find('/');
    if (slash == std::string::npos || slash == 0 || slash > MAX_BUNDLE_NAME_LENGTH || slash + 1 == name.size() ||
        name.size() - slash - 1 > MAX_BUNDLE_NAME_LENGTH) {
        error = where + "must be \"node/bundle\", each a name of 1 to " + std::to_string(MAX_BUNDLE_NAME_LENGTH) +
            " bytes";
        return false;
    }
    if (!value.is_object()) {
        error = where + "must be an object";
        return false;
    }
    for (const auto& item : value.items()) {
        if (item.key() != "systemApp" && item.key() != "navigationPermission") {
            error = where + "unknown key " + Quote(item.key()) + " (known: systemApp, navigationPermission)";
            return false;
        }
    }
    return ReadBool(value, "systemApp", access.systemApp, where, error) &&
        ReadBool(value, "navigationPermission", access.navigationPermission, where, error);
}

PolicyLoadResult ParseDocument(const json& document)
{
    if (!document.is_object()) {
        return Failure("the policy must be a JSON object");
    }
    for (const auto& item : document.items()) {
        if (item.key() != "version" && item.key() != "defaultDeny" && item.key() != "bundles" &&
            item.key() != "bridge" && item.key() != "goneRetentionSeconds" && item.key() != "remoteRequesters") {
            return Failure("unknown key " + Quote(item.key()));
        }
    }
    auto version = document.find("version");
    if (version != document.end() && (!version->is_number_integer() || version->get<int64_t>() != SUPPORTED_VERSION)) {
        return Failure("\"version\" must be " + std::to_string(SUPPORTED_VERSION));
    }
    bool defaultDeny = true;
    std::string error;
    if (!ReadBool(document, "defaultDeny", defaultDeny, "", error)) {
        return Failure(error);
    }
    std::map<std::string, BundleAccess> bundles;
    auto listed = document.find("bundles");
    if (listed != document.end()) {
        if (!listed->is_object()) {
            return Failure("\"bundles\" must be an object keyed by bundle name");
        }
        for (const auto& item : listed->items()) {
            if (item.key().empty()) {
                return Failure("\"bundles\" holds an empty bundle name");
            }
            BundleAccess access;
            if (!ReadBundle(item.key(), item.value(), access, error)) {
                return Failure(error);
            }
            bundles.emplace(item.key(), std::move(access));
        }
    }
    std::map<std::string, BundleAccess> remoteRequesters;
    auto remote = document.find("remoteRequesters");
    if (remote != document.end()) {
        if (!remote->is_object()) {
            return Failure("\"remoteRequesters\" must be an object keyed by \"node/bundle\"");
        }
        for (const auto& item : remote->items()) {
            BundleAccess access;
            if (!ReadRemoteRequester(item.key(), item.value(), access, error)) {
                return Failure(error);
            }
            remoteRequesters.emplace(item.key(), std::move(access));
        }
    }
    auto retention = document.find("goneRetentionSeconds");
    const int64_t maxRetentionSeconds = MAX_GONE_RETENTION.count() / 1000;
    if (retention != document.end() &&
        (!retention->is_number_integer() || retention->get<int64_t>() < 1 ||
            retention->get<int64_t>() > maxRetentionSeconds)) {
        return Failure("\"goneRetentionSeconds\" must be an integer from 1 to " + std::to_string(maxRetentionSeconds) +
            " (seconds), not " + Describe(*retention));
    }
    std::shared_ptr<const BridgePolicy> bridge;
    auto section = document.find("bridge");
    if (section != document.end()) {
        auto parsed = std::make_shared<BridgePolicy>();
        if (!ParseBridgePolicy(*section, *parsed, error)) {
            return Failure(error);
        }
        bridge = std::move(parsed);
    }
    PolicyLoadResult result;
    result.policy = std::make_shared<const RuleAccessPolicy>(defaultDeny, std::move(bundles),
        std::move(remoteRequesters));
    result.bridge = std::move(bridge);
    if (retention != document.end()) {
        result.goneRetention = std::chrono::seconds(retention->get<int64_t>());
    }
    result.ok = true;
    return result;
}

} // namespace

PolicyLoadResult ParseAccessPolicy(const std::string& jsonText) noexcept
{
    try {
        if (jsonText.size() > MAX_POLICY_FILE_BYTES) {
            return Failure("larger than " + std::to_string(MAX_POLICY_FILE_BYTES) + " bytes");
        }
        return ParseDocument(ParseGuarded(jsonText));
    } catch (const ShapeError& e) {
        return Failure(e.what());
    } catch (const json::exception& e) {
        return Failure(std::string("not valid JSON: ") + e.what());
    } catch (const std::exception& e) {
        return Failure(std::string("cannot read the policy: ") + e.what());
    }
}

} // namespace OHOS::NavigationInfoService
