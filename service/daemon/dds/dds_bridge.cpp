// The DDS bridge: its entities, its exporting and importing halves, and one
// thread that waits on every reader and hands each sample to its half.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <atomic>
#include <chrono>
#include <thread>

#include "bridge_exporter.h"
#include "bridge_importer.h"
#include "cyclone_log.h"
#include "cyclone_security.h"
#include "daemon_log.h"
#include "daemon_service.h"
#include "dds_entities.h"
#include "dds_outbound.h"
#include "dds_senders.h"
#include "navinfo_bridge.h"
#include "network_bridge.h"

namespace OHOS::NavigationInfoService {
namespace {

// Samples taken from one reader per wake-up, so that no topic starves the others.
constexpr size_t TAKE_BATCH = 64;
constexpr std::chrono::milliseconds SWEEP_PERIOD{100};
// Blocks from this size on are mapped on their own (see StartNetworkBridge).
constexpr int LARGE_BLOCK_BYTES = 256 * 1024;

// The node name of a policy that names none. '/' separates node and bundle
// in the other daemons' remoteRequesters, so it never appears in one.
std::string HostName()
{
    char name[256] = {};
    if (gethostname(name, sizeof(name) - 1) != 0 || name[0] == '\0') {
        return "unnamed";
    }
    std::string node = name;
    std::replace(node.begin(), node.end(), '/', '_');
    return node;
}

// Takes up to TAKE_BATCH samples from reader and calls handle(sample, info) on each.
template <typename Sample, typename Handle>
size_t TakeEach(dds_entity_t reader, Handle&& handle)
{
    void* samples[TAKE_BATCH] = {};
    dds_sample_info_t infos[TAKE_BATCH];
    dds_return_t n = dds_take(reader, samples, infos, TAKE_BATCH, TAKE_BATCH);
    if (n <= 0) {
        return 0;
    }
    for (dds_return_t i = 0; i < n; ++i) {
        handle(*static_cast<const Sample*>(samples[i]), infos[i]);
    }
    dds_return_loan(reader, samples, n);
    return static_cast<size_t>(n);
}

class DdsBridge : public NetworkBridge {
public:
    DdsBridge(DaemonService& service, const BridgePolicy& policy, DdsEntities entities, bool secure)
        : policy_(policy),
          entities_(std::move(entities)),
          outbound_(std::make_shared<DdsOutbound>(entities_)),
          exporter_(service, outbound_, policy, policy.node, secure),
          importer_(std::make_shared<BridgeImporter>(service.SharedCore(), outbound_, policy, policy.node,
              service.Config().requestTimeout))
    {
    }

    // Throws std::system_error when the thread cannot start.
    void Start()
    {
        importer_->Start();
        exporter_.Start();
        thread_ = std::thread([this] { Run(); });
    }

    ~DdsBridge() override
    {
        stop_.store(true);
        dds_set_guardcondition(entities_.stopGuard, true);
        if (thread_.joinable()) {
            thread_.join();
        }
        outbound_->Close();
        DeleteDdsEntities(entities_);
    }

private:
    void Run()
    {
        // Claims are written again at a third of the liveliness period;
        // the others' claims are checked at least every SWEEP_PERIOD.
        const auto refresh = std::max(policy_.liveliness / 3, std::chrono::milliseconds(30));
        const auto wait = std::min(refresh, SWEEP_PERIOD);
        auto nextRefresh = std::chrono::steady_clock::now() + refresh;
        auto nextSweep = std::chrono::steady_clock::now() + SWEEP_PERIOD;
        while (!stop_.load()) {
            dds_attach_t triggered[8];
            dds_waitset_wait(entities_.waitset, triggered, 8, DDS_MSECS(wait.count()));
            while (!stop_.load() && TakeAll() > 0) {
            }
            auto now = std::chrono::steady_clock::now();
            if (now >= nextRefresh) {
                exporter_.RefreshClaims();
                nextRefresh = now + refresh;
            }
            if (now >= nextSweep) {
                importer_->Sweep();
                exporter_.Sweep();
                cycloneLog_.Flush();
                nextSweep = now + SWEEP_PERIOD;
            }
        }
    }

    size_t TakeAll()
    {
        // Reading the status resets it; a lapsed claim arrives as a sample
        // whose instance is no longer alive.
        dds_liveliness_changed_status_t liveliness{};
        dds_get_liveliness_changed_status(entities_.claimReader, &liveliness);
        size_t taken = TakeEach<navinfo_bridge_Claim>(entities_.claimReader,
            [this](const navinfo_bridge_Claim& claim, const dds_sample_info_t& info) {
                // A claim that is gone carries its key (the bundle) only.
                if (info.valid_data && info.instance_state == DDS_IST_ALIVE) {
                    SampleSender sender = claimSenders_.Of(info);
                    exporter_.OnClaim(claim, sender);
                    importer_->OnClaim(claim, sender);
                } else if (info.instance_state != DDS_IST_ALIVE) {
                    importer_->OnClaimEnded(claim, claimSenders_.Of(info),
                        info.instance_state == DDS_IST_NOT_ALIVE_NO_WRITERS);
                }
            });
        taken += TakeEach<navinfo_bridge_Record>(entities_.statusReader,
            [this](const navinfo_bridge_Record& record, const dds_sample_info_t& info) {
                if (info.valid_data) {
                    importer_->OnRecord(RecordKind::STATUS, record, statusSenders_.Of(info));
                }
            });
        taken += TakeEach<navinfo_bridge_Record>(entities_.metadataReader,
            [this](const navinfo_bridge_Record& record, const dds_sample_info_t& info) {
                if (info.valid_data) {
                    importer_->OnRecord(RecordKind::METADATA, record, metadataSenders_.Of(info));
                }
            });
        taken += TakeEach<navinfo_bridge_Request>(entities_.requestReader,
            [this](const navinfo_bridge_Request& request, const dds_sample_info_t& info) {
                if (info.valid_data) {
                    exporter_.OnRequest(request, requestSenders_.Of(info));
                }
            });
        taken += TakeEach<navinfo_bridge_Reply>(entities_.replyReader,
            [this](const navinfo_bridge_Reply& reply, const dds_sample_info_t& info) {
                if (info.valid_data) {
                    importer_->OnReply(reply, replySenders_.Of(info));
                }
            });
        return taken;
    }

    CycloneLog cycloneLog_; // first made, last gone: Cyclone's messages while the entities exist
    const BridgePolicy policy_;
    DdsEntities entities_;
    const std::shared_ptr<DdsOutbound> outbound_;
    BridgeExporter exporter_; // the bridge's thread only, after Start
    const std::shared_ptr<BridgeImporter> importer_;
    // Who wrote each sample, per reader: the bridge's thread only.
    SampleSenders claimSenders_{entities_.claimReader};
    SampleSenders statusSenders_{entities_.statusReader};
    SampleSenders metadataSenders_{entities_.metadataReader};
    SampleSenders requestSenders_{entities_.requestReader};
    SampleSenders replySenders_{entities_.replyReader};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

} // namespace

bool NetworkBridgeBuiltIn()
{
    return true;
}

std::unique_ptr<NetworkBridge> StartNetworkBridge(DaemonService& service, const BridgePolicy& policy,
    std::string& error)
{
    // Secure by default: without DDS Security anybody on the vehicle network
    // reads the records and may claim a bundle first.
    const bool secure = CycloneConfigHasSecurity(std::getenv("CYCLONEDDS_URI"));
    if (!secure) {
        if (!policy.insecure) {
            error = "the DDS bridge needs DDS Security, and the Cyclone configuration (CYCLONEDDS_URI) has no "
                    "Security element: make one per node with `navinfo-dds-security init` and set CYCLONEDDS_URI to "
                    "its cyclonedds.xml, or say \"insecure\": true in the policy's bridge section to run the bridge "
                    "unprotected (docs/dds-bridge.md, \"Security\")";
            return nullptr;
        }
        DAEMON_LOGW("the DDS bridge runs without DDS Security (\"insecure\": true in the policy): anybody on the "
                    "network can read its records and claim its bundles first");
    }
    BridgePolicy named = policy;
    if (named.node.empty()) {
        named.node = HostName();
    }
    // Samples from the network are up to a megabyte each. glibc raises its
    // mmap threshold to the size of the largest block freed, after which such
    // samples are carved out of the heap and a flood of them leaves the heap
    // that large for good; a fixed threshold keeps every block of this size
    // in a mapping of its own, given back to the system when freed.
    // glibc marks mallopt unsafe for its first-use setup (long done) and for
    // concurrent mallopt calls (the daemon makes no other).
    mallopt(M_MMAP_THRESHOLD, LARGE_BLOCK_BYTES); // NOLINT(concurrency-mt-unsafe)
    DdsEntities entities;
    if (!CreateDdsEntities(named, entities, error)) {
        return nullptr;
    }
    try {
        auto bridge = std::make_unique<DdsBridge>(service, named, std::move(entities), secure);
        bridge->Start();
        DAEMON_LOGI("DDS bridge of node %{public}s in domain %{public}u, partition %{public}s: %{public}zu "
                    "exported, %{public}zu imported",
            named.node.c_str(), policy.domain, policy.partition.c_str(), policy.exports.size(), policy.imports.size());
        return bridge;
    } catch (const std::exception& e) {
        error = std::string("cannot start the DDS bridge: ") + e.what();
        return nullptr;
    }
}

} // namespace OHOS::NavigationInfoService
