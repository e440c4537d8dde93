#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <strings.h>

#include "hilog/log.h"
#include "hilog/log_control.h"
#include "log_format.h"

namespace OHOS::HiviewDFX {
namespace {

constexpr int LEVEL_OFF = LOG_FATAL + 1;

int LevelFromName(const char* name, int fallback)
{
    static const struct {
        const char* name;
        int level;
    } names[] = {{"debug", LOG_DEBUG}, {"info", LOG_INFO}, {"warn", LOG_WARN}, {"error", LOG_ERROR},
        {"fatal", LOG_FATAL}, {"off", LEVEL_OFF}};
    if (name == nullptr) {
        return fallback;
    }
    for (const auto& entry : names) {
        if (strcasecmp(name, entry.name) == 0) {
            return entry.level;
        }
    }
    return fallback;
}

char LevelLetter(int level)
{
    switch (level) {
        case LOG_DEBUG: return 'D';
        case LOG_INFO: return 'I';
        case LOG_WARN: return 'W';
        case LOG_ERROR: return 'E';
        case LOG_FATAL: return 'F';
        default: return '?';
    }
}

// Process-wide log state. The level is read on every call without a lock;
// the output and the sink change rarely and are guarded by the mutex.
struct LogState {
    std::atomic<int> level{LevelFromName(std::getenv("HILOG_LEVEL"), LOG_WARN)};
    std::mutex mutex;
    // Replaced outputs stay open: another thread may still be writing to them.
    int fd = STDERR_FILENO;
    bool journal = IsJournalStream(STDERR_FILENO); // fd is the journal's stream
    std::shared_ptr<LogSink> sink;

    LogState()
    {
        const char* output = std::getenv("HILOG_OUTPUT");
        if (output != nullptr && *output != '\0') {
            OpenOutput(output);
        }
    }
    bool OpenOutput(const std::string& destination)
    {
        int newFd = -1;
        if (destination == "stderr") {
            newFd = STDERR_FILENO;
        } else if (destination == "stdout") {
            newFd = STDOUT_FILENO;
        } else if (destination == "none") {
            newFd = -1;
        } else {
            newFd = ::open(destination.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
            if (newFd < 0) {
                return false;
            }
        }
        fd = newFd;
        journal = IsJournalStream(newFd);
        return true;
    }
};

LogState& State()
{
    // Never destroyed: threads may still log while the process exits.
    static LogState* state = new LogState();
    return *state;
}

void WriteAll(int fd, const std::string& text)
{
    const char* p = text.data();
    size_t left = text.size();
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return;
        }
        p += n;
        left -= static_cast<size_t>(n);
    }
}

} // namespace

void SetLogLevel(int level)
{
    State().level.store(level, std::memory_order_relaxed);
}

int GetLogLevel()
{
    return State().level.load(std::memory_order_relaxed);
}

bool SetLogOutput(const std::string& destination)
{
    LogState& state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    return state.OpenOutput(destination);
}

void SetLogSink(LogSink sink)
{
    LogState& state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.sink = sink ? std::make_shared<LogSink>(std::move(sink)) : nullptr;
}

std::string FormatJournalLine(const LogRecord& record, long tid)
{
    char head[48];
    int n = std::snprintf(head, sizeof(head), "<%d>%5ld %c %05X/", JournalPriority(record.level), tid,
        LevelLetter(record.level), record.domain);
    std::string line(head, n > 0 ? static_cast<size_t>(n) : 0);
    line += record.tag;
    line += ": ";
    line += record.message;
    return line;
}

std::string FormatLogLine(const LogRecord& record, long long epochMillis, int pid, long tid)
{
    time_t seconds = static_cast<time_t>(epochMillis / 1000);
    struct tm local {};
    localtime_r(&seconds, &local);
    char head[96];
    int n = std::snprintf(head, sizeof(head), "%04d-%02d-%02d %02d:%02d:%02d.%03lld %5d %5ld %c %05X/",
        local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
        epochMillis % 1000, pid, tid, LevelLetter(record.level), record.domain);
    std::string line(head, n > 0 ? static_cast<size_t>(n) : 0);
    line += record.tag;
    line += ": ";
    line += record.message;
    return line;
}

} // namespace OHOS::HiviewDFX

using namespace OHOS::HiviewDFX;

extern "C" int HiLogIsLoggable(unsigned int, const char*, LogLevel level)
{
    return static_cast<int>(level) >= State().level.load(std::memory_order_relaxed) ? 1 : 0;
}

extern "C" int HiLogPrint(LogType type, LogLevel level, unsigned int domain, const char* tag, const char* fmt, ...)
{
    LogState& state = State();
    if (static_cast<int>(level) < state.level.load(std::memory_order_relaxed)) {
        return -1;
    }
    LogRecord record{type, level, domain, tag == nullptr ? "" : tag, {}};
    va_list args;
    va_start(args, fmt);
    bool ok = ExpandLogFormat(fmt, args, record.message);
    va_end(args);
    if (!ok) {
        return -1;
    }
    std::shared_ptr<LogSink> sink;
    int fd;
    bool journal;
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        sink = state.sink;
        fd = state.fd;
        journal = state.journal;
    }
    if (sink) {
        (*sink)(record);
        return static_cast<int>(record.message.size());
    }
    if (fd < 0) {
        return static_cast<int>(record.message.size());
    }
    const long tid = static_cast<long>(syscall(SYS_gettid));
    std::string line;
    if (journal) {
        line = FormatJournalLine(record, tid);
    } else {
        long long millis = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::system_clock::now().time_since_epoch())
                               .count();
        line = FormatLogLine(record, millis, static_cast<int>(getpid()), tid);
    }
    line.push_back('\n');
    WriteAll(fd, line); // one write per line keeps lines from different threads whole
    return static_cast<int>(record.message.size());
}
