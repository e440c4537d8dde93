// Helpers shared by the module's source files: errors, property access,
// conversion of records to JavaScript, kind names, and the thread-safe call
// bridge's record.
#ifndef NAVIGATION_INFO_NAPI_NAV_NAPI_COMMON_H
#define NAVIGATION_INFO_NAPI_NAV_NAPI_COMMON_H

#include <node_api.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "nav_info_common.h"
#include "refbase.h"

namespace OHOS::NavigationInfoService {

// Errors towards JavaScript.
void ThrowNapiError(napi_env env, int code, const std::string& message);
void ThrowLastNapiError(napi_env env);
// The service result rule: 1015 and 1005 become coded errors, nothing else does.
void ThrowServiceResult(napi_env env, int32_t result);

// Reads the call's arguments into argv (capacity argc on entry, count passed on
// return). On a failed read: the failure report, and false.
bool GetCallbackInfo(napi_env env, napi_callback_info info, size_t& argc, napi_value* argv, napi_value* thisVar);

// Reads exactly `needed` argument slots into argv; with fewer arguments passed,
// throws the method's assertion message (no code). False after either failure.
bool GetArguments(napi_env env, napi_callback_info info, size_t needed, const char* assertion, napi_value* argv);

// Instance of the class whose constructor constructorRef holds, or null.
napi_value CreateInstance(napi_env env, napi_ref constructorRef);

// Property access.
void GetPropertyNamesAndLenth(napi_env env, napi_value object, napi_value& names, uint32_t& length);
void GetPropertyNapiValueAndString(napi_env env, napi_value object, napi_value key, std::string& name,
    napi_value& value);
std::string GetString(napi_env env, napi_value value);

// GetPropertyNapiValueAndString into a caller's buffer of STRING_BUFFER_SIZE
// bytes: the name's text (zero-terminated, length bytes up to its first zero
// byte) and the value looked up by that text. False, with the empty text and
// value untouched, when no text was read (reported or logged as there).
bool GetPropertyNameAndValue(napi_env env, napi_value object, napi_value key, char* buffer, size_t& length,
    napi_value& value);

// Walks the object's own enumerable properties in their order: for each name,
// fetches the name's text (at most 255 bytes) and the value looked up by that
// text, and calls visit(name, value), which returns false to end the walk;
// name stays valid, zero-terminated, during the call. A failure to fetch a
// name is reported and ends the walk.
template <typename Visit>
void ForEachProperty(napi_env env, napi_value object, Visit visit)
{
    napi_value names = nullptr;
    uint32_t length = 0;
    GetPropertyNamesAndLenth(env, object, names, length);
    for (uint32_t i = 0; i < length; ++i) {
        napi_value key = nullptr;
        if (napi_get_element(env, names, i, &key) != napi_ok) {
            ThrowLastNapiError(env);
            return;
        }
        char name[STRING_BUFFER_SIZE];
        size_t nameLength = 0;
        napi_value value = nullptr;
        GetPropertyNameAndValue(env, object, key, name, nameLength, value);
        if (!visit(std::string_view(name, nameLength), value)) {
            return;
        }
    }
}

// Values and records to JavaScript.
napi_value CreateNapiNumber(napi_env env, const int32_t& value);
napi_value CreateNapiStr(napi_env env, const std::string& value);
// NOLINTNEXTLINE(performance-unnecessary-value-param): takes its Location by value
napi_value SetDestLocation(napi_env env, Location location);
void SetNavigationStatusData(napi_env env, const NavigationStatus& status, napi_value& result);
void SetNavigationMetadata(napi_env env, const NavigationMetadata& metadata, napi_value& result);

// Kind names.
std::string ToString(const QueryType& type);
std::string ToString(const CommandType& type);
QueryType ToEnumQueryType(const std::string& name);
CommandType ToEnumCommandType(const std::string& name);

// Ties one JavaScript callback to one thread-safe function.
class ThreadSafeFnInfo : public RefBase {
public:
    ThreadSafeFnInfo(std::string name, napi_threadsafe_function_call_js call) : funcName(std::move(name)), callJs(call)
    {
    }
    ~ThreadSafeFnInfo() override = default;

    std::string funcName;
    napi_ref ref = nullptr;
    napi_threadsafe_function tsfn = nullptr;
    napi_threadsafe_function_call_js callJs = nullptr;
    // The environment whose JavaScript thread owns ref and tsfn; a delivery
    // in another environment must not use them.
    napi_env env = nullptr;
};

// Guards the replacement of a listener class's record on a JavaScript thread
// against its reading on IPC threads: readers take a strong reference under
// the lock, so a record is never freed while it is being copied.
class ThreadSafeFnSlot {
public:
    sptr<ThreadSafeFnInfo> Get() const;
    void Set(const sptr<ThreadSafeFnInfo>& info);
    // The callback function of the current record. A record made in another
    // environment cannot be used here: the delivery then calls fallback, the
    // function of the thread-safe function it came through. On a failed read:
    // the failure report, and false.
    bool GetFunction(napi_env env, napi_value fallback, napi_value& function) const;

private:
    mutable std::mutex mutex_;
    sptr<ThreadSafeFnInfo> info_;
};

// Starts a detached thread running task; false (and a log line) if no thread
// could be started. The delivery is then dropped, and the caller returns.
bool StartDeliveryThread(std::function<void()> task);

void createThreadSafeFunction(napi_env env, napi_value listenerObject, ThreadSafeFnInfo* info);

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_NAV_NAPI_COMMON_H
