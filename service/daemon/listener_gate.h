// Calls that other code starts on its own threads (Cyclone's listeners)
// counted, so that an owner can shut them out before it tears down what
// they use: after Close returns, no call is inside and every later Enter
// fails.
//
// Threads: Enter and Leave from any thread; Close from the owner, not from inside a call.
#ifndef SERVICE_DAEMON_LISTENER_GATE_H
#define SERVICE_DAEMON_LISTENER_GATE_H

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace OHOS::NavigationInfoService {

class ListenerGate {
public:
    // False once Close has begun: the call must do nothing.
    bool Enter()
    {
        inside_.fetch_add(1);
        if (closed_.load()) {
            Leave();
            return false;
        }
        return true;
    }

    // After each Enter that returned true (and inside a failed one).
    void Leave()
    {
        if (inside_.fetch_sub(1) == 1 && closed_.load()) {
            std::lock_guard<std::mutex> lock(mutex_); // Close is waiting, or checks under it
            left_.notify_all();
        }
    }

    // Waits until the calls inside have left. Idempotent.
    void Close()
    {
        closed_.store(true);
        std::unique_lock<std::mutex> lock(mutex_);
        left_.wait(lock, [this] { return inside_.load() == 0; });
    }

private:
    std::atomic<int> inside_{0};
    std::atomic<bool> closed_{false};
    std::mutex mutex_;
    std::condition_variable left_;
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_LISTENER_GATE_H
