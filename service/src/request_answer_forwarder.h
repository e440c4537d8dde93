// The callback object the core hands to a navigation application with each
// query or command. It passes the first answer on to the core and ignores any
// later one. It holds the core weakly: an answer that arrives after the core
// is gone is dropped.
#ifndef SERVICE_REQUEST_ANSWER_FORWARDER_H
#define SERVICE_REQUEST_ANSWER_FORWARDER_H

#include <atomic>
#include <cstdint>
#include <memory>

#include "iremote_stub.h"
#include "navigation_listeners.h"

namespace OHOS::NavigationInfoService {

class NavInfoServiceCore;

// A stub, so that the daemon's transport can hand it to a remote listener.
// Its OnRemoteRequest is still the base's unknown-transaction answer: the
// parcel decoding of an answer belongs to the transport.
class RequestAnswerForwarder : public IRemoteStub<IMapCallback> {
public:
    RequestAnswerForwarder(std::weak_ptr<NavInfoServiceCore> core, uint64_t requestId);
    // Any thread, any number of times; only the first call reaches the core.
    void Callback(ResultData data) override;

private:
    const std::weak_ptr<NavInfoServiceCore> core_;
    const uint64_t requestId_;
    std::atomic<bool> answered_{false};
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_REQUEST_ANSWER_FORWARDER_H
