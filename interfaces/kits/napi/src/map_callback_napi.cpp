#include "map_callback_napi.h"

#include <string>

#include "nav_napi_common.h"
#include "napi_common_want.h"

namespace OHOS::NavigationInfoService {
namespace {

const std::string MAP_CALLBACK_RESOURCE_NAME = "MapCallbackNapi";

} // namespace

MapCallbackNapi::MapCallbackNapi(napi_env env, napi_deferred deferred) : deferred_(deferred)
{
    CreateAsyncCall(env, deferred);
}

MapCallbackNapi::~MapCallbackNapi()
{
    delete asyncCall_;
    asyncCall_ = nullptr;
}

void MapCallbackNapi::CreateAsyncCall(napi_env env, napi_deferred deferred)
{
    auto execute = []() {};
    // The completion, on the JavaScript thread.
    auto complete = [this](napi_env env) {
        sptr<MapCallbackNapi> self;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            self = std::move(keepAlive_);
        }
        NAVI_LOGI("notify result to app.");
        ResultData result{};
        {
            std::lock_guard<std::mutex> lock(mutex_);
            result.code = resultData_.code;
            result.message = resultData_.message;
            result.data = resultData_.data;
        }
        napi_value value = nullptr;
        SetResultData(env, result, value);
        if (napi_resolve_deferred(env, deferred_, value) != napi_ok) {
            ThrowLastNapiError(env);
        }
        // self goes last: it may delete this object, whose completion this is.
    };
    asyncCall_ = new AsyncCall(execute, complete);
    asyncCall_->CreateAsyncWork(env, deferred, MAP_CALLBACK_RESOURCE_NAME);
}

void MapCallbackNapi::Callback(ResultData data)
{
    NAVI_LOGI("callback is called.");
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (answered_) {
            NAVI_LOGI("answer already received, ignored");
            return;
        }
        answered_ = true;
        resultData_.code = data.code;
        resultData_.message = data.message;
        resultData_.data = data.data;
        keepAlive_ = this;
    }
    if (!asyncCall_->Call()) {
        // The completion will never run: nothing may keep the object alive for it.
        sptr<MapCallbackNapi> self;
        std::lock_guard<std::mutex> lock(mutex_);
        self = std::move(keepAlive_);
    }
}

void MapCallbackNapi::SetResultData(napi_env env, const ResultData& result, napi_value& value)
{
    if (napi_create_object(env, &value) != napi_ok) {
        ThrowLastNapiError(env);
        return;
    }
    napi_value code = nullptr;
    if (napi_create_int32(env, result.code, &code) != napi_ok ||
        napi_set_named_property(env, value, "code", code) != napi_ok) {
        ThrowLastNapiError(env);
        return;
    }
    napi_value message = nullptr;
    if (napi_create_string_utf8(env, result.message.c_str(), NAPI_AUTO_LENGTH, &message) != napi_ok ||
        napi_set_named_property(env, value, "message", message) != napi_ok) {
        ThrowLastNapiError(env);
        return;
    }
    AAFwk::WantParams data(result.data);
    napi_value wrapped = AppExecFwk::WrapWantParams(env, data);
    if (napi_set_named_property(env, value, "data", wrapped) != napi_ok) {
        ThrowLastNapiError(env);
    }
}

} // namespace OHOS::NavigationInfoService
