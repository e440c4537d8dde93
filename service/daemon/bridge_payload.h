// The bytes the network bridge carries inside its DDS samples: records, want
// parameters and answers in the record encoding of the Unix socket protocol
// (record_marshalling.h). Decoding applies that protocol's limits, refuses
// anything larger than a socket frame's payload and anything left over, so a
// peer daemon gets no more room than a local client.
//
// Threads: any; no shared state.
#ifndef SERVICE_DAEMON_BRIDGE_PAYLOAD_H
#define SERVICE_DAEMON_BRIDGE_PAYLOAD_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "navigation_info_data.h"

namespace OHOS::NavigationInfoService::BridgePayload {

using Bytes = std::vector<uint8_t>;

// False when the value breaks a limit (out is then empty).
bool Encode(const NavigationStatus& status, Bytes& out);
bool Encode(const NavigationMetadata& metadata, Bytes& out);
bool Encode(const AAFwk::WantParams& params, Bytes& out);
bool Encode(const ResultData& result, Bytes& out);

// False on malformed, truncated, oversized or trailing data.
bool Decode(const uint8_t* data, size_t size, NavigationStatus& status);
bool Decode(const uint8_t* data, size_t size, NavigationMetadata& metadata);
bool Decode(const uint8_t* data, size_t size, AAFwk::WantParams& params);
bool Decode(const uint8_t* data, size_t size, ResultData& result);

} // namespace OHOS::NavigationInfoService::BridgePayload

#endif // SERVICE_DAEMON_BRIDGE_PAYLOAD_H
