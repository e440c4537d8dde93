// The client hooks: thin, exception-safe wrappers over the recording
// transport and the IPC threads.
#include "nav_info_test_hooks.h"

#include <cstdlib>
#include <mutex>

#include "hooks_internal.h"
#include "ipc_threads.h"
#include "nav_info_client.h"

namespace OHOS::NavigationInfoService::TestHooks {
namespace {

constexpr const char* OPERATION_NAMES[] = {
    "updateNavigationStatus",
    "updateNavigationMetadata",
    "registerSystemNavigationListener",
    "unRegisterSystemNavigationListener",
    "getNavigationStatus",
    "registerNavigationStatusListener",
    "unRegisterNavigationStatusListener",
    "registerNavigationMetadataListener",
    "unRegisterNavigationMetadataListener",
    "queryNavigationInfo",
    "sendNavigationCmd",
};
static_assert(sizeof(OPERATION_NAMES) / sizeof(OPERATION_NAMES[0]) == static_cast<size_t>(Operation::COUNT),
    "one name per operation");

bool Valid(Operation op)
{
    return static_cast<int32_t>(op) >= 0 && op < Operation::COUNT;
}

// The answers of fired requests, in arrival order.
class AnswerLog {
public:
    int64_t NextId()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return nextId_++;
    }
    void Record(int64_t id, ResultData data)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        answers_.push_back({id, std::move(data)});
    }
    std::vector<RecordedAnswer> Take()
    {
        std::vector<RecordedAnswer> answers;
        std::lock_guard<std::mutex> lock(mutex_);
        answers.swap(answers_);
        return answers;
    }

private:
    std::mutex mutex_; // guards what follows
    int64_t nextId_ = 1;
    std::vector<RecordedAnswer> answers_;
};

AnswerLog& Answers()
{
    static AnswerLog* const log = new AnswerLog(); // leaked, like the recorder
    return *log;
}

// Records every answer under its request id.
class RecordingMapCallback : public MapCallback {
public:
    explicit RecordingMapCallback(int64_t id) : id_(id) {}
    void Callback(ResultData data) override { Answers().Record(id_, std::move(data)); }

private:
    const int64_t id_;
};

enum class RequestKind { QUERY, COMMAND };

int64_t FireRequest(RequestKind kind, int32_t type, const AAFwk::WantParams& params)
{
    sptr<ISystemNavigationListener> listener = Recorder().SystemListener();
    if (listener == nullptr) {
        return -1;
    }
    const int64_t id = Answers().NextId();
    sptr<IMapCallback> callback = new RecordingMapCallback(id);
    bool posted = IpcThreads()->Post(listener.GetRefPtr(), [kind, listener, type, params, callback] {
        if (kind == RequestKind::QUERY) {
            listener->OnQueryNavigationInfo(static_cast<QueryType>(type), params, callback);
        } else {
            listener->OnReceiveNavigationCmd(static_cast<CommandType>(type), params, callback);
        }
    });
    return posted ? id : -1;
}

} // namespace

RecordingTransport& Recorder()
{
    static RecordingTransport* const recorder = [] {
        RecordingTransport* installed = nullptr;
        NavInfoClient::GetClientInstance()->WrapTransport([&installed](NavInfoTransport& current) {
            auto recording = std::make_unique<RecordingTransport>(current);
            installed = recording.get();
            return recording;
        });
        if (installed == nullptr) {
            // Only when memory ran out: no test can run without the recorder.
            CLIENT_LOGE("test hooks: the recording transport could not be installed");
            std::abort();
        }
        return installed;
    }();
    return *recorder;
}

void ForgetAnswers()
{
    Answers().Take();
}

const char* OperationName(Operation op) noexcept
{
    return Valid(op) ? OPERATION_NAMES[static_cast<size_t>(op)] : "unknown";
}

bool OperationFromName(const std::string& name, Operation& op) noexcept
{
    for (size_t i = 0; i < static_cast<size_t>(Operation::COUNT); ++i) {
        if (name == OPERATION_NAMES[i]) {
            op = static_cast<Operation>(i);
            return true;
        }
    }
    return false;
}

void Enable() noexcept
{
    Recorder();
}

void ForceResult(Operation op, int32_t result) noexcept
{
    if (Valid(op)) {
        Recorder().ForceResult(op, result);
    }
}

void ClearForcedResults() noexcept
{
    Recorder().ClearForcedResults();
}

uint64_t CallCount(Operation op) noexcept
{
    return Valid(op) ? Recorder().CallCount(op) : 0;
}

void ResetCounts() noexcept
{
    Recorder().ResetCounts();
}

bool LastStatus(NavigationStatus& status) noexcept
{
    return Guarded(__func__, false, [&] { return Recorder().LastStatus(status); });
}

bool LastMetadata(NavigationMetadata& metadata) noexcept
{
    return Guarded(__func__, false, [&] { return Recorder().LastMetadata(metadata); });
}

bool LastRequest(Operation op, RequestRecord& record) noexcept
{
    return Valid(op) && Guarded(__func__, false, [&] { return Recorder().LastRequest(op, record); });
}

size_t FireStatusChanged(const std::string& bundleName, const NavigationStatus& status) noexcept
{
    return Guarded(__func__, size_t(0), [&]() -> size_t {
        sptr<INavigationStatusListener> listener = Recorder().StatusListener(bundleName);
        if (listener == nullptr) {
            return 0;
        }
        return IpcThreads()->Post(listener.GetRefPtr(),
                   [listener, status, bundleName] { listener->OnStatusChanged(status, bundleName); })
            ? 1
            : 0;
    });
}

size_t FireMetadataChanged(const std::string& bundleName, const NavigationMetadata& metadata) noexcept
{
    return Guarded(__func__, size_t(0), [&]() -> size_t {
        sptr<INavigationMetadataListener> listener = Recorder().MetadataListener(bundleName);
        if (listener == nullptr) {
            return 0;
        }
        return IpcThreads()->Post(listener.GetRefPtr(),
                   [listener, metadata, bundleName] { listener->OnMetadataChanged(metadata, bundleName); })
            ? 1
            : 0;
    });
}

int64_t FireQuery(int32_t type, const AAFwk::WantParams& params) noexcept
{
    return Guarded(__func__, int64_t(-1), [&] { return FireRequest(RequestKind::QUERY, type, params); });
}

int64_t FireCommand(int32_t type, const AAFwk::WantParams& params) noexcept
{
    return Guarded(__func__, int64_t(-1), [&] { return FireRequest(RequestKind::COMMAND, type, params); });
}

std::vector<RecordedAnswer> TakeAnswers() noexcept
{
    return Guarded(__func__, std::vector<RecordedAnswer>(), [] { return Answers().Take(); });
}

bool CallLastCallbackTwice(Operation op, const ResultData& first, const ResultData& second) noexcept
{
    if (op != Operation::QUERY_NAVIGATION_INFO && op != Operation::SEND_NAVIGATION_CMD) {
        return false;
    }
    return Guarded(__func__, false, [&] {
        sptr<IMapCallback> callback = Recorder().LastCallback(op);
        if (callback == nullptr) {
            return false;
        }
        return IpcThreads()->Post(callback.GetRefPtr(), [callback, first, second] {
            callback->Callback(first);
            callback->Callback(second);
        });
    });
}

} // namespace OHOS::NavigationInfoService::TestHooks
