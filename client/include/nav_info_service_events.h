// What the client library tells about its link to the service, for callers
// that want to react instead of polling: a connection made or lost, and a
// registration that the service refused or took again after a refusal.
//
// Only the transport to the navinfo-service daemon raises events; the
// embedded service is always there and never refuses a registration later.
#ifndef CLIENT_NAV_INFO_SERVICE_EVENTS_H
#define CLIENT_NAV_INFO_SERVICE_EVENTS_H

#include <cstdint>
#include <functional>
#include <string>

namespace OHOS::NavigationInfoService {

enum class ServiceEventKind {
    CONNECTED,    // a connection is live (generation); what was booked is restored
    DISCONNECTED, // the connection of generation ended (result 1002, reason says why)
    REFUSED,      // the registration was refused (result 1005 or 1015); it stays booked and is tried again
    RESUMED,      // a refused registration was taken
};

enum class RegistrationKind {
    STATUS_LISTENER,   // follows bundleName's status
    METADATA_LISTENER, // follows bundleName's metadata
    SYSTEM_LISTENER,   // serves this process's queries and commands (bundleName empty)
    REQUEST_OBSERVER,  // observes the requests to bundleName and their answers
};

struct ServiceEvent {
    ServiceEventKind kind = ServiceEventKind::CONNECTED;
    uint64_t generation = 0;                                           // CONNECTED, DISCONNECTED
    int32_t result = 0;                                                // DISCONNECTED, REFUSED
    std::string reason;                                                // DISCONNECTED
    RegistrationKind registration = RegistrationKind::STATUS_LISTENER; // REFUSED, RESUMED
    std::string bundleName;                                            // REFUSED, RESUMED
};

// Called on the client library's own threads (a connection's reader thread,
// the retry thread) or on the thread whose call connected, sometimes with a
// lock of the library held: it must return quickly and must not call the
// client. Events of one registration come in the order they happened.
using ServiceEventObserver = std::function<void(const ServiceEvent& event)>;

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_NAV_INFO_SERVICE_EVENTS_H
