// A system navigation listener inside the service that needs to know who
// asks: the network bridge's stand-in for a bundle of another machine passes
// each request on in the requester's name, so that the other machine's
// policy can judge that application rather than the bridge. The core calls
// these methods instead of the plain ones on a listener that implements this
// too; listeners in application processes never learn who asks.
#ifndef SERVICE_REQUESTER_AWARE_LISTENER_H
#define SERVICE_REQUESTER_AWARE_LISTENER_H

#include <string>

#include "navigation_listeners.h"

namespace OHOS::NavigationInfoService {

class RequesterAwareListener {
public:
    virtual ~RequesterAwareListener() = default;
    // requester: the asking caller's bundle name, as the service verified it.
    virtual void OnQueryNavigationInfoFrom(const std::string& requester, QueryType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) = 0;
    virtual void OnReceiveNavigationCmdFrom(const std::string& requester, CommandType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) = 0;
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_REQUESTER_AWARE_LISTENER_H
