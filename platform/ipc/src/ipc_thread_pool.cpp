#include "ipc_thread_pool.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include "hilog/log.h"
#include "ipc_limits.h"
#include "ipc_log.h"

namespace OHOS {

// Shared by the pool object and its threads, so that a thread that ends up
// destroying the pool (by dropping the last reference inside a task) can
// still finish its loop safely.
struct IpcThreadPool::State {
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<std::function<void()>> tasks; // guarded by mutex
    bool stopping = false;                   // guarded by mutex
    std::vector<std::thread> threads;        // written by Create and ~IpcThreadPool only
    std::string name;
};

namespace {

void WorkerLoop(const std::shared_ptr<IpcThreadPool::State>& state)
{
    for (;;) {
        std::function<void()> task;
        {
            std::unique_lock<std::mutex> lock(state->mutex);
            state->wake.wait(lock, [&] { return state->stopping || !state->tasks.empty(); });
            if (state->stopping) {
                return;
            }
            task = std::move(state->tasks.front());
            state->tasks.pop_front();
        }
        try {
            task();
        } catch (const std::exception& e) {
            IPC_LOGE("pool %{public}s: task threw: %{public}s", state->name.c_str(), e.what());
        } catch (...) {
            IPC_LOGE("pool %{public}s: task threw", state->name.c_str());
        }
        task = nullptr; // destroy captured references outside the lock
    }
}

} // namespace

std::shared_ptr<IpcThreadPool> IpcThreadPool::Create(size_t threads, const std::string& name)
{
    if (threads == 0) {
        threads = 1;
    }
    if (threads > kMaxPoolThreads) {
        threads = kMaxPoolThreads;
    }
    try {
        std::shared_ptr<IpcThreadPool> pool(new IpcThreadPool());
        pool->state_ = std::make_shared<State>();
        pool->state_->name = name;
        for (size_t i = 0; i < threads; ++i) {
            try {
                std::shared_ptr<State> state = pool->state_;
                pool->state_->threads.emplace_back([state] { WorkerLoop(state); });
            } catch (const std::exception& e) {
                IPC_LOGE("pool %{public}s: thread %{public}zu not started: %{public}s", name.c_str(), i, e.what());
                break;
            }
        }
        if (pool->state_->threads.empty()) {
            return nullptr;
        }
        return pool;
    } catch (...) {
        return nullptr;
    }
}

IpcThreadPool::~IpcThreadPool()
{
    if (!state_) {
        return;
    }
    std::deque<std::function<void()>> dropped;
    {
        std::lock_guard<std::mutex> lock(state_->mutex);
        state_->stopping = true;
        dropped.swap(state_->tasks);
    }
    state_->wake.notify_all();
    dropped.clear();
    for (std::thread& thread : state_->threads) {
        if (thread.get_id() == std::this_thread::get_id()) {
            thread.detach(); // the last reference went inside one of our tasks
        } else if (thread.joinable()) {
            thread.join();
        }
    }
}

bool IpcThreadPool::Submit(std::function<void()> task) noexcept
{
    try {
        std::lock_guard<std::mutex> lock(state_->mutex);
        if (state_->stopping || state_->tasks.size() >= kMaxPoolQueuedTasks) {
            return false;
        }
        state_->tasks.push_back(std::move(task));
    } catch (...) {
        return false;
    }
    state_->wake.notify_one();
    return true;
}

size_t IpcThreadPool::GetThreadCount() const
{
    return state_->threads.size();
}

bool IpcThreadPool::IsPoolThread() const
{
    for (const std::thread& thread : state_->threads) {
        if (thread.get_id() == std::this_thread::get_id()) {
            return true;
        }
    }
    return false;
}

} // namespace OHOS
