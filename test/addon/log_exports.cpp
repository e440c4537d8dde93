// Log capture for JavaScript tests:
//   captureLogs(level = 3)  keep every message that passes the level (3 debug
//                           .. 7 fatal) instead of writing it;
//   takeLogs()              the kept messages since the last call, oldest first,
//                           { level, domain, tag, message, thread } (thread: a
//                           number per logging thread, the same for every line
//                           of one thread) and, split from the module's
//                           "[file:line]func# " prefix, file, line, func and text;
//   stopLogCapture()        write again, at the warn level.
#include <functional>
#include <mutex>
#include <regex>
#include <thread>

#include "addon_exports.h"
#include "hilog/log_control.h"

namespace NavInfoTest {
namespace {

using OHOS::HiviewDFX::LogRecord;

struct CapturedLog {
    LogRecord record;
    size_t thread;
};

std::mutex g_logMutex;
std::vector<CapturedLog> g_logs;

TEST_ADDON_EXPORT(captureLogs)
{
    size_t argc = 1;
    napi_value level = nullptr;
    int32_t number = LOG_DEBUG;
    napi_get_cb_info(env, info, &argc, &level, nullptr, nullptr);
    if (argc > 0 && napi_get_value_int32(env, level, &number) != napi_ok) {
        return ThrowTestError(env, "captureLogs(level): level must be a number");
    }
    {
        std::lock_guard<std::mutex> lock(g_logMutex);
        g_logs.clear();
    }
    OHOS::HiviewDFX::SetLogLevel(number);
    OHOS::HiviewDFX::SetLogSink([](const LogRecord& record) {
        std::lock_guard<std::mutex> lock(g_logMutex);
        g_logs.push_back({record, std::hash<std::thread::id>{}(std::this_thread::get_id())});
    });
    return nullptr;
}

TEST_ADDON_EXPORT(stopLogCapture)
{
    OHOS::HiviewDFX::SetLogSink(nullptr);
    OHOS::HiviewDFX::SetLogLevel(LOG_WARN);
    return nullptr;
}

TEST_ADDON_EXPORT(takeLogs)
{
    std::vector<CapturedLog> logs;
    {
        std::lock_guard<std::mutex> lock(g_logMutex);
        logs.swap(g_logs);
    }
    static const std::regex prefix(R"(^\[([^:\]]*):(\d+)\]([^#]*)# ([\s\S]*)$)");
    napi_value array = nullptr;
    napi_create_array_with_length(env, logs.size(), &array);
    for (size_t i = 0; i < logs.size(); ++i) {
        const LogRecord& r = logs[i].record;
        napi_value entry = Object(env,
            {{"level", Js(env, r.level)}, {"domain", Js(env, r.domain)}, {"tag", Js(env, r.tag)},
                {"message", Js(env, r.message)},
                {"thread", Js(env, static_cast<double>(logs[i].thread % 1000000007))}});
        std::smatch match;
        if (std::regex_match(r.message, match, prefix)) {
            napi_set_named_property(env, entry, "file", Js(env, match[1].str()));
            napi_set_named_property(env, entry, "line", Js(env, std::stod(match[2].str())));
            napi_set_named_property(env, entry, "func", Js(env, match[3].str()));
            napi_set_named_property(env, entry, "text", Js(env, match[4].str()));
        }
        napi_set_element(env, array, static_cast<uint32_t>(i), entry);
    }
    return array;
}

} // namespace
} // namespace NavInfoTest
