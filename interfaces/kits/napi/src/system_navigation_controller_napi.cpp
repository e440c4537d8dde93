#include "system_navigation_controller_napi.h"

#include <mutex>
#include <string>

#include "map_callback_napi.h"
#include "nav_info_client.h"
#include "nav_napi_common.h"
#include "napi_common_want.h"
#include "navigation_metadata_listener_napi.h"
#include "navigation_status_listener_napi.h"

namespace OHOS::NavigationInfoService {
namespace {

thread_local napi_ref g_systemNavControllerRef = nullptr;
thread_local napi_ref g_objInstance = nullptr;

const std::string NO_PERMISSION_MESSAGE = "No Permission";
const std::string NOT_SYSTEM_APP_MESSAGE = "Not System App";
const char* const ARGCOUNT_ASSERTION = "assertion (argCount > 0) failed: Wrong number of arguments";
const char* const ARGC_INIT1_ASSERTION = "assertion (argc > ARGC_INIT1) failed: Wrong number of arguments";
const char* const ARGC_INIT2_ASSERTION = "assertion (argc > ARGC_INIT2) failed: Wrong number of arguments";

// The listeners of the most recent registrations, from any JavaScript thread
// of the process. Each slot is replaced under its lock.
std::mutex g_listenerSlotMutex;
sptr<NavigationStatusListenerNapi> g_navStatusListener = nullptr;
sptr<NavigationMetadataListenerNapi> g_navMetadataListener = nullptr;

// The service result rule with this file's messages.
void ThrowForResult(napi_env env, int32_t result)
{
    if (result == ERR_NOT_SYSTEM_APP) {
        ThrowNapiError(env, ERR_NOT_SYSTEM_APP, NOT_SYSTEM_APP_MESSAGE);
    } else if (result == ERR_NO_PERMISSION) {
        ThrowNapiError(env, ERR_NO_PERMISSION, NO_PERMISSION_MESSAGE);
    }
}

template <typename Listener>
sptr<Listener> ReplaceSlot(sptr<Listener>& slot, const sptr<Listener>& listener)
{
    std::lock_guard<std::mutex> lock(g_listenerSlotMutex);
    sptr<Listener> previous = slot;
    slot = listener;
    return previous; // released by the caller, outside the lock
}

// Reads (listener, bundleName), makes the native listener of the kind, stores
// it in the kind's slot and registers it with the client. False after an
// argument error; otherwise the client's result is in ret.
template <typename ListenerNapi, typename Register>
bool RegisterListener(napi_env env, napi_callback_info info, sptr<ListenerNapi>& slot, Register registerWithClient,
    int32_t& ret)
{
    napi_value argv[ARGC_TWO] = {nullptr};
    if (!GetArguments(env, info, ARGC_INIT1 + 1, ARGC_INIT1_ASSERTION, argv)) {
        return false;
    }
    std::string bundleName = GetString(env, argv[1]);
    sptr<ListenerNapi> listener = new ListenerNapi(env, argv[0]);
    ReplaceSlot(slot, listener);
    ret = registerWithClient(NavInfoClient::GetClientInstance(), bundleName, listener);
    ThrowForResult(env, ret);
    return true;
}

// Reads (bundleName) and unregisters that bundle's listener of one kind with
// the client. False after an argument error; otherwise the result is in ret.
template <typename Unregister>
bool UnregisterListener(napi_env env, napi_callback_info info, Unregister unregisterWithClient, int32_t& ret)
{
    napi_value argv[ARGC_ONE] = {nullptr};
    if (!GetArguments(env, info, ARGC_ONE, ARGCOUNT_ASSERTION, argv)) {
        return false;
    }
    std::string bundleName = GetString(env, argv[0]);
    ret = unregisterWithClient(NavInfoClient::GetClientInstance(), bundleName);
    ThrowForResult(env, ret);
    return true;
}

// A request the service refused is never answered by it: settle the promise
// here, through the callback's own path, with the service's result.
void SettleRefusedRequest(const sptr<MapCallbackNapi>& callback, int32_t result)
{
    if (result == NAV_INFO_SUCCESS) {
        return;
    }
    ResultData refusal;
    refusal.code = result;
    refusal.message = NavInfoResultText(result);
    callback->Callback(refusal);
}

} // namespace

napi_value SystemNavigationControllerNapi::SystemNavigationControllerInit(napi_env env, napi_value exports)
{
    napi_property_descriptor descriptors[] = {
        {"getNavigationStatus", nullptr, JsGetNavigationStatus, nullptr, nullptr, nullptr, napi_default, nullptr},
        {"registerNavigationStatusListener", nullptr, JsRegisterNavigationStatusListener, nullptr, nullptr, nullptr,
            napi_default, nullptr},
        {"unregisterNavigationStatusListener", nullptr, JsUnRegisterNavigationStatusListener, nullptr, nullptr, nullptr,
            napi_default, nullptr},
        {"registerNavigationMetadataListener", nullptr, JsRegisterNavigationMetadataListener, nullptr, nullptr, nullptr,
            napi_default, nullptr},
        {"unregisterNavigationMetadataListener", nullptr, JsUnregisterNavigationMetadataListener, nullptr, nullptr,
            nullptr, napi_default, nullptr},
        {"queryNavigationInfo", nullptr, JsQueryNavigationInfo, nullptr, nullptr, nullptr, napi_default, nullptr},
        {"sendNavigationCmd", nullptr, JsSendNavigationCmd, nullptr, nullptr, nullptr, napi_default, nullptr},
    };
    napi_value constructor = nullptr;
    if (napi_define_class(env, "SystemNavigationController", NAPI_AUTO_LENGTH, JsConstructor, nullptr,
            sizeof(descriptors) / sizeof(descriptors[0]), descriptors, &constructor) != napi_ok) {
        NAVI_LOGI("Failed to define class at SystemNavigationControllerInit");
        return nullptr;
    }
    napi_create_reference(env, constructor, 1, &g_systemNavControllerRef);
    if (napi_set_named_property(env, exports, "SystemNavigationController", constructor) != napi_ok) {
        NAVI_LOGI("Set property failed when SystemNavigationControllerInit");
        return nullptr;
    }
    return exports;
}

napi_value SystemNavigationControllerNapi::NewInstance(napi_env env)
{
    napi_value instance = nullptr;
    if (g_objInstance != nullptr) {
        if (napi_get_reference_value(env, g_objInstance, &instance) != napi_ok) {
            NAVI_LOGI("get instance failed");
        } else {
            NAVI_LOGI("instance is created, return");
        }
        return instance;
    }
    instance = CreateInstance(env, g_systemNavControllerRef);
    napi_create_reference(env, instance, 1, &g_objInstance);
    NAVI_LOGI("NewInstance.");
    return instance;
}

napi_value SystemNavigationControllerNapi::JsConstructor(napi_env env, napi_callback_info info)
{
    size_t argc = ARGC_ONE;
    napi_value argv[ARGC_ONE] = {nullptr};
    napi_value thisVar = nullptr;
    napi_get_cb_info(env, info, &argc, argv, &thisVar, nullptr);
    NAVI_LOGI("proc.");
    auto* controller = new SystemNavigationControllerNapi();
    if (napi_wrap(env, thisVar, controller, JsDestructor, nullptr, nullptr) != napi_ok) {
        // No finaliser will ever run for an object that could not be wrapped.
        delete controller;
        ThrowLastNapiError(env);
        return nullptr;
    }
    NAVI_LOGI("end.");
    return thisVar;
}

void SystemNavigationControllerNapi::JsDestructor(napi_env env, void* nativeObject, void* hint)
{
    NAVI_LOGI("Destructor");
    delete static_cast<SystemNavigationControllerNapi*>(nativeObject);
}

napi_value SystemNavigationControllerNapi::JsGetNavigationStatus(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    napi_value argv[ARGC_ONE] = {nullptr};
    if (!GetArguments(env, info, ARGC_ONE, ARGCOUNT_ASSERTION, argv)) {
        return nullptr;
    }
    std::string bundleName = GetString(env, argv[0]);
    NAVI_LOGI("bundleName = %{public}s", bundleName.c_str());
    NavigationStatus status{};
    int32_t ret = NavInfoClient::GetClientInstance()->GetNavigationStatus(bundleName, status);
    ThrowForResult(env, ret);
    NAVI_LOGI("getNavigationStatus ret= %{public}d", ret);
    napi_value result = nullptr;
    SetNavigationStatusData(env, status, result);
    return result;
}

napi_value SystemNavigationControllerNapi::JsRegisterNavigationStatusListener(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    int32_t ret = 0;
    if (RegisterListener(
            env, info, g_navStatusListener,
            [](const sptr<NavInfoClient>& client, const std::string& bundleName,
                const sptr<NavigationStatusListenerNapi>& listener) {
                return client->RegisterNavigationStatusListener(bundleName, listener);
            },
            ret)) {
        NAVI_LOGI("registerNavigationStatusListener ret= %{public}d", ret);
    }
    return nullptr;
}

napi_value SystemNavigationControllerNapi::JsUnRegisterNavigationStatusListener(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    int32_t ret = 0;
    if (UnregisterListener(
            env, info,
            [](const sptr<NavInfoClient>& client, const std::string& bundleName) {
                return client->UnRegisterNavigationStatusListener(bundleName);
            },
            ret)) {
        NAVI_LOGI("UnRegisterNavigationStatusListener ret= %{public}d", ret);
    }
    return nullptr;
}

napi_value SystemNavigationControllerNapi::JsRegisterNavigationMetadataListener(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    int32_t ret = 0;
    if (RegisterListener(
            env, info, g_navMetadataListener,
            [](const sptr<NavInfoClient>& client, const std::string& bundleName,
                const sptr<NavigationMetadataListenerNapi>& listener) {
                return client->RegisterNavigationMetadataListener(bundleName, listener);
            },
            ret)) {
        NAVI_LOGI("RegisterNavigationMetadataListener ret= %{public}d", ret);
    }
    return nullptr;
}

napi_value SystemNavigationControllerNapi::JsUnregisterNavigationMetadataListener(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    int32_t ret = 0;
    if (UnregisterListener(
            env, info,
            [](const sptr<NavInfoClient>& client, const std::string& bundleName) {
                return client->UnRegisterNavigationMetadataListener(bundleName);
            },
            ret)) {
        NAVI_LOGI("UnRegisterNavigationMetadataListener ret= %{public}d", ret);
    }
    return nullptr;
}

namespace {

struct RequestArguments {
    std::string bundleName;
    std::string typeName;
    AAFwk::WantParams params;
};

// Reads the three arguments of a query or command; false after an argument error.
bool ReadRequestArguments(napi_env env, napi_callback_info info, RequestArguments& request)
{
    napi_value argv[ARGC_THREE] = {nullptr};
    if (!GetArguments(env, info, ARGC_INIT2 + 1, ARGC_INIT2_ASSERTION, argv)) {
        return false;
    }
    request.bundleName = GetString(env, argv[0]);
    request.typeName = GetString(env, argv[1]);
    AppExecFwk::UnwrapWantParams(env, argv[2], request.params);
    return true;
}

// Reads (bundleName, kind name, parameters), makes the promise and the callback
// that alone settles it, and hands the request to the client. Returns the
// promise; sent is false (and the result null) after an argument error.
template <typename Kind, typename Send>
napi_value StartRequest(napi_env env, napi_callback_info info, Kind (*toKind)(const std::string&), Send send,
    int32_t& ret, bool& sent)
{
    sent = false;
    RequestArguments request;
    if (!ReadRequestArguments(env, info, request)) {
        return nullptr;
    }
    Kind type = toKind(request.typeName);
    napi_deferred deferred = nullptr;
    napi_value promise = nullptr;
    napi_create_promise(env, &deferred, &promise);
    sptr<MapCallbackNapi> callback = new MapCallbackNapi(env, deferred);
    ret = send(NavInfoClient::GetClientInstance(), request.bundleName, type, request.params, callback);
    ThrowForResult(env, ret);
    SettleRefusedRequest(callback, ret);
    sent = true;
    return promise;
}

} // namespace

napi_value SystemNavigationControllerNapi::JsQueryNavigationInfo(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    int32_t ret = 0;
    bool sent = false;
    napi_value promise = StartRequest<QueryType>(
        env, info, ToEnumQueryType,
        [](const sptr<NavInfoClient>& client, const std::string& bundleName, QueryType type,
            const AAFwk::WantParams& params, const sptr<MapCallbackNapi>& callback) {
            return client->QueryNavigationInfo(bundleName, type, params, callback);
        },
        ret, sent);
    if (sent) {
        NAVI_LOGI("QueryNavigationInfo ret= %{public}d", ret);
    }
    return promise;
}

napi_value SystemNavigationControllerNapi::JsSendNavigationCmd(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    int32_t ret = 0;
    bool sent = false;
    napi_value promise = StartRequest<CommandType>(
        env, info, ToEnumCommandType,
        [](const sptr<NavInfoClient>& client, const std::string& bundleName, CommandType type,
            const AAFwk::WantParams& params, const sptr<MapCallbackNapi>& callback) {
            return client->SendNavigationCmd(bundleName, type, params, callback);
        },
        ret, sent);
    if (sent) {
        NAVI_LOGI("SendNavigationCmd ret= %{public}d", ret);
    }
    return promise;
}

} // namespace OHOS::NavigationInfoService
