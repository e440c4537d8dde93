// The exporting half of the bridge: claims the exported bundles, follows
// them in the local core and writes every record it is given, and carries
// out the requests other daemons send for them, writing back the one answer
// the core gives (or the result with which the core refused the request).
//
// Threads: Start from the bridge's start; OnClaim in the bridge's state
// drain and OnRequest in its requests drain (each one call at a time, on a
// Cyclone thread); RefreshClaims and Sweep on the bridge's thread. They
// share nothing but the drop counts, which any thread may count. The
// follower calls arrive on whichever thread runs the core's listener calls.
#ifndef SERVICE_DAEMON_DDS_BRIDGE_EXPORTER_H
#define SERVICE_DAEMON_DDS_BRIDGE_EXPORTER_H

#include <map>
#include <memory>
#include <set>
#include <string>

#include "bridge_policy.h"
#include "dds_outbound.h"
#include "dds_senders.h"
#include "nav_info_service_core.h"
#include "navinfo_bridge.h"
#include "rate_limited_count.h"
#include "write_offload.h"

namespace OHOS::NavigationInfoService {

class DaemonService;

class BridgeExporter {
public:
    // secure: DDS Security is on, so a requester's node is checked against
    // its participant's certificate too.
    BridgeExporter(DaemonService& service, std::shared_ptr<DdsOutbound> outbound, std::shared_ptr<WriteOffload> offload,
        const BridgePolicy& policy, std::string node, bool secure);
    // Claims and follows every exported bundle.
    void Start();
    // Writes the claims again: a daemon that lost sight of this one (its
    // liveliness lapsed) learns again who serves them.
    void RefreshClaims();
    // Another daemon claims a bundle: logged when it is one of ours.
    void OnClaim(const navinfo_bridge_Claim& claim, const SampleSender& sender);
    // A request, carried out only when its requester is the participant that
    // wrote it (the answer goes to the requester, and a participant naming
    // another daemon's instance and correlation id would have this daemon
    // answer that daemon's open request in its place) and its node the one
    // that participant's request writer announced (with DDS Security: and
    // whose certificate that participant holds). The core judges it as the
    // remote requester "node/bundle".
    void OnRequest(const navinfo_bridge_Request& request, const SampleSender& sender);
    // Logs the drops counted since the last line, once their second has passed.
    void Sweep();

private:
    // Counts n claims of exported bundles by participants beyond those logged by name.
    void ReportContested(uint64_t n);
    // The core's client id of a requesting daemon. When MAX_REMOTE_CLIENTS
    // daemons have asked, the one that asked longest ago is forgotten (its
    // open requests dropped, as for a local client that went) and its id reused.
    uint64_t RemoteClientId(const std::string& requester);
    void Reply(const std::string& requester, uint64_t correlation, int32_t code);

    const std::shared_ptr<NavInfoServiceCore> core_;
    const std::shared_ptr<DdsOutbound> outbound_;
    const std::shared_ptr<WriteOffload> offload_;
    const std::set<std::string> exports_;
    const std::string node_;
    const bool secure_;
    const uint32_t livelinessMs_;
    struct RemoteClient {
        uint64_t clientId = 0;
        uint64_t lastAsked = 0; // of requestCount_
    };
    std::map<std::string, RemoteClient> remoteClients_; // by requester instance
    uint64_t requestCount_ = 0;
    std::set<std::string> contested_;      // "bundle\nparticipant" already logged
    RateLimitedCount contestedUnlogged_;   // claims by participants beyond contested_'s bound
    RateLimitedCount droppedRequests_;     // whose requester is not their writer's participant
    RateLimitedCount droppedNodes_;        // whose node is not the one their writer announced
    RateLimitedCount droppedCertificates_; // whose node's certificate their writer's participant does not hold
    // Records the forwarders (core's executor threads) could not write.
    const std::shared_ptr<RateLimitedCount> unsentRecords_ = std::make_shared<RateLimitedCount>();
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_DDS_BRIDGE_EXPORTER_H
