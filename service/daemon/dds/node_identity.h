// With DDS Security, a participant's GUID is not its own choice: its first 48
// bits are a 1 bit and the first 47 bits of the SHA-256 of its identity
// certificate's subject (DER), which DDS Security's authentication holds a
// remote participant to (docs/dds-bridge.md). navinfo-dds-security init gives
// each node the subject O=navinfo, CN=<node>, so the GUID of a participant
// tells whether it holds the certificate of a given node name.
#ifndef SERVICE_DAEMON_DDS_NODE_IDENTITY_H
#define SERVICE_DAEMON_DDS_NODE_IDENTITY_H

#include <string>

namespace OHOS::NavigationInfoService {

// The first 12 hex digits (48 bits) of the GUID of a participant whose
// certificate is node's, as navinfo-dds-security init makes it.
std::string NodeGuidPrefixHex(const std::string& node);

// Whether participant (GuidHex) holds the certificate of node.
bool ParticipantIsNode(const std::string& participant, const std::string& node);

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_DDS_NODE_IDENTITY_H
