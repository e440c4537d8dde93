#include "outstanding_requests.h"

namespace OHOS::NavigationInfoService {

TrackedRequest::TrackedRequest(sptr<IMapCallback> target, std::weak_ptr<OutstandingRequests> table, uint64_t generation)
    : table_(std::move(table)),
      generation_(generation),
      target_(std::move(target))
{
}

bool TrackedRequest::Take(sptr<IMapCallback>& target)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (settled_) {
            return false;
        }
        settled_ = true;
        target = std::move(target_);
    }
    // The table may hold the last reference: keep this object alive until done.
    sptr<TrackedRequest> self(this);
    if (auto table = table_.lock()) {
        table->Forget(this);
    }
    return true;
}

void TrackedRequest::Callback(ResultData data)
{
    sptr<IMapCallback> target;
    if (Take(target) && target != nullptr) {
        target->Callback(std::move(data));
    }
}

bool TrackedRequest::Cancel()
{
    // The target goes unanswered: the caller settles the request itself.
    sptr<IMapCallback> target;
    return Take(target);
}

bool TrackedRequest::IsSettled() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return settled_;
}

sptr<TrackedRequest> OutstandingRequests::Track(sptr<IMapCallback> target, uint64_t generation)
{
    sptr<TrackedRequest> request(new TrackedRequest(std::move(target), weak_from_this(), generation));
    std::lock_guard<std::mutex> lock(mutex_);
    open_.emplace(request.GetRefPtr(), request);
    return request;
}

void OutstandingRequests::Forget(const TrackedRequest* request)
{
    sptr<TrackedRequest> dropped;
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = open_.find(request);
    if (found != open_.end()) {
        dropped = std::move(found->second);
        open_.erase(found);
    }
    // `dropped` is released after the lock: it may be the last reference.
}

std::vector<sptr<TrackedRequest>> OutstandingRequests::TakeGeneration(uint64_t generation)
{
    std::vector<sptr<TrackedRequest>> taken;
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = open_.begin(); it != open_.end();) {
        if (it->second->Generation() == generation) {
            taken.push_back(std::move(it->second));
            it = open_.erase(it);
        } else {
            ++it;
        }
    }
    return taken;
}

size_t OutstandingRequests::Count() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return open_.size();
}

} // namespace OHOS::NavigationInfoService
