// The process's observers of service events (nav_info_service_events.h):
// NavInfoClient adds and removes them, the transports raise events here.
//
// Threads: any. Observers are called without the hub's lock held, from a
// copy of the list taken when the event is raised; an observer removed
// meanwhile may still get that one event, so it must stay safe to call
// (hold what it uses by shared ownership).
#ifndef CLIENT_SERVICE_EVENT_HUB_H
#define CLIENT_SERVICE_EVENT_HUB_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "nav_info_service_events.h"

namespace OHOS::NavigationInfoService {

class ServiceEventHub {
public:
    static ServiceEventHub& Instance();

    // The id for Remove; 0 when the observer is empty. May throw std::bad_alloc.
    uint64_t Add(ServiceEventObserver observer);
    void Remove(uint64_t id) noexcept;
    // An observer that throws is logged and skipped. Never throws.
    void Raise(const ServiceEvent& event) noexcept;

private:
    ServiceEventHub() = default;

    std::mutex mutex_;
    uint64_t nextId_ = 1;                                                       // guarded by mutex_
    std::map<uint64_t, std::shared_ptr<const ServiceEventObserver>> observers_; // guarded by mutex_
};

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_SERVICE_EVENT_HUB_H
