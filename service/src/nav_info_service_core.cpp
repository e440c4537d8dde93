// The core's records, followers and listeners: publishing, reading,
// following, the system navigation listener, and dropping clients.
// Queries and commands are in nav_info_service_requests.cpp.
#include "nav_info_service_core.h"

#include <utility>
#include <vector>

#include "nav_info_errors.h"
#include "service_log.h"

namespace OHOS::NavigationInfoService {
namespace {

int64_t NowMillis()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

bool InvalidBundleName(const std::string& name)
{
    return name.empty() || name.size() > MAX_BUNDLE_NAME_LENGTH;
}

// Hands one record to a listener: numbered when the listener takes numbers
// (a proxy to another process), else through its own method.
void Notify(const sptr<INavigationStatusListener>& listener, const NavigationStatus& status, const std::string& bundle,
    NotificationNumber number)
{
    if (auto* numbered = dynamic_cast<NumberedStatusListener*>(listener.GetRefPtr())) {
        numbered->OnNumberedStatusChanged(status, bundle, number);
    } else {
        listener->OnStatusChanged(status, bundle);
    }
}

void Notify(const sptr<INavigationMetadataListener>& listener, const NavigationMetadata& metadata,
    const std::string& bundle, NotificationNumber number)
{
    if (auto* numbered = dynamic_cast<NumberedMetadataListener*>(listener.GetRefPtr())) {
        numbered->OnNumberedMetadataChanged(metadata, bundle, number);
    } else {
        listener->OnMetadataChanged(metadata, bundle);
    }
}

// Moves every follower of clientId out of followers into graveyard, so that
// they are released after the lock is let go.
template <typename Map, typename Graveyard>
void RemoveClientFollowers(Map& followers, uint64_t clientId, Graveyard& graveyard)
{
    for (auto bundle = followers.begin(); bundle != followers.end();) {
        auto found = bundle->second.find(clientId);
        if (found != bundle->second.end()) {
            graveyard.push_back(std::move(found->second));
            bundle->second.erase(found);
        }
        bundle = bundle->second.empty() ? followers.erase(bundle) : std::next(bundle);
    }
}

} // namespace

std::shared_ptr<NavInfoServiceCore> NavInfoServiceCore::Create(CoreOptions options)
{
    return std::make_shared<NavInfoServiceCore>(Passkey{}, std::move(options));
}

NavInfoServiceCore::NavInfoServiceCore(Passkey, CoreOptions options)
    : executor_(std::move(options.executor)),
      maxOutstandingPerClient_(options.maxOutstandingPerClient),
      followerOutboxCapacity_(options.followerOutboxCapacity),
      limits_(std::move(options.limits)),
      maxFollowsPerClient_(options.maxFollowsPerClient),
      maxGoneBundles_(options.maxGoneBundles),
      maxSnapshotRecordBytes_(options.maxSnapshotRecordBytes),
      clock_(std::move(options.clock)),
      beforeSnapshotCopy_(std::move(options.beforeSnapshotCopy)),
      timer_([this](uint64_t requestId) { OnRequestTimedOut(requestId); }, std::move(options.timerThreadStarter)),
      policy_(std::move(options.policy)),
      requestTimeout_(options.requestTimeout),
      goneRetention_(options.goneRetention),
      pacer_(options.maxInFlightPerListener)
{
    if (executor_ == nullptr) {
        SERVICE_LOGE("no executor: listeners will not be called and requests are refused");
    }
}

NavInfoServiceCore::~NavInfoServiceCore()
{
    timer_.Stop(); // no time-out may reach a core being destroyed
}

int32_t NavInfoServiceCore::CheckPublisher(const CallerInfo& caller) const
{
    std::shared_ptr<const AccessPolicy> policy;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        policy = policy_;
    }
    if (policy == nullptr || !policy->HasNavigationPermission(caller)) {
        return NAV_INFO_ERR_NO_PERMISSION;
    }
    return NAV_INFO_SUCCESS;
}

int32_t NavInfoServiceCore::CheckSystemApp(const CallerInfo& caller) const
{
    std::shared_ptr<const AccessPolicy> policy;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        policy = policy_;
    }
    if (policy == nullptr || !policy->IsSystemApp(caller)) {
        return NAV_INFO_ERR_NOT_SYSTEM_APP;
    }
    if (!policy->HasNavigationPermission(caller)) {
        return NAV_INFO_ERR_NO_PERMISSION;
    }
    return NAV_INFO_SUCCESS;
}

template <typename Listener, typename Record>
void NavInfoServiceCore::Drain(const sptr<Listener>& listener, const std::shared_ptr<FollowerOutbox<Record>>& outbox)
{
    std::deque<typename FollowerOutbox<Record>::Item> items;
    while (outbox->Take(items)) {
        for (const auto& item : items) {
            Notify(listener, *item.record, outbox->Bundle(), item.number);
        }
    }
}

template <typename Listener, typename Record>
uint64_t NavInfoServiceCore::QueueLocked(const std::string& bundle, const std::shared_ptr<const Record>& record,
    Followers<Listener, Record>& followers, Drains<Listener, Record>& drains)
{
    uint64_t dropped = 0;
    auto found = followers.find(bundle);
    if (found != followers.end()) {
        for (auto& [clientId, follower] : found->second) {
            uint64_t droppedHere = 0;
            if (follower.outbox->Push(record, droppedHere)) {
                drains.emplace_back(follower.listener, follower.outbox);
            }
            dropped += droppedHere;
        }
    }
    droppedForFollowersTotal_ += dropped;
    return dropped;
}

template <typename Listener, typename Record, typename Store>
void NavInfoServiceCore::Publish(const std::string& bundle, Record record, Followers<Listener, Record>& followers,
    Store&& store)
{
    Drains<Listener, Record> drains;
    uint64_t report = 0;
    uint64_t total = 0;
    // One copy, kept as the latest and shared by every follower's outbox.
    auto shared = std::make_shared<const Record>(std::move(record));
    {
        std::lock_guard<std::mutex> lock(mutex_);
        store(shared);
        report = droppedForFollowers_.Add(QueueLocked(bundle, shared, followers, drains));
        total = droppedForFollowersTotal_;
    }
    if (report != 0) {
        SERVICE_LOGW("%{public}llu superseded records dropped for followers that cannot keep up; they get the "
                     "newest (%{public}llu in all)",
            static_cast<unsigned long long>(report), static_cast<unsigned long long>(total));
    }
    ScheduleDrains(drains);
}

template <typename Listener, typename Record>
void NavInfoServiceCore::ScheduleDrains(Drains<Listener, Record>& drains)
{
    for (auto& drain : drains) {
        // named copies: a lambda cannot capture structured bindings before C++20
        auto listener = drain.first;
        auto outbox = drain.second;
        if (executor_ == nullptr ||
            !executor_->Post(listener.GetRefPtr(), [listener, outbox] { Drain(listener, outbox); })) {
            outbox->Unschedule(); // the next record tries again
            SERVICE_LOGE("records of %{public}s not delivered to a follower: no thread to run it",
                outbox->Bundle().c_str());
        }
    }
}

int32_t NavInfoServiceCore::Claim(const CallerInfo& caller)
{
    BundleOwners::Claim claim;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        claim = owners_.TryClaim(caller.bundleName, caller);
    }
    if (claim.granted) {
        return NAV_INFO_SUCCESS;
    }
    if (claim.firstRefusal) {
        SERVICE_LOGW("%{public}s is owned by pid %{public}d (client %{public}llu): pid %{public}d (client "
                     "%{public}llu) is refused while that one is live",
            caller.bundleName.c_str(), claim.ownerPid, static_cast<unsigned long long>(claim.ownerClientId), caller.pid,
            static_cast<unsigned long long>(caller.clientId));
    }
    return NAV_INFO_ERR_NO_PERMISSION;
}

int32_t NavInfoServiceCore::UpdateNavigationStatus(const CallerInfo& caller, NavigationStatus status)
{
    int32_t result = CheckPublisher(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    if (InvalidBundleName(caller.bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    if (limits_.statusFits && !limits_.statusFits(status, caller.bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    result = Claim(caller); // last: only a call that publishes takes the bundle
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    status.updateTime = NowMillis();
    Publish(caller.bundleName, std::move(status), statusFollowers_,
        [this, &caller](const std::shared_ptr<const NavigationStatus>& stored) {
            statuses_[caller.bundleName] = stored;
            goneStatuses_.erase(caller.bundleName);
            gone_.Remove(caller.bundleName); // live again
            ReleaseGoneLocked();
        });
    return NAV_INFO_SUCCESS;
}

int32_t NavInfoServiceCore::UpdateNavigationMetadata(const CallerInfo& caller, NavigationMetadata metadata)
{
    int32_t result = CheckPublisher(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    if (InvalidBundleName(caller.bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    if (limits_.metadataFits && !limits_.metadataFits(metadata, caller.bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    result = Claim(caller); // last: only a call that publishes takes the bundle
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    Publish(caller.bundleName, std::move(metadata), metadataFollowers_,
        [this, &caller](const std::shared_ptr<const NavigationMetadata>& stored) {
            metadata_[caller.bundleName] = stored;
            metadataTimes_[caller.bundleName] = NowMillis();
            gone_.Remove(caller.bundleName); // live again
            ReleaseGoneLocked();
        });
    return NAV_INFO_SUCCESS;
}

int32_t NavInfoServiceCore::RestoreNavigationStatus(const CallerInfo& caller, NavigationStatus status)
{
    int32_t result = CheckPublisher(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    if (InvalidBundleName(caller.bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    result = Claim(caller); // a client that is not the owner restores nothing
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ReleaseGoneLocked(); // a released bundle restores as after a restart
        // A status the service stored for this publisher when it went is
        // older than what the publisher restores.
        if (statuses_.count(caller.bundleName) != 0 && goneStatuses_.count(caller.bundleName) == 0) {
            return NAV_INFO_SUCCESS;
        }
    }
    return UpdateNavigationStatus(caller, std::move(status));
}

int32_t NavInfoServiceCore::RestoreNavigationMetadata(const CallerInfo& caller, NavigationMetadata metadata)
{
    int32_t result = CheckPublisher(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    if (InvalidBundleName(caller.bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    result = Claim(caller); // a client that is not the owner restores nothing
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ReleaseGoneLocked();
        if (metadata_.count(caller.bundleName) != 0) {
            return NAV_INFO_SUCCESS;
        }
    }
    return UpdateNavigationMetadata(caller, std::move(metadata));
}

int32_t NavInfoServiceCore::RegisterSystemNavigationListener(const CallerInfo& caller,
    sptr<ISystemNavigationListener> listener)
{
    int32_t result = CheckPublisher(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    if (InvalidBundleName(caller.bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    if (listener == nullptr) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    result = Claim(caller); // last: only a registration that succeeds takes the bundle
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    std::vector<Answer> answers;
    sptr<ISystemNavigationListener> replaced;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto& entry = systemListeners_[caller.bundleName];
        if (entry.listener != nullptr) {
            TakeRequestsOfRegistrationLocked(entry.registrationId, answers);
            replaced = std::move(entry.listener);
        }
        entry.listener = std::move(listener);
        entry.clientId = caller.clientId;
        entry.registrationId = nextRegistrationId_++;
    }
    DeliverAnswers(answers);
    SendReady(); // the observers' drains
    return NAV_INFO_SUCCESS;
}

int32_t NavInfoServiceCore::UnRegisterSystemNavigationListener(const CallerInfo& caller)
{
    int32_t result = CheckPublisher(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    if (InvalidBundleName(caller.bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    std::vector<Answer> answers;
    sptr<ISystemNavigationListener> removed;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!owners_.MayAct(caller.bundleName, caller.clientId)) {
            return NAV_INFO_ERR_NO_PERMISSION; // the owner's listener is not this client's to remove
        }
        auto found = systemListeners_.find(caller.bundleName);
        if (found == systemListeners_.end()) {
            return NAV_INFO_ERR_NOT_FOUND;
        }
        TakeRequestsOfRegistrationLocked(found->second.registrationId, answers);
        removed = std::move(found->second.listener);
        systemListeners_.erase(found);
    }
    DeliverAnswers(answers);
    SendReady(); // the observers' drains
    return NAV_INFO_SUCCESS;
}

int32_t NavInfoServiceCore::GetNavigationStatus(const CallerInfo& caller, const std::string& bundleName,
    NavigationStatus& status)
{
    int32_t result = CheckSystemApp(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    if (InvalidBundleName(bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    ReleaseGoneLocked(); // a bundle gone for longer than the retention reads as never published
    auto found = statuses_.find(bundleName);
    if (found == statuses_.end()) {
        return NAV_INFO_ERR_NOT_FOUND;
    }
    status = *found->second;
    return NAV_INFO_SUCCESS;
}

template <typename Listener, typename Record>
int32_t NavInfoServiceCore::Follow(const CallerInfo& caller, const std::string& bundleName, sptr<Listener> listener,
    Followers<Listener, Record>& followers)
{
    int32_t result = CheckSystemApp(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    if (InvalidBundleName(bundleName) || listener == nullptr) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    Follower<Listener, Record> replaced; // released after the lock
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto bundle = followers.find(bundleName);
        if (bundle != followers.end()) {
            auto slot = bundle->second.find(caller.clientId);
            if (slot != bundle->second.end()) {
                replaced = std::move(slot->second);
                slot->second = Follower<Listener, Record>{std::move(listener),
                    std::make_shared<FollowerOutbox<Record>>(bundleName, nextStream_++, followerOutboxCapacity_)};
                return NAV_INFO_SUCCESS;
            }
        }
        auto follows = followsByClient_.find(caller.clientId);
        if ((follows == followsByClient_.end() ? 0 : follows->second) >= maxFollowsPerClient_) {
            return NAV_INFO_ERR_TOO_MANY_REQUESTS;
        }
        followers[bundleName].emplace(caller.clientId,
            Follower<Listener, Record>{std::move(listener),
                std::make_shared<FollowerOutbox<Record>>(bundleName, nextStream_++, followerOutboxCapacity_)});
        ++followsByClient_[caller.clientId];
    }
    return NAV_INFO_SUCCESS;
}

template <typename Listener, typename Record>
int32_t NavInfoServiceCore::Unfollow(const CallerInfo& caller, const std::string& bundleName,
    Followers<Listener, Record>& followers)
{
    int32_t result = CheckSystemApp(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    if (InvalidBundleName(bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    Follower<Listener, Record> removed; // released after the lock
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto bundle = followers.find(bundleName);
        if (bundle == followers.end()) {
            return NAV_INFO_ERR_NOT_FOUND;
        }
        auto found = bundle->second.find(caller.clientId);
        if (found == bundle->second.end()) {
            return NAV_INFO_ERR_NOT_FOUND;
        }
        removed = std::move(found->second);
        bundle->second.erase(found);
        if (bundle->second.empty()) {
            followers.erase(bundle);
        }
        auto follows = followsByClient_.find(caller.clientId);
        if (follows != followsByClient_.end() && --follows->second == 0) {
            followsByClient_.erase(follows);
        }
    }
    return NAV_INFO_SUCCESS;
}

int32_t NavInfoServiceCore::RegisterNavigationStatusListener(const CallerInfo& caller, const std::string& bundleName,
    sptr<INavigationStatusListener> listener)
{
    return Follow(caller, bundleName, std::move(listener), statusFollowers_);
}

int32_t NavInfoServiceCore::UnRegisterNavigationStatusListener(const CallerInfo& caller, const std::string& bundleName)
{
    return Unfollow(caller, bundleName, statusFollowers_);
}

int32_t NavInfoServiceCore::RegisterNavigationMetadataListener(const CallerInfo& caller, const std::string& bundleName,
    sptr<INavigationMetadataListener> listener)
{
    return Follow(caller, bundleName, std::move(listener), metadataFollowers_);
}

int32_t NavInfoServiceCore::UnRegisterNavigationMetadataListener(const CallerInfo& caller,
    const std::string& bundleName)
{
    return Unfollow(caller, bundleName, metadataFollowers_);
}

template <typename Listener, typename Record>
void NavInfoServiceCore::SendLatest(const CallerInfo& caller, const std::string& bundleName,
    Followers<Listener, Record>& followers, const std::map<std::string, std::shared_ptr<const Record>>& records)
{
    sptr<Listener> listener;
    std::shared_ptr<FollowerOutbox<Record>> outbox;
    {
        // In the outbox under the lock, like a publish: a newer record
        // published meanwhile comes after this one, so the follower ends on it.
        std::lock_guard<std::mutex> lock(mutex_);
        ReleaseGoneLocked();
        auto record = records.find(bundleName);
        auto bundle = followers.find(bundleName);
        if (record == records.end() || bundle == followers.end()) {
            return;
        }
        auto follower = bundle->second.find(caller.clientId);
        uint64_t dropped = 0;
        if (follower == bundle->second.end() || !follower->second.outbox->Push(record->second, dropped)) {
            return; // not following, or a drain is already scheduled
        }
        listener = follower->second.listener;
        outbox = follower->second.outbox;
    }
    if (executor_ == nullptr ||
        !executor_->Post(listener.GetRefPtr(), [listener, outbox] { Drain(listener, outbox); })) {
        outbox->Unschedule();
        SERVICE_LOGE("record of %{public}s not delivered to a restored follower: no thread to run it",
            bundleName.c_str());
    }
}

int32_t NavInfoServiceCore::RestoreNavigationStatusListener(const CallerInfo& caller, const std::string& bundleName,
    sptr<INavigationStatusListener> listener)
{
    int32_t result = Follow(caller, bundleName, std::move(listener), statusFollowers_);
    if (result == NAV_INFO_SUCCESS) {
        SendLatest(caller, bundleName, statusFollowers_, statuses_);
    }
    return result;
}

int32_t NavInfoServiceCore::RestoreNavigationMetadataListener(const CallerInfo& caller, const std::string& bundleName,
    sptr<INavigationMetadataListener> listener)
{
    int32_t result = Follow(caller, bundleName, std::move(listener), metadataFollowers_);
    if (result == NAV_INFO_SUCCESS) {
        SendLatest(caller, bundleName, metadataFollowers_, metadata_);
    }
    return result;
}

void NavInfoServiceCore::OnClientGone(uint64_t clientId)
{
    std::vector<Answer> answers;
    std::vector<StatusFollowers::mapped_type::mapped_type> statusGraveyard;
    std::vector<MetadataFollowers::mapped_type::mapped_type> metadataGraveyard;
    std::vector<sptr<ISystemNavigationListener>> systemGraveyard;
    std::vector<sptr<IMapCallback>> dropped;
    std::vector<sptr<IRequestObserver>> observerGraveyard;
    std::vector<std::string> gone;
    Drains<INavigationStatusListener, NavigationStatus> drains;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        // In the same hold of the lock as the release: a waiting claimant's
        // first record must come after the UNAVAILABLE said for this owner.
        for (const std::string& bundle : owners_.Release(clientId)) {
            if (MarkGoneLocked(bundle, drains)) {
                gone.push_back(bundle);
            }
        }
        RemoveClientFollowers(statusFollowers_, clientId, statusGraveyard);
        RemoveClientFollowers(metadataFollowers_, clientId, metadataGraveyard);
        followsByClient_.erase(clientId);
        for (auto observers = requestObservers_.begin(); observers != requestObservers_.end();) {
            auto own = observers->second.find(clientId);
            if (own != observers->second.end()) {
                own->second.outbox->Discard();
                observerGraveyard.push_back(std::move(own->second.observer));
                observers->second.erase(own);
            }
            observers = observers->second.empty() ? requestObservers_.erase(observers) : std::next(observers);
        }
        // Its own requests first: nobody is left to answer them to.
        std::vector<uint64_t> own;
        for (const auto& entry : pending_) {
            if (entry.second.requesterClientId == clientId) {
                own.push_back(entry.first);
            }
        }
        for (uint64_t requestId : own) {
            // Nobody is answered; its observers learn that the requester went.
            dropped.push_back(TakePendingLocked(requestId, ResultData{NAV_INFO_ERR_NOT_FOUND, "Requester gone", {}}));
        }
        for (auto entry = systemListeners_.begin(); entry != systemListeners_.end();) {
            if (entry->second.clientId == clientId) {
                TakeRequestsOfRegistrationLocked(entry->second.registrationId, answers);
                systemGraveyard.push_back(std::move(entry->second.listener));
                entry = systemListeners_.erase(entry);
            } else {
                ++entry;
            }
        }
    }
    FinishGone(gone, drains);
    DeliverAnswers(answers);
    SendReady(); // requests that waited behind the dropped ones
}

bool NavInfoServiceCore::MarkGoneLocked(const std::string& bundle,
    Drains<INavigationStatusListener, NavigationStatus>& drains)
{
    const bool hadGuidance = metadata_.erase(bundle) != 0;
    metadataTimes_.erase(bundle);
    auto metadataFollowers = metadataFollowers_.find(bundle);
    if (metadataFollowers != metadataFollowers_.end()) {
        for (auto& entry : metadataFollowers->second) {
            entry.second.outbox->Discard(); // guidance still on its way is as stale as the stored one
        }
    }
    auto held = statuses_.find(bundle);
    if (held == statuses_.end() && !hadGuidance) {
        return false; // never published: nothing to say or keep
    }
    gone_.Add(bundle, Now());
    // Nothing of the gone publisher's route is repeated or kept: only the
    // fact that it is unavailable, and when.
    NavigationStatus unavailable;
    unavailable.status = MAP_STATUS_UNAVAILABLE;
    bool told = false;
    if (held != statuses_.end() && held->second->status == MAP_STATUS_UNAVAILABLE) {
        // It said so itself: its followers were told, and readers keep its
        // time, but not what else that last status carried.
        unavailable.updateTime = held->second->updateTime;
        held->second = std::make_shared<const NavigationStatus>(std::move(unavailable));
    } else {
        unavailable.updateTime = NowMillis();
        auto shared = std::make_shared<const NavigationStatus>(std::move(unavailable));
        statuses_[bundle] = shared;
        goneStatuses_.insert(bundle);
        droppedForFollowers_.Add(QueueLocked(bundle, shared, statusFollowers_, drains));
        told = true;
    }
    ReleaseGoneLocked(); // the cap: the oldest gone bundles make room
    return told;
}

std::chrono::steady_clock::time_point NavInfoServiceCore::Now() const
{
    return clock_ ? clock_() : std::chrono::steady_clock::now();
}

void NavInfoServiceCore::ReleaseGoneLocked()
{
    if (gone_.Size() == 0) {
        return; // nothing to release, and no clock to read for it (every publish comes here)
    }
    for (const std::string& bundle : gone_.TakeReleased(Now(), goneRetention_, maxGoneBundles_)) {
        statuses_.erase(bundle);
        goneStatuses_.erase(bundle);
        metadata_.erase(bundle); // dropped when it went; a follower's restore cannot bring it back
        metadataTimes_.erase(bundle);
    }
}

void NavInfoServiceCore::SetGoneRetention(std::chrono::milliseconds retention)
{
    std::lock_guard<std::mutex> lock(mutex_);
    goneRetention_ = retention.count() < 0 ? std::chrono::milliseconds(0) : retention;
    ReleaseGoneLocked();
}

void NavInfoServiceCore::FinishGone(const std::vector<std::string>& bundles,
    Drains<INavigationStatusListener, NavigationStatus>& drains)
{
    for (const std::string& bundle : bundles) {
        SERVICE_LOGI("%{public}s: its publisher is gone; followers are told UNAVAILABLE", bundle.c_str());
    }
    ScheduleDrains(drains);
}

void NavInfoServiceCore::ReportPublisherGone(const std::string& bundleName)
{
    std::vector<std::string> gone;
    Drains<INavigationStatusListener, NavigationStatus> drains;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (MarkGoneLocked(bundleName, drains)) {
            gone.push_back(bundleName);
        }
    }
    FinishGone(gone, drains);
}

void NavInfoServiceCore::Reset()
{
    std::vector<Answer> answers;
    StatusFollowers statusFollowers;
    MetadataFollowers metadataFollowers;
    std::map<std::string, SystemListenerEntry> systemListeners;
    std::map<std::string, std::map<uint64_t, RequestObserverEntry>> requestObservers;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        // Every listener goes, so every outstanding request is answered NOT_FOUND.
        for (auto& entry : pending_) {
            answers.push_back({std::move(entry.second.callback),
                ResultData{NAV_INFO_ERR_NOT_FOUND, NavInfoResultText(NAV_INFO_ERR_NOT_FOUND), {}}});
        }
        pending_.clear();
        outstandingByClient_.clear();
        pacer_.Clear();
        readyToSend_.clear();
        followsByClient_.clear();
        timer_.CancelAll();
        statusFollowers.swap(statusFollowers_);
        metadataFollowers.swap(metadataFollowers_);
        systemListeners.swap(systemListeners_);
        requestObservers.swap(requestObservers_);
        observerDrains_.clear();
        statuses_.clear();
        metadata_.clear();
        metadataTimes_.clear();
        goneStatuses_.clear();
        gone_.Clear();
        owners_.Clear();
    }
    DeliverAnswers(answers);
}

void NavInfoServiceCore::SetRequestTimeout(std::chrono::milliseconds timeout)
{
    std::lock_guard<std::mutex> lock(mutex_);
    requestTimeout_ = timeout.count() < 0 ? std::chrono::milliseconds(0) : timeout;
}

size_t NavInfoServiceCore::RegistrationCount() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    size_t count = systemListeners_.size();
    for (const auto& entry : followsByClient_) {
        count += entry.second;
    }
    return count;
}

void NavInfoServiceCore::SetAccessPolicy(std::shared_ptr<const AccessPolicy> policy)
{
    std::shared_ptr<const AccessPolicy> previous; // released after the lock
    std::lock_guard<std::mutex> lock(mutex_);
    previous = std::move(policy_);
    policy_ = std::move(policy);
}

bool NavInfoServiceCore::OwnsBundle(uint64_t clientId, const std::string& bundleName) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (const BundleOwners::Entry& entry : owners_.List()) {
        if (entry.bundleName == bundleName && entry.clientId == clientId && !entry.waiting) {
            return true;
        }
    }
    return false;
}

} // namespace OHOS::NavigationInfoService
