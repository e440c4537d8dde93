#include "thread_starter.h"

namespace OHOS::NavigationInfoService {

ThreadStarter DefaultThreadStarter()
{
    return [](std::function<void()> body) { return std::thread(std::move(body)); };
}

} // namespace OHOS::NavigationInfoService
