// JavaScript exports of the client library's test hooks (nav_info_test_hooks.h).
// Operation names are those of TestHooks::OperationName, e.g. "queryNavigationInfo".
#include <node_api.h>

#include <map>
#include <string>

#include "addon_exports.h"
#include "nav_info_test_hooks.h"
#include "record_js.h"

namespace NavInfoTest {
namespace {

namespace Hooks = OHOS::NavigationInfoService::TestHooks;
using Hooks::Operation;

constexpr size_t MAX_ARGS = 3;

struct Args {
    size_t count = MAX_ARGS;
    napi_value values[MAX_ARGS] = {};
};

bool GetArgs(napi_env env, napi_callback_info info, size_t required, Args& args)
{
    if (napi_get_cb_info(env, info, &args.count, args.values, nullptr, nullptr) != napi_ok) {
        return false;
    }
    if (args.count < required) {
        ThrowTestError(env, "expected " + std::to_string(required) + " argument(s)");
        return false;
    }
    return true;
}

bool ReadOperation(napi_env env, napi_value value, Operation& op)
{
    std::string name;
    if (!ReadString(env, value, "operation name", name)) {
        return false;
    }
    if (!Hooks::OperationFromName(name, op)) {
        ThrowTestError(env, "unknown operation: " + name);
        return false;
    }
    return true;
}

napi_value Undefined(napi_env env)
{
    napi_value out = nullptr;
    napi_get_undefined(env, &out);
    return out;
}

napi_value Null(napi_env env)
{
    napi_value out = nullptr;
    napi_get_null(env, &out);
    return out;
}

napi_value Number(napi_env env, double value)
{
    napi_value out = nullptr;
    napi_create_double(env, value, &out);
    return out;
}

// forceResult(opName, code)
napi_value ForceResult(napi_env env, napi_callback_info info)
{
    Args args;
    Operation op;
    int64_t code = 0;
    if (!GetArgs(env, info, 2, args) || !ReadOperation(env, args.values[0], op) ||
        !ReadInt64(env, args.values[1], "code", code)) {
        return nullptr;
    }
    Hooks::ForceResult(op, static_cast<int32_t>(code));
    return Undefined(env);
}

napi_value ClearForcedResults(napi_env env, napi_callback_info)
{
    Hooks::ClearForcedResults();
    return Undefined(env);
}

// callCount(opName) -> number
napi_value CallCount(napi_env env, napi_callback_info info)
{
    Args args;
    Operation op;
    if (!GetArgs(env, info, 1, args) || !ReadOperation(env, args.values[0], op)) {
        return nullptr;
    }
    return Number(env, static_cast<double>(Hooks::CallCount(op)));
}

napi_value ResetCounts(napi_env env, napi_callback_info)
{
    Hooks::ResetCounts();
    return Undefined(env);
}

// lastStatus() -> status object | null
napi_value LastStatus(napi_env env, napi_callback_info)
{
    OHOS::NavigationInfoService::NavigationStatus status;
    return Hooks::LastStatus(status) ? StatusToJs(env, status) : Null(env);
}

// lastMetadata() -> metadata object | null
napi_value LastMetadata(napi_env env, napi_callback_info)
{
    OHOS::NavigationInfoService::NavigationMetadata metadata;
    return Hooks::LastMetadata(metadata) ? MetadataToJs(env, metadata) : Null(env);
}

// lastRequest(opName) -> {bundleName, type, params} | null
napi_value LastRequest(napi_env env, napi_callback_info info)
{
    Args args;
    Operation op;
    if (!GetArgs(env, info, 1, args) || !ReadOperation(env, args.values[0], op)) {
        return nullptr;
    }
    Hooks::RequestRecord record;
    if (!Hooks::LastRequest(op, record)) {
        return Null(env);
    }
    napi_value out = nullptr;
    napi_value bundle = nullptr;
    napi_create_object(env, &out);
    napi_create_string_utf8(env, record.bundleName.data(), record.bundleName.size(), &bundle);
    napi_set_named_property(env, out, "bundleName", bundle);
    napi_set_named_property(env, out, "type", Number(env, record.type));
    napi_set_named_property(env, out, "params", ParamsToJs(env, record.params));
    return out;
}

// setBundleName(name)
napi_value SetBundleName(napi_env env, napi_callback_info info)
{
    Args args;
    std::string name;
    if (!GetArgs(env, info, 1, args) || !ReadString(env, args.values[0], "bundle name", name)) {
        return nullptr;
    }
    Hooks::SetBundleName(name);
    return Undefined(env);
}

bool ReadFlag(napi_env env, napi_value object, const char* name, bool& out)
{
    napi_value value = nullptr;
    napi_valuetype type;
    if (napi_get_named_property(env, object, name, &value) != napi_ok || napi_typeof(env, value, &type) != napi_ok) {
        return false;
    }
    if (type == napi_undefined) {
        out = false;
        return true;
    }
    if (type != napi_boolean) {
        ThrowTestError(env, std::string(name) + " must be a boolean");
        return false;
    }
    return napi_get_value_bool(env, value, &out) == napi_ok;
}

// setPolicy('allowAll') or setPolicy({bundle: {systemApp, permission}}): unlisted bundles are denied.
napi_value SetPolicy(napi_env env, napi_callback_info info)
{
    Args args;
    if (!GetArgs(env, info, 1, args)) {
        return nullptr;
    }
    napi_valuetype type;
    napi_typeof(env, args.values[0], &type);
    if (type == napi_string) {
        std::string word;
        if (!ReadString(env, args.values[0], "policy", word)) {
            return nullptr;
        }
        if (word != "allowAll") {
            return ThrowTestError(env, "the only policy word is 'allowAll'");
        }
        Hooks::SetPolicyAllowAll();
        return Undefined(env);
    }
    napi_value names = nullptr;
    uint32_t count = 0;
    if (type != napi_object || napi_get_property_names(env, args.values[0], &names) != napi_ok ||
        napi_get_array_length(env, names, &count) != napi_ok) {
        return ThrowTestError(env, "policy must be 'allowAll' or {bundle: {systemApp, permission}}");
    }
    std::map<std::string, Hooks::BundlePolicy> bundles;
    for (uint32_t i = 0; i < count; ++i) {
        napi_value name = nullptr;
        napi_value rule = nullptr;
        std::string bundle;
        napi_valuetype ruleType;
        if (napi_get_element(env, names, i, &name) != napi_ok || !ReadString(env, name, "bundle name", bundle) ||
            napi_get_property(env, args.values[0], name, &rule) != napi_ok ||
            napi_typeof(env, rule, &ruleType) != napi_ok) {
            return nullptr;
        }
        if (ruleType != napi_object) {
            return ThrowTestError(env, "the rule of " + bundle + " must be {systemApp, permission}");
        }
        Hooks::BundlePolicy policy;
        if (!ReadFlag(env, rule, "systemApp", policy.systemApp) ||
            !ReadFlag(env, rule, "permission", policy.navigationPermission)) {
            return nullptr;
        }
        bundles[bundle] = policy;
    }
    Hooks::SetPolicy(bundles);
    return Undefined(env);
}

// setRequestTimeoutMs(ms)
napi_value SetRequestTimeoutMs(napi_env env, napi_callback_info info)
{
    Args args;
    int64_t ms = 0;
    if (!GetArgs(env, info, 1, args) || !ReadInt64(env, args.values[0], "milliseconds", ms)) {
        return nullptr;
    }
    Hooks::SetRequestTimeoutMs(ms);
    return Undefined(env);
}

napi_value ResetService(napi_env env, napi_callback_info)
{
    Hooks::ResetService();
    return Undefined(env);
}

// fireStatusChanged(bundle, statusObj) -> listeners called
napi_value FireStatusChanged(napi_env env, napi_callback_info info)
{
    Args args;
    std::string bundle;
    OHOS::NavigationInfoService::NavigationStatus status;
    if (!GetArgs(env, info, 2, args) || !ReadString(env, args.values[0], "bundle name", bundle) ||
        !ReadStatus(env, args.values[1], status)) {
        return nullptr;
    }
    return Number(env, static_cast<double>(Hooks::FireStatusChanged(bundle, status)));
}

// fireMetadataChanged(bundle, metadataObj) -> listeners called
napi_value FireMetadataChanged(napi_env env, napi_callback_info info)
{
    Args args;
    std::string bundle;
    OHOS::NavigationInfoService::NavigationMetadata metadata;
    if (!GetArgs(env, info, 2, args) || !ReadString(env, args.values[0], "bundle name", bundle) ||
        !ReadMetadata(env, args.values[1], metadata)) {
        return nullptr;
    }
    return Number(env, static_cast<double>(Hooks::FireMetadataChanged(bundle, metadata)));
}

template <int64_t (*Fire)(int32_t, const OHOS::AAFwk::WantParams&) noexcept>
napi_value FireRequest(napi_env env, napi_callback_info info)
{
    Args args;
    int64_t type = 0;
    OHOS::AAFwk::WantParams params;
    if (!GetArgs(env, info, 1, args) || !ReadInt64(env, args.values[0], "type", type) ||
        (args.count > 1 && !ReadParams(env, args.values[1], params))) {
        return nullptr;
    }
    return Number(env, static_cast<double>(Fire(static_cast<int32_t>(type), params)));
}

// fireQuery(type, paramsObj?) -> id, or -1 without a registered system navigation listener
napi_value FireQuery(napi_env env, napi_callback_info info)
{
    return FireRequest<Hooks::FireQuery>(env, info);
}

// fireCommand(type, paramsObj?) -> id, or -1
napi_value FireCommand(napi_env env, napi_callback_info info)
{
    return FireRequest<Hooks::FireCommand>(env, info);
}

// takeAnswers() -> [{id, code, message, data}]
napi_value TakeAnswers(napi_env env, napi_callback_info)
{
    auto answers = Hooks::TakeAnswers();
    napi_value out = nullptr;
    napi_create_array_with_length(env, answers.size(), &out);
    for (size_t i = 0; i < answers.size(); ++i) {
        napi_value answer = ResultDataToJs(env, answers[i].data);
        napi_set_named_property(env, answer, "id", Number(env, static_cast<double>(answers[i].id)));
        napi_set_element(env, out, static_cast<uint32_t>(i), answer);
    }
    return out;
}

// callLastCallbackTwice(opName, first, second) -> false when that operation kept no callback
napi_value CallLastCallbackTwice(napi_env env, napi_callback_info info)
{
    Args args;
    Operation op;
    OHOS::NavigationInfoService::ResultData first;
    OHOS::NavigationInfoService::ResultData second;
    if (!GetArgs(env, info, 3, args) || !ReadOperation(env, args.values[0], op) ||
        !ReadResultData(env, args.values[1], first) || !ReadResultData(env, args.values[2], second)) {
        return nullptr;
    }
    napi_value out = nullptr;
    napi_get_boolean(env, Hooks::CallLastCallbackTwice(op, first, second), &out);
    return out;
}

TEST_ADDON_EXPORT("forceResult", ForceResult);
TEST_ADDON_EXPORT("clearForcedResults", ClearForcedResults);
TEST_ADDON_EXPORT("callCount", CallCount);
TEST_ADDON_EXPORT("resetCounts", ResetCounts);
TEST_ADDON_EXPORT("lastStatus", LastStatus);
TEST_ADDON_EXPORT("lastMetadata", LastMetadata);
TEST_ADDON_EXPORT("lastRequest", LastRequest);
TEST_ADDON_EXPORT("setBundleName", SetBundleName);
TEST_ADDON_EXPORT("setPolicy", SetPolicy);
TEST_ADDON_EXPORT("setRequestTimeoutMs", SetRequestTimeoutMs);
TEST_ADDON_EXPORT("resetService", ResetService);
TEST_ADDON_EXPORT("fireStatusChanged", FireStatusChanged);
TEST_ADDON_EXPORT("fireMetadataChanged", FireMetadataChanged);
TEST_ADDON_EXPORT("fireQuery", FireQuery);
TEST_ADDON_EXPORT("fireCommand", FireCommand);
TEST_ADDON_EXPORT("takeAnswers", TakeAnswers);
TEST_ADDON_EXPORT("callLastCallbackTwice", CallLastCallbackTwice);

} // namespace
} // namespace NavInfoTest
