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
        {"unregisterNavigationStatusListener", nullptr, JsUnRegisterNavigationStatusListener, nullptr, nullptr,
            nullptr, napi_default, nullptr},
        {"registerNavigationMetadataListener", nullptr, JsRegisterNavigationMetadataListener, nullptr, nullptr,
            nullptr, napi_default, nullptr},
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
    size_t argc = ARGC_ONE;
    napi_value argv[ARGC_ONE] = {nullptr};
    napi_value thisVar = nullptr;
    if (!GetCallbackInfo(env, info, argc, argv, &thisVar)) {
        return nullptr;
    }
    if (argc < ARGC_ONE) {
        napi_throw_error(env, nullptr, "assertion (argCount > 0) failed: Wrong number of arguments");
        return nullptr;
    }
    std::string bundleName = GetString(env, argv[0]);
    NAVI_LOGI("bundleName = %{public}s", bundleName.c_str());
    NavigationStatus status {};
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
    size_t argc = ARGC_TWO;
    napi_value argv[ARGC_TWO] = {nullptr};
    napi_value thisVar = nullptr;
    if (!GetCallbackInfo(env, info, argc, argv, &thisVar)) {
        return nullptr;
    }
    if (argc <= ARGC_INIT1) {
        napi_throw_error(env, nullptr, "assertion (argc > ARGC_INIT1) failed: Wrong number of arguments");
        return nullptr;
    }
    std::string bundleName = GetString(env, argv[1]);
    sptr<NavigationStatusListenerNapi> listener = new NavigationStatusListenerNapi(env, argv[0]);
    ReplaceSlot(g_navStatusListener, listener);
    int32_t ret = NavInfoClient::GetClientInstance()->RegisterNavigationStatusListener(bundleName, listener);
    ThrowForResult(env, ret);
    NAVI_LOGI("registerNavigationStatusListener ret= %{public}d", ret);
    return nullptr;
}

napi_value SystemNavigationControllerNapi::JsUnRegisterNavigationStatusListener(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    size_t argc = ARGC_ONE;
    napi_value argv[ARGC_ONE] = {nullptr};
    napi_value thisVar = nullptr;
    if (!GetCallbackInfo(env, info, argc, argv, &thisVar)) {
        return nullptr;
    }
    if (argc < ARGC_ONE) {
        napi_throw_error(env, nullptr, "assertion (argCount > 0) failed: Wrong number of arguments");
        return nullptr;
    }
    std::string bundleName = GetString(env, argv[0]);
    int32_t ret = NavInfoClient::GetClientInstance()->UnRegisterNavigationStatusListener(bundleName);
    ThrowForResult(env, ret);
    NAVI_LOGI("UnRegisterNavigationStatusListener ret= %{public}d", ret);
    return nullptr;
}

napi_value SystemNavigationControllerNapi::JsRegisterNavigationMetadataListener(napi_env env,
    napi_callback_info info)
{
    NAVI_LOGI("is called");
    size_t argc = ARGC_TWO;
    napi_value argv[ARGC_TWO] = {nullptr};
    napi_value thisVar = nullptr;
    if (!GetCallbackInfo(env, info, argc, argv, &thisVar)) {
        return nullptr;
    }
    if (argc <= ARGC_INIT1) {
        napi_throw_error(env, nullptr, "assertion (argc > ARGC_INIT1) failed: Wrong number of arguments");
        return nullptr;
    }
    std::string bundleName = GetString(env, argv[1]);
    sptr<NavigationMetadataListenerNapi> listener = new NavigationMetadataListenerNapi(env, argv[0]);
    ReplaceSlot(g_navMetadataListener, listener);
    int32_t ret = NavInfoClient::GetClientInstance()->RegisterNavigationMetadataListener(bundleName, listener);
    ThrowForResult(env, ret);
    NAVI_LOGI("RegisterNavigationMetadataListener ret= %{public}d", ret);
    return nullptr;
}

napi_value SystemNavigationControllerNapi::JsUnregisterNavigationMetadataListener(napi_env env,
    napi_callback_info info)
{
    NAVI_LOGI("is called");
    size_t argc = ARGC_ONE;
    napi_value argv[ARGC_ONE] = {nullptr};
    napi_value thisVar = nullptr;
    if (!GetCallbackInfo(env, info, argc, argv, &thisVar)) {
        return nullptr;
    }
    if (argc < ARGC_ONE) {
        napi_throw_error(env, nullptr, "assertion (argCount > 0) failed: Wrong number of arguments");
        return nullptr;
    }
    std::string bundleName = GetString(env, argv[0]);
    int32_t ret = NavInfoClient::GetClientInstance()->UnRegisterNavigationMetadataListener(bundleName);
    ThrowForResult(env, ret);
    NAVI_LOGI("UnRegisterNavigationMetadataListener ret= %{public}d", ret);
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
    size_t argc = ARGC_THREE;
    napi_value argv[ARGC_THREE] = {nullptr};
    napi_value thisVar = nullptr;
    if (!GetCallbackInfo(env, info, argc, argv, &thisVar)) {
        return false;
    }
    if (argc <= ARGC_INIT2) {
        napi_throw_error(env, nullptr, "assertion (argc > ARGC_INIT2) failed: Wrong number of arguments");
        return false;
    }
    request.bundleName = GetString(env, argv[0]);
    request.typeName = GetString(env, argv[1]);
    AppExecFwk::UnwrapWantParams(env, argv[2], request.params);
    return true;
}

} // namespace

napi_value SystemNavigationControllerNapi::JsQueryNavigationInfo(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    RequestArguments request;
    if (!ReadRequestArguments(env, info, request)) {
        return nullptr;
    }
    QueryType type = ToEnumQueryType(request.typeName);
    napi_deferred deferred = nullptr;
    napi_value promise = nullptr;
    napi_create_promise(env, &deferred, &promise);
    sptr<MapCallbackNapi> callback = new MapCallbackNapi(env, deferred);
    int32_t ret = NavInfoClient::GetClientInstance()->QueryNavigationInfo(request.bundleName, type, request.params,
        callback);
    ThrowForResult(env, ret);
    NAVI_LOGI("QueryNavigationInfo ret= %{public}d", ret);
    SettleRefusedRequest(callback, ret);
    callback = nullptr;
    return promise;
}

napi_value SystemNavigationControllerNapi::JsSendNavigationCmd(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("is called");
    RequestArguments request;
    if (!ReadRequestArguments(env, info, request)) {
        return nullptr;
    }
    CommandType type = ToEnumCommandType(request.typeName);
    napi_deferred deferred = nullptr;
    napi_value promise = nullptr;
    napi_create_promise(env, &deferred, &promise);
    sptr<MapCallbackNapi> callback = new MapCallbackNapi(env, deferred);
    int32_t ret = NavInfoClient::GetClientInstance()->SendNavigationCmd(request.bundleName, type, request.params,
        callback);
    ThrowForResult(env, ret);
    NAVI_LOGI("SendNavigationCmd ret= %{public}d", ret);
    SettleRefusedRequest(callback, ret);
    callback = nullptr;
    return promise;
}

} // namespace OHOS::NavigationInfoService
