// Control of the log: the level, where lines go, and a capture hook for tests.
//
// At start-up the level comes from HILOG_LEVEL (debug, info, warn, error,
// fatal, off; default warn) and the destination from HILOG_OUTPUT (stderr,
// stdout, none, or a file path that lines are appended to; default stderr).
// A destination that is the journal's stream (JOURNAL_STREAM) gets lines
// with a "<N>" syslog priority first and without time and pid, which the
// journal records itself.
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
// The same line for the journal: "<N>", thread id, level, domain, tag, message.
std::string FormatJournalLine(const LogRecord& record, long tid);

// Whether fd is the stream that JOURNAL_STREAM names (device and inode).
bool IsJournalStream(int fd);
// The syslog priority (0..7) of a log level, for the "<N>" prefix.
int JournalPriority(int level);

} // namespace OHOS::HiviewDFX

#endif // PLATFORM_HILOG_LOG_CONTROL_H
