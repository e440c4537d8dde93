// The limits the bridge sets on Cyclone DDS itself, whatever the operator's
// configuration says: what a participant on the network can make a daemon
// hold before the bridge takes a sample and judges it.
//
// - the largest sample Cyclone accepts (MaxSampleSize): a record, want
//   parameters or an answer of a socket frame's payload (1 MiB) with its
//   strings; a larger one is dropped when its first fragment arrives, before
//   it is reassembled;
// - samples reassembled at once per remote writer (DefragReliableMaxSamples,
//   DefragUnreliableMaxSamples), and kept out of order while an earlier one
//   is sent again (PrimaryReorderMaxSamples, SecondaryReorderMaxSamples);
// - samples queued between Cyclone's receive thread and the readers
//   (DeliveryQueueMaxSamples).
//
// The readers' own limits (samples, instances, history depth) are their QoS
// (dds_entities.cpp).
#ifndef SERVICE_DAEMON_DDS_CYCLONE_LIMITS_H
#define SERVICE_DAEMON_DDS_CYCLONE_LIMITS_H

#include <cstddef>
#include <string>

namespace OHOS::NavigationInfoService {

// The payload bound of the IDL and room for a sample's strings and headers.
constexpr size_t MAX_BRIDGE_SAMPLE_BYTES = (1u << 20) + 64 * 1024;
constexpr int MAX_BRIDGE_DEFRAG_SAMPLES = 1;
constexpr int MAX_BRIDGE_REORDER_SAMPLES = 2;
constexpr int MAX_BRIDGE_DELIVERY_QUEUE = 4;

// The configuration for dds_create_domain: uri (CYCLONEDDS_URI's value, null
// or empty for none) followed by the bridge's limits, which Cyclone applies
// over any value uri gives them.
std::string ConfigWithBridgeLimits(const char* uri);

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_DDS_CYCLONE_LIMITS_H
