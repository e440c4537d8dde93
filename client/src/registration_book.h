// What this process holds at the daemon: the listeners and request
// observers it registered and did not unregister, and the latest status and metadata it published. The
// remote transport replays it on every new connection, so that a restarted
// daemon delivers again and holds this application's records again without
// the application doing anything.
//
// A registration the daemon refused for want of a right (1005, 1015) stays
// booked, marked refused: it is tried again on every new connection and by
// RetryRefused, so that it takes effect once the policy allows it. Only
// unregistering removes it.
//
// Threads: not synchronized; the remote transport guards it with its
// registration mutex. The change callback runs with that mutex held.
#ifndef CLIENT_REGISTRATION_BOOK_H
#define CLIENT_REGISTRATION_BOOK_H

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "iremote_object.h"
#include "nav_info_service_events.h"
#include "navigation_info_data.h"

namespace OHOS::NavigationInfoService {

class NavInfoServiceProxy;

struct BookedListener {
    sptr<IRemoteObject> listener;
    bool refused = false; // the daemon's last answer was 1005 or 1015
};

struct RegistrationBook {
    // A registration went from taken to refused or back: REFUSED (with the
    // result) or RESUMED. Not called for the result of the caller's own
    // registration call, which the caller sees.
    using ChangeCallback = std::function<void(ServiceEventKind change, RegistrationKind kind,
        const std::string& bundleName, int32_t result)>;

    BookedListener systemListener;                           // listener null: none
    std::map<std::string, BookedListener> statusListeners;   // by followed bundle
    std::map<std::string, BookedListener> metadataListeners; // by followed bundle
    std::map<std::string, BookedListener> requestObservers;  // by observed bundle
    std::optional<NavigationStatus> status;                  // published last
    std::optional<NavigationMetadata> metadata;              // published last

    bool HasRegistrations() const
    {
        return systemListener.listener != nullptr || !statusListeners.empty() || !metadataListeners.empty() ||
            !requestObservers.empty();
    }
    bool Empty() const { return !HasRegistrations() && !status && !metadata; }
    bool HasRefused() const;

    // Registers everything again through service, then publishes the
    // records again, all marked as restored (nav_info_service_ipc.h): a
    // follower gets the record the daemon holds, and a record is taken only
    // where the daemon holds none. A registration the daemon refuses is kept
    // as refused; a record it refuses, or any entry it fails otherwise
    // (1001), is logged and dropped; one that fails for want of the service
    // stays, for the next connection. Returns how many entries were restored.
    size_t Replay(NavInfoServiceProxy& service, const ChangeCallback& changed);

    // Registers the refused entries again, marked restored as well, so that
    // a follower taken now gets at once the record the daemon holds. Returns
    // how many were taken.
    size_t RetryRefused(NavInfoServiceProxy& service, const ChangeCallback& changed);
};

// Whether a published record stays for replay after this result: the daemon
// took it, or it could not be reached (the call then returned 1002, and the
// record goes to the next daemon).
bool KeptForReplay(int32_t result);

// Whether a registration stays booked after this result: as a record, and
// also when the daemon refused it for want of a right (1005, 1015).
bool BookedAfter(int32_t result);

// 1005 and 1015: refusals that a change of the policy can lift.
bool IsRefusal(int32_t result);

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_REGISTRATION_BOOK_H
