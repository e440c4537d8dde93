#include "request_pacer.h"

#include <algorithm>

namespace OHOS::NavigationInfoService {

bool RequestPacer::Admit(uint64_t registration, uint64_t requester, uint64_t requestId)
{
    Target& target = targets_[registration];
    if (target.inFlight < limit_ && target.turns.empty()) {
        ++target.inFlight;
        return true;
    }
    auto& queue = target.waiting[requester];
    if (queue.empty()) {
        target.turns.push_back(requester);
    }
    queue.push_back(requestId);
    return false;
}

uint64_t RequestPacer::Complete(uint64_t registration, uint64_t requester, uint64_t requestId, bool wasInFlight)
{
    auto found = targets_.find(registration);
    if (found == targets_.end()) {
        return 0;
    }
    Target& target = found->second;
    if (!wasInFlight) {
        auto queue = target.waiting.find(requester);
        if (queue != target.waiting.end()) {
            auto& ids = queue->second;
            ids.erase(std::remove(ids.begin(), ids.end(), requestId), ids.end());
            if (ids.empty()) {
                target.waiting.erase(queue);
                target.turns.erase(std::remove(target.turns.begin(), target.turns.end(), requester),
                    target.turns.end());
            }
        }
        return 0;
    }
    if (target.turns.empty()) {
        if (--target.inFlight == 0) {
            targets_.erase(found);
        }
        return 0;
    }
    // The freed place goes to the requester whose turn it is.
    uint64_t next = target.turns.front();
    target.turns.pop_front();
    auto& ids = target.waiting[next];
    uint64_t promoted = ids.front();
    ids.pop_front();
    if (ids.empty()) {
        target.waiting.erase(next);
    } else {
        target.turns.push_back(next);
    }
    return promoted;
}

void RequestPacer::Forget(uint64_t registration)
{
    targets_.erase(registration);
}

} // namespace OHOS::NavigationInfoService
