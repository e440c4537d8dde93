#include "backoff_retrier.h"

#include <algorithm>
#include <cstdlib>
#include <exception>

#include "client_log.h"

namespace OHOS::NavigationInfoService {

std::chrono::milliseconds RefusalRetryBase()
{
    constexpr long kDefaultMs = 1000;
    constexpr long kMinMs = 10;
    constexpr long kMaxMs = 60000;
    const char* text = std::getenv("NAVINFO_REFUSAL_RETRY_MS");
    if (text == nullptr || *text == '\0') {
        return std::chrono::milliseconds(kDefaultMs);
    }
    char* end = nullptr;
    long value = std::strtol(text, &end, 10);
    if (*end != '\0' || value < kMinMs || value > kMaxMs) {
        CLIENT_LOGW("NAVINFO_REFUSAL_RETRY_MS=%{public}s is not %{public}ld to %{public}ld: using %{public}ld", text,
            kMinMs, kMaxMs, kDefaultMs);
        return std::chrono::milliseconds(kDefaultMs);
    }
    return std::chrono::milliseconds(value);
}

BackoffRetrier::BackoffRetrier(std::chrono::milliseconds base, std::function<bool()> attempt)
    : base_(base),
      attempt_(std::move(attempt)),
      delay_(base)
{
}

BackoffRetrier::~BackoffRetrier()
{
    Stop();
}

void BackoffRetrier::ArmLocked(bool fromBase)
{
    if (stopping_) {
        return;
    }
    if (fromBase || !armed_) {
        delay_ = base_;
        next_ = Clock::now() + delay_;
    }
    armed_ = true;
    scheduledDuringAttempt_ = true;
    if (started_) {
        return;
    }
    started_ = true;
    try {
        thread_ = std::thread([this] { Run(); });
    } catch (const std::exception& e) {
        CLIENT_LOGW(
            "no retry thread for refused registrations (%{public}s): they are tried at the next connection only",
            e.what());
    }
}

void BackoffRetrier::Schedule() noexcept
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ArmLocked(false);
    }
    wake_.notify_all();
}

void BackoffRetrier::Restart() noexcept
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ArmLocked(true);
    }
    wake_.notify_all();
}

void BackoffRetrier::Stop() noexcept
{
    std::thread thread;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        thread = std::move(thread_);
    }
    wake_.notify_all();
    if (!thread.joinable()) {
        return;
    }
    if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach();
    } else {
        thread.join();
    }
}

void BackoffRetrier::Run()
{
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
        if (!armed_) {
            wake_.wait(lock);
            continue;
        }
        if (Clock::now() < next_) {
            wake_.wait_until(lock, next_);
            continue;
        }
        scheduledDuringAttempt_ = false;
        lock.unlock();
        bool more = false;
        try {
            more = attempt_();
        } catch (const std::exception& e) {
            CLIENT_LOGE("retrying refused registrations failed: %{public}s", e.what());
            more = true;
        } catch (...) {
            more = true;
        }
        lock.lock();
        if (!more && !scheduledDuringAttempt_) {
            armed_ = false;
            continue;
        }
        if (!more) {
            continue; // a refusal came in while the attempt ran: its schedule stands
        }
        delay_ = std::min(delay_ * 2, base_ * kMaxFactor);
        next_ = Clock::now() + delay_;
    }
}

} // namespace OHOS::NavigationInfoService
