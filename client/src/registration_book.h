// What this process holds at the daemon: the listeners it registered and
// did not unregister, and the latest status and metadata it published. The
// remote transport replays it on every new connection, so that a restarted
// daemon delivers again and holds this application's records again without
// the application doing anything.
//
// Threads: not synchronized; the remote transport guards it with its
// registration mutex.
#ifndef CLIENT_REGISTRATION_BOOK_H
#define CLIENT_REGISTRATION_BOOK_H

#include <map>
#include <optional>
#include <string>

#include "iremote_object.h"
#include "navigation_info_data.h"

namespace OHOS::NavigationInfoService {

class NavInfoServiceProxy;

struct RegistrationBook {
    sptr<IRemoteObject> systemListener;                        // null: none
    std::map<std::string, sptr<IRemoteObject>> statusListeners;   // by followed bundle
    std::map<std::string, sptr<IRemoteObject>> metadataListeners; // by followed bundle
    std::optional<NavigationStatus> status;                    // published last
    std::optional<NavigationMetadata> metadata;                // published last

    bool HasRegistrations() const
    {
        return systemListener != nullptr || !statusListeners.empty() || !metadataListeners.empty();
    }
    bool Empty() const { return !HasRegistrations() && !status && !metadata; }

    // Registers everything again through service, then publishes the
    // records again, all marked as restored (nav_info_service_ipc.h): a
    // follower gets the record the daemon holds, and a record is taken only
    // where the daemon holds none. An entry the daemon now
    // refuses (for example after a policy change) is logged and dropped;
    // one that fails for want of the service stays, for the next connection.
    // Returns how many entries were restored.
    size_t Replay(NavInfoServiceProxy& service);
};

// Whether a call's result leaves its registration or record to be replayed:
// the daemon took it, or it could not be reached (the call then returned
// 1002, and the entry goes to the next daemon).
bool KeptForReplay(int32_t result);

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_REGISTRATION_BOOK_H
