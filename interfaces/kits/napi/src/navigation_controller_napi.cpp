#include "navigation_controller_napi.h"

#include <string>

#include "nav_napi_common.h"

namespace OHOS::NavigationInfoService {
namespace {

thread_local napi_ref g_navControllerRef = nullptr;
thread_local napi_ref g_objInstance = nullptr;

const std::string NO_PERMISSION_MESSAGE = "No Permission";
const std::string NOT_SYSTEM_APP_MESSAGE = "Not System App";

} // namespace

napi_value NavigationControllerNapi::NavigationControllerInit(napi_env env, napi_value exports)
{
    napi_property_descriptor descriptors[] = {
        {"updateNavigationStatus", nullptr, JsUpdateNavigationStatus, nullptr, nullptr, nullptr, napi_default,
            nullptr},
        {"updateNavigationMetadata", nullptr, JsUpdateNavigationMetadata, nullptr, nullptr, nullptr, napi_default,
            nullptr},
        {"registerSystemNavigationListener", nullptr, JsRegisterSystemNavigationListener, nullptr, nullptr, nullptr,
            napi_default, nullptr},
        {"unregisterSystemNavigationListener", nullptr, JsUnregisterSystemNavigationListener, nullptr, nullptr,
            nullptr, napi_default, nullptr},
    };
    napi_value constructor = nullptr;
    if (napi_define_class(env, "NavigationController", NAPI_AUTO_LENGTH, JsConstructor, nullptr,
        sizeof(descriptors) / sizeof(descriptors[0]), descriptors, &constructor) != napi_ok) {
        NAVI_LOGI("Failed to define class at NavigationControllerInit");
        return nullptr;
    }
    napi_create_reference(env, constructor, 1, &g_navControllerRef);
    if (napi_set_named_property(env, exports, "NavigationController", constructor) != napi_ok) {
        NAVI_LOGI("Set property failed when NavigationControllerInit");
        return nullptr;
    }
    return exports;
}

napi_value NavigationControllerNapi::NewInstance(napi_env env)
{
    if (g_objInstance != nullptr) {
        napi_value instance = nullptr;
        if (napi_get_reference_value(env, g_objInstance, &instance) != napi_ok) {
            NAVI_LOGI("get instance failed");
            return nullptr;
        }
        NAVI_LOGI("instance is created, return");
        return instance;
    }
    napi_value instance = CreateInstance(env, g_navControllerRef);
    napi_create_reference(env, instance, 1, &g_objInstance);
    NAVI_LOGI("NewInstance.");
    return instance;
}

napi_value NavigationControllerNapi::JsConstructor(napi_env env, napi_callback_info info)
{
    NAVI_LOGI(" JsConstructor.");
    size_t argc = ARGC_ONE;
    napi_value argv[ARGC_ONE] = {nullptr};
    napi_value thisVar = nullptr;
    if (!GetCallbackInfo(env, info, argc, argv, &thisVar)) {
        return nullptr;
    }
    auto* controller = new NavigationControllerNapi();
    if (napi_wrap(env, thisVar, controller, JsDestructor, nullptr, nullptr) != napi_ok) {
        // No finaliser will ever run for an object that could not be wrapped.
        delete controller;
        ThrowLastNapiError(env);
        return nullptr;
    }
    NAVI_LOGI("JsConstructor end.");
    return thisVar;
}

void NavigationControllerNapi::JsDestructor(napi_env env, void* nativeObject, void* hint)
{
    NAVI_LOGI("Destructor");
    delete static_cast<NavigationControllerNapi*>(nativeObject);
}

} // namespace OHOS::NavigationInfoService
