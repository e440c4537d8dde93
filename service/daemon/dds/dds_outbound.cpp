#include "dds_outbound.h"

#include <algorithm>
#include <mutex>

#include "ipc_limits.h"
#include "navinfo_bridge.h"

namespace OHOS::NavigationInfoService {
namespace {

static_assert(navinfo_bridge_MAX_PAYLOAD_BYTES == kMaxFramePayload, "the IDL bounds payloads as a socket frame");

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

bool DdsOutbound::WriteClaim(const std::string& bundle, const std::string& node, uint32_t livelinessMs)
{
    navinfo_bridge_Claim sample{Text(bundle), Text(node), Text(entities_.instance), livelinessMs};
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
        Text(r.requesterNode), Text(r.requesterBundle), r.kind, r.type, Octets(r.params)};
    std::shared_lock<std::shared_mutex> lock(mutex_);
    return !closed_ && dds_write(entities_.requestWriter, &sample) == DDS_RETCODE_OK;
}

bool DdsOutbound::WriteReply(const std::string& requester, uint64_t correlation, const BridgePayload::Bytes& result)
{
    navinfo_bridge_Reply sample{Text(requester), correlation, Octets(result)};
    std::shared_lock<std::shared_mutex> lock(mutex_);
    return !closed_ && dds_write(entities_.replyWriter, &sample) == DDS_RETCODE_OK;
}

namespace {

// Whether one of the endpoints matched with ours belongs to that participant.
template <typename List, typename Data>
bool MatchedWith(dds_entity_t endpoint, const std::string& instance, List list, Data data)
{
    constexpr size_t MAX_MATCHED = 256;
    dds_instance_handle_t matched[MAX_MATCHED];
    dds_return_t count = list(endpoint, matched, MAX_MATCHED);
    for (dds_return_t i = 0; i < std::min<dds_return_t>(count, MAX_MATCHED); ++i) {
        dds_builtintopic_endpoint_t* other = data(endpoint, matched[i]);
        if (other != nullptr) {
            bool match = GuidHex(other->participant_key) == instance;
            dds_builtintopic_free_endpoint(other);
            if (match) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

bool DdsOutbound::Exchanges(const std::string& instance) const
{
    std::shared_lock<std::shared_mutex> lock(mutex_);
    return !closed_ &&
        MatchedWith(entities_.requestWriter, instance, dds_get_matched_subscriptions,
            dds_get_matched_subscription_data) &&
        MatchedWith(entities_.replyReader, instance, dds_get_matched_publications, dds_get_matched_publication_data);
}

void DdsOutbound::Close()
{
    std::unique_lock<std::shared_mutex> lock(mutex_);
    closed_ = true;
}

} // namespace OHOS::NavigationInfoService
