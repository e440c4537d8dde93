// Where the service core runs its calls of listeners and callbacks: never on
// the caller's stack while the core holds its lock. In-process this is the
// client library's pool of IPC threads; the daemon gives its own.
#ifndef PLATFORM_UTILS_EXECUTOR_H
#define PLATFORM_UTILS_EXECUTOR_H

#include <functional>

namespace OHOS::NavigationInfoService {

class Executor {
public:
    virtual ~Executor() = default;

    // Runs task later. Tasks posted with the same non-null orderKey run one at
    // a time, in the order they were posted (the core uses the listener's
    // address, so one listener sees its events in publishing order); tasks
    // with a null key run in any order. Returns false, without keeping the
    // task, when it cannot be run (no thread could be started). Never throws.
    // Any thread may call it, including a task of this executor.
    virtual bool Post(const void* orderKey, std::function<void()> task) noexcept = 0;
};

} // namespace OHOS::NavigationInfoService

#endif // PLATFORM_UTILS_EXECUTOR_H
