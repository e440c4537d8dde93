// The client of the navigation information service: one per process.
//
// By default it talks to a service embedded in this process. With
// NAVINFO_SERVICE_SOCKET set it talks to the navinfo-service daemon at that
// socket path. Every operation is synchronous and returns a result of
// nav_info_errors.h. Listener and callback objects are called back on the
// client library's IPC threads, never on the caller's thread.
#ifndef CLIENT_NAV_INFO_CLIENT_H
#define CLIENT_NAV_INFO_CLIENT_H

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "nav_info_endpoint.h"
#include "nav_info_service_events.h"
#include "navigation_info_data.h"
#include "navigation_listeners.h"
#include "request_observer.h"
#include "nav_info_errors.h"
#include "service_snapshot.h"
#include "refbase.h"

namespace OHOS::NavigationInfoService {

class NavInfoTransport;

class NavInfoClient : public virtual RefBase {
public:
    // The process's client; never null.
    static sptr<NavInfoClient> GetClientInstance();

    // Navigation application: publish, and answer queries and commands.
    int32_t UpdateNavigationStatus(NavigationStatus status);
    int32_t UpdateNavigationMetadata(NavigationMetadata metadata);
    int32_t RegisterSystemNavigationListener(sptr<SystemNavigationListener> listener);
    int32_t UnRegisterSystemNavigationListener();

    // System application: read, follow, query and command a navigation application.
    int32_t GetNavigationStatus(std::string bundleName, NavigationStatus& status);
    int32_t RegisterNavigationStatusListener(std::string bundleName, sptr<NavigationStatusListener> listener);
    int32_t UnRegisterNavigationStatusListener(std::string bundleName);
    int32_t RegisterNavigationMetadataListener(std::string bundleName, sptr<NavigationMetadataListener> listener);
    int32_t UnRegisterNavigationMetadataListener(std::string bundleName);
    int32_t QueryNavigationInfo(std::string bundleName, QueryType type, AAFwk::WantParams params,
        sptr<MapCallback> callback);
    int32_t SendNavigationCmd(std::string bundleName, CommandType type, AAFwk::WantParams params,
        sptr<MapCallback> callback);

    // Whether the service is reachable now, without trying to connect: always
    // for the embedded service; with the daemon, while a connection is live.
    // A registration made while it is not is not restored later.
    bool IsServiceConnected() const noexcept;

    // Connects now when the daemon is used and there is no connection
    // (waiting at most the connect time-out); returns IsServiceConnected().
    bool Connect() noexcept;
    // Counted: while held, a missing connection is sought in the background
    // even with nothing registered (for a caller waiting for the service).
    void HoldConnection(bool hold) noexcept;
    // The daemon connection's number (1, 2, ... per connection made); 0
    // without one, and always with the embedded service.
    uint64_t ConnectionGeneration() const noexcept;

    // Before the client is made (the first GetClientInstance): sets the
    // endpoint for what request gives, instead of the environment; true.
    // Afterwards: true only when every field given equals what is in use;
    // otherwise false with why in whyNot. No exception leaves it.
    static bool SetEndpoint(const EndpointRequest& request, std::string& whyNot) noexcept;
    // What this client uses.
    const EndpointChoice& Endpoint() const noexcept { return endpoint_; }

    // Service events (nav_info_service_events.h) from now on, until removed;
    // returns the id for RemoveServiceObserver, 0 on failure.
    static uint64_t AddServiceObserver(ServiceEventObserver observer) noexcept;
    static void RemoveServiceObserver(uint64_t id) noexcept;

    // System application: what the service holds now (connections,
    // registrations, latest records, requests waiting). The same access as
    // reading a status: 1015 for a bundle that is not a system application,
    // 1005 without the permission. snapshot is written only on success.
    int32_t InspectService(ServiceSnapshot& snapshot);
    // Observing the queries and commands other applications send to
    // bundleName, and their answers (request_observer.h), as a system
    // application with the permission. Not kept over a lost connection.
    int32_t RegisterRequestObserver(std::string bundleName, sptr<RequestObserverStub> observer);
    int32_t UnRegisterRequestObserver(std::string bundleName);

    // The seam through which tests put a transport of their own in front of
    // the service (nav_info_transport.h); applications have no use for it.
    // From now on every call goes to what wrap makes of the current
    // transport. wrap may keep a reference to the transport it is given: the
    // client keeps every transport it had as long as it lives (the whole
    // process), so a call under way finishes on the transport it started on.
    // False, with nothing changed, when there is no transport (memory ran out
    // creating it) or wrap returns null or throws.
    using TransportWrap = std::function<std::unique_ptr<NavInfoTransport>(NavInfoTransport& current)>;
    bool WrapTransport(const TransportWrap& wrap) noexcept;

    ~NavInfoClient() override;

private:
    NavInfoClient();
    friend class NavInfoClientAccess;

    EndpointChoice endpoint_;                                   // set once in the constructor
    std::mutex wrapMutex_;                                      // guards transports_ and serializes WrapTransport
    std::vector<std::unique_ptr<NavInfoTransport>> transports_; // every transport it had; the last is in use
    std::atomic<NavInfoTransport*> transport_{nullptr};         // transports_.back(); null when memory ran out
};

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_NAV_INFO_CLIENT_H
