#include "recording_transport.h"

#include <utility>

#include "nav_info_errors.h"

namespace OHOS::NavigationInfoService::TestHooks {
namespace {

RequestRecord Request(std::string bundleName, int32_t type = -1, const AAFwk::WantParams* params = nullptr)
{
    RequestRecord record;
    record.bundleName = std::move(bundleName);
    record.type = type;
    if (params != nullptr) {
        record.params = *params;
    }
    return record;
}

} // namespace

void RecordingTransport::Retarget(std::unique_ptr<NavInfoTransport> target)
{
    std::lock_guard<std::mutex> lock(mutex_);
    targets_.push_back(std::move(target));
    target_.store(targets_.back().get(), std::memory_order_release);
}

std::optional<int32_t> RecordingTransport::Record(Operation op, RequestRecord record, sptr<IMapCallback> callback)
{
    sptr<IMapCallback> previous; // released after the lock
    std::lock_guard<std::mutex> lock(mutex_);
    auto& entry = operations_[static_cast<size_t>(op)];
    ++entry.calls;
    entry.last = std::move(record);
    if (callback != nullptr) {
        previous = std::move(entry.lastCallback);
        entry.lastCallback = std::move(callback);
    }
    return entry.forced;
}

template <typename Listener>
void RecordingTransport::Track(std::map<std::string, sptr<Listener>>& listeners, const std::string& bundleName,
    sptr<Listener> listener)
{
    sptr<Listener> previous; // released after the lock
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = listeners.find(bundleName);
    if (listener == nullptr) {
        if (found != listeners.end()) {
            previous = std::move(found->second);
            listeners.erase(found);
        }
    } else if (found != listeners.end()) {
        previous = std::exchange(found->second, std::move(listener));
    } else {
        listeners.emplace(bundleName, std::move(listener));
    }
}

int32_t RecordingTransport::UpdateNavigationStatus(NavigationStatus status)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        lastStatus_ = status;
    }
    return ForcedOr(Record(Operation::UPDATE_NAVIGATION_STATUS, {}),
        [&](NavInfoTransport& target) { return target.UpdateNavigationStatus(std::move(status)); });
}

int32_t RecordingTransport::UpdateNavigationMetadata(NavigationMetadata metadata)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        lastMetadata_ = metadata;
    }
    return ForcedOr(Record(Operation::UPDATE_NAVIGATION_METADATA, {}),
        [&](NavInfoTransport& target) { return target.UpdateNavigationMetadata(std::move(metadata)); });
}

int32_t RecordingTransport::RegisterSystemNavigationListener(sptr<ISystemNavigationListener> listener)
{
    int32_t result = ForcedOr(Record(Operation::REGISTER_SYSTEM_NAVIGATION_LISTENER, Request("")),
        [&](NavInfoTransport& target) { return target.RegisterSystemNavigationListener(listener); });
    if (result == NAV_INFO_SUCCESS && listener != nullptr) {
        sptr<ISystemNavigationListener> previous; // released after the lock
        std::lock_guard<std::mutex> lock(mutex_);
        previous = std::exchange(systemListener_, std::move(listener));
    }
    return result;
}

int32_t RecordingTransport::UnRegisterSystemNavigationListener()
{
    int32_t result = ForcedOr(Record(Operation::UNREGISTER_SYSTEM_NAVIGATION_LISTENER, Request("")),
        [&](NavInfoTransport& target) { return target.UnRegisterSystemNavigationListener(); });
    if (result == NAV_INFO_SUCCESS) {
        sptr<ISystemNavigationListener> previous; // released after the lock
        std::lock_guard<std::mutex> lock(mutex_);
        previous = std::move(systemListener_);
    }
    return result;
}

int32_t RecordingTransport::GetNavigationStatus(const std::string& bundleName, NavigationStatus& status)
{
    return ForcedOr(Record(Operation::GET_NAVIGATION_STATUS, Request(bundleName)),
        [&](NavInfoTransport& target) { return target.GetNavigationStatus(bundleName, status); });
}

int32_t RecordingTransport::RegisterNavigationStatusListener(const std::string& bundleName,
    sptr<INavigationStatusListener> listener)
{
    int32_t result = ForcedOr(Record(Operation::REGISTER_NAVIGATION_STATUS_LISTENER, Request(bundleName)),
        [&](NavInfoTransport& target) { return target.RegisterNavigationStatusListener(bundleName, listener); });
    if (result == NAV_INFO_SUCCESS && listener != nullptr) {
        Track(statusListeners_, bundleName, std::move(listener));
    }
    return result;
}

int32_t RecordingTransport::UnRegisterNavigationStatusListener(const std::string& bundleName)
{
    int32_t result = ForcedOr(Record(Operation::UNREGISTER_NAVIGATION_STATUS_LISTENER, Request(bundleName)),
        [&](NavInfoTransport& target) { return target.UnRegisterNavigationStatusListener(bundleName); });
    if (result == NAV_INFO_SUCCESS) {
        Track(statusListeners_, bundleName, sptr<INavigationStatusListener>());
    }
    return result;
}

int32_t RecordingTransport::RegisterNavigationMetadataListener(const std::string& bundleName,
    sptr<INavigationMetadataListener> listener)
{
    int32_t result = ForcedOr(Record(Operation::REGISTER_NAVIGATION_METADATA_LISTENER, Request(bundleName)),
        [&](NavInfoTransport& target) { return target.RegisterNavigationMetadataListener(bundleName, listener); });
    if (result == NAV_INFO_SUCCESS && listener != nullptr) {
        Track(metadataListeners_, bundleName, std::move(listener));
    }
    return result;
}

int32_t RecordingTransport::UnRegisterNavigationMetadataListener(const std::string& bundleName)
{
    int32_t result = ForcedOr(Record(Operation::UNREGISTER_NAVIGATION_METADATA_LISTENER, Request(bundleName)),
        [&](NavInfoTransport& target) { return target.UnRegisterNavigationMetadataListener(bundleName); });
    if (result == NAV_INFO_SUCCESS) {
        Track(metadataListeners_, bundleName, sptr<INavigationMetadataListener>());
    }
    return result;
}

int32_t RecordingTransport::QueryNavigationInfo(const std::string& bundleName, QueryType type, AAFwk::WantParams params,
    sptr<IMapCallback> callback)
{
    auto forced = Record(Operation::QUERY_NAVIGATION_INFO, Request(bundleName, static_cast<int32_t>(type), &params),
        callback);
    return ForcedOr(forced, [&](NavInfoTransport& target) {
        return target.QueryNavigationInfo(bundleName, type, std::move(params), std::move(callback));
    });
}

int32_t RecordingTransport::SendNavigationCmd(const std::string& bundleName, CommandType type, AAFwk::WantParams params,
    sptr<IMapCallback> callback)
{
    auto forced = Record(Operation::SEND_NAVIGATION_CMD, Request(bundleName, static_cast<int32_t>(type), &params),
        callback);
    return ForcedOr(forced, [&](NavInfoTransport& target) {
        return target.SendNavigationCmd(bundleName, type, std::move(params), std::move(callback));
    });
}

void RecordingTransport::ForceResult(Operation op, int32_t result)
{
    std::lock_guard<std::mutex> lock(mutex_);
    operations_[static_cast<size_t>(op)].forced = result;
}

void RecordingTransport::ClearForcedResults()
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& entry : operations_) {
        entry.forced.reset();
    }
}

uint64_t RecordingTransport::CallCount(Operation op)
{
    std::lock_guard<std::mutex> lock(mutex_);
    return operations_[static_cast<size_t>(op)].calls;
}

void RecordingTransport::ResetCounts()
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

bool RecordingTransport::LastStatus(NavigationStatus& status)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (!lastStatus_) {
        return false;
    }
    status = *lastStatus_;
    return true;
}

bool RecordingTransport::LastMetadata(NavigationMetadata& metadata)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (!lastMetadata_) {
        return false;
    }
    metadata = *lastMetadata_;
    return true;
}

bool RecordingTransport::LastRequest(Operation op, RequestRecord& record)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const auto& last = operations_[static_cast<size_t>(op)].last;
    if (!last) {
        return false;
    }
    record = *last;
    return true;
}

sptr<IMapCallback> RecordingTransport::LastCallback(Operation op)
{
    std::lock_guard<std::mutex> lock(mutex_);
    return operations_[static_cast<size_t>(op)].lastCallback;
}

sptr<INavigationStatusListener> RecordingTransport::StatusListener(const std::string& bundleName)
{
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = statusListeners_.find(bundleName);
    return found == statusListeners_.end() ? nullptr : found->second;
}

sptr<INavigationMetadataListener> RecordingTransport::MetadataListener(const std::string& bundleName)
{
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = metadataListeners_.find(bundleName);
    return found == metadataListeners_.end() ? nullptr : found->second;
}

sptr<ISystemNavigationListener> RecordingTransport::SystemListener()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return systemListener_;
}

void RecordingTransport::ForgetListeners()
{
    std::map<std::string, sptr<INavigationStatusListener>> statusListeners; // released after the lock
    std::map<std::string, sptr<INavigationMetadataListener>> metadataListeners;
    sptr<ISystemNavigationListener> systemListener;
    std::lock_guard<std::mutex> lock(mutex_);
    statusListeners.swap(statusListeners_);
    metadataListeners.swap(metadataListeners_);
    systemListener = std::move(systemListener_);
}

} // namespace OHOS::NavigationInfoService::TestHooks
