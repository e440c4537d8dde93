// Proxies of the listener and callback interfaces, and the conversions
// between those interfaces and the remote objects that carry them.
//
// The daemon holds a proxy for each listener a client process registered and
// for each callback a requester passed; a navigation application holds a
// MapCallbackProxy for the daemon's answer forwarder of each request. Every
// call is a one-way transaction (docs/service-protocol.md): it returns once
// the frame is written, and a failure (peer gone, record over a limit) is
// only logged, because the caller has nobody to report it to; the service
// core settles requests whose listener went away on its own.
//
// Threads: any thread may call any member; the proxies hold no state but
// their remote object.
#ifndef PROTOCOL_LISTENER_PROXIES_H
#define PROTOCOL_LISTENER_PROXIES_H

#include <mutex>
#include <string>

#include "iremote_object.h"
#include "navigation_listeners.h"

namespace OHOS::NavigationInfoService {

// A numbered notification is sent with its stream as the one-way call's
// supersede key: while the follower reads slower than records come, a newer
// record of the same stream takes the place of one still waiting to be
// written, and the follower sees the gap in the numbers.
class NavigationStatusListenerProxy : public INavigationStatusListener, public NumberedStatusListener {
public:
    explicit NavigationStatusListenerProxy(sptr<IRemoteObject> remote);
    // Sent without a number.
    void OnStatusChanged(const NavigationStatus& status, const std::string& bundleName) override;
    void OnNumberedStatusChanged(const NavigationStatus& status, const std::string& bundleName,
        NotificationNumber number) override;
    sptr<IRemoteObject> AsObject() override { return remote_; }

private:
    const sptr<IRemoteObject> remote_;
};

class NavigationMetadataListenerProxy : public INavigationMetadataListener, public NumberedMetadataListener {
public:
    explicit NavigationMetadataListenerProxy(sptr<IRemoteObject> remote);
    void OnMetadataChanged(const NavigationMetadata& metadata, const std::string& bundleName) override;
    void OnNumberedMetadataChanged(const NavigationMetadata& metadata, const std::string& bundleName,
        NotificationNumber number) override;
    sptr<IRemoteObject> AsObject() override { return remote_; }

private:
    const sptr<IRemoteObject> remote_;
};

// Writes the arguments of a status or metadata notification after the
// interface token; false when they do not fit one frame.
bool WriteStatusNotification(MessageParcel& data, const NavigationStatus& status, const std::string& bundleName,
    NotificationNumber number);
bool WriteMetadataNotification(MessageParcel& data, const NavigationMetadata& metadata, const std::string& bundleName,
    NotificationNumber number);
// Whether a record published by bundleName can be sent to its followers:
// its notification, numbered, fits one frame. The service refuses to
// publish one that does not (an undeliverable record must not be stored).
bool StatusNotificationFits(const NavigationStatus& status, const std::string& bundleName);
bool MetadataNotificationFits(const NavigationMetadata& metadata, const std::string& bundleName);

class SystemNavigationListenerProxy : public ISystemNavigationListener {
public:
    explicit SystemNavigationListenerProxy(sptr<IRemoteObject> remote);
    void OnQueryNavigationInfo(QueryType type, AAFwk::WantParams params, sptr<IMapCallback> callback) override;
    void OnReceiveNavigationCmd(CommandType type, AAFwk::WantParams params, sptr<IMapCallback> callback) override;
    sptr<IRemoteObject> AsObject() override { return remote_; }

private:
    // A request the receiving connection cannot take (its table of objects
    // is full) is answered at once with NAV_INFO_ERR_TOO_MANY_REQUESTS
    // instead of waiting for the time-out.
    void SendRequest(uint32_t code, int32_t type, const AAFwk::WantParams& params, const sptr<IMapCallback>& callback);

    const sptr<IRemoteObject> remote_;
};

// The service takes only the first answer to a request, so the proxy sends
// the first and then lets go of the remote object: the peer can drop its
// end at once, even while the application keeps this proxy.
class MapCallbackProxy : public IMapCallback {
public:
    explicit MapCallbackProxy(sptr<IRemoteObject> remote);
    // The first call sends the answer; later ones are dropped.
    void Callback(ResultData data) override;
    // The remote object until the first answer, null after it.
    sptr<IRemoteObject> AsObject() override;

private:
    std::mutex mutex_; // guards remote_
    sptr<IRemoteObject> remote_;
};

// A stub that passes every answer it receives over IPC on to another
// callback, for callbacks whose own object cannot decode a transaction
// (such as the service core's answer forwarders).
class MapCallbackRelay : public MapCallbackStub {
public:
    explicit MapCallbackRelay(sptr<IMapCallback> target);
    void Callback(ResultData data) override;

private:
    const sptr<IMapCallback> target_;
};

// The typed interface of an object read from a parcel: a proxy around a
// remote object, or the object's own interface when a peer handed back one
// of this process's stubs. Null for null, or for a local object that is not
// of that interface.
sptr<INavigationStatusListener> StatusListenerFromObject(const sptr<IRemoteObject>& object);
sptr<INavigationMetadataListener> MetadataListenerFromObject(const sptr<IRemoteObject>& object);
sptr<ISystemNavigationListener> SystemListenerFromObject(const sptr<IRemoteObject>& object);
sptr<IMapCallback> MapCallbackFromObject(const sptr<IRemoteObject>& object);

// The object to put in a parcel for a callback: its own object when that is
// a proxy or a MapCallbackStub, else a MapCallbackRelay around it. Null for
// null. May throw std::bad_alloc.
sptr<IRemoteObject> MapCallbackObjectForSending(const sptr<IMapCallback>& callback);

} // namespace OHOS::NavigationInfoService

#endif // PROTOCOL_LISTENER_PROXIES_H
