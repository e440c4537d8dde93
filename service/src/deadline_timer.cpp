#include "deadline_timer.h"

#include <exception>
#include <vector>

#include "service_log.h"

namespace OHOS::NavigationInfoService {

DeadlineTimer::DeadlineTimer(Handler handler, ThreadStarter starter)
    : handler_(std::move(handler)),
      starter_(std::move(starter))
{
}

DeadlineTimer::~DeadlineTimer()
{
    Stop();
}

bool DeadlineTimer::EnsureStarted() noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (running_) {
        return true;
    }
    try {
        stopping_ = false;
        thread_ = starter_([this] {
            try {
                Loop();
            } catch (...) {
                SERVICE_LOGE("the time-out thread ended on an exception"); // only allocation can throw there
            }
        });
        running_ = true;
        return true;
    } catch (const std::exception& e) {
        SERVICE_LOGE("cannot start the time-out thread: %{public}s", e.what());
    } catch (...) {
        SERVICE_LOGE("cannot start the time-out thread");
    }
    return false;
}

void DeadlineTimer::Schedule(uint64_t id, Clock::time_point deadline)
{
    bool earlier = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = deadlines_.find(id);
        if (found != deadlines_.end()) {
            queue_.erase({found->second, id});
            found->second = deadline;
        } else {
            deadlines_.emplace(id, deadline);
        }
        queue_.insert({deadline, id});
        earlier = deadline < sleepingUntil_;
    }
    if (earlier) {
        wake_.notify_one();
    }
}

bool DeadlineTimer::Cancel(uint64_t id)
{
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = deadlines_.find(id);
    if (found == deadlines_.end()) {
        return false;
    }
    queue_.erase({found->second, id});
    deadlines_.erase(found);
    return true;
}

void DeadlineTimer::CancelAll()
{
    std::lock_guard<std::mutex> lock(mutex_);
    queue_.clear();
    deadlines_.clear();
}

void DeadlineTimer::Stop()
{
    std::thread thread;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        queue_.clear();
        deadlines_.clear();
        if (!running_) {
            return;
        }
        stopping_ = true;
        running_ = false;
        thread = std::move(thread_);
    }
    wake_.notify_all();
    if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach(); // called from the handler; the loop sees stopping_ and ends
    } else if (thread.joinable()) {
        thread.join();
    }
}

size_t DeadlineTimer::ScheduledCount() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return deadlines_.size();
}

void DeadlineTimer::Loop()
{
    std::unique_lock<std::mutex> lock(mutex_);
    std::vector<uint64_t> expired;
    while (!stopping_) {
        if (queue_.empty()) {
            sleepingUntil_ = Clock::time_point::max();
            wake_.wait(lock);
            continue;
        }
        auto earliest = queue_.begin()->first;
        if (Clock::now() < earliest) {
            sleepingUntil_ = earliest;
            wake_.wait_until(lock, earliest);
            continue;
        }
        sleepingUntil_ = Clock::time_point::min(); // running: it looks again before sleeping
        auto now = Clock::now();
        while (!queue_.empty() && queue_.begin()->first <= now) {
            expired.push_back(queue_.begin()->second);
            deadlines_.erase(queue_.begin()->second);
            queue_.erase(queue_.begin());
        }
        lock.unlock();
        for (uint64_t id : expired) {
            try {
                handler_(id);
            } catch (const std::exception& e) {
                SERVICE_LOGE("time-out handler threw: %{public}s", e.what());
            } catch (...) {
                SERVICE_LOGE("time-out handler threw");
            }
        }
        expired.clear();
        lock.lock();
    }
}

} // namespace OHOS::NavigationInfoService
