// The DDS bridge: its entities, its exporting and importing halves, the
// Cyclone listeners that hand each sample to its half, and one thread that
// writes the claims again and sweeps the others' claims.
//
// Samples are taken and handled on the Cyclone thread that reports them
// (on_data_available), each as the daemon runs a call it read from a socket
// (DaemonService::RunHere): the core's listener calls it causes (a
// follower's notification, the navigation application's query, a requester's
// answer) run on that thread too, and what they send leaves in one write.
// So a sample reaches the local socket without a thread hand-over in this
// daemon. Three serial drains keep what must stay in order one at a time
// without a lock around DDS calls: claims, status and metadata together
// (a bundle's records, its claimant's coming and going and the sweep of
// lapsed claimants stay in order), requests, and replies.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
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
#include "hilog/log_rate_limit.h"
#include "listener_gate.h"
#include "navinfo_bridge.h"
#include "network_bridge.h"
#include "serial_drain.h"
#include "write_offload.h"

namespace OHOS::NavigationInfoService {
namespace {

// Samples taken from one reader at a time, so that no topic starves the others.
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
    if (reader == 0) {
        return 0; // not this daemon's role
    }
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
        : service_(service),
          policy_(policy),
          entities_(std::move(entities)),
          outbound_(std::make_shared<DdsOutbound>(entities_)),
          offload_(std::make_shared<WriteOffload>()),
          exporter_(service, outbound_, offload_, policy, policy.node, secure),
          importer_(std::make_shared<BridgeImporter>(service.SharedCore(), outbound_, offload_, policy, policy.node,
              service.Config().requestTimeout))
    {
    }

    // Throws std::system_error when the thread cannot start.
    void Start()
    {
        importer_->Start();
        exporter_.Start();
        for (Drain& drain : drains_) {
            drain.bridge = this;
        }
        SetListener(entities_.claimReader, drains_[STATE], true);
        SetListener(entities_.statusReader, drains_[STATE], false);
        SetListener(entities_.metadataReader, drains_[STATE], false);
        SetListener(entities_.requestReader, drains_[REQUESTS], false);
        SetListener(entities_.replyReader, drains_[REPLIES], false);
        // What came before the listeners were set (the late joiner's current
        // records) raised no call: taken now.
        for (Drain& drain : drains_) {
            Kick(drain);
        }
        thread_ = std::thread([this] { Run(); });
    }

    ~DdsBridge() override
    {
        stop_.store(true);
        dds_set_guardcondition(entities_.stopGuard, true);
        if (thread_.joinable()) {
            thread_.join();
        }
        // No new listener call from here on, and none still inside once the
        // gate is closed: then nothing of this bridge runs any more.
        const dds_entity_t readers[] = {entities_.claimReader, entities_.statusReader, entities_.metadataReader,
            entities_.requestReader, entities_.replyReader};
        for (dds_entity_t reader : readers) {
            if (reader != 0) {
                dds_set_listener(reader, nullptr);
            }
        }
        gate_.Close();
        offload_->Stop();
        outbound_->Close();
        DeleteDdsEntities(entities_);
    }

private:
    enum DrainKind { STATE, REQUESTS, REPLIES, DRAIN_KINDS };
    struct Drain {
        DdsBridge* bridge = nullptr;
        DrainKind kind;
        SerialDrain serial;
    };

    static void OnDataAvailable(dds_entity_t /* reader */, void* arg)
    {
        auto* drain = static_cast<Drain*>(arg);
        drain->bridge->Kick(*drain);
    }

    static void OnLivelinessChanged(dds_entity_t /* reader */, const dds_liveliness_changed_status_t /* status */,
        void* arg)
    {
        // A lapsed claim also arrives as a sample whose instance is no longer alive.
        auto* drain = static_cast<Drain*>(arg);
        drain->bridge->Kick(*drain);
    }

    void SetListener(dds_entity_t reader, Drain& drain, bool liveliness)
    {
        if (reader == 0) {
            return; // not this daemon's role
        }
        dds_listener_t* listener = dds_create_listener(&drain);
        dds_lset_data_available(listener, &DdsBridge::OnDataAvailable);
        if (liveliness) {
            dds_lset_liveliness_changed(listener, &DdsBridge::OnLivelinessChanged);
        }
        dds_return_t rc = dds_set_listener(reader, listener);
        dds_delete_listener(listener);
        if (rc != DDS_RETCODE_OK) {
            throw std::runtime_error(std::string("cannot listen to a reader: ") + dds_strretcode(rc));
        }
    }

    // Any thread: the drain runs here now, or once more on the thread that runs it.
    void Kick(Drain& drain)
    {
        if (!gate_.Enter()) {
            return; // being torn down
        }
        WriteOffload::InDrain inDrain;
        drain.serial.Run([this, &drain] {
            // Nothing may leave a Cyclone listener (C code) by an exception,
            // and a drain that ended by one would never run again.
            try {
                switch (drain.kind) {
                    case STATE: DrainState(); break;
                    case REQUESTS:
                        while (TakeRequests() > 0) {
                        }
                        break;
                    default:
                        while (TakeReplies() > 0) {
                        }
                        break;
                }
            } catch (const std::exception& e) {
                HILOG_RATE_LIMITED(DAEMON_LOGE, "DDS samples not handled: %{public}s", e.what());
            } catch (...) {
                HILOG_RATE_LIMITED(DAEMON_LOGE, "DDS samples not handled");
            }
        });
        gate_.Leave();
    }

    void Run()
    {
        // Claims are written again at a third of the liveliness period;
        // the others' claims are checked every SWEEP_PERIOD.
        const auto refresh = std::max(policy_.liveliness / 3, std::chrono::milliseconds(30));
        const auto wait = std::min(refresh, SWEEP_PERIOD);
        auto nextRefresh = std::chrono::steady_clock::now() + refresh;
        auto nextSweep = std::chrono::steady_clock::now() + SWEEP_PERIOD;
        while (!stop_.load()) {
            dds_attach_t triggered[1];
            dds_waitset_wait(entities_.waitset, triggered, 1, DDS_MSECS(wait.count()));
            auto now = std::chrono::steady_clock::now();
            if (now >= nextRefresh) {
                exporter_.RefreshClaims();
                nextRefresh = now + refresh;
            }
            if (now >= nextSweep && !stop_.load()) {
                // In the state drain, so that a claimant ended here is not
                // followed by one of its records handled at the same time.
                sweepDue_.store(true);
                Kick(drains_[STATE]);
                exporter_.Sweep();
                cycloneLog_.Flush();
                nextSweep = now + SWEEP_PERIOD;
            }
        }
    }

    void DrainState()
    {
        if (sweepDue_.exchange(false)) {
            service_.RunHere([this] { importer_->Sweep(); });
        }
        while (TakeClaims() + TakeRecords(entities_.statusReader, RecordKind::STATUS, statusSenders_) +
                TakeRecords(entities_.metadataReader, RecordKind::METADATA, metadataSenders_) >
            0) {
        }
    }

    size_t TakeClaims()
    {
        return TakeEach<navinfo_bridge_Claim>(entities_.claimReader,
            [this](const navinfo_bridge_Claim& claim, const dds_sample_info_t& info) {
                // A claim that is gone carries its key (the bundle) only.
                if (info.valid_data && info.instance_state == DDS_IST_ALIVE) {
                    SampleSender sender = claimSenders_.Of(info);
                    exporter_.OnClaim(claim, sender);
                    service_.RunHere([&] { importer_->OnClaim(claim, sender); });
                } else if (info.instance_state != DDS_IST_ALIVE) {
                    SampleSender sender = claimSenders_.Of(info);
                    service_.RunHere([&] {
                        importer_->OnClaimEnded(claim, sender, info.instance_state == DDS_IST_NOT_ALIVE_NO_WRITERS);
                    });
                }
            });
    }

    size_t TakeRecords(dds_entity_t reader, RecordKind kind, SampleSenders& senders)
    {
        return TakeEach<navinfo_bridge_Record>(reader,
            [&](const navinfo_bridge_Record& record, const dds_sample_info_t& info) {
                if (info.valid_data) {
                    SampleSender sender = senders.Of(info);
                    service_.RunHere([&] { importer_->OnRecord(kind, record, sender); });
                }
            });
    }

    size_t TakeRequests()
    {
        return TakeEach<navinfo_bridge_Request>(entities_.requestReader,
            [this](const navinfo_bridge_Request& request, const dds_sample_info_t& info) {
                if (info.valid_data) {
                    SampleSender sender = requestSenders_.Of(info);
                    service_.RunHere([&] { exporter_.OnRequest(request, sender); });
                }
            });
    }

    size_t TakeReplies()
    {
        return TakeEach<navinfo_bridge_Reply>(entities_.replyReader,
            [this](const navinfo_bridge_Reply& reply, const dds_sample_info_t& info) {
                if (info.valid_data) {
                    SampleSender sender = replySenders_.Of(info);
                    service_.RunHere([&] { importer_->OnReply(reply, sender); });
                }
            });
    }

    CycloneLog cycloneLog_; // first made, last gone: Cyclone's messages while the entities exist
    DaemonService& service_;
    const BridgePolicy policy_;
    DdsEntities entities_;
    const std::shared_ptr<DdsOutbound> outbound_;
    const std::shared_ptr<WriteOffload> offload_;
    BridgeExporter exporter_;
    const std::shared_ptr<BridgeImporter> importer_;
    // Who wrote each sample, per reader: used inside its reader's drain only.
    SampleSenders claimSenders_{entities_.claimReader};
    SampleSenders statusSenders_{entities_.statusReader};
    SampleSenders metadataSenders_{entities_.metadataReader};
    SampleSenders requestSenders_{entities_.requestReader};
    SampleSenders replySenders_{entities_.replyReader};
    Drain drains_[DRAIN_KINDS] = {{nullptr, STATE, {}}, {nullptr, REQUESTS, {}}, {nullptr, REPLIES, {}}};
    ListenerGate gate_;
    std::atomic<bool> sweepDue_{false};
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
