// Runs an attempt again and again on its own thread, with back-off, until
// the attempt says there is nothing left to try: the first try `base` after
// Schedule, then after twice as long each time, up to 30 times base.
//
// The remote transport uses it for registrations the daemon refused (1005,
// 1015): a policy fixed at the daemon is picked up within 30 s without the
// application making a call.
//
// Threads: Schedule, Restart and Stop from any thread, also from within the
// attempt (Stop then does not wait for itself). The attempt runs on the
// retrier's thread with no lock of the retrier held. The thread starts at
// the first Schedule; if it cannot be started, Schedule logs it and nothing
// is retried (calls still register again as before).
#ifndef CLIENT_BACKOFF_RETRIER_H
#define CLIENT_BACKOFF_RETRIER_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace OHOS::NavigationInfoService {

// How long the back-off of refused registrations starts at: 1 s, or
// NAVINFO_REFUSAL_RETRY_MS (for tests and tuning; 10 to 60000 ms).
std::chrono::milliseconds RefusalRetryBase();

class BackoffRetrier {
public:
    // attempt: returns true while something is left to try.
    BackoffRetrier(std::chrono::milliseconds base, std::function<bool()> attempt);
    ~BackoffRetrier(); // Stop()
    BackoffRetrier(const BackoffRetrier&) = delete;
    BackoffRetrier& operator=(const BackoffRetrier&) = delete;

    // Something is to be tried again: unless a schedule runs already, the
    // next attempt comes `base` from now.
    void Schedule() noexcept;
    // As Schedule, but starts the back-off again from base (a new connection
    // has just tried everything once).
    void Restart() noexcept;
    // Stops the thread for good; waits for an attempt under way.
    void Stop() noexcept;

    static constexpr int kMaxFactor = 30;

private:
    using Clock = std::chrono::steady_clock;
    void Run();
    void ArmLocked(bool fromBase);

    const std::chrono::milliseconds base_;
    const std::function<bool()> attempt_;

    std::mutex mutex_; // guards every field below
    std::condition_variable wake_;
    bool armed_ = false;
    bool stopping_ = false;
    bool started_ = false;
    bool scheduledDuringAttempt_ = false; // Schedule/Restart came while an attempt ran
    std::chrono::milliseconds delay_;
    Clock::time_point next_{};
    std::thread thread_;
};

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_BACKOFF_RETRIER_H
