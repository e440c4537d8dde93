// The client side of the service interface: encodes each operation as a
// synchronous transaction on the daemon's root object and returns the
// daemon's result.
//
// Results: the service's result when the daemon answered;
// NAV_INFO_ERR_INVALID_PARAM when an argument breaks a record limit (then
// nothing is sent) or the daemon refused to decode the request;
// NAV_INFO_ERR_SERVICE_UNAVAILABLE for every transport failure (connection
// gone, no reply within the call time-out, busy).
//
// Threads: any thread; a proxy is a small value that holds only the remote
// object, made for each call. May throw std::bad_alloc.
#ifndef CLIENT_NAV_INFO_SERVICE_PROXY_H
#define CLIENT_NAV_INFO_SERVICE_PROXY_H

#include <string>

#include "iremote_object.h"
#include "navigation_info_data.h"
#include "nav_info_service_ipc.h"
#include "navigation_listeners.h"
#include "service_snapshot.h"

namespace OHOS::NavigationInfoService {

// How long a service call waits for the daemon's reply.
constexpr int SERVICE_CALL_TIMEOUT_MS = 3000;

class NavInfoServiceProxy {
public:
    explicit NavInfoServiceProxy(sptr<IRemoteObject> remote, int callTimeoutMs = SERVICE_CALL_TIMEOUT_MS);

    // replay RESTORED: a record sent again after reconnecting (nav_info_service_ipc.h).
    int32_t UpdateNavigationStatus(const NavigationStatus& status, Replay replay = Replay::NONE);
    int32_t UpdateNavigationMetadata(const NavigationMetadata& metadata, Replay replay = Replay::NONE);
    int32_t RegisterSystemNavigationListener(const sptr<IRemoteObject>& listener);
    int32_t UnRegisterSystemNavigationListener();
    // status is written only when the result is NAV_INFO_SUCCESS.
    int32_t GetNavigationStatus(const std::string& bundleName, NavigationStatus& status);
    // replay RESTORED: a registration sent again after reconnecting.
    int32_t RegisterNavigationStatusListener(const std::string& bundleName, const sptr<IRemoteObject>& listener,
        Replay replay = Replay::NONE);
    int32_t UnRegisterNavigationStatusListener(const std::string& bundleName);
    int32_t RegisterNavigationMetadataListener(const std::string& bundleName, const sptr<IRemoteObject>& listener,
        Replay replay = Replay::NONE);
    int32_t UnRegisterNavigationMetadataListener(const std::string& bundleName);
    // callback: the object the daemon answers through (a MapCallbackStub).
    int32_t QueryNavigationInfo(const std::string& bundleName, int32_t type, const AAFwk::WantParams& params,
        const sptr<IRemoteObject>& callback);
    int32_t SendNavigationCmd(const std::string& bundleName, int32_t type, const AAFwk::WantParams& params,
        const sptr<IRemoteObject>& callback);
    // snapshot is written only when the result is NAV_INFO_SUCCESS.
    int32_t InspectService(ServiceSnapshot& snapshot);
    // observer: a RequestObserverStub of this process, or null.
    int32_t RegisterRequestObserver(const std::string& bundleName, const sptr<IRemoteObject>& observer);
    int32_t UnRegisterRequestObserver(const std::string& bundleName);
    // Hands the daemon this connection's keep-alive responder (the connection
    // owns its bundle). A daemon without keep-alives answers 1002.
    int32_t RegisterKeepAlive(const sptr<IRemoteObject>& responder);

private:
    // Sends data (token already written) and reads the result from the reply.
    int32_t Transact(uint32_t code, MessageParcel& data, MessageParcel& reply);
    int32_t Transact(uint32_t code, MessageParcel& data);
    int32_t Request(uint32_t code, const std::string& bundleName, int32_t type, const AAFwk::WantParams& params,
        const sptr<IRemoteObject>& callback);

    const sptr<IRemoteObject> remote_;
    const int callTimeoutMs_;
};

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_NAV_INFO_SERVICE_PROXY_H
