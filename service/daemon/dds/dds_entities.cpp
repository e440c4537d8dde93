#include "dds_entities.h"

#include <memory>

#include "navinfo_bridge.h"

namespace OHOS::NavigationInfoService {
namespace {

// Instances (bundles) a state reader keeps: a peer cannot make it hold more.
constexpr int32_t MAX_STATE_INSTANCES = 1024;
// Requests and replies waiting in a reader before the bridge takes them.
constexpr int32_t MAX_QUEUED_EXCHANGES = 1024;

using QosPtr = std::unique_ptr<dds_qos_t, decltype(&dds_delete_qos)>;

// The claims' liveliness is asserted by the bridge's own thread (it writes
// them again at a third of the period), so a daemon that dies or hangs loses
// its claims within one period, without waiting for the participant's lease.
QosPtr StateQos(const BridgePolicy& policy, bool reader, bool claims)
{
    QosPtr qos(dds_create_qos(), &dds_delete_qos);
    dds_qset_reliability(qos.get(), DDS_RELIABILITY_RELIABLE, DDS_SECS(1));
    dds_qset_durability(qos.get(), DDS_DURABILITY_TRANSIENT_LOCAL);
    dds_qset_history(qos.get(), DDS_HISTORY_KEEP_LAST, 1);
    if (reader) {
        dds_qset_resource_limits(qos.get(), MAX_STATE_INSTANCES, MAX_STATE_INSTANCES, 1);
    } else if (claims) {
        dds_qset_liveliness(qos.get(), DDS_LIVELINESS_MANUAL_BY_TOPIC, DDS_MSECS(policy.liveliness.count()));
    }
    return qos;
}

QosPtr ExchangeQos()
{
    QosPtr qos(dds_create_qos(), &dds_delete_qos);
    dds_qset_reliability(qos.get(), DDS_RELIABILITY_RELIABLE, DDS_SECS(1));
    dds_qset_durability(qos.get(), DDS_DURABILITY_VOLATILE);
    dds_qset_history(qos.get(), DDS_HISTORY_KEEP_LAST, MAX_QUEUED_EXCHANGES);
    return qos;
}

bool Fail(DdsEntities& entities, std::string& error, const std::string& what, dds_return_t code)
{
    error = what + ": " + dds_strretcode(code);
    DeleteDdsEntities(entities);
    return false;
}

} // namespace

bool CreateDdsEntities(const BridgePolicy& policy, DdsEntities& e, std::string& error)
{
    e.participant = dds_create_participant(policy.domain, nullptr, nullptr);
    if (e.participant < 0) {
        dds_return_t code = e.participant;
        e.participant = 0;
        return Fail(e, error, "cannot join DDS domain " + std::to_string(policy.domain), code);
    }
    dds_guid_t guid;
    dds_return_t rc = dds_get_guid(e.participant, &guid);
    if (rc != DDS_RETCODE_OK) {
        return Fail(e, error, "no participant id", rc);
    }
    e.instance = GuidHex(guid);

    QosPtr partition(dds_create_qos(), &dds_delete_qos);
    dds_qset_partition1(partition.get(), policy.partition.c_str());
    dds_entity_t publisher = dds_create_publisher(e.participant, partition.get(), nullptr);
    dds_entity_t subscriber = dds_create_subscriber(e.participant, partition.get(), nullptr);
    if (publisher < 0 || subscriber < 0) {
        return Fail(e, error, "cannot join partition", publisher < 0 ? publisher : subscriber);
    }

    struct Topic {
        const dds_topic_descriptor_t* type;
        const char* name;
        bool state;
        bool claims;
        dds_entity_t* writer;
        dds_entity_t* reader;
    };
    const Topic topics[] = {
        {&navinfo_bridge_Claim_desc, "navinfo_Claim", true, true, &e.claimWriter, &e.claimReader},
        {&navinfo_bridge_Record_desc, "navinfo_Status", true, false, &e.statusWriter, &e.statusReader},
        {&navinfo_bridge_Record_desc, "navinfo_Metadata", true, false, &e.metadataWriter, &e.metadataReader},
        {&navinfo_bridge_Request_desc, "navinfo_Request", false, false, &e.requestWriter, &e.requestReader},
        {&navinfo_bridge_Reply_desc, "navinfo_Reply", false, false, &e.replyWriter, &e.replyReader},
    };
    for (const Topic& t : topics) {
        dds_entity_t topic = dds_create_topic(e.participant, t.type, t.name, nullptr, nullptr);
        if (topic < 0) {
            return Fail(e, error, std::string("cannot create topic ") + t.name, topic);
        }
        QosPtr writerQos = t.state ? StateQos(policy, false, t.claims) : ExchangeQos();
        QosPtr readerQos = t.state ? StateQos(policy, true, t.claims) : ExchangeQos();
        *t.writer = dds_create_writer(publisher, topic, writerQos.get(), nullptr);
        *t.reader = dds_create_reader(subscriber, topic, readerQos.get(), nullptr);
        if (*t.writer < 0 || *t.reader < 0) {
            return Fail(e, error, std::string("cannot create the endpoints of ") + t.name,
                *t.writer < 0 ? *t.writer : *t.reader);
        }
    }

    e.waitset = dds_create_waitset(e.participant);
    e.stopGuard = dds_create_guardcondition(e.participant);
    if (e.waitset < 0 || e.stopGuard < 0) {
        return Fail(e, error, "cannot create the wait set", e.waitset < 0 ? e.waitset : e.stopGuard);
    }
    const dds_entity_t readers[] = {e.claimReader, e.statusReader, e.metadataReader, e.requestReader, e.replyReader};
    for (dds_entity_t reader : readers) {
        dds_entity_t condition = dds_create_readcondition(reader, DDS_ANY_STATE);
        rc = condition < 0 ? condition : dds_waitset_attach(e.waitset, condition, reader);
        if (rc < 0) {
            return Fail(e, error, "cannot wait for samples", rc);
        }
    }
    // A claimant whose liveliness lapses wakes the bridge too.
    rc = dds_set_status_mask(e.claimReader, DDS_LIVELINESS_CHANGED_STATUS);
    if (rc == DDS_RETCODE_OK) {
        rc = dds_waitset_attach(e.waitset, e.claimReader, e.claimReader);
    }
    if (rc < 0) {
        return Fail(e, error, "cannot watch the claims' liveliness", rc);
    }
    rc = dds_waitset_attach(e.waitset, e.stopGuard, 0);
    if (rc < 0) {
        return Fail(e, error, "cannot wait for the stop", rc);
    }
    return true;
}

std::string GuidHex(const dds_guid_t& guid)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (uint8_t byte : guid.v) {
        out += digits[byte >> 4];
        out += digits[byte & 0xf];
    }
    return out;
}

void DeleteDdsEntities(DdsEntities& e)
{
    if (e.participant > 0) {
        dds_delete(e.participant);
    }
    e = DdsEntities{};
}

} // namespace OHOS::NavigationInfoService
