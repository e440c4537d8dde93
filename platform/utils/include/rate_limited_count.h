// Counts an event that may repeat often and says when to report it: at once
// the first time, then at most once per interval, each report carrying what
// was counted since the previous one. So a flood of the same warning becomes
// one log line per interval with a count.
//
// Threads: not synchronized; the owner guards it.
#ifndef PLATFORM_UTILS_RATE_LIMITED_COUNT_H
#define PLATFORM_UTILS_RATE_LIMITED_COUNT_H

#include <chrono>
#include <cstdint>

namespace OHOS {

class RateLimitedCount {
public:
    using Clock = std::chrono::steady_clock;

    explicit RateLimitedCount(Clock::duration interval = std::chrono::seconds(1)) : interval_(interval) {}

    // Counts n more events (0 only asks). Returns the count to report now,
    // which starts a new interval, or 0 while the interval has not passed or
    // nothing was counted.
    uint64_t Add(uint64_t n, Clock::time_point now = Clock::now())
    {
        pending_ += n;
        if (pending_ == 0 || (reported_ && now - lastReport_ < interval_)) {
            return 0;
        }
        uint64_t due = pending_;
        pending_ = 0;
        lastReport_ = now;
        reported_ = true;
        return due;
    }

    // Counted and not reported yet.
    uint64_t Pending() const { return pending_; }

private:
    const Clock::duration interval_;
    uint64_t pending_ = 0;
    Clock::time_point lastReport_ {};
    bool reported_ = false;
};

} // namespace OHOS

#endif // PLATFORM_UTILS_RATE_LIMITED_COUNT_H
