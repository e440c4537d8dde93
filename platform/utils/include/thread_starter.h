// How the service's helpers start their threads. Replaceable so that tests
// can make thread creation fail on purpose.
#ifndef PLATFORM_UTILS_THREAD_STARTER_H
#define PLATFORM_UTILS_THREAD_STARTER_H

#include <functional>
#include <thread>

namespace OHOS::NavigationInfoService {

// Starts a thread running body; may throw (std::system_error, std::bad_alloc)
// when the thread cannot be created, like the std::thread constructor.
using ThreadStarter = std::function<std::thread(std::function<void()> body)>;

ThreadStarter DefaultThreadStarter();

} // namespace OHOS::NavigationInfoService

#endif // PLATFORM_UTILS_THREAD_STARTER_H
