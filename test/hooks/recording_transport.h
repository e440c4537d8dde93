// A transport in front of the client's own, for tests: it counts and records
// each call, answers a forced result instead of passing the call on, and
// keeps the listeners and callbacks it passed on, so that tests can call them
// as the service would.
//
// Threads: every member from any thread.
#ifndef TEST_HOOKS_RECORDING_TRANSPORT_H
#define TEST_HOOKS_RECORDING_TRANSPORT_H

#include <array>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "nav_info_test_hooks.h"
#include "nav_info_transport.h"

namespace OHOS::NavigationInfoService::TestHooks {

class RecordingTransport : public NavInfoTransport {
public:
    // Passes calls on to target, which must outlive it.
    explicit RecordingTransport(NavInfoTransport& target) : target_(&target) {}

    // From now on passes calls on to target instead; keeps it, and keeps the
    // previous one usable for calls under way.
    void Retarget(std::unique_ptr<NavInfoTransport> target);

    int32_t UpdateNavigationStatus(NavigationStatus status) override;
    int32_t UpdateNavigationMetadata(NavigationMetadata metadata) override;
    int32_t RegisterSystemNavigationListener(sptr<ISystemNavigationListener> listener) override;
    int32_t UnRegisterSystemNavigationListener() override;
    int32_t GetNavigationStatus(const std::string& bundleName, NavigationStatus& status) override;
    int32_t RegisterNavigationStatusListener(const std::string& bundleName,
        sptr<INavigationStatusListener> listener) override;
    int32_t UnRegisterNavigationStatusListener(const std::string& bundleName) override;
    int32_t RegisterNavigationMetadataListener(const std::string& bundleName,
        sptr<INavigationMetadataListener> listener) override;
    int32_t UnRegisterNavigationMetadataListener(const std::string& bundleName) override;
    int32_t QueryNavigationInfo(const std::string& bundleName, QueryType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) override;
    int32_t SendNavigationCmd(const std::string& bundleName, CommandType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) override;
    bool IsServiceConnected() const override { return Target().IsServiceConnected(); }
    int32_t InspectService(ServiceSnapshot& snapshot) override { return Target().InspectService(snapshot); }

    void ForceResult(Operation op, int32_t result);
    void ClearForcedResults();
    uint64_t CallCount(Operation op);
    void ResetCounts();
    bool LastStatus(NavigationStatus& status);
    bool LastMetadata(NavigationMetadata& metadata);
    bool LastRequest(Operation op, RequestRecord& record);
    sptr<IMapCallback> LastCallback(Operation op);

    // The listeners registered with a successful result (forced or not) and
    // not unregistered since.
    sptr<INavigationStatusListener> StatusListener(const std::string& bundleName);
    sptr<INavigationMetadataListener> MetadataListener(const std::string& bundleName);
    sptr<ISystemNavigationListener> SystemListener();
    void ForgetListeners();

private:
    static constexpr size_t OPERATION_COUNT = static_cast<size_t>(Operation::COUNT);
    struct PerOperation {
        std::optional<int32_t> forced;
        uint64_t calls = 0;
        std::optional<RequestRecord> last;
        sptr<IMapCallback> lastCallback;
    };

    NavInfoTransport& Target() const { return *target_.load(std::memory_order_acquire); }
    // Counts the call, keeps its arguments, and returns the forced result, if any.
    std::optional<int32_t> Record(Operation op, RequestRecord record, sptr<IMapCallback> callback = nullptr);
    // The forced result of op, or what call() returns.
    template <typename Call>
    int32_t ForcedOr(std::optional<int32_t> forced, Call&& call)
    {
        return forced ? *forced : call(Target());
    }
    template <typename Listener>
    void Track(std::map<std::string, sptr<Listener>>& listeners, const std::string& bundleName,
        sptr<Listener> listener);

    std::atomic<NavInfoTransport*> target_;
    std::mutex mutex_;                                       // guards every field below
    std::vector<std::unique_ptr<NavInfoTransport>> targets_; // every target given to Retarget
    std::array<PerOperation, OPERATION_COUNT> operations_;
    std::optional<NavigationStatus> lastStatus_;
    std::optional<NavigationMetadata> lastMetadata_;
    std::map<std::string, sptr<INavigationStatusListener>> statusListeners_;
    std::map<std::string, sptr<INavigationMetadataListener>> metadataListeners_;
    sptr<ISystemNavigationListener> systemListener_;
};

} // namespace OHOS::NavigationInfoService::TestHooks

#endif // TEST_HOOKS_RECORDING_TRANSPORT_H
