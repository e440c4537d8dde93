// Queries and commands: each accepted request is kept in pending_ until its
// first completion (the navigation application's answer, the time-out, or
// the removal of the listener it was sent to), which takes it out under the
// lock. Whoever takes it delivers the one answer; everyone else finds nothing.
// The pacer decides when an accepted request goes to its listener: at once,
// or when an earlier one to the same listener completes (SendReady).
#include <exception>
#include <utility>
#include <vector>

#include "nav_info_errors.h"
#include "nav_info_service_core.h"
#include "request_answer_forwarder.h"
#include "requester_aware_listener.h"
#include "service_log.h"

namespace OHOS::NavigationInfoService {

int32_t NavInfoServiceCore::QueryNavigationInfo(const CallerInfo& caller, const std::string& bundleName, QueryType type,
    AAFwk::WantParams params, sptr<IMapCallback> callback)
{
    return SubmitRequest(caller, bundleName, RequestKind::QUERY, static_cast<int32_t>(type), std::move(params),
        std::move(callback));
}

int32_t NavInfoServiceCore::SendNavigationCmd(const CallerInfo& caller, const std::string& bundleName, CommandType type,
    AAFwk::WantParams params, sptr<IMapCallback> callback)
{
    return SubmitRequest(caller, bundleName, RequestKind::COMMAND, static_cast<int32_t>(type), std::move(params),
        std::move(callback));
}

int32_t NavInfoServiceCore::SubmitRequest(const CallerInfo& caller, const std::string& bundleName, RequestKind kind,
    int32_t type, AAFwk::WantParams params, sptr<IMapCallback> callback)
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

    Dispatch dispatch;
    bool sendNow = false;
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
        const uint64_t requestId = nextRequestId_++;
        const uint64_t registration = target->second.registrationId;
        PendingRequest& pending = pending_[requestId];
        pending.requesterClientId = caller.clientId;
        pending.targetRegistrationId = registration;
        pending.callback = std::move(callback);
        pending.kind = kind;
        pending.type = type;
        pending.bundleName = bundleName;
        pending.acceptedAt = std::chrono::steady_clock::now();
        try {
            sendNow = pacer_.Admit(registration, caller.clientId, requestId);
        } catch (...) {
            pending_.erase(requestId);
            throw;
        }
        ++outstandingByClient_[caller.clientId];
        timer_.Schedule(requestId, DeadlineTimer::Clock::now() + requestTimeout_);
        pending.inFlight = sendNow;
        if (requestObservers_.count(bundleName) != 0) {
            RequestObservation seen;
            seen.requestId = requestId;
            seen.requester = caller.bundleName;
            seen.kind = kind == RequestKind::QUERY ? RequestObservation::Kind::QUERY
                                                   : RequestObservation::Kind::COMMAND;
            seen.type = type;
            seen.params = params;
            ObserveLocked(bundleName, seen);
        }
        if (sendNow) {
            dispatch = Dispatch{requestId, target->second.listener, kind, type, std::move(params), caller.bundleName};
        } else {
            pending.listener = target->second.listener;
            pending.params = std::move(params);
            pending.requester = caller.bundleName;
        }
    }
    if (!sendNow) {
        SendReady();             // the observers' drains
        return NAV_INFO_SUCCESS; // sent when its turn comes
    }
    const uint64_t requestId = dispatch.requestId;
    if (!Send(std::move(dispatch))) {
        sptr<IMapCallback> taken;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            taken = TakePendingLocked(requestId,
                ResultData{NAV_INFO_ERR_SERVICE_UNAVAILABLE, NavInfoResultText(NAV_INFO_ERR_SERVICE_UNAVAILABLE), {}});
        }
        SendReady();
        if (taken != nullptr) {
            return NAV_INFO_ERR_SERVICE_UNAVAILABLE; // refused, so never called back
        }
        // Completed in between (time-out or listener gone): that answer stands.
        return NAV_INFO_SUCCESS;
    }
    SendReady(); // the observers' drains
    return NAV_INFO_SUCCESS;
}

bool NavInfoServiceCore::Send(Dispatch dispatch)
{
    std::weak_ptr<NavInfoServiceCore> self = weak_from_this();
    try {
        sptr<IMapCallback> forwarder = new RequestAnswerForwarder(self, dispatch.requestId);
        sptr<ISystemNavigationListener> listener = std::move(dispatch.listener);
        const void* key = listener.GetRefPtr();
        const int32_t type = dispatch.type;
        if (dynamic_cast<RequesterAwareListener*>(listener.GetRefPtr()) != nullptr) {
            return executor_->Post(key,
                [listener, type, kind = dispatch.kind, requester = std::move(dispatch.requester),
                    params = std::move(dispatch.params), forwarder] {
                    auto* aware = dynamic_cast<RequesterAwareListener*>(listener.GetRefPtr());
                    if (kind == RequestKind::QUERY) {
                        aware->OnQueryNavigationInfoFrom(requester, static_cast<QueryType>(type), params, forwarder);
                    } else {
                        aware->OnReceiveNavigationCmdFrom(requester, static_cast<CommandType>(type), params, forwarder);
                    }
                });
        }
        if (dispatch.kind == RequestKind::QUERY) {
            return executor_->Post(key, [listener, type, params = std::move(dispatch.params), forwarder] {
                listener->OnQueryNavigationInfo(static_cast<QueryType>(type), params, forwarder);
            });
        }
        return executor_->Post(key, [listener, type, params = std::move(dispatch.params), forwarder] {
            listener->OnReceiveNavigationCmd(static_cast<CommandType>(type), params, forwarder);
        });
    } catch (const std::exception& e) {
        SERVICE_LOGE("cannot send request %{public}llu: %{public}s",
            static_cast<unsigned long long>(dispatch.requestId), e.what());
    }
    return false;
}

void NavInfoServiceCore::SendReady()
{
    std::vector<Dispatch> ready;
    std::vector<ObserverDrain> drains;
    uint64_t dropsToReport = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ready.swap(readyToSend_);
        drains.swap(observerDrains_);
        dropsToReport = observerDropsToReport_;
        observerDropsToReport_ = 0;
    }
    if (dropsToReport != 0) {
        SERVICE_LOGW("%{public}llu request observations dropped for observers that cannot keep up",
            static_cast<unsigned long long>(dropsToReport));
    }
    for (auto& drain : drains) {
        auto observer = drain.first;
        auto outbox = drain.second;
        if (executor_ == nullptr ||
            !executor_->Post(observer.GetRefPtr(), [observer, outbox] { DrainObservations(observer, outbox); })) {
            outbox->Unschedule(); // the next observation tries again
            SERVICE_LOGE("request observations of %{public}s not delivered: no thread to run it",
                outbox->Bundle().c_str());
        }
    }
    for (Dispatch& dispatch : ready) {
        const uint64_t requestId = dispatch.requestId;
        if (Send(std::move(dispatch))) {
            continue;
        }
        // Accepted long ago, so it must still be answered.
        std::vector<Answer> answers;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            ResultData unavailable{NAV_INFO_ERR_SERVICE_UNAVAILABLE,
                NavInfoResultText(NAV_INFO_ERR_SERVICE_UNAVAILABLE), {}};
            sptr<IMapCallback> callback = TakePendingLocked(requestId, unavailable);
            if (callback != nullptr) {
                answers.push_back({std::move(callback), std::move(unavailable)});
            }
        }
        DeliverAnswers(answers);
        SendReady();
    }
}

void NavInfoServiceCore::CompleteRequest(uint64_t requestId, ResultData data)
{
    std::vector<Answer> answers;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        sptr<IMapCallback> callback = TakePendingLocked(requestId, data);
        if (callback == nullptr) {
            SERVICE_LOGD("request %{public}llu already answered", static_cast<unsigned long long>(requestId));
            return;
        }
        answers.push_back({std::move(callback), std::move(data)});
    }
    DeliverAnswers(answers);
    SendReady();
}

void NavInfoServiceCore::OnRequestTimedOut(uint64_t requestId)
{
    CompleteRequest(requestId, ResultData{NAV_INFO_ERR_TIMEOUT, NavInfoResultText(NAV_INFO_ERR_TIMEOUT), {}});
}

sptr<IMapCallback> NavInfoServiceCore::TakePendingLocked(uint64_t requestId, const ResultData& outcome)
{
    auto found = pending_.find(requestId);
    if (found == pending_.end()) {
        return nullptr;
    }
    PendingRequest& request = found->second;
    if (requestObservers_.count(request.bundleName) != 0) {
        RequestObservation done;
        done.requestId = requestId;
        done.answered = true;
        done.kind = request.kind == RequestKind::QUERY ? RequestObservation::Kind::QUERY
                                                       : RequestObservation::Kind::COMMAND;
        done.type = request.type;
        done.answer = outcome;
        ObserveLocked(request.bundleName, done);
    }
    sptr<IMapCallback> callback = std::move(request.callback);
    auto outstanding = outstandingByClient_.find(request.requesterClientId);
    if (outstanding != outstandingByClient_.end() && --outstanding->second == 0) {
        outstandingByClient_.erase(outstanding);
    }
    const uint64_t promoted = pacer_.Complete(request.targetRegistrationId, request.requesterClientId, requestId,
        request.inFlight);
    pending_.erase(found);
    timer_.Cancel(requestId);
    auto next = promoted != 0 ? pending_.find(promoted) : pending_.end();
    if (next != pending_.end()) {
        next->second.inFlight = true;
        try {
            readyToSend_.push_back(Dispatch{promoted, std::move(next->second.listener), next->second.kind,
                next->second.type, std::move(next->second.params), std::move(next->second.requester)});
        } catch (const std::bad_alloc&) {
            // Out of memory: it is answered by its time-out.
            SERVICE_LOGE("request %{public}llu could not be sent", static_cast<unsigned long long>(promoted));
        }
    }
    return callback;
}

void NavInfoServiceCore::TakeRequestsOfRegistrationLocked(uint64_t registrationId, std::vector<Answer>& answers)
{
    pacer_.Forget(registrationId); // nothing of it is sent any more
    std::vector<uint64_t> ids;
    for (const auto& entry : pending_) {
        if (entry.second.targetRegistrationId == registrationId) {
            ids.push_back(entry.first);
        }
    }
    for (uint64_t requestId : ids) {
        ResultData notFound{NAV_INFO_ERR_NOT_FOUND, NavInfoResultText(NAV_INFO_ERR_NOT_FOUND), {}};
        sptr<IMapCallback> callback = TakePendingLocked(requestId, notFound);
        answers.push_back({std::move(callback), std::move(notFound)});
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
