#include "dds_entities.h"

#include <cstdlib>
#include <memory>
#include <mutex>

#include "cyclone_limits.h"
#include "navinfo_bridge.h"

namespace OHOS::NavigationInfoService {
namespace {

// Instances (bundles) a state reader keeps: a peer cannot make it hold more.
// An instance the bridge has taken holds its key, not its sample.
constexpr int32_t MAX_STATE_INSTANCES = 1024;
// Samples a state reader holds before the bridge takes them (its thread
// takes every sample as it comes): beyond, Cyclone refuses new ones and a
// reliable writer sends them again later. Each is at most
// MAX_BRIDGE_SAMPLE_BYTES.
constexpr int32_t MAX_HELD_STATE_SAMPLES = 4;
// Requests and replies a writer keeps until every reader has them.
constexpr int32_t MAX_QUEUED_EXCHANGES = 1024;
// Requests and replies a reader holds before the bridge takes them: keep-all,
// so that beyond, Cyclone refuses new ones and the writer sends them again
// later (none is lost; a burst of more waits for the retransmission: 512
// queries at once took 129 ms here against 69 ms unbounded, 511 ms with 8).
constexpr int32_t MAX_HELD_EXCHANGES = 32;

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
        dds_qset_resource_limits(qos.get(), MAX_HELD_STATE_SAMPLES, MAX_STATE_INSTANCES, 1);
    } else if (claims) {
        dds_qset_liveliness(qos.get(), DDS_LIVELINESS_MANUAL_BY_TOPIC, DDS_MSECS(policy.liveliness.count()));
    }
    return qos;
}

QosPtr ExchangeQos(bool reader)
{
    QosPtr qos(dds_create_qos(), &dds_delete_qos);
    dds_qset_reliability(qos.get(), DDS_RELIABILITY_RELIABLE, DDS_SECS(1));
    dds_qset_durability(qos.get(), DDS_DURABILITY_VOLATILE);
    if (reader) {
        dds_qset_history(qos.get(), DDS_HISTORY_KEEP_ALL, 0);
        dds_qset_resource_limits(qos.get(), MAX_HELD_EXCHANGES, 1, MAX_HELD_EXCHANGES); // keyless: one instance
    } else {
        dds_qset_history(qos.get(), DDS_HISTORY_KEEP_LAST, MAX_QUEUED_EXCHANGES);
    }
    return qos;
}

bool Fail(DdsEntities& entities, std::string& error, const std::string& what, dds_return_t code)
{
    error = what + ": " + dds_strretcode(code);
    DeleteDdsEntities(entities);
    return false;
}

// While the entities are made, Cyclone's error messages are kept: when DDS
// Security refuses an endpoint, dds_create_writer says only "Not Allowed By
// Security", and the reason (which rule of the permissions document) is in the
// message its access control logs.
class CycloneErrors {
public:
    CycloneErrors() { dds_set_log_sink(&CycloneErrors::Keep, this); }
    ~CycloneErrors() { dds_set_log_sink(nullptr, nullptr); }
    CycloneErrors(const CycloneErrors&) = delete;
    CycloneErrors& operator=(const CycloneErrors&) = delete;

    // The last error logged since the previous call, or "".
    std::string Take()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        std::string last = std::move(last_);
        last_.clear();
        return last;
    }

private:
    static void Keep(void* self, const dds_log_data_t* data)
    {
        auto* errors = static_cast<CycloneErrors*>(self);
        if ((data->priority & (DDS_LC_ERROR | DDS_LC_FATAL)) == 0 || data->message == nullptr) {
            return;
        }
        std::string message(data->message, data->size);
        while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) {
            message.pop_back();
        }
        std::lock_guard<std::mutex> lock(errors->mutex_);
        errors->last_ = std::move(message);
    }

    std::mutex mutex_;
    std::string last_;
};

// A refused endpoint's error with Cyclone's reason, when it gave one.
std::string WithReason(const std::string& what, CycloneErrors& errors)
{
    std::string reason = errors.Take();
    return reason.empty() ? what : what + " (" + reason + ")";
}

// Cyclone logs the reason for a refused endpoint only when the topic's
// discovery is not protected; the governance made by navinfo-dds-security
// protects it, so the refusal is then explained here.
std::string EndpointError(const char* verb, const char* topic, const BridgePolicy& policy, dds_return_t code,
    CycloneErrors& errors)
{
    std::string what = std::string("cannot ") + verb + " " + topic;
    std::string reason = errors.Take();
    if (!reason.empty()) {
        return what + " (" + reason + ")";
    }
    if (code == DDS_RETCODE_NOT_ALLOWED_BY_SECURITY) {
        return what + " (DDS Security: this node's permissions document does not let it " +
            (std::string(verb) == "write" ? "publish " : "subscribe to ") + topic + " in partition \"" +
            policy.partition + "\" of domain " + std::to_string(policy.domain) +
            ", which the policy's export and import lists need; make the permissions from this policy with "
            "navinfo-dds-security init)";
    }
    return what;
}

} // namespace

bool CreateDdsEntities(const BridgePolicy& policy, DdsEntities& e, std::string& error)
{
    CycloneErrors errors;
    // The domain with the operator's configuration and the bridge's limits over it.
    e.domain = dds_create_domain(policy.domain, ConfigWithBridgeLimits(std::getenv("CYCLONEDDS_URI")).c_str());
    if (e.domain < 0) {
        dds_return_t code = e.domain;
        e.domain = 0;
        return Fail(e, error, WithReason("cannot join DDS domain " + std::to_string(policy.domain), errors), code);
    }
    e.participant = dds_create_participant(policy.domain, nullptr, nullptr);
    if (e.participant < 0) {
        dds_return_t code = e.participant;
        e.participant = 0;
        return Fail(e, error, WithReason("cannot join DDS domain " + std::to_string(policy.domain), errors), code);
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

    // Only the endpoints this daemon's role needs, so that a permissions
    // document can say who may write what: an exporter writes claims,
    // records and replies and reads requests (and claims, to see a second
    // claimant); an importer reads claims, records and replies and writes
    // requests.
    const bool exporter = !policy.exports.empty();
    const bool importer = !policy.imports.empty();
    struct Topic {
        const dds_topic_descriptor_t* type;
        const char* name;
        bool state;
        bool claims;
        bool write;
        bool read;
        dds_entity_t* writer;
        dds_entity_t* reader;
    };
    const Topic topics[] = {
        {&navinfo_bridge_Claim_desc, "navinfo_Claim", true, true, exporter, exporter || importer, &e.claimWriter,
            &e.claimReader},
        {&navinfo_bridge_Record_desc, "navinfo_Status", true, false, exporter, importer, &e.statusWriter,
            &e.statusReader},
        {&navinfo_bridge_Record_desc, "navinfo_Metadata", true, false, exporter, importer, &e.metadataWriter,
            &e.metadataReader},
        {&navinfo_bridge_Request_desc, "navinfo_Request", false, false, importer, exporter, &e.requestWriter,
            &e.requestReader},
        {&navinfo_bridge_Reply_desc, "navinfo_Reply", false, false, exporter, importer, &e.replyWriter, &e.replyReader},
    };
    for (const Topic& t : topics) {
        if (!t.write && !t.read) {
            continue;
        }
        dds_entity_t topic = dds_create_topic(e.participant, t.type, t.name, nullptr, nullptr);
        if (topic < 0) {
            return Fail(e, error, WithReason(std::string("cannot create topic ") + t.name, errors), topic);
        }
        if (t.write) {
            QosPtr qos = t.state ? StateQos(policy, false, t.claims) : ExchangeQos(false);
            if (t.writer == &e.requestWriter) {
                // The node this daemon's requests name, announced once with the writer (see SampleSender).
                dds_qset_userdata(qos.get(), policy.node.data(), policy.node.size());
            }
            *t.writer = dds_create_writer(publisher, topic, qos.get(), nullptr);
            if (*t.writer < 0) {
                dds_return_t code = *t.writer;
                *t.writer = 0;
                return Fail(e, error, EndpointError("write", t.name, policy, code, errors), code);
            }
        }
        if (t.read) {
            QosPtr qos = t.state ? StateQos(policy, true, t.claims) : ExchangeQos(true);
            *t.reader = dds_create_reader(subscriber, topic, qos.get(), nullptr);
            if (*t.reader < 0) {
                dds_return_t code = *t.reader;
                *t.reader = 0;
                return Fail(e, error, EndpointError("read", t.name, policy, code, errors), code);
            }
        }
    }

    e.waitset = dds_create_waitset(e.participant);
    e.stopGuard = dds_create_guardcondition(e.participant);
    if (e.waitset < 0 || e.stopGuard < 0) {
        return Fail(e, error, "cannot create the wait set", e.waitset < 0 ? e.waitset : e.stopGuard);
    }
    const dds_entity_t readers[] = {e.claimReader, e.statusReader, e.metadataReader, e.requestReader, e.replyReader};
    for (dds_entity_t reader : readers) {
        if (reader == 0) {
            continue; // not this daemon's role
        }
        dds_entity_t condition = dds_create_readcondition(reader, DDS_ANY_STATE);
        rc = condition < 0 ? condition : dds_waitset_attach(e.waitset, condition, reader);
        if (rc < 0) {
            return Fail(e, error, "cannot wait for samples", rc);
        }
    }
    // A claimant whose liveliness lapses wakes the bridge too.
    if (e.claimReader != 0) {
        rc = dds_set_status_mask(e.claimReader, DDS_LIVELINESS_CHANGED_STATUS);
        if (rc == DDS_RETCODE_OK) {
            rc = dds_waitset_attach(e.waitset, e.claimReader, e.claimReader);
        }
        if (rc < 0) {
            return Fail(e, error, "cannot watch the claims' liveliness", rc);
        }
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
    if (e.domain > 0) {
        dds_delete(e.domain);
    }
    e = DdsEntities{};
}

} // namespace OHOS::NavigationInfoService
