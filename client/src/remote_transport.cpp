#include "remote_transport.h"

#include <utility>

#include "client_log.h"
#include "ipc_limits.h"
#include "ipc_thread_pool.h"
#include "ipc_threads.h"
#include "keep_alive_responder.h"
#include "nav_info_errors.h"
#include "nav_info_service_ipc.h"
#include "nav_info_service_proxy.h"
#include "service_event_hub.h"

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

void RaiseChange(ServiceEventKind change, RegistrationKind kind, const std::string& bundleName, int32_t result)
{
    ServiceEvent event;
    event.kind = change;
    event.registration = kind;
    event.bundleName = bundleName;
    event.result = result;
    ServiceEventHub::Instance().Raise(event);
}

} // namespace

RemoteTransport::RemoteTransport(ServiceEndpoint endpoint) : requests_(std::make_shared<OutstandingRequests>())
{
    ServiceConnector::Hooks hooks;
    hooks.onConnected = [this](const sptr<IRemoteObject>& service, uint64_t generation) {
        OnConnected(service, generation);
    };
    hooks.onLost = [this](uint64_t generation) { OnLost(generation); };
    hooks.onUp = [this](uint64_t generation) { OnUp(generation); };
    hooks.onFailed = [this](int32_t failure) { OnFailed(failure); };
    hooks.wantsReconnect = [this] { return WantsConnection(); };
    retrier_ = std::make_unique<BackoffRetrier>(RefusalRetryBase(), [this] { return RetryRefused(); });
    // One pool for every connection, so that reconnecting does not start threads.
    auto pool = IpcThreadPool::Create(kDefaultClientPoolThreads, "navinfo-client");
    connector_ = ServiceConnector::Create(std::move(endpoint), std::move(hooks), std::move(pool));
}

RemoteTransport::~RemoteTransport()
{
    retrier_->Stop();
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
    // What is restored may make this connection its bundle's owner: the
    // daemon must have its keep-alive responder first.
    if (book_.status || book_.metadata || book_.systemListener.listener != nullptr) {
        EnsureKeepAlive(service, generation);
    }
    NavInfoServiceProxy proxy(service);
    size_t restored = book_.Replay(proxy, RaiseChange);
    CLIENT_LOGI("connection %{public}llu: %{public}zu registrations restored",
        static_cast<unsigned long long>(generation), restored);
    if (book_.HasRefused()) {
        retrier_->Restart(); // everything was tried just now
    }
}

void RemoteTransport::EnsureKeepAlive(const sptr<IRemoteObject>& service, uint64_t generation)
{
    if (service == nullptr || keepAliveGeneration_.exchange(generation) == generation) {
        return;
    }
    sptr<IRemoteObject> responder;
    try {
        responder = new KeepAliveResponder(service);
    } catch (const std::bad_alloc&) {
        keepAliveGeneration_.store(0); // tried again with the next owner call
        return;
    }
    int32_t result = NavInfoServiceProxy(service).RegisterKeepAlive(responder);
    if (result != NAV_INFO_SUCCESS) {
        // A daemon that predates keep-alives does not know the call (1002):
        // it never takes this process as frozen, so nothing is lost.
        CLIENT_LOGI("connection %{public}llu: keep-alive not registered (%{public}d)",
            static_cast<unsigned long long>(generation), result);
    }
}

void RemoteTransport::OnUp(uint64_t generation)
{
    ServiceEvent event;
    event.kind = ServiceEventKind::CONNECTED;
    event.generation = generation;
    ServiceEventHub::Instance().Raise(event);
}

void RemoteTransport::OnLost(uint64_t generation)
{
    for (const auto& request : requests_->TakeGeneration(generation)) {
        AnswerLater(request, NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    }
    ServiceEvent event;
    event.kind = ServiceEventKind::DISCONNECTED;
    event.generation = generation;
    event.result = NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    event.reason = "the connection to the service ended";
    ServiceEventHub::Instance().Raise(event);
}

// The daemon refused this identity: every registration is refused with it
// until a connection is accepted again (the replay then tells which are taken).
void RemoteTransport::OnFailed(int32_t failure)
{
    if (failure != NAV_INFO_ERR_NO_PERMISSION) {
        return;
    }
    std::lock_guard<std::mutex> lock(registrationMutex_);
    auto refuse = [&](BookedListener& entry, RegistrationKind kind, const std::string& bundleName) {
        if (entry.listener != nullptr && !entry.refused) {
            entry.refused = true;
            RaiseChange(ServiceEventKind::REFUSED, kind, bundleName, failure);
        }
    };
    refuse(book_.systemListener, RegistrationKind::SYSTEM_LISTENER, "");
    for (auto& [bundle, entry] : book_.statusListeners) {
        refuse(entry, RegistrationKind::STATUS_LISTENER, bundle);
    }
    for (auto& [bundle, entry] : book_.metadataListeners) {
        refuse(entry, RegistrationKind::METADATA_LISTENER, bundle);
    }
    for (auto& [bundle, entry] : book_.requestObservers) {
        refuse(entry, RegistrationKind::REQUEST_OBSERVER, bundle);
    }
}

bool RemoteTransport::WantsConnection()
{
    if (connectionHolds_.load() > 0) {
        return true;
    }
    std::lock_guard<std::mutex> lock(registrationMutex_);
    return book_.HasRegistrations();
}

bool RemoteTransport::Connect()
{
    ServiceLease lease = connector_->Acquire();
    if (lease.service == nullptr && WantsConnection()) {
        connector_->WantReconnect();
    }
    return lease.service != nullptr;
}

void RemoteTransport::HoldConnection(bool hold)
{
    if (!hold) {
        connectionHolds_.fetch_sub(1);
        return;
    }
    connectionHolds_.fetch_add(1);
    if (!IsServiceConnected()) {
        connector_->WantReconnect();
    }
}

bool RemoteTransport::RetryRefused()
{
    // Connects if it can: a new connection replays (and so retries) everything.
    ServiceLease lease = connector_->Acquire();
    std::lock_guard<std::mutex> lock(registrationMutex_);
    if (lease.service != nullptr) {
        NavInfoServiceProxy proxy(lease.service);
        book_.RetryRefused(proxy, RaiseChange);
    }
    return book_.HasRefused();
}

bool RemoteTransport::BookLocked(BookedListener& entry, const sptr<IRemoteObject>& listener, int32_t result,
    RegistrationKind kind, const std::string& bundleName)
{
    bool wasRefused = entry.listener != nullptr && entry.refused;
    entry.listener = listener;
    if (result != NAV_INFO_ERR_SERVICE_UNAVAILABLE) {
        entry.refused = IsRefusal(result);
    }
    // The caller sees its own call's result; a refusal lifted by it is news
    // to whoever was told of the refusal.
    if (wasRefused && !entry.refused) {
        RaiseChange(ServiceEventKind::RESUMED, kind, bundleName, result);
    }
    return entry.refused;
}

void RemoteTransport::AfterRegistration(const ServiceLease& lease, int32_t result, bool refused)
{
    if (lease.service == nullptr && (result == NAV_INFO_ERR_SERVICE_UNAVAILABLE || IsRefusal(result))) {
        connector_->WantReconnect(); // the retry thread connects, and the replay registers it
    } else if (refused) {
        retrier_->Schedule();
    }
}

template <typename Record, typename Send>
int32_t RemoteTransport::Publish(std::optional<Record> RegistrationBook::*kept, Record record, Send&& send)
{
    ServiceLease lease = connector_->Acquire();
    // Held across the call, so that the record kept is the one the daemon got last.
    std::unique_lock<std::mutex> lock(registrationMutex_);
    EnsureKeepAlive(lease.service, lease.generation); // before the call that may make it the owner
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
        EnsureKeepAlive(lease.service, lease.generation); // before the call that may make it the owner
        result = NavInfoServiceProxy(lease.service).RegisterSystemNavigationListener(object);
    }
    bool refused = false;
    if (BookedAfter(result) && object != nullptr) {
        refused = BookLocked(book_.systemListener, object, result, RegistrationKind::SYSTEM_LISTENER, "");
    }
    lock.unlock();
    AfterRegistration(lease, result, refused);
    return result;
}

int32_t RemoteTransport::UnRegisterSystemNavigationListener()
{
    BookedListener forgotten;
    {
        std::lock_guard<std::mutex> lock(registrationMutex_);
        forgotten = std::exchange(book_.systemListener, BookedListener{});
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
int32_t RemoteTransport::Follow(std::map<std::string, BookedListener> RegistrationBook::*book, RegistrationKind kind,
    const std::string& bundleName, const sptr<IRemoteObject>& listener, Register&& reg)
{
    ServiceLease lease = connector_->Acquire();
    std::unique_lock<std::mutex> lock(registrationMutex_);
    int32_t result = lease.failure;
    if (lease.service != nullptr) {
        NavInfoServiceProxy proxy(lease.service);
        result = reg(proxy);
    }
    // Booked while the daemon is away (the call says 1002) or refuses it (1005,
    // 1015) too: the next daemon, or the retry, gets it. A bundle name the
    // daemon would refuse is not booked.
    bool refused = false;
    if (BookedAfter(result) && listener != nullptr && !bundleName.empty() &&
        bundleName.size() <= MAX_BUNDLE_NAME_LENGTH) {
        refused = BookLocked((book_.*book)[bundleName], listener, result, kind, bundleName);
    }
    lock.unlock();
    AfterRegistration(lease, result, refused);
    return result;
}

template <typename Unregister>
int32_t RemoteTransport::Unfollow(std::map<std::string, BookedListener> RegistrationBook::*book,
    const std::string& bundleName, Unregister&& unreg)
{
    BookedListener forgotten;
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
    return Follow(&RegistrationBook::statusListeners, RegistrationKind::STATUS_LISTENER, bundleName, object,
        [&](NavInfoServiceProxy& proxy) { return proxy.RegisterNavigationStatusListener(bundleName, object); });
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
    return Follow(&RegistrationBook::metadataListeners, RegistrationKind::METADATA_LISTENER, bundleName, object,
        [&](NavInfoServiceProxy& proxy) { return proxy.RegisterNavigationMetadataListener(bundleName, object); });
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

int32_t RemoteTransport::QueryNavigationInfo(const std::string& bundleName, QueryType type, AAFwk::WantParams params,
    sptr<IMapCallback> callback)
{
    return SubmitRequest(SVC_QUERY_NAVIGATION_INFO, bundleName, static_cast<int32_t>(type), params, callback);
}

int32_t RemoteTransport::SendNavigationCmd(const std::string& bundleName, CommandType type, AAFwk::WantParams params,
    sptr<IMapCallback> callback)
{
    return SubmitRequest(SVC_SEND_NAVIGATION_CMD, bundleName, static_cast<int32_t>(type), params, callback);
}

// Booked like a follower: a new daemon, or the same one after a refusal, gets it again.
int32_t RemoteTransport::RegisterRequestObserver(const std::string& bundleName, const sptr<IRequestObserver>& observer)
{
    sptr<IRemoteObject> object = observer == nullptr ? nullptr : observer->AsObject();
    return Follow(&RegistrationBook::requestObservers, RegistrationKind::REQUEST_OBSERVER, bundleName, object,
        [&](NavInfoServiceProxy& proxy) { return proxy.RegisterRequestObserver(bundleName, object); });
}

int32_t RemoteTransport::UnRegisterRequestObserver(const std::string& bundleName)
{
    return Unfollow(&RegistrationBook::requestObservers, bundleName,
        [&](NavInfoServiceProxy& proxy) { return proxy.UnRegisterRequestObserver(bundleName); });
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
