#include "numbered_notifications.h"

#include "protocol_log.h"

namespace OHOS::NavigationInfoService {

uint64_t NotificationGaps::Arrived(const char* kind, const std::string& bundleName, NotificationNumber number)
{
    if (number.stream == 0) {
        return 0;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    uint64_t missing = 0;
    auto known = lastSequence_.find(number.stream);
    if (known == lastSequence_.end()) {
        if (lastSequence_.size() >= MAX_STREAMS) {
            lastSequence_.erase(lastSequence_.begin()); // streams are numbered in the order they began
        }
        lastSequence_.emplace(number.stream, number.sequence);
    } else {
        if (number.sequence > known->second + 1) {
            missing = number.sequence - known->second - 1;
        }
        known->second = number.sequence;
    }
    droppedTotal_ += missing;
    // Asked on every arrival, so that a count left over from a burst is
    // reported with the next record after the interval.
    if (uint64_t report = dropped_.Add(missing)) {
        PROTOCOL_LOGW("%{public}llu superseded %{public}s records of %{public}s were dropped on the way: this "
                      "follower is behind and gets the newest ones (%{public}llu in all)",
            static_cast<unsigned long long>(report), kind, bundleName.c_str(),
            static_cast<unsigned long long>(droppedTotal_));
    }
    return missing;
}

} // namespace OHOS::NavigationInfoService
