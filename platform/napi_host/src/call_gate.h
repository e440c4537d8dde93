// CallGate: lets any number of threads be inside calls on one object at once,
// and lets one thread shut the object: Close() waits until every thread that
// entered has left, and every Enter() after it fails. A thread inside may wait
// for a while in the gate (WaitInside), and Close() cuts that wait short.
//
// napi_host puts one in front of each thread-safe function it tracks, so that
// the loop thread can mark the function dead before Node frees it while no
// other thread is still inside one of Node's calls on it.
#ifndef NAPI_HOST_CALL_GATE_H
#define NAPI_HOST_CALL_GATE_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace NapiHost {

class CallGate {
public:
    // Any thread. False once the gate is closed; on true, the caller must
    // call Leave() when its call is over.
    bool Enter()
    {
        std::lock_guard<std::mutex> lock(mu_);
        if (closed_) {
            return false;
        }
        ++inside_;
        return true;
    }

    // Any thread that entered.
    void Leave()
    {
        std::lock_guard<std::mutex> lock(mu_);
        if (--inside_ == 0 && closed_) {
            idle_.notify_all();
        }
    }

    // Any thread that entered. Waits up to timeout unless the gate closes;
    // false once it is closed.
    bool WaitInside(std::chrono::microseconds timeout)
    {
        std::unique_lock<std::mutex> lock(mu_);
        closing_.wait_for(lock, timeout, [this] { return closed_; });
        return !closed_;
    }

    // Any thread that is not inside. Idempotent. Wakes threads waiting inside,
    // then waits until every thread inside has left; so no thread may stay
    // inside for long other than through WaitInside.
    void Close()
    {
        std::unique_lock<std::mutex> lock(mu_);
        closed_ = true;
        closing_.notify_all();
        idle_.wait(lock, [this] { return inside_ == 0; });
    }

private:
    std::mutex mu_;
    std::condition_variable idle_;    // inside_ dropped to 0 after closing
    std::condition_variable closing_; // closed_ was set
    std::size_t inside_ = 0;          // guarded by mu_
    bool closed_ = false;             // guarded by mu_
};

// Enters a gate for one scope; entered() tells whether it got in.
class GateEntry {
public:
    explicit GateEntry(CallGate& gate) : gate_(gate), entered_(gate.Enter()) {}
    ~GateEntry()
    {
        if (entered_) {
            gate_.Leave();
        }
    }
    GateEntry(const GateEntry&) = delete;
    GateEntry& operator=(const GateEntry&) = delete;
    bool entered() const { return entered_; }

private:
    CallGate& gate_;
    bool entered_;
};

} // namespace NapiHost

#endif // NAPI_HOST_CALL_GATE_H
