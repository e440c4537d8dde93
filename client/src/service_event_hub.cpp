#include "service_event_hub.h"

#include <exception>
#include <vector>

#include "client_log.h"

namespace OHOS::NavigationInfoService {

ServiceEventHub& ServiceEventHub::Instance()
{
    static ServiceEventHub* const hub =
        new ServiceEventHub(); // never destroyed: raised from threads that outlive statics
    return *hub;
}

uint64_t ServiceEventHub::Add(ServiceEventObserver observer)
{
    if (!observer) {
        return 0;
    }
    auto shared = std::make_shared<const ServiceEventObserver>(std::move(observer));
    std::lock_guard<std::mutex> lock(mutex_);
    uint64_t id = nextId_++;
    observers_.emplace(id, std::move(shared));
    return id;
}

void ServiceEventHub::Remove(uint64_t id) noexcept
{
    std::shared_ptr<const ServiceEventObserver> removed; // released outside the lock
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = observers_.find(id);
    if (found != observers_.end()) {
        removed = std::move(found->second);
        observers_.erase(found);
    }
}

void ServiceEventHub::Raise(const ServiceEvent& event) noexcept
{
    std::vector<std::shared_ptr<const ServiceEventObserver>> current;
    try {
        std::lock_guard<std::mutex> lock(mutex_);
        if (observers_.empty()) {
            return;
        }
        current.reserve(observers_.size());
        for (const auto& entry : observers_) {
            current.push_back(entry.second);
        }
    } catch (const std::exception& e) {
        CLIENT_LOGE("service event not raised: %{public}s", e.what());
        return;
    }
    for (const auto& observer : current) {
        try {
            (*observer)(event);
        } catch (const std::exception& e) {
            CLIENT_LOGE("service event observer failed: %{public}s", e.what());
        } catch (...) {
            CLIENT_LOGE("service event observer failed");
        }
    }
}

} // namespace OHOS::NavigationInfoService
