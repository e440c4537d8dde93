// Everything the bridge writes to DDS. Listener calls of the service core
// (executor threads) and the bridge's own thread write at once; Close makes
// every later write a no-op, so that a callback the core calls after the
// bridge stopped touches no deleted entity.
//
// Threads: any. Writes share a lock that Close takes exclusively.
#ifndef SERVICE_DAEMON_DDS_DDS_OUTBOUND_H
#define SERVICE_DAEMON_DDS_DDS_OUTBOUND_H

#include <cstdint>
#include <shared_mutex>
#include <string>

#include "bridge_payload.h"
#include "dds_entities.h"

namespace OHOS::NavigationInfoService {

enum class RecordKind { STATUS, METADATA };

struct OutboundRequest {
    uint64_t correlation = 0;
    std::string exporter;
    std::string bundle;
    std::string requesterNode;
    std::string requesterBundle;
    int32_t kind = 0;
    int32_t type = 0;
    BridgePayload::Bytes params;
};

class DdsOutbound {
public:
    explicit DdsOutbound(const DdsEntities& entities) : entities_(entities) {}

    // False when the sample could not be written (or after Close).
    bool WriteClaim(const std::string& bundle, const std::string& node, uint32_t livelinessMs);
    bool WriteRecord(RecordKind kind, const std::string& bundle, const BridgePayload::Bytes& payload);
    bool WriteRequest(const OutboundRequest& request);
    bool WriteReply(const std::string& requester, uint64_t correlation, const BridgePayload::Bytes& result);
    // Whether requests reach the daemon of that instance and its replies
    // come back: its request reader and its reply writer are matched with
    // ours (both topics are volatile: a sample sent before the match is lost).
    bool Exchanges(const std::string& instance) const;

    const std::string& Instance() const { return entities_.instance; }
    void Close();

private:
    mutable std::shared_mutex mutex_;
    const DdsEntities entities_; // handles only; the owner deletes them after Close
    bool closed_ = false;        // guarded by mutex_
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_DDS_DDS_OUTBOUND_H
