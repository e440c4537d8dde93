#include "forger_garbage.h"

#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "dds_entities.h"
#include "forger_common.h"
#include "navinfo_bridge.h"

namespace Forger {
namespace {

// Beyond the IDL's bound: what a receiving daemon must refuse before it
// holds the sample.
constexpr size_t OVERSIZED_BYTES = navinfo_bridge_MAX_PAYLOAD_BYTES + 64 * 1024;

class Random {
public:
    explicit Random(uint64_t seed) : state_(seed | 1) {}
    uint64_t Next()
    {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return state_;
    }
    std::string Hex(size_t digits)
    {
        static const char alphabet[] = "0123456789abcdef";
        std::string out;
        for (size_t i = 0; i < digits; ++i) {
            out += alphabet[Next() & 0xf];
        }
        return out;
    }
    // A new head and scattered bytes on each call: no two samples alike, at
    // the cost of a few hundred writes rather than a megabyte.
    void Stir(std::vector<uint8_t>& bytes)
    {
        for (size_t i = 0; i < 64 && i < bytes.size(); ++i) {
            bytes[i] = static_cast<uint8_t>(Next());
        }
        for (int i = 0; i < 256 && !bytes.empty(); ++i) {
            bytes[Next() % bytes.size()] = static_cast<uint8_t>(Next());
        }
    }

private:
    uint64_t state_;
};

// The record type with its payload bound raised, under the bridge's type
// name and without type information, so that it matches the daemons' readers
// by name and its samples are refused only when they arrive.
struct OversizedRecordType {
    std::vector<uint32_t> ops;
    dds_topic_descriptor_t descriptor;

    OversizedRecordType() : ops(MakeOps()), descriptor(MakeDescriptor(ops)) {}

    // The generated ops of the IDL's Record with another bound: the same
    // layout, so the generated key descriptor (which names the KOF op by its
    // index) still holds.
    static std::vector<uint32_t> MakeOps()
    {
        // The opcodes are of several enum types; the ops are their bits or'ed.
        const auto op = [](std::initializer_list<uint32_t> parts) {
            uint32_t word = 0;
            for (uint32_t part : parts) {
                word |= part;
            }
            return word;
        };
        return {op({DDS_OP_ADR, DDS_OP_FLAG_KEY, DDS_OP_FLAG_MU, DDS_OP_TYPE_STR}),
            offsetof(navinfo_bridge_Record, bundle), op({DDS_OP_ADR, DDS_OP_TYPE_STR}),
            offsetof(navinfo_bridge_Record, instance), op({DDS_OP_ADR, DDS_OP_TYPE_BSQ, DDS_OP_SUBTYPE_1BY}),
            offsetof(navinfo_bridge_Record, payload), static_cast<uint32_t>(OVERSIZED_BYTES), DDS_OP_RTS,
            op({DDS_OP_KOF, 1}), 0u};
    }
    static dds_topic_descriptor_t MakeDescriptor(const std::vector<uint32_t>& ops)
    {
        const dds_topic_descriptor_t& real = navinfo_bridge_Record_desc;
        return dds_topic_descriptor_t{real.m_size, real.m_align, real.m_flagset & ~DDS_TOPIC_XTYPES_METADATA,
            real.m_nkeys, real.m_typename, real.m_keys, real.m_nops, ops.data(), real.m_meta, {nullptr, 0},
            {nullptr, 0}, real.restrict_data_representation};
    }
};

} // namespace

int RunGarbage(const char* domain, const char* partition, const std::string& bundle,
    std::chrono::steady_clock::time_point deadline)
{
    Endpoints typed;
    Endpoints loose; // the oversized type may not share a participant with the real one
    if (!Join(domain, partition, typed) || !Join(domain, partition, loose)) {
        return Fail("cannot join the domain");
    }
    dds_qos_t* state = Qos(true);
    dds_qos_t* exchange = Qos(false);
    auto topic = [&](dds_entity_t participant, const dds_topic_descriptor_t* type, const char* name) {
        return dds_create_topic(participant, type, name, nullptr, nullptr);
    };
    dds_entity_t claimTopic = topic(typed.participant, &navinfo_bridge_Claim_desc, "navinfo_Claim");
    dds_entity_t claimReader = dds_create_reader(typed.subscriber, claimTopic, state, nullptr);
    dds_entity_t claimWriter = dds_create_writer(typed.publisher, claimTopic, state, nullptr);
    dds_entity_t statusWriter = dds_create_writer(typed.publisher,
        topic(typed.participant, &navinfo_bridge_Record_desc, "navinfo_Status"), state, nullptr);
    dds_entity_t metadataWriter = dds_create_writer(typed.publisher,
        topic(typed.participant, &navinfo_bridge_Record_desc, "navinfo_Metadata"), state, nullptr);
    dds_entity_t requestWriter = dds_create_writer(typed.publisher,
        topic(typed.participant, &navinfo_bridge_Request_desc, "navinfo_Request"), exchange, nullptr);
    dds_entity_t replyWriter = dds_create_writer(typed.publisher,
        topic(typed.participant, &navinfo_bridge_Reply_desc, "navinfo_Reply"), exchange, nullptr);
    OversizedRecordType oversized;
    dds_entity_t oversizedWriter = dds_create_writer(loose.publisher,
        topic(loose.participant, &oversized.descriptor, "navinfo_Status"), state, nullptr);
    dds_delete_qos(state);
    dds_delete_qos(exchange);
    const dds_entity_t endpoints[] = {claimReader, claimWriter, statusWriter, metadataWriter, requestWriter,
        replyWriter, oversizedWriter};
    for (dds_entity_t endpoint : endpoints) {
        if (endpoint < 0) {
            dds_delete(typed.participant);
            dds_delete(loose.participant);
            return Fail("cannot create the endpoints");
        }
    }
    dds_guid_t guid;
    dds_get_guid(typed.participant, &guid);
    const std::string self = OHOS::NavigationInfoService::GuidHex(guid);

    // Blind: it writes whether or not anybody matched (without credentials nobody will).
    std::printf("flooding\n");
    std::fflush(stdout);
    Random random(static_cast<uint64_t>(getpid()) * 0x9e3779b97f4a7c15ULL);
    std::vector<uint8_t> bytes(navinfo_bridge_MAX_PAYLOAD_BYTES);
    std::vector<uint8_t> tooMany(OVERSIZED_BYTES);
    for (auto& byte : bytes) {
        byte = static_cast<uint8_t>(random.Next());
    }
    std::string claimant = random.Hex(32); // the real one's instance once its claim is seen
    uint64_t written = 0;
    uint64_t failed = 0;
    auto count = [&](dds_return_t rc) { rc == DDS_RETCODE_OK ? ++written : ++failed; };
    for (uint64_t round = 0; std::chrono::steady_clock::now() < deadline; ++round) {
        void* samples[16] = {};
        dds_sample_info_t infos[16];
        dds_return_t n = dds_take(claimReader, samples, infos, 16, 16);
        for (dds_return_t i = 0; i < n; ++i) {
            auto* claim = static_cast<navinfo_bridge_Claim*>(samples[i]);
            if (infos[i].valid_data && bundle == claim->bundle && claim->instance != nullptr &&
                self != claim->instance) {
                claimant = claim->instance;
            }
        }
        if (n > 0) {
            dds_return_loan(claimReader, samples, n);
        }
        // Half of them name the bundle the daemons bridge, the others a new one
        // each time, one in four of those longer than any bundle name.
        const std::string name = round % 2 == 0 ? bundle
            : round % 4 == 1                    ? "garbage." + random.Hex(12)
                                                : std::string(1000, 'g');
        const std::string instance = round % 3 == 0 ? claimant : random.Hex(32);
        random.Stir(bytes);
        navinfo_bridge_Record record{Text(name), Text(instance), Octets(bytes)};
        count(dds_write(statusWriter, &record));
        random.Stir(bytes);
        count(dds_write(metadataWriter, &record));
        random.Stir(tooMany);
        navinfo_bridge_Record huge{Text(name), Text(instance), Octets(tooMany)};
        count(dds_write(oversizedWriter, &huge));
        random.Stir(bytes);
        const std::string requester = round % 2 == 0 ? self : random.Hex(32);
        const std::string node = random.Hex(8);
        const std::string asking = random.Hex(8);
        navinfo_bridge_Request request{Text(requester), random.Next(), Text(claimant), Text(name), Text(node),
            Text(asking), static_cast<int32_t>(random.Next() % 3), static_cast<int32_t>(random.Next()), Octets(bytes)};
        count(dds_write(requestWriter, &request));
        random.Stir(bytes);
        // Named: a sample's strings must outlive the write, not just its initialisation.
        const std::string replyTo = random.Hex(32);
        navinfo_bridge_Reply reply{Text(replyTo), random.Next(), Octets(bytes)};
        count(dds_write(replyWriter, &reply));
        if (round % 16 == 0) {
            // Claims of bundles nobody bridges, from a node of random name.
            const std::string other = "garbage." + random.Hex(12);
            const std::string otherNode = random.Hex(8);
            navinfo_bridge_Claim claim{Text(other), Text(otherNode), Text(self), 500};
            count(dds_write(claimWriter, &claim));
        }
    }
    std::printf("{\"written\":%llu,\"failed\":%llu}\n", static_cast<unsigned long long>(written),
        static_cast<unsigned long long>(failed));
    std::fflush(stdout);
    dds_delete(typed.participant);
    dds_delete(loose.participant);
    return 0;
}

} // namespace Forger
