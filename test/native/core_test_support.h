// Helpers shared by the native tests: executors with known behaviour,
// listeners and callbacks that record what they receive, and a bounded wait.
#ifndef TEST_NATIVE_CORE_TEST_SUPPORT_H
#define TEST_NATIVE_CORE_TEST_SUPPORT_H

#include <chrono>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "caller_info.h"
#include "executor.h"
#include "nav_info_service_core.h"
#include "navigation_listeners.h"

namespace OHOS::NavigationInfoService::Testing {

// Waits until done() holds; the limit only stops a broken test from hanging.
template <typename Predicate>
bool WaitUntil(Predicate done, std::chrono::milliseconds limit = std::chrono::milliseconds(10000))
{
    auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Runs each task at once on the posting thread.
class InlineExecutor : public Executor {
public:
    bool Post(const void*, std::function<void()> task) noexcept override
    {
        task();
        return true;
    }
};

// Keeps tasks until the test runs them, so a test decides when calls happen.
class ManualExecutor : public Executor {
public:
    bool Post(const void*, std::function<void()> task) noexcept override
    {
        std::lock_guard<std::mutex> lock(mutex_);
        tasks_.push_back(std::move(task));
        return true;
    }
    // Runs queued tasks (and the tasks they post) until none is left.
    size_t RunAll()
    {
        for (size_t count = 0;; ++count) {
            std::function<void()> task;
            {
                std::lock_guard<std::mutex> lock(mutex_);
                if (tasks_.empty()) {
                    return count;
                }
                task = std::move(tasks_.front());
                tasks_.pop_front();
            }
            task();
        }
    }

private:
    std::mutex mutex_;
    std::deque<std::function<void()>> tasks_;
};

// Refuses every task, like a pool that could start no thread.
class RefusingExecutor : public Executor {
public:
    bool Post(const void*, std::function<void()>) noexcept override { return false; }
};

inline CallerInfo MakeCaller(const std::string& bundle, uint64_t clientId = 1)
{
    CallerInfo caller;
    caller.bundleName = bundle;
    caller.pid = 100 + static_cast<int32_t>(clientId);
    caller.uid = 1000;
    caller.clientId = clientId;
    return caller;
}

inline std::shared_ptr<NavInfoServiceCore> MakeCore(std::shared_ptr<Executor> executor,
    std::shared_ptr<const AccessPolicy> policy = RuleAccessPolicy::AllowAll())
{
    CoreOptions options;
    options.executor = std::move(executor);
    options.policy = std::move(policy);
    return NavInfoServiceCore::Create(options);
}

// What a recording object was given, under a lock.
template <typename Entry>
struct CallLog {
    void Add(Entry entry)
    {
        std::lock_guard<std::mutex> lock(mutex);
        calls.push_back(std::move(entry));
    }
    size_t Count()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return calls.size();
    }
    std::vector<Entry> Calls()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return calls;
    }
    // The latest entry, or a value-initialised one before the first: safe to
    // poll while the first calls are still on their way.
    Entry Last()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return calls.empty() ? Entry{} : calls.back();
    }
    std::mutex mutex;
    std::vector<Entry> calls;
};

struct StatusCall {
    NavigationStatus status;
    std::string bundle;
    std::thread::id thread;
};
struct MetadataCall {
    NavigationMetadata metadata;
    std::string bundle;
    std::thread::id thread;
};

class RecordingStatusListener : public NavigationStatusListener, public CallLog<StatusCall> {
public:
    void OnStatusChanged(const NavigationStatus& status, const std::string& bundleName) override
    {
        Add({status, bundleName, std::this_thread::get_id()});
    }
};

class RecordingMetadataListener : public NavigationMetadataListener, public CallLog<MetadataCall> {
public:
    void OnMetadataChanged(const NavigationMetadata& metadata, const std::string& bundleName) override
    {
        Add({metadata, bundleName, std::this_thread::get_id()});
    }
};

// Records every answer it is given (a correct core gives one).
class RecordingCallback : public MapCallback {
public:
    void Callback(ResultData data) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        answers.push_back(std::move(data));
        threads.push_back(std::this_thread::get_id());
    }
    size_t Count()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return answers.size();
    }
    ResultData First()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return answers.empty() ? ResultData{-999, "none", {}} : answers.front();
    }
    std::mutex mutex;
    std::vector<ResultData> answers;
    std::vector<std::thread::id> threads;
};

// A navigation application's listener: keeps each request's callback so the
// test can answer when it wants; optionally answers at once.
class HoldingSystemListener : public SystemNavigationListener {
public:
    struct Request {
        bool isQuery;
        int32_t type;
        AAFwk::WantParams params;
        sptr<IMapCallback> callback;
    };
    void OnQueryNavigationInfo(QueryType type, AAFwk::WantParams params, sptr<IMapCallback> callback) override
    {
        Keep({true, static_cast<int32_t>(type), std::move(params), callback});
    }
    void OnReceiveNavigationCmd(CommandType type, AAFwk::WantParams params, sptr<IMapCallback> callback) override
    {
        Keep({false, static_cast<int32_t>(type), std::move(params), callback});
    }
    size_t Count()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return requests.size();
    }
    sptr<IMapCallback> CallbackAt(size_t index)
    {
        std::lock_guard<std::mutex> lock(mutex);
        return index < requests.size() ? requests[index].callback : nullptr;
    }
    std::function<void(const Request&)> answerAtOnce; // set before use; called outside the mutex
    std::mutex mutex;
    std::vector<Request> requests;

private:
    void Keep(const Request& request)
    {
        {
            std::lock_guard<std::mutex> lock(mutex);
            requests.push_back(request);
        }
        if (answerAtOnce) {
            answerAtOnce(request);
        }
    }
};

inline ResultData Answer(int32_t code, const std::string& message, const std::string& key = "", int32_t value = 0)
{
    ResultData data{code, message, {}};
    if (!key.empty()) {
        data.data.SetParam(key, AAFwk::WantValue::Int(value));
    }
    return data;
}

} // namespace OHOS::NavigationInfoService::Testing

#endif // TEST_NATIVE_CORE_TEST_SUPPORT_H
