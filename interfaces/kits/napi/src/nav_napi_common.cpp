#include "nav_napi_common.h"

#include <cstdint>
#include <cstring>
#include <system_error>
#include <thread>

#include "name_table.h"
#include "napi_common_want.h"

namespace OHOS::NavigationInfoService {

void ThrowNapiError(napi_env env, int code, const std::string& message)
{
    std::string codeText = std::to_string(code);
    napi_throw_error(env, codeText.c_str(), message.c_str());
}

void ThrowLastNapiError(napi_env env)
{
    const napi_extended_error_info* errorInfo = nullptr;
    napi_get_last_error_info(env, &errorInfo);
    // Node keeps the error information in the environment and clears it on the
    // next call: take the message before asking whether an exception is pending.
    const char* message = nullptr;
    if (errorInfo != nullptr) {
        message = errorInfo->error_message != nullptr ? errorInfo->error_message : "empty error message";
    }
    bool isPending = false;
    napi_is_exception_pending(env, &isPending);
    if (!isPending && message != nullptr) {
        napi_throw_error(env, nullptr, message);
    }
}

void ThrowServiceResult(napi_env env, int32_t result)
{
    if (result == ERR_NOT_SYSTEM_APP) {
        ThrowNapiError(env, ERR_NOT_SYSTEM_APP, "Not System App");
    } else if (result == ERR_NO_PERMISSION) {
        ThrowNapiError(env, ERR_NO_PERMISSION, "No Permission");
    }
}

bool GetCallbackInfo(napi_env env, napi_callback_info info, size_t& argc, napi_value* argv, napi_value* thisVar)
{
    if (napi_get_cb_info(env, info, &argc, argv, thisVar, nullptr) != napi_ok) {
        ThrowLastNapiError(env);
        return false;
    }
    return true;
}

bool GetArguments(napi_env env, napi_callback_info info, size_t needed, const char* assertion, napi_value* argv)
{
    size_t argc = needed;
    napi_value thisVar = nullptr;
    if (!GetCallbackInfo(env, info, argc, argv, &thisVar)) {
        return false;
    }
    if (argc < needed) {
        napi_throw_error(env, nullptr, assertion);
        return false;
    }
    return true;
}

napi_value CreateInstance(napi_env env, napi_ref constructorRef)
{
    napi_value constructor = nullptr;
    if (napi_get_reference_value(env, constructorRef, &constructor) != napi_ok) {
        NAVI_LOGI("get reference failed");
        return nullptr;
    }
    napi_value instance = nullptr;
    if (napi_new_instance(env, constructor, 0, nullptr, &instance) != napi_ok) {
        NAVI_LOGI("new instance failed");
        return nullptr;
    }
    return instance;
}

void GetPropertyNamesAndLenth(napi_env env, napi_value object, napi_value& names, uint32_t& length)
{
    if (napi_get_property_names(env, object, &names) != napi_ok) {
        ThrowLastNapiError(env);
        return;
    }
    if (napi_get_array_length(env, names, &length) != napi_ok) {
        ThrowLastNapiError(env);
    }
}

namespace {

// Whether any of eight bytes is zero or not ASCII: a zero byte borrows into
// its high bit, a non-ASCII byte has it set. (A borrow can mark the bytes
// after a zero byte too, which only says yes where the answer is yes.)
bool HasZeroOrNonAscii(const char* bytes)
{
    constexpr uint64_t ONES = 0x0101010101010101ull;
    constexpr uint64_t HIGH_BITS = 0x8080808080808080ull;
    uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof(word));
    return (((word - ONES) | word) & HIGH_BITS) != 0;
}

// Measures a name's text and says whether looking its property up by the
// text finds what looking it up by the key itself finds: the text is whole
// (room for one more character was left, and no zero byte ends it early)
// and no character was replaced (0xEF: U+FFFD, the replacement of a lone
// surrogate; 0xED: a surrogate's own encoding). length is where the first
// zero byte is. Names are nearly always plain ASCII of 8 bytes or more:
// those are told eight bytes at a time (the last eight overlapping), and
// only the others are looked at byte by byte.
bool MeasureWholeKey(const char* text, size_t written, size_t& length)
{
    constexpr size_t MAX_UTF8_CHAR_BYTES = 4;
    constexpr size_t WORD = sizeof(uint64_t);
    if (written >= WORD) {
        bool plain = !HasZeroOrNonAscii(text + written - WORD);
        for (size_t i = 0; plain && i + WORD < written; i += WORD) {
            plain = !HasZeroOrNonAscii(text + i);
        }
        if (plain) {
            length = written;
            return written + MAX_UTF8_CHAR_BYTES < STRING_BUFFER_SIZE;
        }
    }
    bool replaced = false;
    for (size_t i = 0; i < written; ++i) {
        auto byte = static_cast<unsigned char>(text[i]);
        if (byte == 0) {
            length = i;
            return false;
        }
        replaced = replaced || byte == 0xEF || byte == 0xED;
    }
    length = written;
    return !replaced && written + MAX_UTF8_CHAR_BYTES < STRING_BUFFER_SIZE;
}

} // namespace

bool GetPropertyNameAndValue(napi_env env, napi_value object, napi_value key, char* buffer, size_t& length,
    napi_value& value)
{
    buffer[0] = '\0';
    length = 0;
    size_t written = 0;
    if (napi_get_value_string_utf8(env, key, buffer, STRING_BUFFER_SIZE, &written) != napi_ok) {
        ThrowLastNapiError(env);
        return false;
    }
    if (written == 0) {
        NAVI_LOGI_AS("GetPropertyNapiValueAndString", "get property name failed");
        return false;
    }
    // The property is the one the text names; when the text is the whole key,
    // the key finds it without the text being turned into a key again.
    napi_status status = MeasureWholeKey(buffer, written, length)
        ? napi_get_property(env, object, key, &value)
        : napi_get_named_property(env, object, buffer, &value);
    if (status != napi_ok) {
        ThrowLastNapiError(env);
    }
    return true;
}

void GetPropertyNapiValueAndString(napi_env env, napi_value object, napi_value key, std::string& name,
    napi_value& value)
{
    char buffer[STRING_BUFFER_SIZE];
    size_t length = 0;
    napi_value found = value;
    if (GetPropertyNameAndValue(env, object, key, buffer, length, found)) {
        name.assign(buffer, length);
        value = found;
    }
}

std::string GetString(napi_env env, napi_value value)
{
    char buffer[STRING_BUFFER_SIZE] = {0};
    size_t written = 0;
    if (napi_get_value_string_utf8(env, value, buffer, STRING_BUFFER_SIZE, &written) != napi_ok) {
        ThrowLastNapiError(env);
        return "";
    }
    if (written == 0) {
        NAVI_LOGI("get string failed");
        return "";
    }
    return std::string(buffer);
}

napi_value CreateNapiNumber(napi_env env, const int32_t& value)
{
    napi_value result = nullptr;
    if (napi_create_int32(env, value, &result) != napi_ok) {
        ThrowLastNapiError(env);
        return nullptr;
    }
    return result;
}

napi_value CreateNapiStr(napi_env env, const std::string& value)
{
    napi_value result = nullptr;
    if (napi_create_string_utf8(env, value.c_str(), NAPI_AUTO_LENGTH, &result) != napi_ok) {
        ThrowLastNapiError(env);
        return nullptr;
    }
    return result;
}

namespace {

// One step of an object conversion: on failure the report, and false.
bool Check(napi_env env, napi_status status)
{
    if (status != napi_ok) {
        ThrowLastNapiError(env);
        return false;
    }
    return true;
}

// The narrowed text of a 16-bit text vector: each element's low byte, up to
// (not including) the first zero byte.
std::string NarrowText(const std::vector<uint16_t>& elements)
{
    std::string text;
    text.reserve(elements.size());
    for (uint16_t element : elements) {
        char byte = static_cast<char>(element & 0xFF);
        if (byte == '\0') {
            break;
        }
        text.push_back(byte);
    }
    return text;
}

bool SetString(napi_env env, napi_value object, const char* name, const std::string& text)
{
    napi_value value = nullptr;
    return Check(env, napi_create_string_utf8(env, text.c_str(), NAPI_AUTO_LENGTH, &value)) &&
        Check(env, napi_set_named_property(env, object, name, value));
}

bool SetInt32(napi_env env, napi_value object, const char* name, int32_t number)
{
    napi_value value = nullptr;
    return Check(env, napi_create_int32(env, number, &value)) &&
        Check(env, napi_set_named_property(env, object, name, value));
}

bool SetUint32(napi_env env, napi_value object, const char* name, uint32_t number)
{
    napi_value value = nullptr;
    return Check(env, napi_create_uint32(env, number, &value)) &&
        Check(env, napi_set_named_property(env, object, name, value));
}

bool SetDouble(napi_env env, napi_value object, const char* name, double number)
{
    napi_value value = nullptr;
    return Check(env, napi_create_double(env, number, &value)) &&
        Check(env, napi_set_named_property(env, object, name, value));
}

bool SetFlag(napi_env env, napi_value object, const char* name, bool flag)
{
    napi_value number = nullptr;
    napi_value value = nullptr;
    return Check(env, napi_create_uint32(env, flag ? 1 : 0, &number)) &&
        Check(env, napi_coerce_to_bool(env, number, &value)) &&
        Check(env, napi_set_named_property(env, object, name, value));
}

} // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): takes its Location by value
napi_value SetDestLocation(napi_env env, Location location)
{
    napi_value object = nullptr;
    if (!Check(env, napi_create_object(env, &object))) {
        return nullptr;
    }
    if (!SetString(env, object, "name", location.name) || !SetInt32(env, object, "coordType", location.coordType) ||
        !SetDouble(env, object, "longitude", location.longitude) ||
        !SetDouble(env, object, "latitude", location.latitude) ||
        !SetDouble(env, object, "altitude", location.altitude)) {
        return nullptr;
    }
    return object;
}

void SetNavigationStatusData(napi_env env, const NavigationStatus& status, napi_value& result)
{
    NAVI_LOGI("is called!");
    if (!Check(env, napi_create_object(env, &result))) {
        return;
    }
    if (!SetInt32(env, result, "status", status.status) || !SetInt32(env, result, "naviType", status.naviType)) {
        return;
    }
    napi_value destLocation = SetDestLocation(env, status.destLocation);
    if (!Check(env, napi_set_named_property(env, result, "destLocation", destLocation))) {
        return;
    }
    napi_value passPoint = nullptr;
    if (!Check(env, napi_create_array(env, &passPoint))) {
        return;
    }
    for (uint32_t i = 0; i < status.passPoint.size(); ++i) {
        napi_value location = SetDestLocation(env, status.passPoint[i]);
        if (!Check(env, napi_set_element(env, passPoint, i, location))) {
            return;
        }
    }
    if (!Check(env, napi_set_named_property(env, result, "passPoint", passPoint)) ||
        !SetInt32(env, result, "routeIndex", status.routeIndex) ||
        !SetString(env, result, "customData", status.customData) || !SetInt32(env, result, "theme", status.theme)) {
        return;
    }
    napi_value preferences = nullptr;
    if (!Check(env, napi_create_array(env, &preferences))) {
        return;
    }
    for (uint32_t i = 0; i < status.routePreference.size(); ++i) {
        napi_value preference = nullptr;
        if (!Check(env, napi_create_int32(env, status.routePreference[i], &preference)) ||
            !Check(env, napi_set_element(env, preferences, i, preference))) {
            return;
        }
    }
    Check(env, napi_set_named_property(env, result, "routePreference", preferences));
}

void SetNavigationMetadata(napi_env env, const NavigationMetadata& metadata, napi_value& result)
{
    NAVI_LOGI("is called!");
    if (!Check(env, napi_create_object(env, &result))) {
        return;
    }
    if (!SetUint32(env, result, "naviTurnMode", metadata.naviTurnMode) ||
        !SetUint32(env, result, "segmentLeftDis", metadata.segmentLeftDis) ||
        !SetString(env, result, "currentRoadName", metadata.currentRoadName) ||
        !SetString(env, result, "nextRoadName", metadata.nextRoadName) ||
        !SetString(env, result, "intersectionView", NarrowText(metadata.intersectionView)) ||
        !SetUint32(env, result, "viewWidth", metadata.viewWidth) ||
        !SetUint32(env, result, "viewHeight", metadata.viewHeight) ||
        !SetString(env, result, "trafficLane", NarrowText(metadata.trafficLane)) ||
        !SetFlag(env, result, "cameraSpeedLimitValid", metadata.cameraSpeedLimitValid) ||
        !SetUint32(env, result, "cameraSpeedLimit", metadata.cameraSpeedLimit) ||
        !SetFlag(env, result, "naviSpeedLimitValid", metadata.naviSpeedLimitValid) ||
        !SetUint32(env, result, "naviSpeedLimit", metadata.naviSpeedLimit) ||
        !SetUint32(env, result, "currentSpeed", metadata.currentSpeed) ||
        !SetDouble(env, result, "naviBearing", metadata.naviBearing) ||
        !SetUint32(env, result, "totalLeftDis", metadata.totalLeftDis) ||
        !SetUint32(env, result, "remainingTime", metadata.remainingTime)) {
        return;
    }
    napi_value customData = nullptr;
    {
        AAFwk::WantParams copy(metadata.customData);
        customData = AppExecFwk::WrapWantParams(env, copy);
    }
    Check(env, napi_set_named_property(env, result, "customData", customData));
}

std::string ToString(const QueryType& type)
{
    int32_t value = static_cast<int32_t>(type);
    if (value < 0 || value >= static_cast<int32_t>(QUERY_TYPE_NAMES.size())) {
        NAVI_LOGI("invalid enum");
        return "";
    }
    return QUERY_TYPE_NAMES[value];
}

std::string ToString(const CommandType& type)
{
    int32_t value = static_cast<int32_t>(type);
    if (value < 0 || value >= static_cast<int32_t>(COMMAND_TYPE_NAMES.size())) {
        NAVI_LOGI("invalid enum");
        return "";
    }
    return COMMAND_TYPE_NAMES[value];
}

QueryType ToEnumQueryType(const std::string& name)
{
    static const NameTable names(QUERY_TYPE_NAMES);
    int index = names.Find(name);
    return static_cast<QueryType>(index == NameTable::NOT_FOUND ? QUERY_TYPE_NAMES.size() : index);
}

CommandType ToEnumCommandType(const std::string& name)
{
    static const NameTable names(COMMAND_TYPE_NAMES);
    int index = names.Find(name);
    return static_cast<CommandType>(index == NameTable::NOT_FOUND ? COMMAND_TYPE_NAMES.size() : index);
}

sptr<ThreadSafeFnInfo> ThreadSafeFnSlot::Get() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return info_;
}

void ThreadSafeFnSlot::Set(const sptr<ThreadSafeFnInfo>& info)
{
    sptr<ThreadSafeFnInfo> previous;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        previous = info_;
        info_ = info;
    }
}

bool ThreadSafeFnSlot::GetFunction(napi_env env, napi_value fallback, napi_value& function) const
{
    sptr<ThreadSafeFnInfo> info = Get();
    if (info == nullptr || info->env != env) {
        function = fallback;
        return true;
    }
    if (napi_get_reference_value(env, info->ref, &function) != napi_ok) {
        ThrowLastNapiError(env);
        return false;
    }
    return true;
}

bool StartDeliveryThread(std::function<void()> task)
{
    try {
        std::thread(std::move(task)).detach();
        return true;
    } catch (const std::system_error& error) {
        NAVI_LOGI("start delivery thread failed: %{public}s", error.what());
        return false;
    }
}

void createThreadSafeFunction(napi_env env, napi_value listenerObject, ThreadSafeFnInfo* info)
{
    info->env = env;
    napi_value function = nullptr;
    if (napi_get_named_property(env, listenerObject, info->funcName.c_str(), &function) != napi_ok) {
        ThrowLastNapiError(env);
        return;
    }
    if (napi_create_reference(env, function, 1, &info->ref) != napi_ok) {
        ThrowLastNapiError(env);
        return;
    }
    napi_value resourceName = nullptr;
    if (napi_create_string_utf8(env, info->funcName.c_str(), NAPI_AUTO_LENGTH, &resourceName) != napi_ok) {
        ThrowLastNapiError(env);
        return;
    }
    if (napi_create_threadsafe_function(env, function, nullptr, resourceName, 0, 1, nullptr, nullptr, nullptr,
            info->callJs, &info->tsfn) != napi_ok) {
        ThrowLastNapiError(env);
    }
}

} // namespace OHOS::NavigationInfoService
