#include "test_hook_state.h"

namespace OHOS::NavigationInfoService {

TestHookState& TestHookState::Instance()
{
    static TestHookState* const instance = new TestHookState(); // leaked: it holds callbacks of JS objects
    return *instance;
}

TestHookState& TestHookState::ForHooks()
{
    TestHookState& state = Instance();
    state.active_.store(true, std::memory_order_release);
    return state;
}

std::optional<int32_t> TestHookState::OnCall(Operation op, const TestHooks::RequestRecord& record,
    sptr<IMapCallback> callback)
{
    if (!active_.load(std::memory_order_acquire)) {
        return std::nullopt;
    }
    sptr<IMapCallback> previous; // released after the lock
    std::lock_guard<std::mutex> lock(mutex_);
    auto& entry = operations_[static_cast<size_t>(op)];
    ++entry.calls;
    entry.last = record;
    if (callback != nullptr) {
        previous = std::move(entry.lastCallback);
        entry.lastCallback = std::move(callback);
    }
    return entry.forced;
}

std::optional<int32_t> TestHookState::OnStatusCall(const NavigationStatus& status)
{
    if (!active_.load(std::memory_order_acquire)) {
        return std::nullopt;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        lastStatus_ = status;
    }
    return OnCall(Operation::UPDATE_NAVIGATION_STATUS, {});
}

std::optional<int32_t> TestHookState::OnMetadataCall(const NavigationMetadata& metadata)
{
    if (!active_.load(std::memory_order_acquire)) {
        return std::nullopt;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        lastMetadata_ = metadata;
    }
    return OnCall(Operation::UPDATE_NAVIGATION_METADATA, {});
}

void TestHookState::TrackStatusListener(const std::string& bundleName, sptr<INavigationStatusListener> listener)
{
    if (!active_.load(std::memory_order_acquire)) {
        return;
    }
    sptr<INavigationStatusListener> previous;
    std::lock_guard<std::mutex> lock(mutex_);
    if (listener == nullptr) {
        auto found = statusListeners_.find(bundleName);
        if (found != statusListeners_.end()) {
            previous = std::move(found->second);
            statusListeners_.erase(found);
        }
    } else {
        previous = std::move(statusListeners_[bundleName]);
        statusListeners_[bundleName] = std::move(listener);
    }
}

void TestHookState::TrackMetadataListener(const std::string& bundleName,
    sptr<INavigationMetadataListener> listener)
{
    if (!active_.load(std::memory_order_acquire)) {
        return;
    }
    sptr<INavigationMetadataListener> previous;
    std::lock_guard<std::mutex> lock(mutex_);
    if (listener == nullptr) {
        auto found = metadataListeners_.find(bundleName);
        if (found != metadataListeners_.end()) {
            previous = std::move(found->second);
            metadataListeners_.erase(found);
        }
    } else {
        previous = std::move(metadataListeners_[bundleName]);
        metadataListeners_[bundleName] = std::move(listener);
    }
}

void TestHookState::TrackSystemListener(sptr<ISystemNavigationListener> listener)
{
    if (!active_.load(std::memory_order_acquire)) {
        return;
    }
    sptr<ISystemNavigationListener> previous;
    std::lock_guard<std::mutex> lock(mutex_);
    previous = std::move(systemListener_);
    systemListener_ = std::move(listener);
}

void TestHookState::ForceResult(Operation op, int32_t result)
{
    std::lock_guard<std::mutex> lock(mutex_);
    operations_[static_cast<size_t>(op)].forced = result;
}

void TestHookState::ClearForcedResults()
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& entry : operations_) {
        entry.forced.reset();
    }
}

uint64_t TestHookState::CallCount(Operation op)
{
    std::lock_guard<std::mutex> lock(mutex_);
    return operations_[static_cast<size_t>(op)].calls;
}

void TestHookState::ResetCounts()
{
    std::vector<sptr<IMapCallback>> callbacks; // released after the lock
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& entry : operations_) {
        entry.calls = 0;
        entry.last.reset();
        callbacks.push_back(std::move(entry.lastCallback));
    }
    lastStatus_.reset();
    lastMetadata_.reset();
}

bool TestHookState::LastStatus(NavigationStatus& status)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (!lastStatus_) {
        return false;
    }
    status = *lastStatus_;
    return true;
}

bool TestHookState::LastMetadata(NavigationMetadata& metadata)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (!lastMetadata_) {
        return false;
    }
    metadata = *lastMetadata_;
    return true;
}

bool TestHookState::LastRequest(Operation op, TestHooks::RequestRecord& record)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const auto& last = operations_[static_cast<size_t>(op)].last;
    if (!last) {
        return false;
    }
    record = *last;
    return true;
}

sptr<IMapCallback> TestHookState::LastCallback(Operation op)
{
    std::lock_guard<std::mutex> lock(mutex_);
    return operations_[static_cast<size_t>(op)].lastCallback;
}

sptr<INavigationStatusListener> TestHookState::StatusListener(const std::string& bundleName)
{
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = statusListeners_.find(bundleName);
    return found == statusListeners_.end() ? nullptr : found->second;
}

sptr<INavigationMetadataListener> TestHookState::MetadataListener(const std::string& bundleName)
{
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = metadataListeners_.find(bundleName);
    return found == metadataListeners_.end() ? nullptr : found->second;
}

sptr<ISystemNavigationListener> TestHookState::SystemListener()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return systemListener_;
}

void TestHookState::ForgetListenersAndAnswers()
{
    std::map<std::string, sptr<INavigationStatusListener>> statusListeners;
    std::map<std::string, sptr<INavigationMetadataListener>> metadataListeners;
    sptr<ISystemNavigationListener> systemListener;
    std::lock_guard<std::mutex> lock(mutex_);
    statusListeners.swap(statusListeners_);
    metadataListeners.swap(metadataListeners_);
    systemListener = std::move(systemListener_);
    answers_.clear();
}

int64_t TestHookState::NextAnswerId()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return nextAnswerId_++;
}

void TestHookState::RecordAnswer(int64_t id, ResultData data)
{
    std::lock_guard<std::mutex> lock(mutex_);
    answers_.push_back({id, std::move(data)});
}

std::vector<TestHooks::RecordedAnswer> TestHookState::TakeAnswers()
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<TestHooks::RecordedAnswer> answers;
    answers.swap(answers_);
    return answers;
}

} // namespace OHOS::NavigationInfoService
