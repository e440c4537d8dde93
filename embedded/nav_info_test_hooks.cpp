// The exported test hooks: thin, exception-safe wrappers over the hook state,
// the embedded service and the IPC threads.
#include "nav_info_test_hooks.h"

#include <exception>

#include "access_policy.h"
#include "client_log.h"
#include "embedded_service.h"
#include "ipc_threads.h"
#include "test_hook_state.h"

namespace OHOS::NavigationInfoService::TestHooks {
namespace {

constexpr const char* OPERATION_NAMES[] = {
    "updateNavigationStatus",
    "updateNavigationMetadata",
    "registerSystemNavigationListener",
    "unRegisterSystemNavigationListener",
    "getNavigationStatus",
    "registerNavigationStatusListener",
    "unRegisterNavigationStatusListener",
    "registerNavigationMetadataListener",
    "unRegisterNavigationMetadataListener",
    "queryNavigationInfo",
    "sendNavigationCmd",
};
static_assert(sizeof(OPERATION_NAMES) / sizeof(OPERATION_NAMES[0]) == static_cast<size_t>(Operation::COUNT),
    "one name per operation");

bool Valid(Operation op)
{
    return static_cast<int32_t>(op) >= 0 && op < Operation::COUNT;
}

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

// Records every answer under its request id.
class RecordingMapCallback : public MapCallback {
public:
    explicit RecordingMapCallback(int64_t id) : id_(id) {}
    void Callback(ResultData data) override { TestHookState::ForHooks().RecordAnswer(id_, std::move(data)); }

private:
    const int64_t id_;
};

enum class RequestKind { QUERY, COMMAND };

int64_t FireRequest(RequestKind kind, int32_t type, const AAFwk::WantParams& params)
{
    sptr<ISystemNavigationListener> listener = TestHookState::ForHooks().SystemListener();
    if (listener == nullptr) {
        return -1;
    }
    const int64_t id = TestHookState::ForHooks().NextAnswerId();
    sptr<IMapCallback> callback = new RecordingMapCallback(id);
    bool posted = IpcThreads()->Post(listener.GetRefPtr(), [kind, listener, type, params, callback] {
        if (kind == RequestKind::QUERY) {
            listener->OnQueryNavigationInfo(static_cast<QueryType>(type), params, callback);
        } else {
            listener->OnReceiveNavigationCmd(static_cast<CommandType>(type), params, callback);
        }
    });
    return posted ? id : -1;
}

} // namespace

const char* OperationName(Operation op) noexcept
{
    return Valid(op) ? OPERATION_NAMES[static_cast<size_t>(op)] : "unknown";
}

bool OperationFromName(const std::string& name, Operation& op) noexcept
{
    for (size_t i = 0; i < static_cast<size_t>(Operation::COUNT); ++i) {
        if (name == OPERATION_NAMES[i]) {
            op = static_cast<Operation>(i);
            return true;
        }
    }
    return false;
}

void Enable() noexcept
{
    TestHookState::ForHooks();
}

void ForceResult(Operation op, int32_t result) noexcept
{
    if (Valid(op)) {
        TestHookState::ForHooks().ForceResult(op, result);
    }
}

void ClearForcedResults() noexcept
{
    TestHookState::ForHooks().ClearForcedResults();
}

uint64_t CallCount(Operation op) noexcept
{
    return Valid(op) ? TestHookState::ForHooks().CallCount(op) : 0;
}

void ResetCounts() noexcept
{
    TestHookState::ForHooks().ResetCounts();
}

bool LastStatus(NavigationStatus& status) noexcept
{
    return Guarded(__func__, false, [&] { return TestHookState::ForHooks().LastStatus(status); });
}

bool LastMetadata(NavigationMetadata& metadata) noexcept
{
    return Guarded(__func__, false, [&] { return TestHookState::ForHooks().LastMetadata(metadata); });
}

bool LastRequest(Operation op, RequestRecord& record) noexcept
{
    return Valid(op) && Guarded(__func__, false, [&] { return TestHookState::ForHooks().LastRequest(op, record); });
}

void SetBundleName(const std::string& bundleName) noexcept
{
    Guarded(__func__, 0, [&] {
        EmbeddedService::Instance().SetBundleName(bundleName);
        return 0;
    });
}

void SetPolicy(const std::map<std::string, BundlePolicy>& bundles) noexcept
{
    Guarded(__func__, 0, [&] {
        std::map<std::string, BundleAccess> rules;
        for (const auto& entry : bundles) {
            BundleAccess access;
            access.systemApp = entry.second.systemApp;
            access.navigationPermission = entry.second.navigationPermission;
            rules.emplace(entry.first, std::move(access));
        }
        EmbeddedService::Instance().SetAccessPolicy(std::make_shared<const RuleAccessPolicy>(true, std::move(rules)));
        return 0;
    });
}

void SetPolicyAllowAll() noexcept
{
    Guarded(__func__, 0, [] {
        EmbeddedService::Instance().SetAccessPolicy(RuleAccessPolicy::AllowAll());
        return 0;
    });
}

void SetRequestTimeoutMs(int64_t milliseconds) noexcept
{
    Guarded(__func__, 0, [&] {
        EmbeddedService::Instance().SetRequestTimeout(std::chrono::milliseconds(milliseconds < 0 ? 0 : milliseconds));
        return 0;
    });
}

void ResetService() noexcept
{
    Guarded(__func__, 0, [] {
        EmbeddedService::Instance().Reset();
        TestHookState::ForHooks().ForgetListenersAndAnswers();
        return 0;
    });
}

size_t FireStatusChanged(const std::string& bundleName, const NavigationStatus& status) noexcept
{
    return Guarded(__func__, size_t(0), [&]() -> size_t {
        sptr<INavigationStatusListener> listener = TestHookState::ForHooks().StatusListener(bundleName);
        if (listener == nullptr) {
            return 0;
        }
        return IpcThreads()->Post(listener.GetRefPtr(),
            [listener, status, bundleName] { listener->OnStatusChanged(status, bundleName); }) ? 1 : 0;
    });
}

size_t FireMetadataChanged(const std::string& bundleName, const NavigationMetadata& metadata) noexcept
{
    return Guarded(__func__, size_t(0), [&]() -> size_t {
        sptr<INavigationMetadataListener> listener = TestHookState::ForHooks().MetadataListener(bundleName);
        if (listener == nullptr) {
            return 0;
        }
        return IpcThreads()->Post(listener.GetRefPtr(),
            [listener, metadata, bundleName] { listener->OnMetadataChanged(metadata, bundleName); }) ? 1 : 0;
    });
}

int64_t FireQuery(int32_t type, const AAFwk::WantParams& params) noexcept
{
    return Guarded(__func__, int64_t(-1), [&] { return FireRequest(RequestKind::QUERY, type, params); });
}

int64_t FireCommand(int32_t type, const AAFwk::WantParams& params) noexcept
{
    return Guarded(__func__, int64_t(-1), [&] { return FireRequest(RequestKind::COMMAND, type, params); });
}

std::vector<RecordedAnswer> TakeAnswers() noexcept
{
    return Guarded(__func__, std::vector<RecordedAnswer>(), [] { return TestHookState::ForHooks().TakeAnswers(); });
}

bool CallLastCallbackTwice(Operation op, const ResultData& first, const ResultData& second) noexcept
{
    if (op != Operation::QUERY_NAVIGATION_INFO && op != Operation::SEND_NAVIGATION_CMD) {
        return false;
    }
    return Guarded(__func__, false, [&] {
        sptr<IMapCallback> callback = TestHookState::ForHooks().LastCallback(op);
        if (callback == nullptr) {
            return false;
        }
        return IpcThreads()->Post(callback.GetRefPtr(), [callback, first, second] {
            callback->Callback(first);
            callback->Callback(second);
        });
    });
}

} // namespace OHOS::NavigationInfoService::TestHooks
