// Who is calling the service core. The transport fills it in: the embedded
// client with its own process's identity, the daemon with what it verified
// of the connecting process.
#ifndef SERVICE_CALLER_INFO_H
#define SERVICE_CALLER_INFO_H

#include <cstdint>
#include <string>

namespace OHOS::NavigationInfoService {

struct CallerInfo {
    std::string bundleName; // the caller's application; what the access policy is asked about
    int32_t pid = 0;
    int32_t uid = 0;
    // One id per client connection. Subscriptions, listeners and outstanding
    // requests belong to it, and OnClientGone(clientId) drops them.
    uint64_t clientId = 0;
    // An application of another machine, asking through the network bridge:
    // bundleName is then "node/bundle", and the policy judges it by its
    // remoteRequesters rules, never by a local bundle's rule.
    bool remote = false;
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_CALLER_INFO_H
