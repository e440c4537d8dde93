// How NavInfoClient reaches the service: the embedded core in this process,
// or the navinfo-service daemon over its socket (remote_transport.h). Each call is synchronous and returns
// a result of nav_info_errors.h; it may throw std::bad_alloc, which
// NavInfoClient catches. Any thread may call.
#ifndef CLIENT_NAV_INFO_TRANSPORT_H
#define CLIENT_NAV_INFO_TRANSPORT_H

#include <memory>
#include <string>

#include "nav_info_endpoint.h"
#include "nav_info_errors.h"
#include "navigation_info_data.h"
#include "navigation_listeners.h"
#include "request_observer.h"
#include "service_snapshot.h"

namespace OHOS::NavigationInfoService {

class NavInfoTransport {
public:
    virtual ~NavInfoTransport() = default;

    virtual int32_t UpdateNavigationStatus(NavigationStatus status) = 0;
    virtual int32_t UpdateNavigationMetadata(NavigationMetadata metadata) = 0;
    virtual int32_t RegisterSystemNavigationListener(sptr<ISystemNavigationListener> listener) = 0;
    virtual int32_t UnRegisterSystemNavigationListener() = 0;
    virtual int32_t GetNavigationStatus(const std::string& bundleName, NavigationStatus& status) = 0;
    virtual int32_t RegisterNavigationStatusListener(const std::string& bundleName,
        sptr<INavigationStatusListener> listener) = 0;
    virtual int32_t UnRegisterNavigationStatusListener(const std::string& bundleName) = 0;
    virtual int32_t RegisterNavigationMetadataListener(const std::string& bundleName,
        sptr<INavigationMetadataListener> listener) = 0;
    virtual int32_t UnRegisterNavigationMetadataListener(const std::string& bundleName) = 0;
    virtual int32_t QueryNavigationInfo(const std::string& bundleName, QueryType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) = 0;
    virtual int32_t SendNavigationCmd(const std::string& bundleName, CommandType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) = 0;
    // Whether the service is reachable now without connecting: true for the
    // embedded service; for the daemon, whether a connection is live.
    virtual bool IsServiceConnected() const { return true; }
    // Connects now if there is no connection (the daemon; waits at most its
    // connect time-out); returns IsServiceConnected().
    virtual bool Connect() { return IsServiceConnected(); }
    // While held (counted), a lost or missing connection is sought in the
    // background even with nothing registered, so that a waiting caller
    // learns when the service is up.
    virtual void HoldConnection(bool) {}
    // The live connection's number (1, 2, ... per connection made); 0 when
    // there is none, and always for the embedded service.
    virtual uint64_t ConnectionGeneration() const { return 0; }
    // What the service holds, for system applications.
    virtual int32_t InspectService(ServiceSnapshot& snapshot) = 0;
    // Observing the requests sent to a bundle (system applications). Not
    // booked: a connection lost ends the observation (registered again by
    // the caller). A transport without it answers 1002.
    virtual int32_t RegisterRequestObserver(const std::string&, const sptr<IRequestObserver>&)
    {
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
    virtual int32_t UnRegisterRequestObserver(const std::string&) { return NAV_INFO_ERR_SERVICE_UNAVAILABLE; }
};

// The environment variable that selects the daemon's socket.
constexpr const char* SERVICE_SOCKET_ENV = "NAVINFO_SERVICE_SOCKET";

// The transport of this process: the one place that chooses (the rules are
// in nav_info_endpoint.h). request overrides the environment
// (NAVINFO_SERVICE_SOCKET, NAVINFO_BUNDLE_NAME with the embedded default,
// NAVINFO_BUNDLE_TOKEN) for what it gives; chosen is set to what is used,
// and the choice is logged at info. Null only when memory is exhausted.
std::unique_ptr<NavInfoTransport> CreateNavInfoTransport(const EndpointRequest& request,
    EndpointChoice& chosen) noexcept;

std::unique_ptr<NavInfoTransport> CreateEmbeddedTransport();
// Answers every call with NAV_INFO_ERR_SERVICE_UNAVAILABLE.
std::unique_ptr<NavInfoTransport> CreateUnavailableTransport();

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_NAV_INFO_TRANSPORT_H
