#include "dds_outbound.h"

#include <mutex>

#include "navinfo_bridge.h"

namespace OHOS::NavigationInfoService {
namespace {

// DDS copies the sample while writing: the fields may point into our own strings.
char* Text(const std::string& value)
{
    return const_cast<char*>(value.c_str());
}

dds_sequence_octet Octets(const BridgePayload::Bytes& bytes)
{
    dds_sequence_octet seq{};
    seq._maximum = static_cast<uint32_t>(bytes.size());
    seq._length = static_cast<uint32_t>(bytes.size());
    seq._buffer = const_cast<uint8_t*>(bytes.data());
    seq._release = false;
    return seq;
}

} // namespace

bool DdsOutbound::WriteClaim(const std::string& bundle, const std::string& node)
{
    navinfo_bridge_Claim sample{Text(bundle), Text(node), Text(entities_.instance)};
    std::shared_lock<std::shared_mutex> lock(mutex_);
    return !closed_ && dds_write(entities_.claimWriter, &sample) == DDS_RETCODE_OK;
}

bool DdsOutbound::WriteRecord(RecordKind kind, const std::string& bundle, const BridgePayload::Bytes& payload)
{
    navinfo_bridge_Record sample{Text(bundle), Text(entities_.instance), Octets(payload)};
    std::shared_lock<std::shared_mutex> lock(mutex_);
    dds_entity_t writer = kind == RecordKind::STATUS ? entities_.statusWriter : entities_.metadataWriter;
    return !closed_ && dds_write(writer, &sample) == DDS_RETCODE_OK;
}

bool DdsOutbound::WriteRequest(const OutboundRequest& r)
{
    navinfo_bridge_Request sample{Text(entities_.instance), r.correlation, Text(r.exporter), Text(r.bundle),
        Text(r.requesterBundle), r.kind, r.type, Octets(r.params)};
    std::shared_lock<std::shared_mutex> lock(mutex_);
    return !closed_ && dds_write(entities_.requestWriter, &sample) == DDS_RETCODE_OK;
}

bool DdsOutbound::WriteReply(const std::string& requester, uint64_t correlation, const BridgePayload::Bytes& result)
{
    navinfo_bridge_Reply sample{Text(requester), correlation, Octets(result)};
    std::shared_lock<std::shared_mutex> lock(mutex_);
    return !closed_ && dds_write(entities_.replyWriter, &sample) == DDS_RETCODE_OK;
}

bool DdsOutbound::HasRequestReaders() const
{
    dds_publication_matched_status_t status{};
    std::shared_lock<std::shared_mutex> lock(mutex_);
    return !closed_ && dds_get_publication_matched_status(entities_.requestWriter, &status) == DDS_RETCODE_OK &&
        status.current_count > 0;
}

void DdsOutbound::Close()
{
    std::unique_lock<std::shared_mutex> lock(mutex_);
    closed_ = true;
}

} // namespace OHOS::NavigationInfoService
