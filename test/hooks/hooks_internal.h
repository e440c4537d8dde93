// What the hook files share: the process's recording transport, the answer
// log, and the guard that keeps exceptions inside the hooks.
#ifndef TEST_HOOKS_HOOKS_INTERNAL_H
#define TEST_HOOKS_HOOKS_INTERNAL_H

#include <exception>

#include "client_log.h"
#include "recording_transport.h"

namespace OHOS::NavigationInfoService::TestHooks {

// Installed in front of the client's transport at first use; never destroyed.
RecordingTransport& Recorder();
// Forgets the answers FireQuery and FireCommand recorded.
void ForgetAnswers();

template <typename Result, typename Body>
Result Guarded(const char* hook, Result fallback, Body&& body) noexcept
{
    try {
        return body();
    } catch (const std::exception& e) {
        CLIENT_LOGE("test hook %{public}s failed: %{public}s", hook, e.what());
    } catch (...) {
        CLIENT_LOGE("test hook %{public}s failed", hook);
    }
    return fallback;
}

} // namespace OHOS::NavigationInfoService::TestHooks

#endif // TEST_HOOKS_HOOKS_INTERNAL_H
