#include "bridge_importer.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "bridge_identity.h"
#include "daemon_log.h"
#include "nav_info_errors.h"
#include "nav_info_service_ipc.h"
#include "requester_aware_listener.h"

namespace OHOS::NavigationInfoService {
namespace {

// Requests in flight to other daemons; beyond, new ones are answered 1002.
constexpr size_t MAX_PENDING_REQUESTS = 16 * 1024;
constexpr size_t MAX_LOGGED_REFUSALS = 1024;
// Senders whose record of a bundle waits for its claim, per kind and bundle.
constexpr size_t MAX_PARKED_SENDERS = 4;
// Bytes of all records waiting for their claim: a few records of a socket
// frame's payload (1 MiB) at most. A record that does not fit is dropped.
constexpr size_t MAX_PARKED_BYTES = 4u << 20;

// The core calls the stand-in with the requester's name (RequesterAwareListener),
// so that the claimant's policy judges that application; the plain calls
// come only from a core that does not know who asks, and carry no name.
class RemoteNavigationListener : public SystemNavigationListener, public RequesterAwareListener {
public:
    RemoteNavigationListener(std::weak_ptr<BridgeImporter> importer, std::string bundle)
        : importer_(std::move(importer)),
          bundle_(std::move(bundle))
    {
    }
    void OnQueryNavigationInfoFrom(const std::string& requester, QueryType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) override
    {
        Pass(requester, 0, type, params, callback);
    }
    void OnReceiveNavigationCmdFrom(const std::string& requester, CommandType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) override
    {
        Pass(requester, 1, type, params, callback);
    }
    void OnQueryNavigationInfo(QueryType type, AAFwk::WantParams params, sptr<IMapCallback> callback) override
    {
        Pass({}, 0, type, params, callback);
    }
    void OnReceiveNavigationCmd(CommandType type, AAFwk::WantParams params, sptr<IMapCallback> callback) override
    {
        Pass({}, 1, type, params, callback);
    }

private:
    void Pass(const std::string& requester, int32_t kind, int32_t type, const AAFwk::WantParams& params,
        const sptr<IMapCallback>& callback)
    {
        if (auto importer = importer_.lock()) {
            importer->Forward(requester, bundle_, kind, type, params, callback);
        } else if (callback != nullptr) {
            callback->Callback(
                {NAV_INFO_ERR_SERVICE_UNAVAILABLE, NavInfoResultText(NAV_INFO_ERR_SERVICE_UNAVAILABLE), {}});
        }
    }
    const std::weak_ptr<BridgeImporter> importer_;
    const std::string bundle_;
};

bool Bounded(const char* text, size_t limit)
{
    return text != nullptr && text[0] != '\0' && strnlen(text, limit + 1) <= limit;
}

CallerInfo ImportedCaller(const std::string& bundle)
{
    return {bundle, static_cast<int32_t>(getpid()), static_cast<int32_t>(getuid()), BRIDGE_IMPORT_CLIENT_ID};
}

} // namespace

BridgeImporter::BridgeImporter(std::shared_ptr<NavInfoServiceCore> core, std::shared_ptr<DdsOutbound> outbound,
    const BridgePolicy& policy, std::string node, std::chrono::milliseconds requestTimeout)
    : core_(std::move(core)),
      outbound_(std::move(outbound)),
      imports_(policy.imports.begin(), policy.imports.end()),
      node_(std::move(node)),
      forgetAfter_(requestTimeout * 2 + std::chrono::seconds(1))
{
}

void BridgeImporter::Start()
{
    for (const std::string& bundle : imports_) {
        sptr<ISystemNavigationListener> standIn = new RemoteNavigationListener(weak_from_this(), bundle);
        int32_t result = core_->RegisterSystemNavigationListener(ImportedCaller(bundle), standIn);
        if (result != NAV_INFO_SUCCESS) {
            DAEMON_LOGE("cannot serve requests for the imported %{public}s (%{public}d): the policy must give it "
                        "the navigation permission",
                bundle.c_str(), result);
        }
        DAEMON_LOGI("importing %{public}s", bundle.c_str());
    }
}

std::chrono::steady_clock::time_point BridgeImporter::StaleAt(const navinfo_bridge_Claim& claim)
{
    auto period = std::chrono::milliseconds(claim.livelinessMs);
    period = std::min(std::max(period, MIN_BRIDGE_LIVELINESS), MAX_BRIDGE_LIVELINESS);
    return std::chrono::steady_clock::now() + period * 3 / 2;
}

void BridgeImporter::EndClaimantLocked(const std::string& bundle, std::vector<sptr<IMapCallback>>& orphans,
    std::vector<std::string>& gone)
{
    auto found = claimants_.find(bundle);
    if (found == claimants_.end()) {
        return;
    }
    DAEMON_LOGW("%{public}s: its daemon %{public}s is gone", bundle.c_str(), found->second.node.c_str());
    claimants_.erase(found);
    gone.push_back(bundle);
    for (auto it = pending_.begin(); it != pending_.end();) {
        if (it->second.bundle == bundle) {
            orphans.push_back(std::move(it->second.callback));
            it = pending_.erase(it);
        } else {
            ++it;
        }
    }
}

void BridgeImporter::OnClaim(const navinfo_bridge_Claim& claim, const SampleSender& sender)
{
    if (!Bounded(claim.bundle, MAX_BUNDLE_NAME_LENGTH) || imports_.count(claim.bundle) == 0 ||
        sender.participant.empty()) {
        return;
    }
    const std::string bundle = claim.bundle;
    std::vector<sptr<IMapCallback>> orphans;
    std::vector<std::string> gone; // bundles whose claimant ended
    std::vector<std::pair<RecordKind, BridgePayload::Bytes>> unparked;
    bool unloggedRefusals = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = claimants_.find(bundle);
        if (found != claimants_.end() && found->second.participant == sender.participant) {
            found->second.staleAt = StaleAt(claim);
            found->second.claimWriter = sender.writer;
        } else if (found != claimants_.end() && found->second.staleAt > std::chrono::steady_clock::now()) {
            const std::string key = bundle + "\n" + sender.participant;
            if (refusedClaims_.size() < MAX_LOGGED_REFUSALS && refusedClaims_.insert(key).second) {
                DAEMON_LOGE("%{public}s is claimed by %{public}s too, while %{public}s serves it: the second claim "
                            "is refused",
                    bundle.c_str(), Bounded(claim.node, MAX_BUNDLE_NAME_LENGTH) ? claim.node : "?",
                    found->second.node.c_str());
            } else if (refusedClaims_.count(key) == 0) {
                unloggedRefusals = true; // beyond the claimants logged by name
            }
        } else if (outbound_->Exchanges(sender.participant)) {
            // Taken once requests and replies pass between its daemon and this
            // one (until then its records wait, and requests get 1002); its
            // next claim tries again.
            EndClaimantLocked(bundle, orphans, gone); // a stale one, if any
            Claimant claimant{sender.participant, sender.writer,
                Bounded(claim.node, MAX_BUNDLE_NAME_LENGTH) ? claim.node : "?", StaleAt(claim)};
            DAEMON_LOGI("%{public}s is served by %{public}s", bundle.c_str(), claimant.node.c_str());
            for (RecordKind kind : {RecordKind::STATUS, RecordKind::METADATA}) {
                auto parked = parked_.find({static_cast<int>(kind), bundle});
                if (parked != parked_.end()) {
                    for (const auto& [participant, payload] : parked->second) {
                        parkedBytes_ -= payload.size();
                    }
                    auto mine = parked->second.find(claimant.participant);
                    if (mine != parked->second.end()) {
                        unparked.emplace_back(kind, std::move(mine->second));
                    }
                    parked_.erase(parked);
                }
            }
            claimants_.emplace(bundle, std::move(claimant));
        }
    }
    if (unloggedRefusals) {
        CountDropped(refusedClaimsUnlogged_, 1, "second claims of imported bundles from further participants");
    }
    for (auto& callback : orphans) {
        Answer(callback, NAV_INFO_ERR_NOT_FOUND);
    }
    ReportGone(gone);
    for (auto& [kind, payload] : unparked) {
        Publish(kind, bundle, payload);
    }
}

void BridgeImporter::OnClaimEnded(const navinfo_bridge_Claim& key, const SampleSender& sender, bool noWriters)
{
    if (!Bounded(key.bundle, MAX_BUNDLE_NAME_LENGTH) || imports_.count(key.bundle) == 0) {
        return;
    }
    std::vector<sptr<IMapCallback>> orphans;
    std::vector<std::string> gone;
    bool dropped = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = claimants_.find(key.bundle);
        if (found == claimants_.end()) {
            return;
        }
        // The claimant's daemon stopped or died, or its liveliness lapsed. A
        // claim disposed of by another writer says nothing about the claimant.
        if (noWriters || sender.writer == found->second.claimWriter) {
            EndClaimantLocked(key.bundle, orphans, gone);
        } else {
            dropped = true;
        }
    }
    if (dropped) {
        CountDropped(droppedClaimEnds_, 1, "claims ended by a writer other than the claimant's");
    }
    for (auto& callback : orphans) {
        Answer(callback, NAV_INFO_ERR_NOT_FOUND);
    }
    ReportGone(gone);
}

void BridgeImporter::OnRecord(RecordKind kind, const navinfo_bridge_Record& record, const SampleSender& sender)
{
    if (!Bounded(record.bundle, MAX_BUNDLE_NAME_LENGTH)) {
        CountDropped(malformedNames_, 1, "records without a valid bundle name");
        return;
    }
    if (imports_.count(record.bundle) == 0) {
        return; // a bundle other daemons bridge, not this one
    }
    const std::string bundle = record.bundle;
    BridgePayload::Bytes payload(record.payload._buffer, record.payload._buffer + record.payload._length);
    bool fromClaimant = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = claimants_.find(bundle);
        if (found == claimants_.end() && !sender.participant.empty()) {
            // The claim may come second (another topic): the latest record of
            // each sender waits for it, from a few senders and within a few
            // megabytes at most.
            auto& waiting = parked_[{static_cast<int>(kind), bundle}];
            auto mine = waiting.find(sender.participant);
            const size_t replaced = mine == waiting.end() ? 0 : mine->second.size();
            if ((mine != waiting.end() || waiting.size() < MAX_PARKED_SENDERS) &&
                parkedBytes_ - replaced + payload.size() <= MAX_PARKED_BYTES) {
                parkedBytes_ += payload.size() - replaced;
                waiting[sender.participant] = std::move(payload);
                return;
            }
            if (waiting.empty()) {
                parked_.erase({static_cast<int>(kind), bundle});
            }
        }
        fromClaimant = found != claimants_.end() && found->second.participant == sender.participant;
    }
    if (!fromClaimant) {
        // A refused claimant, a participant that copied the claimant's instance, or no room to wait.
        CountDropped(droppedRecords_, 1, "records not written by the daemon that claims their bundle");
        return;
    }
    Publish(kind, bundle, payload);
}

void BridgeImporter::Publish(RecordKind kind, const std::string& bundle, const BridgePayload::Bytes& payload)
{
    int32_t result = NAV_INFO_ERR_INVALID_PARAM;
    if (kind == RecordKind::STATUS) {
        NavigationStatus status;
        if (BridgePayload::Decode(payload.data(), payload.size(), status)) {
            result = core_->UpdateNavigationStatus(ImportedCaller(bundle), std::move(status));
        }
    } else {
        NavigationMetadata metadata;
        if (BridgePayload::Decode(payload.data(), payload.size(), metadata)) {
            result = core_->UpdateNavigationMetadata(ImportedCaller(bundle), std::move(metadata));
        }
    }
    if (result != NAV_INFO_SUCCESS) {
        // The claimant's own record, refused here (malformed, or beyond the local limits or policy).
        if (uint64_t due = refusedRecords_.Add(1)) {
            DAEMON_LOGW("%{public}llu records of imported bundles were refused (the last: %{public}s, %{public}d)",
                static_cast<unsigned long long>(due), bundle.c_str(), result);
        }
    }
}

void BridgeImporter::Forward(const std::string& requester, const std::string& bundle, int32_t kind, int32_t type,
    const AAFwk::WantParams& params, const sptr<IMapCallback>& callback)
{
    if (callback == nullptr) {
        return;
    }
    if (requester.empty()) {
        // Nobody to name: the claimant could only judge this daemon, which it does not.
        Answer(callback, NAV_INFO_ERR_NO_PERMISSION);
        return;
    }
    OutboundRequest request;
    request.kind = kind;
    request.type = type;
    request.bundle = bundle;
    // The claimant judges the application that asked here, by this node's name and
    // the bundle name this daemon verified for its connection.
    request.requesterNode = node_;
    request.requesterBundle = requester;
    if (!BridgePayload::Encode(params, request.params)) {
        Answer(callback, NAV_INFO_ERR_INVALID_PARAM);
        return;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = claimants_.find(bundle);
        if (found == claimants_.end() || pending_.size() >= MAX_PENDING_REQUESTS) {
            request.correlation = 0;
        } else {
            request.exporter = found->second.participant;
            request.correlation = nextCorrelation_++;
            pending_[request.correlation] = Pending{callback, bundle, request.exporter,
                std::chrono::steady_clock::now() + forgetAfter_};
        }
    }
    if (request.correlation == 0 || !outbound_->WriteRequest(request)) {
        bool mine = true;
        if (request.correlation != 0) {
            std::lock_guard<std::mutex> lock(mutex_);
            mine = pending_.erase(request.correlation) > 0; // else the claimant went and answered already
        }
        if (mine) {
            Answer(callback, NAV_INFO_ERR_SERVICE_UNAVAILABLE);
        }
    }
}

void BridgeImporter::OnReply(const navinfo_bridge_Reply& reply, const SampleSender& sender)
{
    if (reply.requester == nullptr || outbound_->Instance() != reply.requester) {
        return;
    }
    sptr<IMapCallback> callback;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = pending_.find(reply.correlation);
        if (found == pending_.end()) {
            return; // answered already (its claimant went), or forgotten
        }
        if (found->second.exporter == sender.participant) {
            callback = std::move(found->second.callback);
            pending_.erase(found);
        }
    }
    if (callback == nullptr) {
        // Somebody else answering in the claimant's place: the request stays open for the real answer.
        CountDropped(droppedReplies_, 1, "replies not written by the daemon the request went to");
        return;
    }
    ResultData result;
    if (!BridgePayload::Decode(reply.result._buffer, reply.result._length, result)) {
        CountDropped(malformedReplies_, 1, "malformed replies (answered 1002)");
        result = {NAV_INFO_ERR_SERVICE_UNAVAILABLE, NavInfoResultText(NAV_INFO_ERR_SERVICE_UNAVAILABLE), {}};
    }
    callback->Callback(std::move(result));
}

void BridgeImporter::Sweep()
{
    auto now = std::chrono::steady_clock::now();
    std::vector<sptr<IMapCallback>> orphans;
    std::vector<std::string> gone;             // bundles whose claimant ended
    std::vector<sptr<IMapCallback>> forgotten; // released outside the lock
    {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<std::string> stale;
        for (const auto& [bundle, claimant] : claimants_) {
            if (claimant.staleAt <= now) {
                stale.push_back(bundle);
            }
        }
        for (const std::string& bundle : stale) {
            EndClaimantLocked(bundle, orphans, gone);
        }
        for (auto it = pending_.begin(); it != pending_.end();) {
            if (it->second.forgetAt <= now) {
                forgotten.push_back(std::move(it->second.callback));
                it = pending_.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (auto& callback : orphans) {
        Answer(callback, NAV_INFO_ERR_NOT_FOUND);
    }
    ReportGone(gone);
    // Drops counted since the last line, once their second has passed.
    CountDropped(droppedRecords_, 0, "records not written by the daemon that claims their bundle");
    CountDropped(droppedReplies_, 0, "replies not written by the daemon the request went to");
    CountDropped(droppedClaimEnds_, 0, "claims ended by a writer other than the claimant's");
    CountDropped(malformedReplies_, 0, "malformed replies (answered 1002)");
    CountDropped(malformedNames_, 0, "records without a valid bundle name");
    CountDropped(refusedClaimsUnlogged_, 0, "second claims of imported bundles from further participants");
    if (uint64_t due = refusedRecords_.Add(0)) {
        DAEMON_LOGW("%{public}llu records of imported bundles were refused", static_cast<unsigned long long>(due));
    }
}

void BridgeImporter::ReportGone(const std::vector<std::string>& bundles)
{
    // Its records no longer hold: followers here are told UNAVAILABLE, as
    // for a local publisher whose connection ended. Before any record of a
    // new claimant, which is published after this.
    for (const std::string& bundle : bundles) {
        core_->ReportPublisherGone(bundle);
    }
}

void BridgeImporter::CountDropped(RateLimitedCount& count, uint64_t n, const char* what)
{
    if (uint64_t due = count.Add(n)) {
        DAEMON_LOGW("dropped %{public}llu %{public}s", static_cast<unsigned long long>(due), what);
    }
}

void BridgeImporter::Answer(const sptr<IMapCallback>& callback, int32_t code)
{
    callback->Callback({code, NavInfoResultText(code), {}});
}

} // namespace OHOS::NavigationInfoService
