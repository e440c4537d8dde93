// Log capture for JavaScript tests: while capturing, every message that passes
// the level is kept instead of written, with the module's prefix split into
// file, line and function.
#include <mutex>
#include <regex>
#include <string>
#include <vector>

#include "addon_exports.h"
#include "hilog/log_control.h"

namespace NavInfoTest {
namespace {

std::mutex g_logMutex;
std::vector<OHOS::HiviewDFX::LogRecord> g_logs;

napi_value MakeString(napi_env env, const std::string& text)
{
    napi_value value = nullptr;
    napi_create_string_utf8(env, text.data(), text.size(), &value);
    return value;
}

napi_value MakeNumber(napi_env env, double number)
{
    napi_value value = nullptr;
    napi_create_double(env, number, &value);
    return value;
}

// captureLogs(level = 3): start capturing at that level (3 debug .. 7 fatal).
napi_value CaptureLogs(napi_env env, napi_callback_info info)
{
    size_t argc = 1;
    napi_value argv[1] = {nullptr};
    napi_get_cb_info(env, info, &argc, argv, nullptr, nullptr);
    int32_t level = LOG_DEBUG;
    if (argc > 0 && napi_get_value_int32(env, argv[0], &level) != napi_ok) {
        return ThrowTestError(env, "captureLogs(level): level must be a number");
    }
    {
        std::lock_guard<std::mutex> lock(g_logMutex);
        g_logs.clear();
    }
    OHOS::HiviewDFX::SetLogLevel(level);
    OHOS::HiviewDFX::SetLogSink([](const OHOS::HiviewDFX::LogRecord& record) {
        std::lock_guard<std::mutex> lock(g_logMutex);
        g_logs.push_back(record);
    });
    return nullptr;
}

// stopLogCapture(): back to the output and the warn level.
napi_value StopLogCapture(napi_env env, napi_callback_info info)
{
    OHOS::HiviewDFX::SetLogSink(nullptr);
    OHOS::HiviewDFX::SetLogLevel(LOG_WARN);
    return nullptr;
}

// takeLogs(): the captured messages since the last call, oldest first, each
// { level, domain, tag, message, text, file, line, func } where text is the
// message after the "[file:line]func# " prefix.
napi_value TakeLogs(napi_env env, napi_callback_info info)
{
    std::vector<OHOS::HiviewDFX::LogRecord> logs;
    {
        std::lock_guard<std::mutex> lock(g_logMutex);
        logs.swap(g_logs);
    }
    static const std::regex prefix(R"(^\[([^:\]]*):(\d+)\]([^#]*)# ([\s\S]*)$)");
    napi_value array = nullptr;
    napi_create_array_with_length(env, logs.size(), &array);
    for (size_t i = 0; i < logs.size(); ++i) {
        const auto& record = logs[i];
        napi_value entry = nullptr;
        napi_create_object(env, &entry);
        napi_set_named_property(env, entry, "level", MakeNumber(env, record.level));
        napi_set_named_property(env, entry, "domain", MakeNumber(env, record.domain));
        napi_set_named_property(env, entry, "tag", MakeString(env, record.tag));
        napi_set_named_property(env, entry, "message", MakeString(env, record.message));
        std::smatch match;
        if (std::regex_match(record.message, match, prefix)) {
            napi_set_named_property(env, entry, "file", MakeString(env, match[1].str()));
            napi_set_named_property(env, entry, "line", MakeNumber(env, std::stod(match[2].str())));
            napi_set_named_property(env, entry, "func", MakeString(env, match[3].str()));
            napi_set_named_property(env, entry, "text", MakeString(env, match[4].str()));
        }
        napi_set_element(env, array, static_cast<uint32_t>(i), entry);
    }
    return array;
}

} // namespace

TEST_ADDON_EXPORT("captureLogs", CaptureLogs);
TEST_ADDON_EXPORT("stopLogCapture", StopLogCapture);
TEST_ADDON_EXPORT("takeLogs", TakeLogs);

} // namespace NavInfoTest
