// The client library's IPC threads: the process-wide pool on which listeners
// and callbacks are called.
#ifndef CLIENT_IPC_THREADS_H
#define CLIENT_IPC_THREADS_H

#include <memory>

#include "worker_pool.h"

namespace OHOS::NavigationInfoService {

constexpr size_t IPC_THREAD_COUNT = 4;

// Any thread. Never null. Created at first use (may throw std::bad_alloc
// then) and never destroyed, so that no thread is joined during process exit;
// its threads start when the first task is posted.
std::shared_ptr<WorkerPool> IpcThreads();

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_IPC_THREADS_H
