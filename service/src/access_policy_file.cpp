// Reads the policy file. The format is strict: a key that is not known or a
// value of the wrong type makes the whole file invalid, so that a misspelt
// rule never silently grants or takes away access. An invalid file denies all.
#include "access_policy_file.h"

#include <cstdlib>
#include <fstream>
#include <limits>
#include <sstream>

#include <nlohmann/json.hpp>

#include "service_log.h"

namespace OHOS::NavigationInfoService {
namespace {

using nlohmann::json;

constexpr int SUPPORTED_VERSION = 1;

PolicyLoadResult Failure(std::string error)
{
    PolicyLoadResult result;
    result.policy = RuleAccessPolicy::DenyAll();
    result.ok = false;
    result.error = std::move(error);
    return result;
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
    const std::string where = "bundles[\"" + name + "\"]: ";
    if (!value.is_object()) {
        error = where + "must be an object";
        return false;
    }
    for (const auto& item : value.items()) {
        const std::string& key = item.key();
        if (key != "systemApp" && key != "navigationPermission" && key != "uids" && key != "token") {
            error = where + "unknown key \"" + key + "\"";
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
                error = where + "\"uids\" holds something that is not a user id: " + uid.dump();
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
    return true;
}

PolicyLoadResult ParseDocument(const json& document)
{
    if (!document.is_object()) {
        return Failure("the policy must be a JSON object");
    }
    for (const auto& item : document.items()) {
        if (item.key() != "version" && item.key() != "defaultDeny" && item.key() != "bundles") {
            return Failure("unknown key \"" + item.key() + "\"");
        }
    }
    auto version = document.find("version");
    if (version != document.end() &&
        (!version->is_number_integer() || version->get<int64_t>() != SUPPORTED_VERSION)) {
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
    PolicyLoadResult result;
    result.policy = std::make_shared<const RuleAccessPolicy>(defaultDeny, std::move(bundles));
    result.ok = true;
    return result;
}

} // namespace

PolicyLoadResult ParseAccessPolicy(const std::string& jsonText) noexcept
{
    try {
        json document = json::parse(jsonText);
        return ParseDocument(document);
    } catch (const json::exception& e) {
        return Failure(std::string("not valid JSON: ") + e.what());
    } catch (const std::exception& e) {
        return Failure(std::string("cannot read the policy: ") + e.what());
    }
}

PolicyLoadResult LoadAccessPolicyFile(const std::string& path) noexcept
{
    try {
        std::ifstream file(path, std::ios::binary);
        if (!file) {
            return Failure("cannot open " + path);
        }
        std::ostringstream text;
        text << file.rdbuf();
        if (file.bad()) {
            return Failure("cannot read " + path);
        }
        PolicyLoadResult result = ParseAccessPolicy(text.str());
        if (!result.ok) {
            result.error = path + ": " + result.error;
        }
        return result;
    } catch (const std::exception& e) {
        return Failure(path + ": " + e.what());
    }
}

std::shared_ptr<const RuleAccessPolicy> AccessPolicyFromEnvironment() noexcept
{
    const char* path = std::getenv(POLICY_FILE_ENV);
    try {
        if (path == nullptr || *path == '\0') {
            return RuleAccessPolicy::AllowAll();
        }
        PolicyLoadResult result = LoadAccessPolicyFile(path);
        if (!result.ok) {
            SERVICE_LOGE("access policy not usable, denying every caller: %{public}s", result.error.c_str());
        }
        return result.policy;
    } catch (...) {
        SERVICE_LOGE("access policy not usable, denying every caller");
        return nullptr; // the core denies everything with no policy
    }
}

} // namespace OHOS::NavigationInfoService
