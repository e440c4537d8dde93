#include "gone_bundles.h"

namespace OHOS::NavigationInfoService {

void GoneBundles::Add(const std::string& bundle, Clock::time_point since)
{
    if (byBundle_.count(bundle) != 0) {
        return;
    }
    order_.push_back(Entry{bundle, since});
    byBundle_.emplace(bundle, std::prev(order_.end()));
}

void GoneBundles::Remove(const std::string& bundle)
{
    auto found = byBundle_.find(bundle);
    if (found == byBundle_.end()) {
        return;
    }
    order_.erase(found->second);
    byBundle_.erase(found);
}

std::vector<std::string> GoneBundles::TakeReleased(Clock::time_point now, std::chrono::milliseconds retention,
    size_t cap)
{
    std::vector<std::string> released;
    // Entries are added in the order their publishers went, so the expired ones lead.
    while (!order_.empty() && (now - order_.front().since >= retention || order_.size() > cap)) {
        byBundle_.erase(order_.front().bundle);
        released.push_back(std::move(order_.front().bundle));
        order_.pop_front();
    }
    return released;
}

void GoneBundles::Clear()
{
    order_.clear();
    byBundle_.clear();
}

} // namespace OHOS::NavigationInfoService
