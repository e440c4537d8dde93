// A third DDS participant for the bridge tests, built from the bridge's own
// IDL: it joins the test's domain and partition (loopback only, through the
// test's CYCLONEDDS_URI) and, until its time is up, tries what any
// participant on the vehicle network could:
//  - records of the bundle carrying the claimant's `instance`, copied from
//    the readable claim topic (routeIndex 999999, "FORGED-BY-THIRD-PARTY");
//  - a reply to every request it sees, with the requester's instance and the
//    open correlation id ({0, "HIJACKED"});
//  - a request in the requester's name with the same correlation id, a
//    command (goHome, params {forged: true}), so that the exporter, were it to
//    believe the name, would answer the requester's open query with it;
//  - a request of its own (its own instance, so that the answer would come
//    to it) naming the requester's node and system application, the same
//    command: its request writer announces NODE, not the node it names;
//  - a second claim of the bundle, as NODE.
// It prints "ready" once its writers are matched with the daemons' readers
// (the importer's for records and replies, the exporter's for requests).
//
// MODE claim: it claims the bundle itself (node "FORGER", its own instance)
// and writes its records (the forged one above) as that claimant; "ready"
// once both daemons read its claim and the importer its records.
// MODE garbage: forger_garbage.h.
//
// Usage: navinfo_dds_forger DOMAIN PARTITION BUNDLE SECONDS [forge [NODE] | claim | garbage]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <dds/dds.h>

#include "bridge_payload.h"
#include "dds_entities.h"
#include "forger_common.h"
#include "forger_garbage.h"
#include "navinfo_bridge.h"

using namespace OHOS::NavigationInfoService;
using Forger::Fail;
using Forger::Matched;
using Forger::Qos;
using Forger::Text;

namespace {

constexpr int32_t FORGED_ROUTE_INDEX = 999999;

dds_sequence_octet Octets(const BridgePayload::Bytes& bytes)
{
    return Forger::Octets(bytes);
}

// The forged status record, in the daemons' own record encoding.
bool ForgedRecord(BridgePayload::Bytes& record)
{
    NavigationStatus forged;
    forged.status = 1;
    forged.routeIndex = FORGED_ROUTE_INDEX;
    forged.customData = "FORGED-BY-THIRD-PARTY";
    return BridgePayload::Encode(forged, record);
}

// A second claimant: claims the bundle in its own name and writes records as that claimant.
int RunSecondClaim(const char* domain, const char* partition, const std::string& bundle,
    std::chrono::steady_clock::time_point deadline)
{
    Forger::Endpoints own;
    if (!Forger::Join(domain, partition, own)) {
        return Fail("cannot join the domain");
    }
    dds_qos_t* state = Qos(true);
    dds_entity_t claimWriter = dds_create_writer(own.publisher,
        dds_create_topic(own.participant, &navinfo_bridge_Claim_desc, "navinfo_Claim", nullptr, nullptr), state,
        nullptr);
    dds_entity_t statusWriter = dds_create_writer(own.publisher,
        dds_create_topic(own.participant, &navinfo_bridge_Record_desc, "navinfo_Status", nullptr, nullptr), state,
        nullptr);
    dds_delete_qos(state);
    BridgePayload::Bytes record;
    if (claimWriter < 0 || statusWriter < 0 || !ForgedRecord(record)) {
        dds_delete(own.participant);
        return Fail("cannot create the endpoints");
    }
    dds_guid_t guid;
    dds_get_guid(own.participant, &guid);
    const std::string self = GuidHex(guid);
    const std::string node = "FORGER"; // named: a sample's strings must outlive the write
    bool ready = false;
    for (int tick = 0; std::chrono::steady_clock::now() < deadline; ++tick) {
        if (tick % 5 == 0) {
            navinfo_bridge_Claim claim{Text(bundle), Text(node), Text(self), 500};
            dds_write(claimWriter, &claim);
        }
        navinfo_bridge_Record sample{Text(bundle), Text(self), Octets(record)};
        dds_write(statusWriter, &sample);
        // The exporter and the importer read claims, the importer records.
        if (!ready && Matched(claimWriter) >= 2 && Matched(statusWriter) >= 1) {
            ready = true;
            std::printf("ready\n");
            std::fflush(stdout);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    dds_delete(own.participant);
    return ready ? 0 : Fail("never matched both daemons");
}

} // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc >= 6 ? argv[5] : "forge";
    const bool known = mode == "forge" || ((mode == "claim" || mode == "garbage") && argc <= 6);
    if (argc < 5 || argc > 7 || !known) {
        return Fail("usage: navinfo_dds_forger DOMAIN PARTITION BUNDLE SECONDS [forge [NODE] | claim | garbage]");
    }
    const std::string node = argc == 7 ? argv[6] : "forger";
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(std::atoi(argv[4]));
    const std::string bundle = argv[3];
    if (mode == "claim") {
        return RunSecondClaim(argv[1], argv[2], bundle, deadline);
    }
    if (mode == "garbage") {
        return Forger::RunGarbage(argv[1], argv[2], bundle, deadline);
    }
    dds_entity_t participant = dds_create_participant(static_cast<dds_domainid_t>(std::atoi(argv[1])), nullptr,
        nullptr);
    if (participant < 0) {
        return Fail("cannot join the domain");
    }
    dds_guid_t guid;
    if (dds_get_guid(participant, &guid) != DDS_RETCODE_OK) {
        return Fail("no participant id");
    }
    const std::string instance = GuidHex(guid);
    dds_qos_t* partition = dds_create_qos();
    dds_qset_partition1(partition, argv[2]);
    dds_entity_t publisher = dds_create_publisher(participant, partition, nullptr);
    dds_entity_t subscriber = dds_create_subscriber(participant, partition, nullptr);
    dds_delete_qos(partition);
    dds_qos_t* state = Qos(true);
    dds_qos_t* exchange = Qos(false);
    dds_entity_t claimTopic = dds_create_topic(participant, &navinfo_bridge_Claim_desc, "navinfo_Claim", nullptr,
        nullptr);
    dds_entity_t claimReader = dds_create_reader(subscriber, claimTopic, state, nullptr);
    dds_entity_t claimWriter = dds_create_writer(publisher, claimTopic, state, nullptr);
    dds_entity_t statusWriter = dds_create_writer(publisher,
        dds_create_topic(participant, &navinfo_bridge_Record_desc, "navinfo_Status", nullptr, nullptr), state, nullptr);
    dds_entity_t requestTopic = dds_create_topic(participant, &navinfo_bridge_Request_desc, "navinfo_Request", nullptr,
        nullptr);
    dds_entity_t requestReader = dds_create_reader(subscriber, requestTopic, exchange, nullptr);
    dds_qos_t* announcing = Qos(false);
    dds_qset_userdata(announcing, node.data(), node.size()); // as a daemon announces its node
    dds_entity_t requestWriter = dds_create_writer(publisher, requestTopic, announcing, nullptr);
    dds_delete_qos(announcing);
    dds_entity_t replyWriter = dds_create_writer(publisher,
        dds_create_topic(participant, &navinfo_bridge_Reply_desc, "navinfo_Reply", nullptr, nullptr), exchange,
        nullptr);
    dds_delete_qos(state);
    dds_delete_qos(exchange);
    if (claimReader < 0 || claimWriter < 0 || statusWriter < 0 || requestReader < 0 || requestWriter < 0 ||
        replyWriter < 0) {
        dds_delete(participant);
        return Fail("cannot create the endpoints");
    }

    // The forged record and answer, in the daemons' own record encoding.
    BridgePayload::Bytes record;
    BridgePayload::Bytes hijacked;
    BridgePayload::Bytes commandParams;
    OHOS::AAFwk::WantParams params;
    params.SetParam("forged", OHOS::AAFwk::WantValue::Bool(true));
    if (!ForgedRecord(record) || !BridgePayload::Encode(ResultData{0, "HIJACKED", {}}, hijacked) ||
        !BridgePayload::Encode(params, commandParams)) {
        dds_delete(participant);
        return Fail("cannot encode");
    }

    std::string claimant; // the instance string the claimant broadcasts
    bool ready = false;
    while (std::chrono::steady_clock::now() < deadline) {
        void* samples[16] = {};
        dds_sample_info_t infos[16];
        dds_return_t n = dds_take(claimReader, samples, infos, 16, 16);
        for (dds_return_t i = 0; i < n; ++i) {
            auto* claim = static_cast<navinfo_bridge_Claim*>(samples[i]);
            if (infos[i].valid_data && bundle == claim->bundle) {
                claimant = claim->instance;
            }
        }
        if (n > 0) {
            dds_return_loan(claimReader, samples, n);
        }
        // The importer reads records and replies, the exporter requests.
        if (!ready && !claimant.empty() && Matched(statusWriter) >= 1 && Matched(requestWriter) >= 1 &&
            Matched(replyWriter) >= 1) {
            ready = true;
            std::printf("ready\n");
            std::fflush(stdout);
        }
        if (ready) {
            navinfo_bridge_Record sample{Text(bundle), Text(claimant), Octets(record)};
            dds_write(statusWriter, &sample);
            navinfo_bridge_Claim claim{Text(bundle), Text(node), Text(instance), 2000};
            dds_write(claimWriter, &claim);
        }
        n = dds_take(requestReader, samples, infos, 16, 16);
        for (dds_return_t i = 0; i < n; ++i) {
            auto* request = static_cast<navinfo_bridge_Request*>(samples[i]);
            if (!infos[i].valid_data || bundle != request->bundle || request->kind != 0) {
                continue; // its own forged commands come back too
            }
            navinfo_bridge_Reply reply{request->requester, request->correlation, Octets(hijacked)};
            dds_write(replyWriter, &reply);
            navinfo_bridge_Request command = *request;
            command.kind = 1;
            command.type = CommandType::GO_HOME;
            command.params = Octets(commandParams);
            dds_write(requestWriter, &command);
            command.requester = Text(instance); // its own, with the requester's node and bundle
            dds_write(requestWriter, &command);
        }
        if (n > 0) {
            dds_return_loan(requestReader, samples, n);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    dds_delete(participant);
    return ready ? 0 : Fail("never saw the claim and both daemons");
}
