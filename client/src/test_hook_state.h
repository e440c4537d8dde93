// What the test hooks force and record, and what NavInfoClient tells them.
// One process-wide object; every field is guarded by its mutex.
#ifndef CLIENT_TEST_HOOK_STATE_H
#define CLIENT_TEST_HOOK_STATE_H

#include <array>
#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "nav_info_test_hooks.h"
#include "navigation_listeners.h"

namespace OHOS::NavigationInfoService {

class TestHookState {
public:
    using Operation = TestHooks::Operation;
    static constexpr size_t OPERATION_COUNT = static_cast<size_t>(Operation::COUNT);

    // Any thread. Created at first use and never destroyed.
    static TestHookState& Instance();
    // The state as the test hooks use it: from their first use on, the
    // client records its calls. A process that never uses them (every
    // application) pays nothing beyond one flag read per call.
    static TestHookState& ForHooks();

    // Called by NavInfoClient at the start of each operation: counts the call,
    // keeps its arguments, and returns the forced result, if any.
    std::optional<int32_t> OnCall(Operation op, const TestHooks::RequestRecord& record,
        sptr<IMapCallback> callback = nullptr);
    std::optional<int32_t> OnStatusCall(const NavigationStatus& status);
    std::optional<int32_t> OnMetadataCall(const NavigationMetadata& metadata);

    // Called by NavInfoClient after a successful (un)registration; null removes.
    void TrackStatusListener(const std::string& bundleName, sptr<INavigationStatusListener> listener);
    void TrackMetadataListener(const std::string& bundleName, sptr<INavigationMetadataListener> listener);
    void TrackSystemListener(sptr<ISystemNavigationListener> listener);

    void ForceResult(Operation op, int32_t result);
    void ClearForcedResults();
    uint64_t CallCount(Operation op);
    void ResetCounts();
    bool LastStatus(NavigationStatus& status);
    bool LastMetadata(NavigationMetadata& metadata);
    bool LastRequest(Operation op, TestHooks::RequestRecord& record);
    sptr<IMapCallback> LastCallback(Operation op);

    sptr<INavigationStatusListener> StatusListener(const std::string& bundleName);
    sptr<INavigationMetadataListener> MetadataListener(const std::string& bundleName);
    sptr<ISystemNavigationListener> SystemListener();
    void ForgetListenersAndAnswers();

    int64_t NextAnswerId();
    void RecordAnswer(int64_t id, ResultData data);
    std::vector<TestHooks::RecordedAnswer> TakeAnswers();

private:
    TestHookState() = default;
    struct PerOperation {
        std::optional<int32_t> forced;
        uint64_t calls = 0;
        std::optional<TestHooks::RequestRecord> last;
        sptr<IMapCallback> lastCallback;
    };

    std::atomic<bool> active_{false}; // set by ForHooks, never cleared
    std::mutex mutex_; // guards every field below
    std::array<PerOperation, OPERATION_COUNT> operations_;
    std::optional<NavigationStatus> lastStatus_;
    std::optional<NavigationMetadata> lastMetadata_;
    std::map<std::string, sptr<INavigationStatusListener>> statusListeners_;
    std::map<std::string, sptr<INavigationMetadataListener>> metadataListeners_;
    sptr<ISystemNavigationListener> systemListener_;
    int64_t nextAnswerId_ = 1;
    std::vector<TestHooks::RecordedAnswer> answers_;
};

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_TEST_HOOK_STATE_H
