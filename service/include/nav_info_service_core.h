// The navigation information service itself, free of any transport: the
// latest status and metadata of each navigation application, who follows
// them, the navigation applications' listeners, and the queries and commands
// in flight. The embedded client calls it in-process; the daemon calls it for
// each request that arrives on its sockets.
//
// Threads: every public function may be called from any thread at once. All
// state is guarded by mutex_. Listeners and callbacks are called only through
// the executor, never while mutex_ is held, so they may call back into the core.
//
// Results are those of nav_info_errors.h. Access is checked before arguments:
//  - publishing and the system navigation listener need the navigation
//    permission (else NAV_INFO_ERR_NO_PERMISSION);
//  - reading, following, querying and commanding need a system application
//    (else NAV_INFO_ERR_NOT_SYSTEM_APP) that holds the permission (else
//    NAV_INFO_ERR_NO_PERMISSION).
// A bundle name, given or the caller's own, that is empty or longer than
// MAX_BUNDLE_NAME_LENGTH is NAV_INFO_ERR_INVALID_PARAM.
//
// Ownership: the first client (clientId) that publishes for a bundle or
// registers its system navigation listener owns the bundle until it is gone
// (OnClientGone); another client's publish, listener registration or
// unregistration for it is refused with NAV_INFO_ERR_NO_PERMISSION (logged
// once per claimant, with both pids). When the owner goes, the service
// speaks for it: a status whose status is MAP_STATUS_UNAVAILABLE (every
// other field at its default, updateTime the time it noticed) is stored and
// sent to the followers unless the last status already said so, and the
// bundle's metadata is dropped (no follower or reader gets it again).
//
// Release: a gone bundle's status is kept for readers as a bare UNAVAILABLE
// (every other field at its default, whoever said it) for goneRetention, and
// for at most maxGoneBundles gone bundles (the oldest forgotten first); then
// the bundle reads as never published (NAV_INFO_ERR_NOT_FOUND). A live
// bundle's records are kept while it is live. Expired records are forgotten
// at the next call that reaches the records (publish, read, follow, inspect).
// Functions may throw std::bad_alloc only; the transport catches it.
#ifndef SERVICE_NAV_INFO_SERVICE_CORE_H
#define SERVICE_NAV_INFO_SERVICE_CORE_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "access_policy.h"
#include "bundle_owners.h"
#include "caller_info.h"
#include "deadline_timer.h"
#include "executor.h"
#include "follower_outbox.h"
#include "gone_bundles.h"
#include "navigation_info_data.h"
#include "navigation_listeners.h"
#include "rate_limited_count.h"
#include "request_observer.h"
#include "request_pacer.h"
#include "service_settings.h"
#include "service_snapshot.h"

namespace OHOS::NavigationInfoService {

// Whether a record published by a bundle can reach its followers (its
// notification fits the transport); an empty function lets every record pass.
struct NotificationLimits {
    std::function<bool(const NavigationStatus&, const std::string& bundleName)> statusFits;
    std::function<bool(const NavigationMetadata&, const std::string& bundleName)> metadataFits;
};

struct CoreOptions {
    std::shared_ptr<Executor> executor;         // required; runs every listener call
    std::shared_ptr<const AccessPolicy> policy; // null: deny everything
    std::chrono::milliseconds requestTimeout = DEFAULT_REQUEST_TIMEOUT;
    size_t maxOutstandingPerClient = DEFAULT_MAX_OUTSTANDING_REQUESTS;
    // Requests sent to one navigation application and not completed; the
    // others wait in the core (request_pacer.h).
    size_t maxInFlightPerListener = DEFAULT_MAX_IN_FLIGHT_PER_LISTENER;
    size_t followerOutboxCapacity = DEFAULT_FOLLOWER_OUTBOX_CAPACITY;
    NotificationLimits limits;
    size_t maxFollowsPerClient = DEFAULT_MAX_FOLLOWS_PER_CLIENT;
    ThreadStarter timerThreadStarter = DefaultThreadStarter();
    // How long a gone bundle's UNAVAILABLE is kept, and for how many gone
    // bundles at most (see Release above).
    std::chrono::milliseconds goneRetention = DEFAULT_GONE_RETENTION;
    size_t maxGoneBundles = DEFAULT_MAX_GONE_BUNDLES;
    // Bytes of records (marshalled) one InspectService copies at most.
    size_t maxSnapshotRecordBytes = DEFAULT_MAX_SNAPSHOT_RECORD_BYTES;
    // The clock of the retention; null: std::chrono::steady_clock::now.
    // Tests set their own.
    std::function<std::chrono::steady_clock::time_point()> clock;
    // For tests: called by InspectService after it let go of the lock and
    // before it copies the records it took, so that a test can make calls
    // while a snapshot is being copied.
    std::function<void()> beforeSnapshotCopy;
};

class NavInfoServiceCore : public std::enable_shared_from_this<NavInfoServiceCore> {
    struct Passkey {};

public:
    // The core must be shared-owned: the answer forwarders it hands out hold
    // it weakly. Throws std::bad_alloc only.
    static std::shared_ptr<NavInfoServiceCore> Create(CoreOptions options);
    NavInfoServiceCore(Passkey, CoreOptions options);
    // Stops the timer; requests still outstanding are dropped unanswered.
    ~NavInfoServiceCore();
    NavInfoServiceCore(const NavInfoServiceCore&) = delete;
    NavInfoServiceCore& operator=(const NavInfoServiceCore&) = delete;

    // --- Navigation application (needs the permission) ---
    // Stores the status as the caller's latest (updateTime set to now, in ms
    // since the epoch) and sends OnStatusChanged(status, caller bundle) to
    // every follower of the caller's bundle, through the follower's outbox:
    // each follower gets the records in publishing order and ends on the
    // latest; one that cannot keep up gets the newest and loses superseded
    // ones (counted in the log; listeners that take numbers get them, so that
    // the follower's side counts them too). Empty caller bundle, or a record
    // whose notification does not fit (options.limits): 1001. The bundle
    // owned by another client: 1005 (see Ownership above).
    int32_t UpdateNavigationStatus(const CallerInfo& caller, NavigationStatus status);
    int32_t UpdateNavigationMetadata(const CallerInfo& caller, NavigationMetadata metadata);
    // A record its publisher's client sends again after reconnecting: taken
    // as above only when no record of the caller's bundle is held (after a
    // restart) or the one held is the service's UNAVAILABLE for a publisher
    // that went (its client is back); otherwise the one held is as new or
    // newer, and stays. 0 either way.
    int32_t RestoreNavigationStatus(const CallerInfo& caller, NavigationStatus status);
    int32_t RestoreNavigationMetadata(const CallerInfo& caller, NavigationMetadata metadata);
    // One listener per bundle: a new registration replaces the old one, and
    // requests sent to the old one are answered NOT_FOUND. Null listener: 1001.
    int32_t RegisterSystemNavigationListener(const CallerInfo& caller, sptr<ISystemNavigationListener> listener);
    // Not registered: 1003. Requests sent to it are answered NOT_FOUND.
    int32_t UnRegisterSystemNavigationListener(const CallerInfo& caller);

    // --- System application (needs a system application with the permission) ---
    // Never published: 1003. Empty bundle name: 1001.
    int32_t GetNavigationStatus(const CallerInfo& caller, const std::string& bundleName, NavigationStatus& status);
    // One listener per (caller's clientId, bundle): registering again replaces
    // it. A client that already follows maxFollowsPerClient (bundle, kind)
    // pairs gets 1006 for a new one.
    int32_t RegisterNavigationStatusListener(const CallerInfo& caller, const std::string& bundleName,
        sptr<INavigationStatusListener> listener);
    int32_t UnRegisterNavigationStatusListener(const CallerInfo& caller, const std::string& bundleName);
    int32_t RegisterNavigationMetadataListener(const CallerInfo& caller, const std::string& bundleName,
        sptr<INavigationMetadataListener> listener);
    int32_t UnRegisterNavigationMetadataListener(const CallerInfo& caller, const std::string& bundleName);
    // A follower registered again by its client after reconnecting (to a
    // restarted daemon): registers it as above and, on success, sends it the
    // bundle's latest record if there is one, through its outbox as a
    // publish would. The
    // publisher may have restored that record before this follower was back.
    int32_t RestoreNavigationStatusListener(const CallerInfo& caller, const std::string& bundleName,
        sptr<INavigationStatusListener> listener);
    int32_t RestoreNavigationMetadataListener(const CallerInfo& caller, const std::string& bundleName,
        sptr<INavigationMetadataListener> listener);
    // Sends the request to bundleName's system navigation listener, at once
    // or, while that listener has maxInFlightPerListener requests it has not
    // answered, when its turn comes. On 0 the
    // callback is called exactly once, through the executor: with the
    // navigation application's first answer, {1004, "Timed out"} after the
    // request time-out, or {1003, "Not found"} when that listener goes away
    // first. On any other result it is never called. Kind out of range, empty
    // bundle or null callback: 1001; no listener: 1003; the caller already has
    // maxOutstandingPerClient requests outstanding: 1006; the time-out thread
    // or the executor cannot run: 1002.
    int32_t QueryNavigationInfo(const CallerInfo& caller, const std::string& bundleName, QueryType type,
        AAFwk::WantParams params, sptr<IMapCallback> callback);
    int32_t SendNavigationCmd(const CallerInfo& caller, const std::string& bundleName, CommandType type,
        AAFwk::WantParams params, sptr<IMapCallback> callback);

    // Observes the requests sent to bundleName (request_observer.h): each
    // request accepted for it from now on, and its completion, through the
    // observer's outbox (at followerOutboxCapacity pending observations the
    // pending ones are dropped, counted in the log). One observer per
    // (caller's clientId, bundle): registering again replaces it. A refused
    // request is not observed. Null observer or bad bundle name: 1001; a
    // client with maxFollowsPerClient observers already: 1006.
    int32_t RegisterRequestObserver(const CallerInfo& caller, const std::string& bundleName,
        sptr<IRequestObserver> observer);
    // Not registered: 1003.
    int32_t UnRegisterRequestObserver(const CallerInfo& caller, const std::string& bundleName);

    // --- Inspection (a system application with the permission) ---
    // Fills what the core holds: follows, servers, requests waiting and the
    // latest records, each list cut at MAX_SNAPSHOT_ENTRIES (then
    // `truncated`). The records are taken as shared references under the
    // lock and copied after it is let go, at most maxSnapshotRecordBytes of
    // them (marshalled): the records beyond are left out (statuses first,
    // then metadata, each by bundle name) and `truncated` set. The clients
    // are the transport's to add: the core knows callers only by their
    // client id.
    int32_t InspectService(const CallerInfo& caller, ServiceSnapshot& snapshot);

    // --- Transport and tests ---
    // The connection clientId went away: its subscriptions and listeners are
    // dropped; requests it sent are dropped unanswered; requests sent to its
    // system navigation listeners are answered NOT_FOUND. The bundles it
    // owned are free, and each is reported gone as by ReportPublisherGone.
    void OnClientGone(uint64_t clientId);
    // The publisher of bundle is gone while its owner stays (the network
    // bridge, whose claimant daemon went): stores and sends the UNAVAILABLE
    // status on its behalf and drops its metadata, as above.
    void ReportPublisherGone(const std::string& bundleName);
    // Whether clientId owns bundleName now (the daemon watches only owners'
    // liveness).
    bool OwnsBundle(uint64_t clientId, const std::string& bundleName) const;
    // Forgets all state (records too). Outstanding requests are answered NOT_FOUND.
    void Reset();
    // How long a gone bundle's UNAVAILABLE is kept (the policy file's
    // "goneRetentionSeconds"); applies to the bundles gone already too.
    void SetGoneRetention(std::chrono::milliseconds retention);
    // Applies to requests made from now on.
    void SetRequestTimeout(std::chrono::milliseconds timeout);
    // Null denies everything. Applies to calls made from now on.
    void SetAccessPolicy(std::shared_ptr<const AccessPolicy> policy);
    size_t OutstandingRequestCount() const;
    // Status and metadata listeners and system navigation listeners registered now.
    size_t RegistrationCount() const;

private:
    friend class RequestAnswerForwarder;
    enum class RequestKind { QUERY, COMMAND };
    struct SystemListenerEntry {
        sptr<ISystemNavigationListener> listener;
        uint64_t clientId = 0;
        uint64_t registrationId = 0; // unique per registration, so that requests know theirs
    };
    struct PendingRequest {
        uint64_t requesterClientId = 0;
        uint64_t targetRegistrationId = 0;
        sptr<IMapCallback> callback;
        bool inFlight = false; // sent to the listener; else waiting in pacer_
        // What to send, kept while the request waits.
        sptr<ISystemNavigationListener> listener;
        RequestKind kind = RequestKind::QUERY;
        int32_t type = 0;
        AAFwk::WantParams params;
        std::string requester; // the caller's bundle name, for a RequesterAwareListener
        // What InspectService shows besides kind and type.
        std::string bundleName;
        std::chrono::steady_clock::time_point acceptedAt;
    };
    // A request to hand to its listener, outside the lock.
    struct Dispatch {
        uint64_t requestId = 0;
        sptr<ISystemNavigationListener> listener;
        RequestKind kind = RequestKind::QUERY;
        int32_t type = 0;
        AAFwk::WantParams params;
        std::string requester;
    };
    struct Answer {
        sptr<IMapCallback> callback;
        ResultData data;
    };
    template <typename Listener, typename Record>
    struct Follower {
        sptr<Listener> listener;
        std::shared_ptr<FollowerOutbox<Record>> outbox;
    };
    // bundle -> clientId -> follower
    template <typename Listener, typename Record>
    using Followers = std::map<std::string, std::map<uint64_t, Follower<Listener, Record>>>;
    using StatusFollowers = Followers<INavigationStatusListener, NavigationStatus>;
    using MetadataFollowers = Followers<INavigationMetadataListener, NavigationMetadata>;

    struct RequestObserverEntry {
        sptr<IRequestObserver> observer;
        std::shared_ptr<FollowerOutbox<RequestObservation>> outbox;
    };
    using ObserverDrain = std::pair<sptr<IRequestObserver>, std::shared_ptr<FollowerOutbox<RequestObservation>>>;

    int32_t CheckPublisher(const CallerInfo& caller) const;
    int32_t CheckSystemApp(const CallerInfo& caller) const;
    int32_t SubmitRequest(const CallerInfo& caller, const std::string& bundleName, RequestKind kind, int32_t type,
        AAFwk::WantParams params, sptr<IMapCallback> callback);
    template <typename Listener, typename Record>
    int32_t Follow(const CallerInfo& caller, const std::string& bundleName, sptr<Listener> listener,
        Followers<Listener, Record>& followers);
    template <typename Listener, typename Record>
    int32_t Unfollow(const CallerInfo& caller, const std::string& bundleName, Followers<Listener, Record>& followers);
    // Stores the record (under mutex_, with store) and puts it in the outbox
    // of every follower of bundle, scheduling the drains that are needed.
    template <typename Listener, typename Record, typename Store>
    void Publish(const std::string& bundle, Record record, Followers<Listener, Record>& followers, Store&& store);
    template <typename Listener, typename Record>
    using Drains = std::vector<std::pair<sptr<Listener>, std::shared_ptr<FollowerOutbox<Record>>>>;
    // mutex_ held: puts record in the outbox of every follower of bundle,
    // adding the drains to schedule; returns how many superseded records
    // were dropped to make room.
    template <typename Listener, typename Record>
    uint64_t QueueLocked(const std::string& bundle, const std::shared_ptr<const Record>& record,
        Followers<Listener, Record>& followers, Drains<Listener, Record>& drains);
    // Without mutex_: posts the drains QueueLocked asked for.
    template <typename Listener, typename Record>
    void ScheduleDrains(Drains<Listener, Record>& drains);
    // Claims the caller's bundle: 0, or 1005 (logged once per claimant).
    int32_t Claim(const CallerInfo& caller);
    // mutex_ held: the publisher of bundle is gone: drops its metadata and
    // stores the UNAVAILABLE status (queued for the followers) unless the
    // last status already said so. True when it stored one.
    bool MarkGoneLocked(const std::string& bundle, Drains<INavigationStatusListener, NavigationStatus>& drains);
    // mutex_ held: forgets the records of the gone bundles whose retention
    // passed or that are over the cap.
    void ReleaseGoneLocked();
    std::chrono::steady_clock::time_point Now() const;
    // Without mutex_: logs the bundles reported gone and schedules the drains.
    void FinishGone(const std::vector<std::string>& bundles,
        Drains<INavigationStatusListener, NavigationStatus>& drains);
    // Puts the record held in records for bundle, if any, in the outbox of
    // the caller's follower of it, scheduling a drain when one is needed.
    template <typename Listener, typename Record>
    void SendLatest(const CallerInfo& caller, const std::string& bundleName, Followers<Listener, Record>& followers,
        const std::map<std::string, std::shared_ptr<const Record>>& records);
    // A drain of one follower's outbox, on the executor.
    template <typename Listener, typename Record>
    static void Drain(const sptr<Listener>& listener, const std::shared_ptr<FollowerOutbox<Record>>& outbox);

    // Called by the forwarder with the navigation application's answer, and
    // by the timer. The first completion of a request wins.
    void CompleteRequest(uint64_t requestId, ResultData data);
    void OnRequestTimedOut(uint64_t requestId);
    // mutex_ held: removes a pending request and its time-out, returns its
    // callback (null if absent). A waiting request that may go out in its
    // place is added to readyToSend_.
    // outcome: what its requester is answered, told to the bundle's observers.
    sptr<IMapCallback> TakePendingLocked(uint64_t requestId, const ResultData& outcome);
    // mutex_ held: puts the observation in the outbox of every observer of
    // bundle; the drains to schedule go to observerDrains_ (SendReady).
    void ObserveLocked(const std::string& bundle, const RequestObservation& observation);
    static void DrainObservations(const sptr<IRequestObserver>& observer,
        const std::shared_ptr<FollowerOutbox<RequestObservation>>& outbox);
    // Without mutex_: hands the requests in readyToSend_ to their listeners
    // and schedules the observer drains in observerDrains_.
    void SendReady();
    // Without mutex_: posts the request to its listener; false if it could not be.
    bool Send(Dispatch dispatch);
    // mutex_ held: takes every request sent to that registration, answering each NOT_FOUND.
    void TakeRequestsOfRegistrationLocked(uint64_t registrationId, std::vector<Answer>& answers);
    // Without mutex_: posts each answer to its callback.
    void DeliverAnswers(std::vector<Answer>& answers);

    const std::shared_ptr<Executor> executor_;
    const size_t maxOutstandingPerClient_;
    const size_t followerOutboxCapacity_;
    const NotificationLimits limits_;
    const size_t maxFollowsPerClient_;
    const size_t maxGoneBundles_;
    const size_t maxSnapshotRecordBytes_;
    const std::function<std::chrono::steady_clock::time_point()> clock_;
    const std::function<void()> beforeSnapshotCopy_;
    DeadlineTimer timer_; // has its own lock; taken inside mutex_, never the other way round

    mutable std::mutex mutex_; // guards every field below
    std::shared_ptr<const AccessPolicy> policy_;
    std::chrono::milliseconds requestTimeout_;
    // The latest records, by publishing bundle; followers' outboxes share them.
    std::map<std::string, std::shared_ptr<const NavigationStatus>> statuses_;
    std::map<std::string, std::shared_ptr<const NavigationMetadata>> metadata_;
    std::map<std::string, int64_t> metadataTimes_; // when each was stored, ms since the epoch
    // Bundles whose status in statuses_ the service stored for a publisher that went.
    std::set<std::string> goneStatuses_;
    // Bundles whose publisher is gone and whose status is still kept, oldest first.
    GoneBundles gone_;
    std::chrono::milliseconds goneRetention_;
    BundleOwners owners_;
    StatusFollowers statusFollowers_;
    MetadataFollowers metadataFollowers_;
    uint64_t nextStream_ = 1;              // of the next follower outbox
    RateLimitedCount droppedForFollowers_; // superseded records dropped in outboxes
    uint64_t droppedForFollowersTotal_ = 0;
    std::map<std::string, SystemListenerEntry> systemListeners_; // by navigation bundle
    std::unordered_map<uint64_t, PendingRequest> pending_;       // by request id
    std::unordered_map<uint64_t, size_t> outstandingByClient_;   // requester clientId -> pending count
    RequestPacer pacer_;
    std::vector<Dispatch> readyToSend_; // see TakePendingLocked
    // bundle observed -> observer's clientId -> observer
    std::map<std::string, std::map<uint64_t, RequestObserverEntry>> requestObservers_;
    std::vector<ObserverDrain> observerDrains_;            // see ObserveLocked
    RateLimitedCount droppedForObservers_;                 // observations dropped in outboxes
    uint64_t observerDropsToReport_ = 0;                   // what SendReady logs next
    std::unordered_map<uint64_t, size_t> followsByClient_; // clientId -> status and metadata listeners
    uint64_t nextRequestId_ = 1;
    uint64_t nextRegistrationId_ = 1;
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_NAV_INFO_SERVICE_CORE_H
