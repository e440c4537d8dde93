#include "bridge_exporter.h"

#include <unistd.h>

#include <cstring>

#include "bridge_identity.h"
#include "daemon_log.h"
#include "daemon_service.h"
#include "nav_info_errors.h"
#include "nav_info_service_ipc.h"
#include "node_identity.h"

namespace OHOS::NavigationInfoService {
namespace {

// Requesting daemons that have a client id of their own at once.
constexpr size_t MAX_REMOTE_CLIENTS = 64;

// Counts n dropped requests (0 only asks); logs the count, with why they
// were dropped, at most once a second.
void ReportDropped(RateLimitedCount& dropped, uint64_t n, const char* why)
{
    if (uint64_t due = dropped.Add(n)) {
        DAEMON_LOGW("dropped %{public}llu requests %{public}s", static_cast<unsigned long long>(due), why);
    }
}

constexpr const char* NOT_THEIR_SENDER = "whose requester is not the daemon that sent them";
constexpr const char* NOT_ANNOUNCED_NODE = "whose node is not the one their sender announced";
constexpr const char* NOT_CERTIFIED_NODE = "whose node is not the one their sender's certificate names";

void ReportUnsent(RateLimitedCount& unsent, uint64_t n)
{
    if (uint64_t due = unsent.Add(n)) {
        DAEMON_LOGW("%{public}llu records could not be sent to the other daemons",
            static_cast<unsigned long long>(due));
    }
}

template <typename Record>
void Forward(DdsOutbound& outbound, RateLimitedCount& unsent, RecordKind kind, const Record& record,
    const std::string& bundleName)
{
    BridgePayload::Bytes payload;
    if (!BridgePayload::Encode(record, payload) || !outbound.WriteRecord(kind, bundleName, payload)) {
        ReportUnsent(unsent, 1);
    }
}

class StatusForwarder : public NavigationStatusListener {
public:
    StatusForwarder(std::shared_ptr<DdsOutbound> outbound, std::shared_ptr<RateLimitedCount> unsent)
        : outbound_(std::move(outbound)),
          unsent_(std::move(unsent))
    {
    }
    void OnStatusChanged(const NavigationStatus& status, const std::string& bundleName) override
    {
        Forward(*outbound_, *unsent_, RecordKind::STATUS, status, bundleName);
    }

private:
    const std::shared_ptr<DdsOutbound> outbound_;
    const std::shared_ptr<RateLimitedCount> unsent_;
};

class MetadataForwarder : public NavigationMetadataListener {
public:
    MetadataForwarder(std::shared_ptr<DdsOutbound> outbound, std::shared_ptr<RateLimitedCount> unsent)
        : outbound_(std::move(outbound)),
          unsent_(std::move(unsent))
    {
    }
    void OnMetadataChanged(const NavigationMetadata& metadata, const std::string& bundleName) override
    {
        Forward(*outbound_, *unsent_, RecordKind::METADATA, metadata, bundleName);
    }

private:
    const std::shared_ptr<DdsOutbound> outbound_;
    const std::shared_ptr<RateLimitedCount> unsent_;
};

// The core's one answer to a remote request, written back to the requester.
class ReplyWriter : public MapCallback {
public:
    ReplyWriter(std::shared_ptr<DdsOutbound> outbound, std::shared_ptr<WriteOffload> offload, std::string requester,
        uint64_t correlation)
        : outbound_(std::move(outbound)),
          offload_(std::move(offload)),
          requester_(std::move(requester)),
          correlation_(correlation)
    {
    }
    void Callback(ResultData data) override
    {
        BridgePayload::Bytes bytes;
        if (!BridgePayload::Encode(data, bytes)) {
            // Too large to travel: the requester learns that the answer could not come.
            ResultData failure{NAV_INFO_ERR_SERVICE_UNAVAILABLE, NavInfoResultText(NAV_INFO_ERR_SERVICE_UNAVAILABLE),
                {}};
            BridgePayload::Encode(failure, bytes);
        }
        offload_->Run([outbound = outbound_, requester = requester_, correlation = correlation_,
                          bytes = std::move(bytes)] { outbound->WriteReply(requester, correlation, bytes); });
    }

private:
    const std::shared_ptr<DdsOutbound> outbound_;
    const std::shared_ptr<WriteOffload> offload_;
    const std::string requester_;
    const uint64_t correlation_;
};

bool ValidName(const char* text)
{
    return text != nullptr && text[0] != '\0' && strnlen(text, MAX_BUNDLE_NAME_LENGTH + 1) <= MAX_BUNDLE_NAME_LENGTH;
}

} // namespace

BridgeExporter::BridgeExporter(DaemonService& service, std::shared_ptr<DdsOutbound> outbound,
    std::shared_ptr<WriteOffload> offload, const BridgePolicy& policy, std::string node, bool secure)
    : core_(service.SharedCore()),
      outbound_(std::move(outbound)),
      offload_(std::move(offload)),
      exports_(policy.exports.begin(), policy.exports.end()),
      node_(std::move(node)),
      secure_(secure),
      livelinessMs_(static_cast<uint32_t>(policy.liveliness.count()))
{
}

void BridgeExporter::Start()
{
    const CallerInfo bridge{BRIDGE_BUNDLE_NAME, static_cast<int32_t>(getpid()), static_cast<int32_t>(getuid()),
        BRIDGE_CLIENT_ID};
    sptr<StatusForwarder> statusForwarder = new StatusForwarder(outbound_, unsentRecords_);
    sptr<MetadataForwarder> metadataForwarder = new MetadataForwarder(outbound_, unsentRecords_);
    for (const std::string& bundle : exports_) {
        int32_t status = core_->RegisterNavigationStatusListener(bridge, bundle, statusForwarder);
        int32_t metadata = core_->RegisterNavigationMetadataListener(bridge, bundle, metadataForwarder);
        if (status != NAV_INFO_SUCCESS || metadata != NAV_INFO_SUCCESS) {
            DAEMON_LOGE("cannot follow %{public}s for the other daemons: %{public}d/%{public}d", bundle.c_str(), status,
                metadata);
        }
        DAEMON_LOGI("exporting %{public}s", bundle.c_str());
    }
    RefreshClaims();
}

void BridgeExporter::RefreshClaims()
{
    for (const std::string& bundle : exports_) {
        outbound_->WriteClaim(bundle, node_, livelinessMs_);
    }
}

void BridgeExporter::OnClaim(const navinfo_bridge_Claim& claim, const SampleSender& sender)
{
    if (claim.bundle == nullptr || exports_.count(claim.bundle) == 0 || outbound_->Instance() == sender.participant) {
        return;
    }
    // Logged once per claimant participant (its node name is whatever it wrote); a
    // participant that keeps claiming, or claimants beyond the first few hundred, are counted.
    std::string node = ValidName(claim.node) ? claim.node : "?";
    if (contested_.size() < MAX_BRIDGE_BUNDLES * 4 &&
        contested_.insert(std::string(claim.bundle) + "\n" + sender.participant).second) {
        DAEMON_LOGE("bundle %{public}s is claimed by this daemon (%{public}s) and by %{public}s: the others "
                    "refuse the second claim; fix the policies",
            claim.bundle, node_.c_str(), node.c_str());
    } else if (contested_.count(std::string(claim.bundle) + "\n" + sender.participant) == 0) {
        ReportContested(1);
    }
}

void BridgeExporter::OnRequest(const navinfo_bridge_Request& r, const SampleSender& sender)
{
    if (r.exporter == nullptr || outbound_->Instance() != r.exporter) {
        return; // for another daemon
    }
    if (r.requester == nullptr || sender.participant.empty() || sender.participant != r.requester) {
        ReportDropped(droppedRequests_, 1, NOT_THEIR_SENDER);
        return;
    }
    // The node a request names must be the one its writer announced: a
    // participant cannot ask in another daemon's node name through its own
    // writer unless it announces that name too (see docs/dds-bridge.md).
    if (!ValidName(r.requesterNode) || std::strchr(r.requesterNode, '/') != nullptr ||
        sender.announcedNode != r.requesterNode) {
        ReportDropped(droppedNodes_, 1, NOT_ANNOUNCED_NODE);
        return;
    }
    // With DDS Security the participant has proven a certificate, and its
    // GUID tells whose: it must be the node's own (node_identity.h).
    if (secure_ && !ParticipantIsNode(sender.participant, r.requesterNode)) {
        ReportDropped(droppedCertificates_, 1, NOT_CERTIFIED_NODE);
        return;
    }
    if (!ValidName(r.bundle) || exports_.count(r.bundle) == 0 || !ValidName(r.requesterBundle)) {
        Reply(r.requester, r.correlation, NAV_INFO_ERR_NOT_FOUND);
        return;
    }
    AAFwk::WantParams params;
    if (!BridgePayload::Decode(r.params._buffer, r.params._length, params) || (r.kind != 0 && r.kind != 1)) {
        Reply(r.requester, r.correlation, NAV_INFO_ERR_INVALID_PARAM);
        return;
    }
    // Judged by the policy's remoteRequesters rule of "node/bundle" in the
    // core, which refuses it with the code a local requester would get.
    CallerInfo caller{std::string(r.requesterNode) + "/" + r.requesterBundle, 0, 0, RemoteClientId(r.requester), true};
    sptr<IMapCallback> answer = new ReplyWriter(outbound_, offload_, r.requester, r.correlation);
    int32_t result = r.kind == 0
        ? core_->QueryNavigationInfo(caller, r.bundle, static_cast<QueryType>(r.type), std::move(params), answer)
        : core_->SendNavigationCmd(caller, r.bundle, static_cast<CommandType>(r.type), std::move(params), answer);
    if (result != NAV_INFO_SUCCESS) {
        Reply(r.requester, r.correlation, result); // refused: the core never calls answer
    }
}

void BridgeExporter::Sweep()
{
    ReportDropped(droppedRequests_, 0, NOT_THEIR_SENDER);
    ReportDropped(droppedNodes_, 0, NOT_ANNOUNCED_NODE);
    ReportDropped(droppedCertificates_, 0, NOT_CERTIFIED_NODE);
    ReportContested(0);
    ReportUnsent(*unsentRecords_, 0);
}

void BridgeExporter::ReportContested(uint64_t n)
{
    if (uint64_t due = contestedUnlogged_.Add(n)) {
        DAEMON_LOGE("%{public}llu more claims of this daemon's bundles by other participants: the others refuse "
                    "them; fix the policies",
            static_cast<unsigned long long>(due));
    }
}

uint64_t BridgeExporter::RemoteClientId(const std::string& requester)
{
    ++requestCount_;
    auto found = remoteClients_.find(requester);
    if (found != remoteClients_.end()) {
        found->second.lastAsked = requestCount_;
        return found->second.clientId;
    }
    uint64_t id = BRIDGE_REMOTE_CLIENT_BASE + remoteClients_.size();
    if (remoteClients_.size() >= MAX_REMOTE_CLIENTS) {
        auto oldest = remoteClients_.begin();
        for (auto it = remoteClients_.begin(); it != remoteClients_.end(); ++it) {
            if (it->second.lastAsked < oldest->second.lastAsked) {
                oldest = it;
            }
        }
        id = oldest->second.clientId;
        remoteClients_.erase(oldest);
        core_->OnClientGone(id);
    }
    remoteClients_.emplace(requester, RemoteClient{id, requestCount_});
    return id;
}

void BridgeExporter::Reply(const std::string& requester, uint64_t correlation, int32_t code)
{
    BridgePayload::Bytes bytes;
    if (BridgePayload::Encode(ResultData{code, NavInfoResultText(code), {}}, bytes)) {
        offload_->Run([outbound = outbound_, requester, correlation, bytes = std::move(bytes)] {
            outbound->WriteReply(requester, correlation, bytes);
        });
    }
}

} // namespace OHOS::NavigationInfoService
