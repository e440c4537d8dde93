// The one rate limiter of every warning that a peer, a flood or a slow
// follower can repeat without end. It counts events and says when to report
// them: at once the first time, then at most once per interval, each report
// carrying everything counted since the previous one, so nothing counted is
// lost and no more than one report leaves per interval.
//
// A warning about n dropped records counts n (Add(n)); a log line counts
// itself (HILOG_RATE_LIMITED in hilog/log_rate_limit.h, whose line then says
// how many similar ones were held back).
//
// Threads: every member from any thread.
#ifndef PLATFORM_UTILS_RATE_LIMITED_COUNT_H
#define PLATFORM_UTILS_RATE_LIMITED_COUNT_H

#include <chrono>
#include <cstdint>
#include <mutex>

namespace OHOS {

class RateLimitedCount {
public:
    using Clock = std::chrono::steady_clock;

    explicit RateLimitedCount(Clock::duration interval = std::chrono::seconds(1)) : interval_(interval) {}

    // Counts n more events (0 only asks). Returns the count to report now,
    // which starts a new interval, or 0 while the interval has not passed or
    // nothing was counted. The clock is read only when there is something to
    // report: asking with nothing counted, as every publish does, costs no
    // clock read.
    uint64_t Add(uint64_t n)
    {
        return AddAt(n, [] { return Clock::now(); });
    }
    // The same at the time now.
    uint64_t Add(uint64_t n, Clock::time_point now)
    {
        return AddAt(n, [now] { return now; });
    }

    // Counted and not reported yet.
    uint64_t Pending() const
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return pending_;
    }

private:
    template <typename Now>
    uint64_t AddAt(uint64_t n, Now readNow)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        pending_ += n;
        if (pending_ == 0) {
            return 0;
        }
        const Clock::time_point now = readNow();
        if (reported_ && now - lastReport_ < interval_) {
            return 0;
        }
        uint64_t due = pending_;
        pending_ = 0;
        lastReport_ = now;
        reported_ = true;
        return due;
    }

    const Clock::duration interval_;
    mutable std::mutex mutex_; // guards what follows
    uint64_t pending_ = 0;
    Clock::time_point lastReport_{};
    bool reported_ = false;
};

} // namespace OHOS

#endif // PLATFORM_UTILS_RATE_LIMITED_COUNT_H
