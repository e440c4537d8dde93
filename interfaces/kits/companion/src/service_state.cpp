#include "service_state.h"

#include <optional>
#include <string>

#include "js_values.h"
#include "nav_info_client.h"

namespace NavInfoCompanion {
namespace {

using OHOS::NavigationInfoService::EndpointRequest;
using OHOS::NavigationInfoService::NavInfoClient;

// object[name] as a string when present and not undefined; false when it is there and not a string.
bool ReadOptionalString(napi_env env, napi_value object, const char* name, std::optional<std::string>& out)
{
    napi_value value = nullptr;
    napi_valuetype type = napi_undefined;
    if (napi_get_named_property(env, object, name, &value) != napi_ok || napi_typeof(env, value, &type) != napi_ok) {
        return false;
    }
    if (type == napi_undefined) {
        return true;
    }
    std::string text;
    if (!ReadString(env, value, text)) {
        return false;
    }
    out = std::move(text);
    return true;
}

} // namespace

napi_value JsServiceConnected(napi_env env, napi_callback_info)
{
    return MakeBool(env, NavInfoClient::GetClientInstance()->IsServiceConnected());
}

napi_value JsConnect(napi_env env, napi_callback_info)
{
    return MakeBool(env, NavInfoClient::GetClientInstance()->Connect());
}

napi_value JsConnectionGeneration(napi_env env, napi_callback_info)
{
    return MakeDouble(env, static_cast<double>(NavInfoClient::GetClientInstance()->ConnectionGeneration()));
}

napi_value JsHoldConnection(napi_env env, napi_callback_info info)
{
    CallArgs<1> args;
    bool hold = false;
    if (!args.Read(env, info) || !ReadBool(env, args.argv[0], hold)) {
        return ThrowTypeError(env, "holdConnection(hold): hold must be a boolean");
    }
    NavInfoClient::GetClientInstance()->HoldConnection(hold);
    return Undefined(env);
}

napi_value JsConfigure(napi_env env, napi_callback_info info)
{
    return Guarded(env, [&]() -> napi_value {
        CallArgs<1> args;
        EndpointRequest request;
        if (!args.Read(env, info) || !ReadOptionalString(env, args.argv[0], "socket", request.socketPath) ||
            !ReadOptionalString(env, args.argv[0], "bundleName", request.bundleName) ||
            !ReadOptionalString(env, args.argv[0], "token", request.token)) {
            return ThrowTypeError(env, "configure({ socket, bundleName, token }): strings expected");
        }
        std::string whyNot;
        if (NavInfoClient::SetEndpoint(request, whyNot)) {
            napi_value null = nullptr;
            napi_get_null(env, &null);
            return null;
        }
        return MakeString(env, whyNot);
    });
}

napi_value JsEndpoint(napi_env env, napi_callback_info)
{
    return Guarded(env, [&]() -> napi_value {
        const auto& used = NavInfoClient::GetClientInstance()->Endpoint();
        napi_value result = nullptr;
        if (napi_create_object(env, &result) != napi_ok) {
            return nullptr;
        }
        SetNamed(env, result, "socket", MakeString(env, used.socketPath));
        SetNamed(env, result, "bundleName", MakeString(env, used.bundleName));
        SetNamed(env, result, "embedded", MakeBool(env, used.socketPath.empty()));
        SetNamed(env, result, "probed", MakeBool(env, used.probed));
        return result;
    });
}

} // namespace NavInfoCompanion
