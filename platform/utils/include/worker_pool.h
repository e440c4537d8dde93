// A small pool of threads that runs posted tasks: the executor of the client
// library's IPC threads, reusable by the daemon.
//
// Threads start lazily, one more whenever a task is posted while none is idle,
// up to maxThreads. If a thread cannot be created the task still runs on the
// threads there are; only when there is none at all is Post refused. The
// queue is unbounded and Post never blocks on running tasks.
#ifndef PLATFORM_UTILS_WORKER_POOL_H
#define PLATFORM_UTILS_WORKER_POOL_H

#include <condition_variable>
#include <cstdint>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "executor.h"
#include "thread_starter.h"

namespace OHOS::NavigationInfoService {

class WorkerPool : public Executor {
public:
    explicit WorkerPool(size_t maxThreads, ThreadStarter starter = DefaultThreadStarter());
    // Runs the tasks still queued, then joins the threads. Must not be the
    // last owner dropped inside one of its own tasks (that thread is detached).
    ~WorkerPool() override;
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    // Any thread. A task that throws is logged and does not stop its thread.
    bool Post(const void* orderKey, std::function<void()> task) noexcept override;

    // Any thread: threads started so far.
    size_t ThreadCount() const;

    // While one is open on a thread, the tasks that thread posts to the pool
    // and that may run at once (no earlier task of their key waits or runs)
    // are kept aside, and run on that same thread when it closes, in the order
    // they were posted, instead of waking a worker. A thread that has just
    // handled a call and has nothing else to do saves a hand-over. Tasks they
    // post themselves go to the workers. Scopes do not nest; the pool must
    // outlive the scope. At most maxKept tasks are kept; later ones go to
    // the workers.
    class CallerRuns {
    public:
        explicit CallerRuns(WorkerPool& pool, size_t maxKept = SIZE_MAX) noexcept;
        ~CallerRuns();
        CallerRuns(const CallerRuns&) = delete;
        CallerRuns& operator=(const CallerRuns&) = delete;

    private:
        friend class WorkerPool;
        WorkerPool& pool_;
        const size_t maxKept_;
        CallerRuns* outer_;
        std::vector<std::pair<const void*, std::function<void()>>> tasks_;
    };

private:
    struct Item {
        const void* key;
        std::function<void()> task;
    };
    void WorkerLoop();
    // mutex_ held. False when no thread could be started.
    bool StartThreadLocked() noexcept;
    // mutex_ held: the task of key has finished; the key's next task, if
    // any, becomes ready. True when one did.
    bool FinishKeyLocked(const void* key);
    static void RunTask(std::function<void()>& task) noexcept;

    const size_t maxThreads_;
    const ThreadStarter starter_;
    mutable std::mutex mutex_; // guards every field below
    std::condition_variable wake_;
    std::deque<Item> ready_; // tasks free to run now
    // Keys with a task queued in ready_ or running; the value holds the later
    // tasks of that key, which wait until the earlier one finished.
    std::unordered_map<const void*, std::deque<std::function<void()>>> keyed_;
    std::vector<std::thread> threads_;
    size_t idle_ = 0;
    bool stopping_ = false;
};

} // namespace OHOS::NavigationInfoService

#endif // PLATFORM_UTILS_WORKER_POOL_H
