// Rate limiting of log lines that a peer or a flood can repeat without end.
//
// A LogRateLimit lets one line through per interval (one second unless told
// otherwise) and counts the ones it holds back; the next line that passes
// carries that count. HILOG_RATE_LIMITED gives each call site its own limit:
//
//     HILOG_RATE_LIMITED(IPC_LOGW, "connection %{public}llu: bad frame", id);
//
// writes at most one such line per second, ending in
// " (41 similar lines suppressed)" when lines were held back since the last.
//
// Threads: Allow and the macro from any thread.
#ifndef PLATFORM_HILOG_LOG_RATE_LIMIT_H
#define PLATFORM_HILOG_LOG_RATE_LIMIT_H

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

namespace OHOS::HiviewDFX {

class LogRateLimit {
public:
    using Clock = std::chrono::steady_clock;

    explicit LogRateLimit(Clock::duration interval = std::chrono::seconds(1)) : interval_(interval) {}

    // True when a line may be written at `now`; suppressed is then the
    // number of lines held back since the previous one written.
    bool Allow(Clock::time_point now, uint64_t& suppressed)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (written_ && now - lastWritten_ < interval_) {
            ++suppressed_;
            return false;
        }
        written_ = true;
        lastWritten_ = now;
        suppressed = suppressed_;
        suppressed_ = 0;
        return true;
    }
    bool Allow(uint64_t& suppressed) { return Allow(Clock::now(), suppressed); }

private:
    const Clock::duration interval_;
    std::mutex mutex_; // guards what follows
    bool written_ = false;
    Clock::time_point lastWritten_{};
    uint64_t suppressed_ = 0;
};

// The end of a rate-limited line: empty, or " (N similar lines suppressed)".
inline std::string SuppressedNote(uint64_t suppressed)
{
    return suppressed == 0 ? std::string() : " (" + std::to_string(suppressed) + " similar lines suppressed)";
}

} // namespace OHOS::HiviewDFX

// logMacro(fmt, ...) at most once per second from this call site; fmt must be a
// string literal. The arguments are evaluated only when the line is written.
#define HILOG_RATE_LIMITED(logMacro, fmt, ...)                                                              \
    do {                                                                                                    \
        static ::OHOS::HiviewDFX::LogRateLimit hilogRateLimit_;                                             \
        uint64_t hilogSuppressed_ = 0;                                                                      \
        if (hilogRateLimit_.Allow(hilogSuppressed_)) {                                                      \
            logMacro(fmt "%{public}s", ##__VA_ARGS__,                                                       \
                ::OHOS::HiviewDFX::SuppressedNote(hilogSuppressed_).c_str());                               \
        }                                                                                                   \
    } while (0)

#endif // PLATFORM_HILOG_LOG_RATE_LIMIT_H
