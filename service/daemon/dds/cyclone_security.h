// Whether the Cyclone DDS configuration the daemon runs with turns DDS
// Security on: the bridge refuses to run without it unless the policy says
// "insecure": true (docs/dds-bridge.md, "Security").
#ifndef SERVICE_DAEMON_DDS_CYCLONE_SECURITY_H
#define SERVICE_DAEMON_DDS_CYCLONE_SECURITY_H

#include <string>

namespace OHOS::NavigationInfoService {

// uri: CYCLONEDDS_URI's value (null or empty: no configuration), a
// comma-separated list of files (file:// or plain paths) and inline XML, as
// Cyclone reads it. True when one of them has a Security element; a file
// that cannot be read counts as none (Cyclone then refuses it itself).
bool CycloneConfigHasSecurity(const char* uri);

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_DDS_CYCLONE_SECURITY_H
