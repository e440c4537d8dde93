#include "remote_transport.h"

#include "client_log.h"
#include "ipc_limits.h"
#include "ipc_thread_pool.h"
#include "ipc_threads.h"
#include "nav_info_errors.h"
#include "nav_info_service_ipc.h"
#include "nav_info_service_proxy.h"

namespace OHOS::NavigationInfoService {
namespace {

sptr<IRemoteObject> ObjectOf(const sptr<IRemoteBroker>& broker)
{
    return broker != nullptr ? broker->AsObject() : nullptr;
}

// Answers a request locally on the client library's IPC threads (inline if
// they cannot take it), so that the answer never runs on a reader thread or
// under a caller's lock.
void AnswerLater(const sptr<TrackedRequest>& request, int32_t code)
{
    ResultData answer;
    answer.code = code;
    answer.message = NavInfoResultText(code);
    try {
        if (IpcThreads()->Post(nullptr, [request, answer]() mutable { request->Callback(std::move(answer)); })) {
            return;
        }
    } catch (const std::bad_alloc&) {
    }
    request->Callback(std::move(answer));
}

} // namespace

RemoteTransport::RemoteTransport(ServiceEndpoint endpoint) : requests_(std::make_shared<OutstandingRequests>())
{
    ServiceConnector::Hooks hooks;
    hooks.onConnected = [this](const sptr<IRemoteObject>& service, uint64_t generation) {
        OnConnected(service, generation);
    };
    hooks.onLost = [this](uint64_t generation) { OnLost(generation); };
    hooks.wantsReconnect = [this] { return HasRegistrations(); };
    // One pool for every connection, so that reconnecting does not start threads.
    auto pool = IpcThreadPool::Create(kDefaultClientPoolThreads, "navinfo-client");
    connector_ = ServiceConnector::Create(std::move(endpoint), std::move(hooks), std::move(pool));
}

RemoteTransport::~RemoteTransport()
{
    connector_->Shutdown();
}

size_t RemoteTransport::OutstandingRequestCount() const
{
    return requests_->Count();
}

uint64_t RemoteTransport::ConnectionGeneration() const
{
    return connector_->CurrentGeneration();
}

void RemoteTransport::OnConnected(const sptr<IRemoteObject>& service, uint64_t generation)
{
    std::lock_guard<std::mutex> lock(registrationMutex_);
    if (book_.Empty()) {
        return;
    }
    NavInfoServiceProxy proxy(service);
    size_t restored = book_.Replay(proxy);
    CLIENT_LOGI("connection %{public}llu: %{public}zu registrations restored",
        static_cast<unsigned long long>(generation), restored);
}

void RemoteTransport::OnLost(uint64_t generation)
{
    for (const auto& request : requests_->TakeGeneration(generation)) {
        AnswerLater(request, NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    }
}

bool RemoteTransport::HasRegistrations()
{
    std::lock_guard<std::mutex> lock(registrationMutex_);
    return book_.HasRegistrations();
}

template <typename Record, typename Send>
int32_t RemoteTransport::Publish(std::optional<Record> RegistrationBook::*kept, Record record, Send&& send)
{
    ServiceLease lease = connector_->Acquire();
    // Held across the call, so that the record kept is the one the daemon got last.
    std::unique_lock<std::mutex> lock(registrationMutex_);
    int32_t result = lease.service == nullptr ? lease.failure : send(NavInfoServiceProxy(lease.service), record);
    if (KeptForReplay(result)) {
        book_.*kept = std::move(record);
    }
    return result;
}

int32_t RemoteTransport::UpdateNavigationStatus(NavigationStatus status)
{
    return Publish(&RegistrationBook::status, std::move(status),
        [](NavInfoServiceProxy proxy, const NavigationStatus& record) { return proxy.UpdateNavigationStatus(record); });
}

int32_t RemoteTransport::UpdateNavigationMetadata(NavigationMetadata metadata)
{
    return Publish(&RegistrationBook::metadata, std::move(metadata),
        [](NavInfoServiceProxy proxy, const NavigationMetadata& record) {
            return proxy.UpdateNavigationMetadata(record);
        });
}

int32_t RemoteTransport::RegisterSystemNavigationListener(sptr<ISystemNavigationListener> listener)
{
    sptr<IRemoteObject> object = ObjectOf(listener);
    ServiceLease lease = connector_->Acquire();
    std::unique_lock<std::mutex> lock(registrationMutex_);
    int32_t result = lease.failure;
    if (lease.service != nullptr) {
        result = NavInfoServiceProxy(lease.service).RegisterSystemNavigationListener(object);
    }
    if (KeptForReplay(result) && object != nullptr) {
        book_.systemListener = object;
    }
    lock.unlock();
    if (lease.service == nullptr && result == NAV_INFO_ERR_SERVICE_UNAVAILABLE) {
        connector_->WantReconnect();
    }
    return result;
}

int32_t RemoteTransport::UnRegisterSystemNavigationListener()
{
    sptr<IRemoteObject> forgotten;
    {
        std::lock_guard<std::mutex> lock(registrationMutex_);
        forgotten = std::move(book_.systemListener);
    }
    ServiceLease lease = connector_->Acquire();
    if (lease.service == nullptr) {
        return lease.failure;
    }
    return NavInfoServiceProxy(lease.service).UnRegisterSystemNavigationListener();
}

int32_t RemoteTransport::GetNavigationStatus(const std::string& bundleName, NavigationStatus& status)
{
    ServiceLease lease = connector_->Acquire();
    if (lease.service == nullptr) {
        return lease.failure;
    }
    return NavInfoServiceProxy(lease.service).GetNavigationStatus(bundleName, status);
}

template <typename Register>
int32_t RemoteTransport::Follow(std::map<std::string, sptr<IRemoteObject>> RegistrationBook::*book,
    const std::string& bundleName, const sptr<IRemoteObject>& listener, Register&& reg)
{
    ServiceLease lease = connector_->Acquire();
    std::unique_lock<std::mutex> lock(registrationMutex_);
    int32_t result = lease.failure;
    if (lease.service != nullptr) {
        NavInfoServiceProxy proxy(lease.service);
        result = reg(proxy);
    }
    // Booked while the daemon is away too (the call says 1002): the next
    // daemon gets it. A bundle name the daemon would refuse is not booked.
    if (KeptForReplay(result) && listener != nullptr && !bundleName.empty() &&
        bundleName.size() <= MAX_BUNDLE_NAME_LENGTH) {
        (book_.*book)[bundleName] = listener;
    }
    lock.unlock();
    if (lease.service == nullptr && result == NAV_INFO_ERR_SERVICE_UNAVAILABLE) {
        connector_->WantReconnect();
    }
    return result;
}

template <typename Unregister>
int32_t RemoteTransport::Unfollow(std::map<std::string, sptr<IRemoteObject>> RegistrationBook::*book,
    const std::string& bundleName, Unregister&& unreg)
{
    sptr<IRemoteObject> forgotten;
    {
        std::lock_guard<std::mutex> lock(registrationMutex_);
        auto found = (book_.*book).find(bundleName);
        if (found != (book_.*book).end()) {
            forgotten = std::move(found->second);
            (book_.*book).erase(found);
        }
    }
    ServiceLease lease = connector_->Acquire();
    if (lease.service == nullptr) {
        return lease.failure;
    }
    NavInfoServiceProxy proxy(lease.service);
    return unreg(proxy);
}

int32_t RemoteTransport::RegisterNavigationStatusListener(const std::string& bundleName,
    sptr<INavigationStatusListener> listener)
{
    sptr<IRemoteObject> object = ObjectOf(listener);
    return Follow(&RegistrationBook::statusListeners, bundleName, object, [&](NavInfoServiceProxy& proxy) {
        return proxy.RegisterNavigationStatusListener(bundleName, object);
    });
}

int32_t RemoteTransport::UnRegisterNavigationStatusListener(const std::string& bundleName)
{
    return Unfollow(&RegistrationBook::statusListeners, bundleName,
        [&](NavInfoServiceProxy& proxy) { return proxy.UnRegisterNavigationStatusListener(bundleName); });
}

int32_t RemoteTransport::RegisterNavigationMetadataListener(const std::string& bundleName,
    sptr<INavigationMetadataListener> listener)
{
    sptr<IRemoteObject> object = ObjectOf(listener);
    return Follow(&RegistrationBook::metadataListeners, bundleName, object, [&](NavInfoServiceProxy& proxy) {
        return proxy.RegisterNavigationMetadataListener(bundleName, object);
    });
}

int32_t RemoteTransport::UnRegisterNavigationMetadataListener(const std::string& bundleName)
{
    return Unfollow(&RegistrationBook::metadataListeners, bundleName,
        [&](NavInfoServiceProxy& proxy) { return proxy.UnRegisterNavigationMetadataListener(bundleName); });
}

int32_t RemoteTransport::SubmitRequest(uint32_t code, const std::string& bundleName, int32_t type,
    const AAFwk::WantParams& params, const sptr<IMapCallback>& callback)
{
    ServiceLease lease = connector_->Acquire();
    if (lease.service == nullptr) {
        return lease.failure;
    }
    NavInfoServiceProxy proxy(lease.service);
    if (callback == nullptr) {
        // Sent as null: the daemon's core decides (access first, then 1001).
        return code == SVC_QUERY_NAVIGATION_INFO ? proxy.QueryNavigationInfo(bundleName, type, params, nullptr)
                                                 : proxy.SendNavigationCmd(bundleName, type, params, nullptr);
    }
    sptr<TrackedRequest> request = requests_->Track(callback, lease.generation);
    sptr<IRemoteObject> object = request->AsObject();
    int32_t result = code == SVC_QUERY_NAVIGATION_INFO ? proxy.QueryNavigationInfo(bundleName, type, params, object)
                                                       : proxy.SendNavigationCmd(bundleName, type, params, object);
    if (result == NAV_INFO_SUCCESS || request->Cancel()) {
        return result;
    }
    // Not answered "accepted", yet already settled: the daemon answered it, or
    // its connection was lost and it was answered 1002. Either way the caller
    // got its one answer through the callback, so it must not settle again.
    CLIENT_LOGI("request settled although the call returned %{public}d", result);
    return NAV_INFO_SUCCESS;
}

int32_t RemoteTransport::QueryNavigationInfo(const std::string& bundleName, QueryType type,
    AAFwk::WantParams params, sptr<IMapCallback> callback)
{
    return SubmitRequest(SVC_QUERY_NAVIGATION_INFO, bundleName, static_cast<int32_t>(type), params, callback);
}

int32_t RemoteTransport::SendNavigationCmd(const std::string& bundleName, CommandType type,
    AAFwk::WantParams params, sptr<IMapCallback> callback)
{
    return SubmitRequest(SVC_SEND_NAVIGATION_CMD, bundleName, static_cast<int32_t>(type), params, callback);
}

int32_t RemoteTransport::InspectService(ServiceSnapshot& snapshot)
{
    ServiceLease lease = connector_->Acquire();
    if (lease.service == nullptr) {
        return lease.failure;
    }
    return NavInfoServiceProxy(lease.service).InspectService(snapshot);
}

} // namespace OHOS::NavigationInfoService
