// What this process has registered with the daemon and not unregistered:
// the remote transport replays it on every new connection, so that a
// restarted daemon delivers again without the application doing anything.
//
// Threads: not synchronized; the remote transport guards it with its
// registration mutex.
#ifndef CLIENT_REGISTRATION_BOOK_H
#define CLIENT_REGISTRATION_BOOK_H

#include <map>
#include <string>

#include "iremote_object.h"

namespace OHOS::NavigationInfoService {

class NavInfoServiceProxy;

struct RegistrationBook {
    sptr<IRemoteObject> systemListener;                        // null: none
    std::map<std::string, sptr<IRemoteObject>> statusListeners;   // by followed bundle
    std::map<std::string, sptr<IRemoteObject>> metadataListeners; // by followed bundle

    bool Empty() const { return systemListener == nullptr && statusListeners.empty() && metadataListeners.empty(); }

    // Registers everything again through service. An entry the daemon now
    // refuses (for example after a policy change) is logged and dropped;
    // one that fails for want of the service stays, for the next connection.
    // Returns how many entries were restored.
    size_t Replay(NavInfoServiceProxy& service);
};

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_REGISTRATION_BOOK_H
