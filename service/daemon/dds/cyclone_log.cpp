#include "cyclone_log.h"

#include <algorithm>

#include "daemon_log.h"

namespace OHOS::NavigationInfoService {
namespace {

// A message longer than this is cut: it is logged, not parsed.
constexpr size_t MAX_MESSAGE_BYTES = 512;

} // namespace

CycloneLog::CycloneLog()
{
    dds_set_log_sink(&CycloneLog::Sink, this);
}

CycloneLog::~CycloneLog()
{
    dds_set_log_sink(nullptr, nullptr);
    Flush();
}

void CycloneLog::Sink(void* self, const dds_log_data_t* data)
{
    auto* log = static_cast<CycloneLog*>(self);
    if (data->message == nullptr) {
        return;
    }
    std::string message(data->message, std::min(data->size, MAX_MESSAGE_BYTES));
    while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) {
        message.pop_back();
    }
    {
        std::lock_guard<std::mutex> lock(log->mutex_);
        log->last_ = std::move(message);
    }
    log->Report(log->messages_.Add(1));
}

void CycloneLog::Flush()
{
    Report(messages_.Add(0));
}

void CycloneLog::Report(uint64_t count)
{
    if (count == 0) {
        return;
    }
    std::string last;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        last = last_;
    }
    if (count == 1) {
        DAEMON_LOGW("DDS: %{public}s", last.c_str());
    } else {
        DAEMON_LOGW("DDS: %{public}llu messages, the last: %{public}s", static_cast<unsigned long long>(count),
            last.c_str());
    }
}

} // namespace OHOS::NavigationInfoService
