// The transport to the navinfo-service daemon over its Unix-domain socket.
//
// Each operation is one synchronous service call (NavInfoServiceProxy) on
// the current connection (ServiceConnector). Without a connection every call
// returns at once the failure of the latest attempt: 1002 when the daemon
// cannot be reached, 1005 when it refused this process's identity.
//
// What this process holds at the daemon is kept in a RegistrationBook and
// replayed on every new connection before any call uses it: listener
// registrations that succeeded, and the latest status and metadata
// published. A registration or record made while the daemon cannot be
// reached is kept too: the call still returns 1002, and the next daemon gets
// it. While there are registrations (or a holder wants the connection,
// HoldConnection), reconnecting does not wait for a call (records alone wait
// for the next call: a connection the daemon closed for silence must not come
// back on its own only to be closed again). Unregistering removes the entry
// whatever the daemon answers. A record the daemon refuses is not kept.
//
// A registration the daemon refuses for want of a right (1005, 1015, or its
// identity refused at the handshake) stays booked as refused: the call still
// returns the refusal, and the registration is tried again with back-off
// (BackoffRetrier: 1 s doubling to 30 s) and on every new connection, until
// it is taken or unregistered. Each change between refused and taken, and
// each connection made and lost, is raised as a service event
// (nav_info_service_events.h).
//
// Queries and commands travel with a TrackedRequest in place of the
// caller's callback: when the connection they went out on is lost, each one
// still open is answered {1002, "Service unavailable"} on the client
// library's IPC threads, exactly once.
//
// Threads: every operation from any thread. The daemon's calls of this
// process's listeners and callbacks arrive on the connection's IPC pool.
#ifndef CLIENT_REMOTE_TRANSPORT_H
#define CLIENT_REMOTE_TRANSPORT_H

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "backoff_retrier.h"
#include "nav_info_transport.h"
#include "outstanding_requests.h"
#include "registration_book.h"
#include "service_connector.h"

namespace OHOS::NavigationInfoService {

// The environment variable holding the token this process presents with
// its bundle name (NAVINFO_BUNDLE_NAME).
constexpr const char* BUNDLE_TOKEN_ENV = "NAVINFO_BUNDLE_TOKEN";

class RemoteTransport : public NavInfoTransport {
public:
    // Connects lazily, at the first call. May throw std::bad_alloc.
    explicit RemoteTransport(ServiceEndpoint endpoint);
    // Stops retrying, closes the connection; requests still open are answered 1002.
    ~RemoteTransport() override;

    int32_t UpdateNavigationStatus(NavigationStatus status) override;
    int32_t UpdateNavigationMetadata(NavigationMetadata metadata) override;
    int32_t RegisterSystemNavigationListener(sptr<ISystemNavigationListener> listener) override;
    int32_t UnRegisterSystemNavigationListener() override;
    int32_t GetNavigationStatus(const std::string& bundleName, NavigationStatus& status) override;
    int32_t RegisterNavigationStatusListener(const std::string& bundleName,
        sptr<INavigationStatusListener> listener) override;
    int32_t UnRegisterNavigationStatusListener(const std::string& bundleName) override;
    int32_t RegisterNavigationMetadataListener(const std::string& bundleName,
        sptr<INavigationMetadataListener> listener) override;
    int32_t UnRegisterNavigationMetadataListener(const std::string& bundleName) override;
    int32_t QueryNavigationInfo(const std::string& bundleName, QueryType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) override;
    int32_t SendNavigationCmd(const std::string& bundleName, CommandType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) override;

    bool IsServiceConnected() const override { return ConnectionGeneration() != 0; }
    bool Connect() override;
    void HoldConnection(bool hold) override;
    int32_t InspectService(ServiceSnapshot& snapshot) override;
    int32_t RegisterRequestObserver(const std::string& bundleName, const sptr<IRequestObserver>& observer) override;
    int32_t UnRegisterRequestObserver(const std::string& bundleName) override;

    // For tests: requests sent and not yet settled; the live connection's
    // generation (0: none).
    size_t OutstandingRequestCount() const;
    uint64_t ConnectionGeneration() const override;

private:
    // Connector hooks.
    void OnConnected(const sptr<IRemoteObject>& service, uint64_t generation);
    void OnLost(uint64_t generation);
    void OnUp(uint64_t generation);
    void OnFailed(int32_t failure);
    bool WantsConnection();
    // The retrier's attempt: registers the refused entries again; true while some stay refused.
    bool RetryRefused();
    // Books a registration after its call's result (registrationMutex_ held);
    // true when it is booked as refused.
    bool BookLocked(BookedListener& entry, const sptr<IRemoteObject>& listener, int32_t result, RegistrationKind kind,
        const std::string& bundleName);
    // Sends a record and keeps it for replay (`kept` is a member of book_).
    template <typename Record, typename Send>
    int32_t Publish(std::optional<Record> RegistrationBook::*kept, Record record, Send&& send);

    int32_t SubmitRequest(uint32_t code, const std::string& bundleName, int32_t type, const AAFwk::WantParams& params,
        const sptr<IMapCallback>& callback);
    // Registers a follower and books it for replay; `book` is a map of book_.
    template <typename Register>
    int32_t Follow(std::map<std::string, BookedListener> RegistrationBook::*book, RegistrationKind kind,
        const std::string& bundleName, const sptr<IRemoteObject>& listener, Register&& reg);
    template <typename Unregister>
    int32_t Unfollow(std::map<std::string, BookedListener> RegistrationBook::*book, const std::string& bundleName,
        Unregister&& unreg);
    // Once per connection, before its first call that may make it its
    // bundle's owner (a publish, serving, a replay of either): hands the
    // daemon a keep-alive responder, so that it can tell a frozen owner from
    // a quiet one from the moment it owns.
    void EnsureKeepAlive(const sptr<IRemoteObject>& service, uint64_t generation);
    // After a registration call: what is booked decides whether to reconnect or retry.
    void AfterRegistration(const ServiceLease& lease, int32_t result, bool refused);

    const std::shared_ptr<OutstandingRequests> requests_;
    // Held across a registration call and its book update, and across a
    // replay, so that the book and the daemon agree. Never taken while
    // acquiring the connection (the replay runs inside that).
    std::mutex registrationMutex_;
    RegistrationBook book_; // guarded by registrationMutex_
    // The connection generation whose keep-alive responder the daemon has
    // (or refused, as a daemon without keep-alives does): asked once each.
    std::atomic<uint64_t> keepAliveGeneration_{0};
    std::atomic<int> connectionHolds_{0};         // HoldConnection(true) not yet undone
    std::shared_ptr<ServiceConnector> connector_; // set once in the constructor
    std::unique_ptr<BackoffRetrier> retrier_;     // set once in the constructor; stopped first
};

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_REMOTE_TRANSPORT_H
