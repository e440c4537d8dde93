// Observing the queries and commands sent to a navigation application: a
// system application with the navigation permission (a recorder) registers
// an observer for a bundle and is told of each request the core accepts for
// that bundle, and of its completion, both under the same request id.
//
// Observations go through an outbox per observer registration (as records
// go to followers), so an observer never holds up a request: one that
// cannot keep up loses the observations pending for it (counted in the log).
//
// Over IPC the observer is an object of the observing client: the daemon
// holds a RequestObserverProxy and calls it one-way (code
// ON_REQUEST_OBSERVED: the observation, then the bundle name).
#ifndef PROTOCOL_REQUEST_OBSERVER_H
#define PROTOCOL_REQUEST_OBSERVER_H

#include <cstdint>
#include <string>

#include "iremote_broker.h"
#include "iremote_object.h"
#include "iremote_stub.h"
#include "navigation_info_data.h"
#include "want_params.h"

namespace OHOS {
class MessageParcel;
class Parcel;
} // namespace OHOS

namespace OHOS::NavigationInfoService {

struct RequestObservation {
    enum class Kind : int32_t { QUERY = 0, COMMAND = 1 };
    uint64_t requestId = 0; // unique in this service; the answer carries the same
    bool answered = false;  // false: accepted (requester, kind, type, params); true: completed (answer)
    std::string requester;  // bundle name of the application that asked
    Kind kind = Kind::QUERY;
    int32_t type = 0; // QueryType or CommandType
    AAFwk::WantParams params;
    ResultData answer; // what the requester was answered (also 1004, 1003, 1002 of the service)
};

// The listener transaction of IRequestObserver (after those of navigation_listeners.h).
constexpr uint32_t ON_REQUEST_OBSERVED = 7;

class IRequestObserver : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"OHOS.NavigationInfoService.IRequestObserver")
    // bundle: the navigation application the request was sent to.
    virtual void OnRequestObserved(const RequestObservation& observation, const std::string& bundle) = 0;
};

namespace Marshalling {
// requestId uint64, answered bool, requester string, kind int32, type int32,
// params WantParams, answer ResultData. A reader refuses a kind out of range.
bool WriteRequestObservation(Parcel& parcel, const RequestObservation& observation);
bool ReadRequestObservation(Parcel& parcel, RequestObservation& observation);
} // namespace Marshalling

// Decodes ON_REQUEST_OBSERVED and calls OnRequestObserved on the IPC thread;
// a request that does not decode is refused and never reaches the method.
class RequestObserverStub : public IRemoteStub<IRequestObserver> {
public:
    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;
};

// One-way calls; an observation that cannot be sent (peer gone, over the
// frame limit) is logged and dropped: the service has nobody to tell.
class RequestObserverProxy : public IRequestObserver {
public:
    explicit RequestObserverProxy(sptr<IRemoteObject> remote);
    void OnRequestObserved(const RequestObservation& observation, const std::string& bundle) override;
    sptr<IRemoteObject> AsObject() override { return remote_; }

private:
    const sptr<IRemoteObject> remote_;
};

// A proxy around a remote object, or the object's own interface when it is
// local; null for null or an object of another interface.
sptr<IRequestObserver> RequestObserverFromObject(const sptr<IRemoteObject>& object);

} // namespace OHOS::NavigationInfoService

#endif // PROTOCOL_REQUEST_OBSERVER_H
