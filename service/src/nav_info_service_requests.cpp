// Queries and commands: each accepted request is kept in pending_ until its
// first completion (the navigation application's answer, the time-out, or
// the removal of the listener it was sent to), which takes it out under the
// lock. Whoever takes it delivers the one answer; everyone else finds nothing.
#include <exception>
#include <utility>
#include <vector>

#include "nav_info_errors.h"
#include "nav_info_service_core.h"
#include "request_answer_forwarder.h"
#include "service_log.h"

namespace OHOS::NavigationInfoService {

int32_t NavInfoServiceCore::QueryNavigationInfo(const CallerInfo& caller, const std::string& bundleName,
    QueryType type, AAFwk::WantParams params, sptr<IMapCallback> callback)
{
    return SubmitRequest(caller, bundleName, RequestKind::QUERY, static_cast<int32_t>(type), std::move(params),
        std::move(callback));
}

int32_t NavInfoServiceCore::SendNavigationCmd(const CallerInfo& caller, const std::string& bundleName,
    CommandType type, AAFwk::WantParams params, sptr<IMapCallback> callback)
{
    return SubmitRequest(caller, bundleName, RequestKind::COMMAND, static_cast<int32_t>(type), std::move(params),
        std::move(callback));
}

int32_t NavInfoServiceCore::SubmitRequest(const CallerInfo& caller, const std::string& bundleName,
    RequestKind kind, int32_t type, AAFwk::WantParams params, sptr<IMapCallback> callback)
{
    int32_t result = CheckSystemApp(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    const int32_t kinds = kind == RequestKind::QUERY ? QUERY_TYPE_COUNT : COMMAND_TYPE_COUNT;
    if (bundleName.empty() || bundleName.size() > MAX_BUNDLE_NAME_LENGTH || type < 0 || type >= kinds ||
        callback == nullptr) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    std::weak_ptr<NavInfoServiceCore> self = weak_from_this();
    if (self.expired() || executor_ == nullptr || !timer_.EnsureStarted()) {
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }

    uint64_t requestId = 0;
    sptr<ISystemNavigationListener> listener;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto target = systemListeners_.find(bundleName);
        if (target == systemListeners_.end()) {
            return NAV_INFO_ERR_NOT_FOUND;
        }
        auto outstanding = outstandingByClient_.find(caller.clientId);
        if (outstanding != outstandingByClient_.end() && outstanding->second >= maxOutstandingPerClient_) {
            return NAV_INFO_ERR_TOO_MANY_REQUESTS;
        }
        requestId = nextRequestId_++;
        pending_.emplace(requestId, PendingRequest{caller.clientId, target->second.registrationId, callback,
            bundleName, kind, type, std::chrono::steady_clock::now()});
        ++outstandingByClient_[caller.clientId];
        timer_.Schedule(requestId, DeadlineTimer::Clock::now() + requestTimeout_);
        listener = target->second.listener;
    }

    bool posted = false;
    try {
        sptr<IMapCallback> forwarder = new RequestAnswerForwarder(self, requestId);
        const void* key = listener.GetRefPtr();
        if (kind == RequestKind::QUERY) {
            posted = executor_->Post(key, [listener, type, params = std::move(params), forwarder] {
                listener->OnQueryNavigationInfo(static_cast<QueryType>(type), params, forwarder);
            });
        } else {
            posted = executor_->Post(key, [listener, type, params = std::move(params), forwarder] {
                listener->OnReceiveNavigationCmd(static_cast<CommandType>(type), params, forwarder);
            });
        }
    } catch (const std::exception& e) {
        SERVICE_LOGE("cannot send request %{public}llu: %{public}s", static_cast<unsigned long long>(requestId),
            e.what());
    }
    if (!posted) {
        sptr<IMapCallback> taken;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            taken = TakePendingLocked(requestId);
        }
        if (taken != nullptr) {
            return NAV_INFO_ERR_SERVICE_UNAVAILABLE; // refused, so never called back
        }
        // Completed in between (time-out or listener gone): that answer stands.
    }
    return NAV_INFO_SUCCESS;
}

void NavInfoServiceCore::CompleteRequest(uint64_t requestId, ResultData data)
{
    std::vector<Answer> answers;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        sptr<IMapCallback> callback = TakePendingLocked(requestId);
        if (callback == nullptr) {
            SERVICE_LOGD("request %{public}llu already answered", static_cast<unsigned long long>(requestId));
            return;
        }
        answers.push_back({std::move(callback), std::move(data)});
    }
    DeliverAnswers(answers);
}

void NavInfoServiceCore::OnRequestTimedOut(uint64_t requestId)
{
    CompleteRequest(requestId, ResultData{NAV_INFO_ERR_TIMEOUT, NavInfoResultText(NAV_INFO_ERR_TIMEOUT), {}});
}

sptr<IMapCallback> NavInfoServiceCore::TakePendingLocked(uint64_t requestId)
{
    auto found = pending_.find(requestId);
    if (found == pending_.end()) {
        return nullptr;
    }
    sptr<IMapCallback> callback = std::move(found->second.callback);
    auto outstanding = outstandingByClient_.find(found->second.requesterClientId);
    if (outstanding != outstandingByClient_.end() && --outstanding->second == 0) {
        outstandingByClient_.erase(outstanding);
    }
    pending_.erase(found);
    timer_.Cancel(requestId);
    return callback;
}

void NavInfoServiceCore::TakeRequestsOfRegistrationLocked(uint64_t registrationId, std::vector<Answer>& answers)
{
    std::vector<uint64_t> ids;
    for (const auto& entry : pending_) {
        if (entry.second.targetRegistrationId == registrationId) {
            ids.push_back(entry.first);
        }
    }
    for (uint64_t requestId : ids) {
        answers.push_back({TakePendingLocked(requestId),
            ResultData{NAV_INFO_ERR_NOT_FOUND, NavInfoResultText(NAV_INFO_ERR_NOT_FOUND), {}}});
    }
}

void NavInfoServiceCore::DeliverAnswers(std::vector<Answer>& answers)
{
    for (auto& answer : answers) {
        sptr<IMapCallback> callback = std::move(answer.callback);
        const void* key = callback.GetRefPtr();
        bool posted = false;
        try {
            posted = executor_ != nullptr &&
                executor_->Post(key, [callback, data = std::move(answer.data)]() { callback->Callback(data); });
        } catch (const std::exception& e) {
            SERVICE_LOGE("cannot queue an answer: %{public}s", e.what());
        }
        if (!posted) {
            SERVICE_LOGE("an answer could not be delivered: no thread to run it");
        }
    }
    answers.clear();
}

size_t NavInfoServiceCore::OutstandingRequestCount() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return pending_.size();
}

} // namespace OHOS::NavigationInfoService
