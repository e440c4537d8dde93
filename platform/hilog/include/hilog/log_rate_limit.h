// Rate-limited log lines, on the one rate limiter (rate_limited_count.h).
// HILOG_RATE_LIMITED gives each call site its own limit:
//
//     HILOG_RATE_LIMITED(IPC_LOGW, "connection %{public}llu: bad frame", id);
//
// writes at most one such line per second, ending in
// " (41 similar lines suppressed)" when lines were held back since the last.
//
// Threads: the macro from any thread.
#ifndef PLATFORM_HILOG_LOG_RATE_LIMIT_H
#define PLATFORM_HILOG_LOG_RATE_LIMIT_H

#include <cstdint>
#include <string>

#include "rate_limited_count.h"

namespace OHOS::HiviewDFX {

// The end of a rate-limited line: empty, or " (N similar lines suppressed)".
inline std::string SuppressedNote(uint64_t suppressed)
{
    return suppressed == 0 ? std::string() : " (" + std::to_string(suppressed) + " similar lines suppressed)";
}

} // namespace OHOS::HiviewDFX

// logMacro(fmt, ...) at most once per second from this call site; fmt must be a
// string literal. The arguments are evaluated only when the line is written.
// Each line counts one; a line written carries the ones held back before it.
#define HILOG_RATE_LIMITED(logMacro, fmt, ...)                                                                     \
    do {                                                                                                           \
        static ::OHOS::RateLimitedCount hilogRateLimit_;                                                           \
        if (uint64_t hilogLines_ = hilogRateLimit_.Add(1)) {                                                       \
            logMacro(fmt "%{public}s", ##__VA_ARGS__, ::OHOS::HiviewDFX::SuppressedNote(hilogLines_ - 1).c_str()); \
        }                                                                                                          \
    } while (0)

#endif // PLATFORM_HILOG_LOG_RATE_LIMIT_H
