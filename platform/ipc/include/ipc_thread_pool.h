// A fixed set of IPC threads that run incoming transactions. A server shares
// one pool among its connections; a client connection has its own unless the
// caller passes one.
//
// Threads: every member function may be called from any thread, including a
// pool thread. Tasks run outside the pool's lock; an exception a task throws
// is caught and logged.
#ifndef PLATFORM_IPC_IPC_THREAD_POOL_H
#define PLATFORM_IPC_IPC_THREAD_POOL_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace OHOS {

class IpcThreadPool {
public:
    // Starts up to `threads` threads (1..kMaxPoolThreads). Null if not even
    // one thread could be started. Never throws.
    static std::shared_ptr<IpcThreadPool> Create(size_t threads, const std::string& name);

    // Stops the pool: queued tasks that have not started are dropped, running
    // ones finish. Joins every pool thread except the calling one.
    ~IpcThreadPool();
    IpcThreadPool(const IpcThreadPool&) = delete;
    IpcThreadPool& operator=(const IpcThreadPool&) = delete;

    // Queues a task; false when the queue holds kMaxPoolQueuedTasks, the pool
    // is stopping, or memory ran out.
    bool Submit(std::function<void()> task) noexcept;
    size_t GetThreadCount() const;
    // True on a thread of this pool.
    bool IsPoolThread() const;

    struct State;

private:
    IpcThreadPool() = default;
    std::shared_ptr<State> state_;
};

} // namespace OHOS

#endif // PLATFORM_IPC_IPC_THREAD_POOL_H
