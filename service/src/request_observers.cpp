// Observers of the requests sent to a bundle: registration, and the outbox
// each observer's observations wait in, drained through the executor so that
// an observer never runs on (nor holds up) the path of a request.
#include <utility>

#include "nav_info_errors.h"
#include "nav_info_service_core.h"
#include "service_log.h"

namespace OHOS::NavigationInfoService {

int32_t NavInfoServiceCore::RegisterRequestObserver(const CallerInfo& caller, const std::string& bundleName,
    sptr<IRequestObserver> observer)
{
    int32_t result = CheckSystemApp(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    if (bundleName.empty() || bundleName.size() > MAX_BUNDLE_NAME_LENGTH || observer == nullptr) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    sptr<IRequestObserver> replaced;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto& observers = requestObservers_[bundleName];
        auto existing = observers.find(caller.clientId);
        if (existing == observers.end()) {
            size_t held = 0;
            for (const auto& entry : requestObservers_) {
                held += entry.second.count(caller.clientId);
            }
            if (held >= maxFollowsPerClient_) {
                if (observers.empty()) {
                    requestObservers_.erase(bundleName);
                }
                return NAV_INFO_ERR_TOO_MANY_REQUESTS;
            }
        } else {
            replaced = std::move(existing->second.observer); // released outside the lock
        }
        observers[caller.clientId] = RequestObserverEntry{std::move(observer),
            std::make_shared<FollowerOutbox<RequestObservation>>(bundleName, nextStream_++, followerOutboxCapacity_)};
    }
    return NAV_INFO_SUCCESS;
}

int32_t NavInfoServiceCore::UnRegisterRequestObserver(const CallerInfo& caller, const std::string& bundleName)
{
    int32_t result = CheckSystemApp(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    if (bundleName.empty() || bundleName.size() > MAX_BUNDLE_NAME_LENGTH) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    RequestObserverEntry removed;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto observers = requestObservers_.find(bundleName);
        if (observers == requestObservers_.end() || observers->second.count(caller.clientId) == 0) {
            return NAV_INFO_ERR_NOT_FOUND;
        }
        removed = std::move(observers->second[caller.clientId]);
        observers->second.erase(caller.clientId);
        if (observers->second.empty()) {
            requestObservers_.erase(observers);
        }
    }
    removed.outbox->Discard(); // a drain already scheduled finds nothing
    return NAV_INFO_SUCCESS;
}

void NavInfoServiceCore::ObserveLocked(const std::string& bundle, const RequestObservation& observation)
{
    auto found = requestObservers_.find(bundle);
    if (found == requestObservers_.end()) {
        return;
    }
    auto shared = std::make_shared<const RequestObservation>(observation);
    uint64_t dropped = 0;
    for (auto& [clientId, entry] : found->second) {
        uint64_t droppedHere = 0;
        if (entry.outbox->Push(shared, droppedHere)) {
            observerDrains_.emplace_back(entry.observer, entry.outbox);
        }
        dropped += droppedHere;
    }
    observerDropsToReport_ += droppedForObservers_.Add(dropped); // logged by SendReady, outside the lock
}

void NavInfoServiceCore::DrainObservations(const sptr<IRequestObserver>& observer,
    const std::shared_ptr<FollowerOutbox<RequestObservation>>& outbox)
{
    std::deque<FollowerOutbox<RequestObservation>::Item> items;
    while (outbox->Take(items)) {
        for (const auto& item : items) {
            observer->OnRequestObserved(*item.record, outbox->Bundle());
        }
    }
}

} // namespace OHOS::NavigationInfoService
