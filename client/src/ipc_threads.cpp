#include "ipc_threads.h"

namespace OHOS::NavigationInfoService {

std::shared_ptr<WorkerPool> IpcThreads()
{
    // Deliberately leaked: see the header.
    static auto* const pool = new std::shared_ptr<WorkerPool>(std::make_shared<WorkerPool>(IPC_THREAD_COUNT));
    return *pool;
}

} // namespace OHOS::NavigationInfoService
