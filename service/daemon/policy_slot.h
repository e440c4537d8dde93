// The daemon's access policy as one replaceable value: a reload swaps the
// whole policy at once, and every reader works on the snapshot it took, so
// no check ever sees half of an old and half of a new policy.
//
// Threads: any thread; Get and Set are serialised by the slot's mutex.
#ifndef SERVICE_DAEMON_POLICY_SLOT_H
#define SERVICE_DAEMON_POLICY_SLOT_H

#include <memory>
#include <mutex>

#include "access_policy.h"

namespace OHOS::NavigationInfoService {

class PolicySlot {
public:
    explicit PolicySlot(std::shared_ptr<const RuleAccessPolicy> policy) : policy_(std::move(policy)) {}

    // Null: every client is refused.
    std::shared_ptr<const RuleAccessPolicy> Get() const
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return policy_;
    }

    // Returns the policy it replaced (released by the caller, outside the lock).
    std::shared_ptr<const RuleAccessPolicy> Set(std::shared_ptr<const RuleAccessPolicy> policy)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        policy_.swap(policy);
        return policy;
    }

private:
    mutable std::mutex mutex_;
    std::shared_ptr<const RuleAccessPolicy> policy_; // guarded by mutex_
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_POLICY_SLOT_H
