// The DDS bridge: its entities, its exporting and importing halves, and one
// thread that waits on every reader and hands each sample to its half.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "bridge_exporter.h"
#include "bridge_importer.h"
#include "daemon_log.h"
#include "daemon_service.h"
#include "dds_entities.h"
#include "dds_outbound.h"
#include "navinfo_bridge.h"
#include "network_bridge.h"

namespace OHOS::NavigationInfoService {
namespace {

// Samples taken from one reader per wake-up, so that no topic starves the others.
constexpr size_t TAKE_BATCH = 64;
constexpr std::chrono::milliseconds SWEEP_PERIOD{100};

std::string HostName()
{
    char name[256] = {};
    if (gethostname(name, sizeof(name) - 1) != 0 || name[0] == '\0') {
        return "unnamed";
    }
    return name;
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
    DdsBridge(DaemonService& service, const BridgePolicy& policy, DdsEntities entities)
        : policy_(policy),
          entities_(std::move(entities)),
          outbound_(std::make_shared<DdsOutbound>(entities_)),
          exporter_(service, outbound_, policy, policy.node.empty() ? HostName() : policy.node),
          importer_(std::make_shared<BridgeImporter>(service.SharedCore(), outbound_, policy,
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
                if (info.valid_data) {
                    exporter_.OnClaim(claim);
                }
                importer_->OnClaim(claim, info.instance_state == DDS_IST_ALIVE);
            });
        taken += TakeEach<navinfo_bridge_Record>(entities_.statusReader,
            [this](const navinfo_bridge_Record& record, const dds_sample_info_t& info) {
                if (info.valid_data) {
                    importer_->OnRecord(RecordKind::STATUS, record);
                }
            });
        taken += TakeEach<navinfo_bridge_Record>(entities_.metadataReader,
            [this](const navinfo_bridge_Record& record, const dds_sample_info_t& info) {
                if (info.valid_data) {
                    importer_->OnRecord(RecordKind::METADATA, record);
                }
            });
        taken += TakeEach<navinfo_bridge_Request>(entities_.requestReader,
            [this](const navinfo_bridge_Request& request, const dds_sample_info_t& info) {
                if (info.valid_data) {
                    exporter_.OnRequest(request);
                }
            });
        taken += TakeEach<navinfo_bridge_Reply>(entities_.replyReader,
            [this](const navinfo_bridge_Reply& reply, const dds_sample_info_t& info) {
                if (info.valid_data) {
                    importer_->OnReply(reply);
                }
            });
        return taken;
    }

    const BridgePolicy policy_;
    DdsEntities entities_;
    const std::shared_ptr<DdsOutbound> outbound_;
    BridgeExporter exporter_; // the bridge's thread only, after Start
    const std::shared_ptr<BridgeImporter> importer_;
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
    DdsEntities entities;
    if (!CreateDdsEntities(policy, entities, error)) {
        return nullptr;
    }
    try {
        auto bridge = std::make_unique<DdsBridge>(service, policy, std::move(entities));
        bridge->Start();
        DAEMON_LOGI("DDS bridge in domain %{public}u, partition %{public}s: %{public}zu exported, %{public}zu "
                    "imported",
            policy.domain, policy.partition.c_str(), policy.exports.size(), policy.imports.size());
        return bridge;
    } catch (const std::exception& e) {
        error = std::string("cannot start the DDS bridge: ") + e.what();
        return nullptr;
    }
}

} // namespace OHOS::NavigationInfoService
