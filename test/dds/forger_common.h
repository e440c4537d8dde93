// What the modes of the test forger (dds_forger.cpp) share: joining the
// test's domain and partition, the bridge's QoS as a participant on the
// network would copy it, and samples built from plain strings and bytes.
#ifndef TEST_DDS_FORGER_COMMON_H
#define TEST_DDS_FORGER_COMMON_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <dds/dds.h>

#include "navinfo_bridge.h" // dds_sequence_octet

namespace Forger {

struct Endpoints {
    dds_entity_t participant = 0;
    dds_entity_t publisher = 0;
    dds_entity_t subscriber = 0;
};

inline char* Text(const std::string& value)
{
    return const_cast<char*>(value.c_str());
}
// A sample keeps the pointer until it is written: a temporary would be gone by then.
char* Text(std::string&& value) = delete;

inline dds_sequence_octet Octets(const std::vector<uint8_t>& bytes)
{
    return {static_cast<uint32_t>(bytes.size()), static_cast<uint32_t>(bytes.size()),
        const_cast<uint8_t*>(bytes.data()), false};
}

// Reliable as the bridge's; transient-local keep-last-1 for the state
// topics, volatile for requests and replies.
inline dds_qos_t* Qos(bool state)
{
    dds_qos_t* qos = dds_create_qos();
    dds_qset_reliability(qos, DDS_RELIABILITY_RELIABLE, DDS_SECS(1));
    dds_qset_durability(qos, state ? DDS_DURABILITY_TRANSIENT_LOCAL : DDS_DURABILITY_VOLATILE);
    dds_qset_history(qos, DDS_HISTORY_KEEP_LAST, state ? 1 : 1024);
    return qos;
}

// A participant in domain with a publisher and a subscriber in partition; false when it cannot join.
inline bool Join(const char* domain, const char* partition, Endpoints& out)
{
    out.participant = dds_create_participant(static_cast<dds_domainid_t>(std::atoi(domain)), nullptr, nullptr);
    if (out.participant < 0) {
        return false;
    }
    dds_qos_t* qos = dds_create_qos();
    dds_qset_partition1(qos, partition);
    out.publisher = dds_create_publisher(out.participant, qos, nullptr);
    out.subscriber = dds_create_subscriber(out.participant, qos, nullptr);
    dds_delete_qos(qos);
    return out.publisher > 0 && out.subscriber > 0;
}

inline uint32_t Matched(dds_entity_t writer)
{
    dds_publication_matched_status_t status{};
    dds_get_publication_matched_status(writer, &status);
    return status.current_count;
}

inline int Fail(const char* what)
{
    std::fprintf(stderr, "navinfo_dds_forger: %s\n", what);
    return 1;
}

} // namespace Forger

#endif // TEST_DDS_FORGER_COMMON_H
