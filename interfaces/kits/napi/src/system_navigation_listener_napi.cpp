#include "system_navigation_listener_napi.h"

#include "listener_delivery.h"
#include "name_table.h"
#include "napi_common_want.h"

namespace OHOS::NavigationInfoService {
namespace {

// Never destroyed: the client library's IPC threads run until the process
// ends and read it while exit handlers run.
ThreadSafeFnSlot& g_queryNavigationInfoFnInfo = *new ThreadSafeFnSlot;
ThreadSafeFnSlot& g_receiveNavigationCmdFnInfo = *new ThreadSafeFnSlot;

// Frees the delivery of one request once the then-handler made for it has
// been collected: until then the handler may still answer through the
// callback that the delivery holds.
void FreeCallbackData(napi_env env, void* data, void* hint)
{
    delete static_cast<SystemNavigationListenerNapi::JsCallbackData*>(data);
}

// The call-into-JavaScript step shared by queries and commands.
void CallJsRequest(napi_env env, napi_value jsCallback, void* data, const ThreadSafeFnSlot& slot,
    const std::string& typeName)
{
    auto* callbackData = static_cast<SystemNavigationListenerNapi::JsCallbackData*>(data);
    napi_value function = nullptr;
    if (!slot.GetFunction(env, jsCallback, function)) {
        delete callbackData;
        return;
    }
    napi_value arguments[ARGC_TWO] = {nullptr, nullptr};
    if (napi_create_string_utf8(env, typeName.c_str(), NAPI_AUTO_LENGTH, &arguments[0]) != napi_ok) {
        ThrowLastNapiError(env);
        delete callbackData;
        return;
    }
    {
        AAFwk::WantParams parameters(callbackData->wantParams);
        arguments[1] = AppExecFwk::WrapWantParams(env, parameters);
    }
    SystemNavigationListenerNapi::CallJsFunction(env, function, arguments, callbackData);
}

} // namespace

SystemNavigationListenerNapi::SystemNavigationListenerNapi(napi_env env, napi_value listener)
{
    sptr<ThreadSafeFnInfo> queryInfo = new ThreadSafeFnInfo("onQueryNavigationInfo", CallJsQueryNavigationInfo);
    sptr<ThreadSafeFnInfo> commandInfo = new ThreadSafeFnInfo("onReceiveNavigationCmd", CallJsReceiveNavigationCmd);
    // Filled before they are published, so that an IPC thread never copies a half-made record.
    createThreadSafeFunction(env, listener, queryInfo);
    createThreadSafeFunction(env, listener, commandInfo);
    g_queryNavigationInfoFnInfo.Set(queryInfo);
    g_receiveNavigationCmdFnInfo.Set(commandInfo);
}

SystemNavigationListenerNapi::~SystemNavigationListenerNapi() = default;

void SystemNavigationListenerNapi::OnQueryNavigationInfo(QueryType type, AAFwk::WantParams parameters,
    sptr<IMapCallback> callback)
{
    NAVI_LOGI("is called!");
    JsCallbackData data{static_cast<int32_t>(type), std::move(parameters), std::move(callback)};
    StartDelivery<JsCallbackData>(g_queryNavigationInfoFnInfo, std::move(data), CallThreadSafeFunc);
}

void SystemNavigationListenerNapi::OnReceiveNavigationCmd(CommandType type, AAFwk::WantParams parameters,
    sptr<IMapCallback> callback)
{
    NAVI_LOGI("is called!");
    JsCallbackData data{static_cast<int32_t>(type), std::move(parameters), std::move(callback)};
    StartDelivery<JsCallbackData>(g_receiveNavigationCmdFnInfo, std::move(data), CallThreadSafeFunc);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the delivery's own copy
void SystemNavigationListenerNapi::CallThreadSafeFunc(const ThreadSafeFnInfo& info, JsCallbackData data)
{
    if (!QueueDelivery(info, data)) {
        NAVI_LOGI("acquire threadsafe function failed");
    }
}

void SystemNavigationListenerNapi::CallJsQueryNavigationInfo(napi_env env, napi_value function, void* context,
    void* data)
{
    if (env == nullptr) {
        // The environment is being torn down: only free the delivery.
        delete static_cast<JsCallbackData*>(data);
        return;
    }
    NAVI_LOGI("is called!");
    QueryType type = static_cast<QueryType>(static_cast<JsCallbackData*>(data)->type);
    CallJsRequest(env, function, data, g_queryNavigationInfoFnInfo, ToString(type));
}

void SystemNavigationListenerNapi::CallJsReceiveNavigationCmd(napi_env env, napi_value function, void* context,
    void* data)
{
    if (env == nullptr) {
        delete static_cast<JsCallbackData*>(data);
        return;
    }
    NAVI_LOGI("is called!");
    CommandType type = static_cast<CommandType>(static_cast<JsCallbackData*>(data)->type);
    CallJsRequest(env, function, data, g_receiveNavigationCmdFnInfo, ToString(type));
}

void SystemNavigationListenerNapi::CallJsFunction(napi_env env, napi_value function, napi_value* arguments,
    JsCallbackData* data)
{
    napi_value result = nullptr;
    if (napi_call_function(env, nullptr, function, ARGC_TWO, arguments, &result) != napi_ok) {
        ThrowLastNapiError(env);
        delete data; // no handler was attached: nothing will answer through it
        return;
    }
    napi_value thenFunction = nullptr;
    napi_get_named_property(env, result, "then", &thenFunction);
    napi_value callbackFunc = nullptr;
    if (napi_create_function(env, "callbackFunc", NAPI_AUTO_LENGTH, PromiseThenFunction, data->mapCallback.GetRefPtr(),
            &callbackFunc) != napi_ok) {
        ThrowLastNapiError(env);
        delete data;
        return;
    }
    // The handler's data is the callback's plain pointer; the delivery that
    // holds the strong reference lives as long as the handler does.
    if (napi_add_finalizer(env, callbackFunc, data, FreeCallbackData, nullptr, nullptr) != napi_ok) {
        NAVI_LOGI("add finalizer failed");
    }
    napi_value argv[ARGC_ONE] = {callbackFunc};
    if (napi_call_function(env, result, thenFunction, ARGC_ONE, argv, nullptr) != napi_ok) {
        ThrowLastNapiError(env);
    }
}

napi_value SystemNavigationListenerNapi::PromiseThenFunction(napi_env env, napi_callback_info info)
{
    NAVI_LOGI("promise then callback is called!");
    size_t argc = ARGC_ONE;
    napi_value argv[ARGC_ONE] = {nullptr};
    napi_value thisVar = nullptr;
    void* data = nullptr;
    if (napi_get_cb_info(env, info, &argc, argv, &thisVar, &data) != napi_ok) {
        ThrowLastNapiError(env);
        return nullptr;
    }
    sptr<IMapCallback> mapCallback = static_cast<IMapCallback*>(data);
    if (mapCallback == nullptr) {
        NAVI_LOGE("mapCallback is null");
        return nullptr;
    }
    ResultData result{};
    ParseResultData(env, argv[0], result);
    mapCallback->Callback(result);
    mapCallback = nullptr;
    return nullptr;
}

void SystemNavigationListenerNapi::ParseResultData(napi_env env, napi_value value, ResultData& result)
{
    enum ResultField { CODE, MESSAGE, DATA };
    static const NameTable fields(std::initializer_list<const char*>{"code", "message", "data"});
    const char* caller = __FUNCTION__;
    ForEachProperty(env, value, [&](std::string_view name, napi_value property) {
        switch (fields.Find(name)) {
            case CODE:
                if (napi_get_value_int32(env, property, &result.code) != napi_ok) {
                    ThrowLastNapiError(env);
                    return false; // later properties are not read
                }
                break;
            case MESSAGE: result.message = GetString(env, property); break;
            case DATA: {
                AAFwk::WantParams data;
                AppExecFwk::UnwrapWantParams(env, property, data);
                result.data = std::move(data);
                break;
            }
            default: NAVI_LOGI_AS(caller, "invalid property name"); break;
        }
        return true;
    });
}

} // namespace OHOS::NavigationInfoService
