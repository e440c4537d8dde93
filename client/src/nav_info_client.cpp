// NavInfoClient: the process's one client. Each operation goes to the
// transport in use. No exception leaves this file: a failure inside (memory
// exhausted) is logged and answered NAV_INFO_ERR_SERVICE_UNAVAILABLE, as is
// every call when there is no transport.
#include "nav_info_client.h"

#include <cstdlib>
#include <exception>

#include "client_log.h"
#include "nav_info_transport.h"
#include "service_event_hub.h"

namespace OHOS::NavigationInfoService {

class NavInfoClientAccess {
public:
    static NavInfoClient* Create()
    {
        auto* client = new NavInfoClient();
        client->IncStrongRef(nullptr); // a reference that is never released: the client lives as long as the process
        return client;
    }
};

namespace {

// body(transport) on the transport in use, with the failures above answered.
template <typename Body>
int32_t Through(const std::atomic<NavInfoTransport*>& transport, const char* operation, Body&& body) noexcept
{
    try {
        NavInfoTransport* current = transport.load(std::memory_order_acquire);
        return current != nullptr ? body(*current) : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    } catch (const std::exception& e) {
        CLIENT_LOGE("%{public}s failed: %{public}s", operation, e.what());
    } catch (...) {
        CLIENT_LOGE("%{public}s failed", operation);
    }
    return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
}

// What SetEndpoint asked for before the client was made, and the client
// once made: both under one lock, so that a request cannot slip in between.
struct EndpointState {
    std::mutex mutex;
    EndpointRequest requested;
    const NavInfoClient* made = nullptr;
};

EndpointState& TheEndpointState()
{
    static EndpointState* const state = new EndpointState(); // never destroyed, like the client
    return *state;
}

} // namespace

sptr<NavInfoClient> NavInfoClient::GetClientInstance()
{
    static NavInfoClient* const instance = [] {
        EndpointState& state = TheEndpointState();
        std::lock_guard<std::mutex> lock(state.mutex);
        try {
            NavInfoClient* client = NavInfoClientAccess::Create();
            state.made = client;
            return client;
        } catch (...) {
            // Nothing can work without memory for one small object; returning
            // null would break the promise of this function.
            CLIENT_LOGE("out of memory creating the navigation information client");
            std::abort();
        }
    }();
    return instance;
}

NavInfoClient::NavInfoClient()
{
    // GetClientInstance holds the endpoint state's lock while this runs.
    if (auto transport = CreateNavInfoTransport(TheEndpointState().requested, endpoint_)) {
        transports_.push_back(std::move(transport));
        transport_.store(transports_.back().get(), std::memory_order_release);
    }
}

NavInfoClient::~NavInfoClient() = default;

bool NavInfoClient::WrapTransport(const TransportWrap& wrap) noexcept
{
    try {
        std::lock_guard<std::mutex> lock(wrapMutex_);
        NavInfoTransport* current = transport_.load(std::memory_order_acquire);
        if (current == nullptr) {
            return false;
        }
        transports_.reserve(transports_.size() + 1); // nothing below throws once wrap has run
        std::unique_ptr<NavInfoTransport> next = wrap(*current);
        if (next == nullptr) {
            return false;
        }
        transport_.store(next.get(), std::memory_order_release);
        transports_.push_back(std::move(next));
        return true;
    } catch (const std::exception& e) {
        CLIENT_LOGE("wrapping the transport failed: %{public}s", e.what());
    } catch (...) {
        CLIENT_LOGE("wrapping the transport failed");
    }
    return false;
}

bool NavInfoClient::SetEndpoint(const EndpointRequest& request, std::string& whyNot) noexcept
{
    try {
        EndpointState& state = TheEndpointState();
        std::lock_guard<std::mutex> lock(state.mutex);
        if (state.made == nullptr) {
            auto take = [](std::optional<std::string>& to, const std::optional<std::string>& from) {
                if (from) {
                    to = from;
                }
            };
            take(state.requested.socketPath, request.socketPath);
            take(state.requested.bundleName, request.bundleName);
            take(state.requested.token, request.token);
            return true;
        }
        const EndpointChoice& used = state.made->endpoint_;
        if (request.socketPath && *request.socketPath != used.socketPath) {
            whyNot = used.socketPath.empty() ? "this process uses the embedded service already"
                                             : "this process is connected to " + used.socketPath + " already";
        } else if (request.bundleName && *request.bundleName != used.bundleName) {
            whyNot = "this process acts as " + used.bundleName + " already";
        } else if (request.token && *request.token != used.token) {
            whyNot = "this process presents another token already";
        } else {
            return true;
        }
    } catch (const std::exception& e) {
        whyNot = e.what();
    }
    return false;
}

uint64_t NavInfoClient::AddServiceObserver(ServiceEventObserver observer) noexcept
{
    try {
        return ServiceEventHub::Instance().Add(std::move(observer));
    } catch (const std::exception& e) {
        CLIENT_LOGE("observer not added: %{public}s", e.what());
    }
    return 0;
}

void NavInfoClient::RemoveServiceObserver(uint64_t id) noexcept
{
    ServiceEventHub::Instance().Remove(id);
}

bool NavInfoClient::Connect() noexcept
{
    try {
        NavInfoTransport* current = transport_.load(std::memory_order_acquire);
        return current != nullptr && current->Connect();
    } catch (const std::exception& e) {
        CLIENT_LOGE("connecting failed: %{public}s", e.what());
    }
    return false;
}

void NavInfoClient::HoldConnection(bool hold) noexcept
{
    try {
        NavInfoTransport* current = transport_.load(std::memory_order_acquire);
        if (current != nullptr) {
            current->HoldConnection(hold);
        }
    } catch (const std::exception& e) {
        CLIENT_LOGE("holding the connection failed: %{public}s", e.what());
    }
}

uint64_t NavInfoClient::ConnectionGeneration() const noexcept
{
    NavInfoTransport* current = transport_.load(std::memory_order_acquire);
    return current != nullptr ? current->ConnectionGeneration() : 0;
}

bool NavInfoClient::IsServiceConnected() const noexcept
{
    NavInfoTransport* current = transport_.load(std::memory_order_acquire);
    return current != nullptr && current->IsServiceConnected();
}

int32_t NavInfoClient::UpdateNavigationStatus(NavigationStatus status)
{
    return Through(transport_, __func__,
        [&](NavInfoTransport& transport) { return transport.UpdateNavigationStatus(std::move(status)); });
}

int32_t NavInfoClient::UpdateNavigationMetadata(NavigationMetadata metadata)
{
    return Through(transport_, __func__,
        [&](NavInfoTransport& transport) { return transport.UpdateNavigationMetadata(std::move(metadata)); });
}

int32_t NavInfoClient::RegisterSystemNavigationListener(sptr<SystemNavigationListener> listener)
{
    return Through(transport_, __func__,
        [&](NavInfoTransport& transport) { return transport.RegisterSystemNavigationListener(listener); });
}

int32_t NavInfoClient::UnRegisterSystemNavigationListener()
{
    return Through(transport_, __func__,
        [&](NavInfoTransport& transport) { return transport.UnRegisterSystemNavigationListener(); });
}

int32_t NavInfoClient::GetNavigationStatus(std::string bundleName, NavigationStatus& status)
{
    return Through(transport_, __func__,
        [&](NavInfoTransport& transport) { return transport.GetNavigationStatus(bundleName, status); });
}

int32_t NavInfoClient::RegisterNavigationStatusListener(std::string bundleName, sptr<NavigationStatusListener> listener)
{
    return Through(transport_, __func__,
        [&](NavInfoTransport& transport) { return transport.RegisterNavigationStatusListener(bundleName, listener); });
}

int32_t NavInfoClient::UnRegisterNavigationStatusListener(std::string bundleName)
{
    return Through(transport_, __func__,
        [&](NavInfoTransport& transport) { return transport.UnRegisterNavigationStatusListener(bundleName); });
}

int32_t NavInfoClient::RegisterNavigationMetadataListener(std::string bundleName,
    sptr<NavigationMetadataListener> listener)
{
    return Through(transport_, __func__, [&](NavInfoTransport& transport) {
        return transport.RegisterNavigationMetadataListener(bundleName, listener);
    });
}

int32_t NavInfoClient::UnRegisterNavigationMetadataListener(std::string bundleName)
{
    return Through(transport_, __func__,
        [&](NavInfoTransport& transport) { return transport.UnRegisterNavigationMetadataListener(bundleName); });
}

int32_t NavInfoClient::QueryNavigationInfo(std::string bundleName, QueryType type, AAFwk::WantParams params,
    sptr<MapCallback> callback)
{
    return Through(transport_, __func__, [&](NavInfoTransport& transport) {
        return transport.QueryNavigationInfo(bundleName, type, std::move(params), callback);
    });
}

int32_t NavInfoClient::SendNavigationCmd(std::string bundleName, CommandType type, AAFwk::WantParams params,
    sptr<MapCallback> callback)
{
    return Through(transport_, __func__, [&](NavInfoTransport& transport) {
        return transport.SendNavigationCmd(bundleName, type, std::move(params), callback);
    });
}

int32_t NavInfoClient::RegisterRequestObserver(std::string bundleName, sptr<RequestObserverStub> observer)
{
    return Through(transport_, __func__,
        [&](NavInfoTransport& transport) { return transport.RegisterRequestObserver(bundleName, observer); });
}

int32_t NavInfoClient::UnRegisterRequestObserver(std::string bundleName)
{
    return Through(transport_, __func__,
        [&](NavInfoTransport& transport) { return transport.UnRegisterRequestObserver(bundleName); });
}

int32_t NavInfoClient::InspectService(ServiceSnapshot& snapshot)
{
    return Through(transport_, __func__,
        [&](NavInfoTransport& transport) { return transport.InspectService(snapshot); });
}

} // namespace OHOS::NavigationInfoService
