// One thread that calls a handler with an id when that id's deadline passes:
// the time-outs of all outstanding requests cost this single thread.
#ifndef SERVICE_DEADLINE_TIMER_H
#define SERVICE_DEADLINE_TIMER_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <thread>
#include <unordered_map>
#include <utility>

#include "thread_starter.h"

namespace OHOS::NavigationInfoService {

class DeadlineTimer {
public:
    using Clock = std::chrono::steady_clock;
    // Called on the timer's thread, without the timer's lock held, once per
    // expired id that was not cancelled before its deadline.
    using Handler = std::function<void(uint64_t id)>;

    explicit DeadlineTimer(Handler handler, ThreadStarter starter = DefaultThreadStarter());
    ~DeadlineTimer(); // Stop()
    DeadlineTimer(const DeadlineTimer&) = delete;
    DeadlineTimer& operator=(const DeadlineTimer&) = delete;

    // Any thread. Starts the thread if it is not running; false when it
    // cannot be created (then Schedule would never fire). Never throws.
    bool EnsureStarted() noexcept;
    // Any thread; may be called with a lock held that the handler also takes,
    // since the handler never runs under the timer's lock. Rescheduling an id
    // moves its deadline.
    void Schedule(uint64_t id, Clock::time_point deadline);
    // Any thread. True when the id was scheduled and had not fired yet.
    bool Cancel(uint64_t id);
    // Drops everything scheduled.
    void CancelAll();
    // Any thread but the handler's: cancels everything and joins the thread.
    // A handler call in progress finishes first. The timer can be started again.
    void Stop();
    size_t ScheduledCount() const;

private:
    void Loop();

    const Handler handler_;
    const ThreadStarter starter_;
    mutable std::mutex mutex_; // guards the fields below
    std::condition_variable wake_;
    std::set<std::pair<Clock::time_point, uint64_t>> queue_; // ordered by deadline
    std::unordered_map<uint64_t, Clock::time_point> deadlines_;
    std::thread thread_;
    bool running_ = false;
    bool stopping_ = false;
    // What the thread sleeps until (max: until woken). Scheduling a later
    // deadline, or cancelling, needs no wake-up: the thread wakes at the
    // earlier time at the latest and looks again.
    Clock::time_point sleepingUntil_ = Clock::time_point::max();
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DEADLINE_TIMER_H
