#include "system_navigation_controller_napi.h"

#include <string>

#include "nav_napi_common.h"

namespace OHOS::NavigationInfoService {
namespace {

thread_local napi_ref g_systemNavControllerRef = nullptr;
thread_local napi_ref g_objInstance = nullptr;

const std::string NO_PERMISSION_MESSAGE = "No Permission";
const std::string NOT_SYSTEM_APP_MESSAGE = "Not System App";

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

} // namespace OHOS::NavigationInfoService
