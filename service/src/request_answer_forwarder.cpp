#include "request_answer_forwarder.h"

#include "nav_info_service_core.h"

namespace OHOS::NavigationInfoService {

RequestAnswerForwarder::RequestAnswerForwarder(std::weak_ptr<NavInfoServiceCore> core, uint64_t requestId)
    : core_(std::move(core)),
      requestId_(requestId)
{
}

void RequestAnswerForwarder::Callback(ResultData data)
{
    if (answered_.exchange(true)) {
        return;
    }
    if (auto core = core_.lock()) {
        core->CompleteRequest(requestId_, std::move(data));
    }
}

} // namespace OHOS::NavigationInfoService
