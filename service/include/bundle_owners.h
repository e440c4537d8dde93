// Who owns each bundle name: the first live client that publishes for it or
// registers its system navigation listener. Another client that claims the
// same bundle is refused and waits (it may claim again) until the owner's
// client is gone; then the next claim wins.
//
// Threads: none of its own; the core calls it under its mutex.
#ifndef SERVICE_BUNDLE_OWNERS_H
#define SERVICE_BUNDLE_OWNERS_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "caller_info.h"

namespace OHOS::NavigationInfoService {

class BundleOwners {
public:
    struct Claim {
        bool granted = false;
        // Refused for the first time for this claimant (it is now listed as
        // waiting): the one refusal worth a log line.
        bool firstRefusal = false;
        uint64_t ownerClientId = 0;
        int32_t ownerPid = 0;
    };
    struct Entry {
        std::string bundleName;
        uint64_t clientId = 0;
        bool waiting = false; // a refused claimant; else the owner
    };

    // The caller's claim of bundle: granted when it owns it already or
    // nobody does (it owns it from now on).
    Claim TryClaim(const std::string& bundle, const CallerInfo& caller);
    // The caller owns bundle (or nobody does and it may take it).
    bool MayAct(const std::string& bundle, uint64_t clientId) const;
    // The client is gone: returns the bundles it owned, which are free now,
    // and forgets it as a waiter.
    std::vector<std::string> Release(uint64_t clientId);
    // Owners and waiters, bundle by bundle (owner first).
    std::vector<Entry> List() const;
    void Clear();

private:
    struct Ownership {
        uint64_t owner = 0;
        int32_t ownerPid = 0;
        std::map<uint64_t, int32_t> waiters; // clientId -> pid
    };
    std::map<std::string, Ownership> bundles_;
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_BUNDLE_OWNERS_H
