#include "worker_pool.h"

#include <exception>

#include "worker_log.h"

namespace OHOS::NavigationInfoService {
namespace {

thread_local WorkerPool::CallerRuns* t_callerRuns = nullptr;

} // namespace

WorkerPool::WorkerPool(size_t maxThreads, ThreadStarter starter)
    : maxThreads_(maxThreads == 0 ? 1 : maxThreads),
      starter_(std::move(starter))
{
}

WorkerPool::~WorkerPool()
{
    std::vector<std::thread> threads;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        threads.swap(threads_);
    }
    wake_.notify_all();
    for (auto& thread : threads) {
        if (thread.get_id() == std::this_thread::get_id()) {
            thread.detach(); // the pool is being destroyed by one of its own tasks
        } else if (thread.joinable()) {
            thread.join();
        }
    }
}

bool WorkerPool::StartThreadLocked() noexcept
{
    try {
        std::thread thread = starter_([this] {
            try {
                WorkerLoop();
            } catch (...) {
                WORKER_LOGE("a worker thread ended on an exception"); // only allocation can throw there
            }
        });
        threads_.push_back(std::move(thread));
        return true;
    } catch (const std::exception& e) {
        WORKER_LOGE("cannot start a worker thread (%{public}zu running): %{public}s", threads_.size(), e.what());
    } catch (...) {
        WORKER_LOGE("cannot start a worker thread (%{public}zu running)", threads_.size());
    }
    return false;
}

bool WorkerPool::Post(const void* orderKey, std::function<void()> task) noexcept
{
    if (!task) {
        return false;
    }
    try {
        std::unique_lock<std::mutex> lock(mutex_);
        if (stopping_) {
            return false;
        }
        CallerRuns* caller = t_callerRuns;
        if (caller != nullptr && &caller->pool_ == this && caller->tasks_.size() < caller->maxKept_ &&
            (orderKey == nullptr || keyed_.find(orderKey) == keyed_.end())) {
            caller->tasks_.emplace_back(orderKey, std::move(task));
            if (orderKey != nullptr) {
                try {
                    keyed_.emplace(orderKey, std::deque<std::function<void()>>());
                } catch (...) {
                    caller->tasks_.pop_back();
                    throw;
                }
            }
            return true;
        }
        if (idle_ == 0 && threads_.size() < maxThreads_) {
            // A failure here is fine while another thread exists to run the task.
            (void)StartThreadLocked();
        }
        if (threads_.empty()) {
            return false;
        }
        if (orderKey == nullptr) {
            ready_.push_back({nullptr, std::move(task)});
        } else {
            auto found = keyed_.find(orderKey);
            if (found != keyed_.end()) {
                found->second.push_back(std::move(task)); // runs after the key's earlier task
                return true;
            }
            keyed_.emplace(orderKey, std::deque<std::function<void()>>());
            ready_.push_back({orderKey, std::move(task)});
        }
        lock.unlock();
        wake_.notify_one();
        return true;
    } catch (const std::exception& e) {
        WORKER_LOGE("cannot queue a task: %{public}s", e.what());
        return false;
    }
}

size_t WorkerPool::ThreadCount() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return threads_.size();
}

void WorkerPool::WorkerLoop()
{
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        ++idle_;
        wake_.wait(lock, [this] { return stopping_ || !ready_.empty(); });
        --idle_;
        if (ready_.empty()) {
            return; // stopping and drained
        }
        Item item = std::move(ready_.front());
        ready_.pop_front();
        lock.unlock();
        RunTask(item.task);
        item.task = nullptr; // release what the task held before taking the lock again
        lock.lock();
        if (item.key != nullptr) {
            (void)FinishKeyLocked(item.key);
        }
    }
}

void WorkerPool::RunTask(std::function<void()>& task) noexcept
{
    try {
        task();
    } catch (const std::exception& e) {
        WORKER_LOGE("a task threw: %{public}s", e.what());
    } catch (...) {
        WORKER_LOGE("a task threw");
    }
}

bool WorkerPool::FinishKeyLocked(const void* key)
{
    auto found = keyed_.find(key);
    if (found == keyed_.end()) {
        return false;
    }
    if (found->second.empty()) {
        keyed_.erase(found);
        return false;
    }
    ready_.push_back({key, std::move(found->second.front())});
    found->second.pop_front();
    return true;
}

WorkerPool::CallerRuns::CallerRuns(WorkerPool& pool, size_t maxKept) noexcept
    : pool_(pool),
      maxKept_(maxKept),
      outer_(t_callerRuns)
{
    t_callerRuns = this;
}

WorkerPool::CallerRuns::~CallerRuns()
{
    t_callerRuns = outer_;
    for (auto& [key, task] : tasks_) {
        RunTask(task);
        task = nullptr; // release what the task held before taking the lock
        if (key == nullptr) {
            continue;
        }
        std::unique_lock<std::mutex> lock(pool_.mutex_);
        if (!pool_.FinishKeyLocked(key)) {
            continue;
        }
        // The key's next task was posted by another thread meanwhile (which
        // found a worker thread to take it): a worker runs it.
        if (pool_.idle_ == 0 && pool_.threads_.size() < pool_.maxThreads_) {
            (void)pool_.StartThreadLocked();
        }
        lock.unlock();
        pool_.wake_.notify_one();
    }
}

} // namespace OHOS::NavigationInfoService
