// Control of the log: the level, where lines go, and a capture hook for tests.
//
// At start-up the level comes from HILOG_LEVEL (debug, info, warn, error,
// fatal, off; default warn) and the destination from HILOG_OUTPUT (stderr,
// stdout, none, or a file path that lines are appended to; default stderr).
#ifndef PLATFORM_HILOG_LOG_CONTROL_H
#define PLATFORM_HILOG_LOG_CONTROL_H

#include <functional>
#include <string>

#include "hilog/log.h"

namespace OHOS::HiviewDFX {

struct LogRecord {
    LogType type;
    LogLevel level;
    unsigned int domain;
    std::string tag;
    std::string message; // the formatted text, privacy markers applied
};

// Messages below this level are dropped unformatted. LOG_FATAL + 1 drops all.
void SetLogLevel(int level);
int GetLogLevel();

// "stderr", "stdout", "none" or a file path; false if the file cannot be opened.
bool SetLogOutput(const std::string& destination);

// While a sink is set, every message that passes the level goes to the sink
// instead of the output. An empty function removes the sink.
using LogSink = std::function<void(const LogRecord&)>;
void SetLogSink(LogSink sink);

// The text a line is written with, without the trailing newline.
std::string FormatLogLine(const LogRecord& record, long long epochMillis, int pid, long tid);

} // namespace OHOS::HiviewDFX

#endif // PLATFORM_HILOG_LOG_CONTROL_H
