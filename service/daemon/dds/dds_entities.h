// The DDS entities of one bridge: a participant in the policy's domain, a
// publisher and a subscriber in its partition, and the writers and readers
// its role needs (exporter, importer or both; the others stay 0). The state topics (claims, status, metadata) are keyed by bundle
// name, reliable, transient-local and keep-last-1, so that a daemon joining
// late gets the current records at once; their writers' liveliness tells the
// others when this daemon is gone. Requests and replies are volatile.
//
// Threads: Create and Delete from the bridge's owner; the handles from any thread.
#ifndef SERVICE_DAEMON_DDS_DDS_ENTITIES_H
#define SERVICE_DAEMON_DDS_DDS_ENTITIES_H

#include <string>

#include <dds/dds.h>

#include "bridge_policy.h"

namespace OHOS::NavigationInfoService {

struct DdsEntities {
    dds_entity_t domain = 0; // made with the bridge's limits (cyclone_limits.h)
    dds_entity_t participant = 0;
    dds_entity_t claimWriter = 0, claimReader = 0;
    dds_entity_t statusWriter = 0, statusReader = 0;
    dds_entity_t metadataWriter = 0, metadataReader = 0;
    dds_entity_t requestWriter = 0, requestReader = 0;
    dds_entity_t replyWriter = 0, replyReader = 0;
    dds_entity_t waitset = 0;
    dds_entity_t stopGuard = 0; // triggered to end the bridge's wait
    std::string instance;       // the participant's GUID in hex: unique per run
};

// policy.node must be set (the host name when the policy names none): the
// request writer announces it. False with a one-line reason (with Cyclone's own, such as the rule of DDS
// Security that refused an endpoint); whatever was made is deleted again.
bool CreateDdsEntities(const BridgePolicy& policy, DdsEntities& entities, std::string& error);
// A participant's GUID as the bridge names daemons: 32 hex digits.
std::string GuidHex(const dds_guid_t& guid);
// Deletes the participant and everything in it. Idempotent.
void DeleteDdsEntities(DdsEntities& entities);

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_DDS_DDS_ENTITIES_H
