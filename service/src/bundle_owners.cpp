#include "bundle_owners.h"

namespace OHOS::NavigationInfoService {

BundleOwners::Claim BundleOwners::TryClaim(const std::string& bundle, const CallerInfo& caller)
{
    Claim claim;
    auto found = bundles_.find(bundle);
    if (found == bundles_.end()) {
        bundles_[bundle] = Ownership{caller.clientId, caller.pid, {}};
        claim.granted = true;
    } else if (found->second.owner == caller.clientId) {
        claim.granted = true;
    } else {
        claim.firstRefusal = found->second.waiters.emplace(caller.clientId, caller.pid).second;
        claim.ownerClientId = found->second.owner;
        claim.ownerPid = found->second.ownerPid;
        return claim;
    }
    claim.ownerClientId = caller.clientId;
    claim.ownerPid = caller.pid;
    return claim;
}

bool BundleOwners::MayAct(const std::string& bundle, uint64_t clientId) const
{
    auto found = bundles_.find(bundle);
    return found == bundles_.end() || found->second.owner == clientId;
}

std::vector<std::string> BundleOwners::Release(uint64_t clientId)
{
    std::vector<std::string> freed;
    for (auto it = bundles_.begin(); it != bundles_.end();) {
        if (it->second.owner == clientId) {
            // Its waiters claim again with their next call; until then nobody owns it.
            freed.push_back(it->first);
            it = bundles_.erase(it);
        } else {
            it->second.waiters.erase(clientId);
            ++it;
        }
    }
    return freed;
}

std::vector<BundleOwners::Entry> BundleOwners::List() const
{
    std::vector<Entry> entries;
    for (const auto& [bundle, ownership] : bundles_) {
        entries.push_back({bundle, ownership.owner, false});
        for (const auto& waiter : ownership.waiters) {
            entries.push_back({bundle, waiter.first, true});
        }
    }
    return entries;
}

void BundleOwners::Clear()
{
    bundles_.clear();
}

} // namespace OHOS::NavigationInfoService
