// The importing half of the bridge: imported bundles look local. Their
// records, from the daemon that claims them, are published into the local
// core under the bundle's own name (so the policy judges them as it would a
// local application of that name, and followers and readers get them as
// usual). A stand-in system navigation listener registered for each imported
// bundle carries queries and commands to the claimant as requests with
// correlation ids and hands the reply to the core, which answers exactly
// once and times out as for a local application.
//
// Each request names the system application that asked here (the bundle
// name this daemon verified for its connection) and this daemon's node, so
// that the claimant's policy judges "node/bundle" (remoteRequesters).
//
// Answers the bridge gives itself: 1002 while no daemon claims the bundle
// (or none reads requests); 1003 to the requests in flight when the claimant
// goes (its claim's liveliness lapses or it unregisters). When the claimant
// goes, the core reports the bundle UNAVAILABLE to its followers here and
// drops its metadata, as for a local publisher whose connection ended.
//
// A second daemon claiming a bundle already claimed is refused and logged;
// the first keeps it until it goes. A claimant is gone when its claim's
// liveliness lapses (DDS tells), and also when its claim, written again at a
// third of its period, has not come for one and a half periods: a daemon
// restarted at once claims the same instance (bundle) before the old claim's
// lapse could make it not alive, so DDS alone would not tell.
//
// Who holds a claim is the participant whose DDS writer wrote the claim,
// as Cyclone tells it (dds_senders.h), not the `instance` string the sample
// carries, which anybody can copy from the readable claim topic. A bundle's
// records are taken only from that participant's writers, and a reply only
// from the participant that held the claim when the request was sent; any
// other sample is dropped and counted, with one log line a second at most.
//
// Threads: OnClaim, OnClaimEnded, OnRecord, OnReply and Sweep on the bridge's thread;
// Forward on the core's executor (the stand-in's calls). State under mutex_;
// no core call and no callback while it is held.
#ifndef SERVICE_DAEMON_DDS_BRIDGE_IMPORTER_H
#define SERVICE_DAEMON_DDS_BRIDGE_IMPORTER_H

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "bridge_payload.h"
#include "bridge_policy.h"
#include "dds_outbound.h"
#include "dds_senders.h"
#include "nav_info_service_core.h"
#include "navinfo_bridge.h"
#include "rate_limited_count.h"

namespace OHOS::NavigationInfoService {

class BridgeImporter : public std::enable_shared_from_this<BridgeImporter> {
public:
    BridgeImporter(std::shared_ptr<NavInfoServiceCore> core, std::shared_ptr<DdsOutbound> outbound,
        const BridgePolicy& policy, std::string node, std::chrono::milliseconds requestTimeout);
    // Registers the stand-in listeners.
    void Start();
    // A claim sample with data, written by sender.
    void OnClaim(const navinfo_bridge_Claim& claim, const SampleSender& sender);
    // The claim of key's bundle is no longer alive: every writer of it is
    // gone (noWriters), or sender disposed of it. Believed from the
    // claimant's own claim writer, or when no writer is left.
    void OnClaimEnded(const navinfo_bridge_Claim& key, const SampleSender& sender, bool noWriters);
    void OnRecord(RecordKind kind, const navinfo_bridge_Record& record, const SampleSender& sender);
    void OnReply(const navinfo_bridge_Reply& reply, const SampleSender& sender);
    // Ends the claimants that stopped claiming; forgets requests the core
    // has long answered with its time-out.
    void Sweep();
    // From the stand-in listener of bundle: a request of requester (its
    // verified bundle name here; empty when the core did not say, which is
    // refused 1005), sent to the claimant in the name "node/requester".
    void Forward(const std::string& requester, const std::string& bundle, int32_t kind, int32_t type,
        const AAFwk::WantParams& params, const sptr<IMapCallback>& callback);

private:
    struct Claimant {
        std::string participant;           // of the writer of its claim
        dds_instance_handle_t claimWriter; // that writer
        std::string node;
        std::chrono::steady_clock::time_point staleAt; // gone unless it claims again before
    };
    struct Pending {
        sptr<IMapCallback> callback;
        std::string bundle;
        std::string exporter; // the claimant it went to: the one participant whose reply counts
        std::chrono::steady_clock::time_point forgetAt;
    };
    void Publish(RecordKind kind, const std::string& bundle, const BridgePayload::Bytes& payload);
    // mutex_ held: forgets the bundle's claimant, taking the callbacks of the
    // requests open with it, and adds the bundle to gone if it had one.
    void EndClaimantLocked(const std::string& bundle, std::vector<sptr<IMapCallback>>& orphans,
        std::vector<std::string>& gone);
    // Without mutex_: the core reports each bundle's publisher gone (UNAVAILABLE).
    void ReportGone(const std::vector<std::string>& bundles);
    static std::chrono::steady_clock::time_point StaleAt(const navinfo_bridge_Claim& claim);
    static void Answer(const sptr<IMapCallback>& callback, int32_t code);
    // Counts n dropped samples of one kind (0 only asks); logs the count at most once a second.
    static void CountDropped(RateLimitedCount& count, uint64_t n, const char* what);

    const std::shared_ptr<NavInfoServiceCore> core_;
    const std::shared_ptr<DdsOutbound> outbound_;
    const std::set<std::string> imports_;
    const std::string node_; // this daemon's node name, which its requests carry
    const std::chrono::milliseconds forgetAfter_;

    std::mutex mutex_;                          // guards the fields below
    std::map<std::string, Claimant> claimants_; // by bundle
    std::set<std::string> refusedClaims_;       // "bundle\ninstance" already logged
    // Records that came before their claim, by kind and bundle, the latest of
    // each sender (a few at most): the claimant's is published once it claims.
    std::map<std::pair<int, std::string>, std::map<std::string, BridgePayload::Bytes>> parked_;
    size_t parkedBytes_ = 0;                        // of all the payloads in parked_
    std::unordered_map<uint64_t, Pending> pending_; // by correlation id
    uint64_t nextCorrelation_ = 1;

    RateLimitedCount droppedRecords_;        // not from their bundle's claimant
    RateLimitedCount droppedReplies_;        // not from the claimant the request went to
    RateLimitedCount droppedClaimEnds_;      // a claim disposed of by another writer than the claimant's
    RateLimitedCount malformedReplies_;      // from the claimant, but not a reply
    RateLimitedCount malformedNames_;        // records whose bundle name is empty or too long
    RateLimitedCount refusedRecords_;        // from the claimant, refused by the core
    RateLimitedCount refusedClaimsUnlogged_; // second claims beyond those logged by name
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_DDS_BRIDGE_IMPORTER_H
