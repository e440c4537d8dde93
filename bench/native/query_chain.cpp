// A Node addon that makes the thread hand-overs of a query answered in the
// same process, and nothing else, so that bench/query_roundtrip.js can print
// how far a query is above them in the same run. A query hands over six
// times:
//  1. the request leaves the JavaScript thread for an IPC thread;
//  2. the IPC thread starts a detached delivery thread;
//  3. the delivery thread wakes the loop, which calls the listener;
//  4. the answer leaves the JavaScript thread for an IPC thread;
//  5. the IPC thread hands the completion's execute to a worker;
//  6. the worker wakes the loop, which settles the query's promise.
// run(listener) does the same with a persistent "IPC" thread, a persistent
// worker, a detached thread and a thread-safe function, calling `listener`
// (no arguments) where the query calls the navigation listener. It returns a
// promise of the nanoseconds from the call to the promise's settling.
#include <node_api.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

// A thread that runs what is handed to it, in order, sleeping in between:
// the way an IPC thread or a worker waits for its next task.
class Relay {
public:
    Relay() : thread_([this] { Run(); }) {}
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;
    ~Relay() { Stop(); }

    // Runs what was handed over so far, then ends the thread.
    void Stop()
    {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
        }
        ready_.notify_one();
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    void Post(std::function<void()> task)
    {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            tasks_.push_back(std::move(task));
        }
        ready_.notify_one();
    }

private:
    void Run()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            ready_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
            if (tasks_.empty()) {
                return;
            }
            std::function<void()> task = std::move(tasks_.front());
            tasks_.pop_front();
            lock.unlock();
            task();
            lock.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<std::function<void()>> tasks_;
    bool stopping_ = false;
    std::thread thread_;
};

struct Query {
    napi_deferred deferred = nullptr;
    Clock::time_point start;
    bool answered = false; // false: the request arrives; true: the answer does
};

struct Chain {
    Relay ipc;
    Relay worker;
    napi_threadsafe_function arrivals = nullptr;
    napi_ref listener = nullptr;
    size_t inFlight = 0;
    std::atomic<int> deliveryThreads{0}; // detached threads not yet ended
};

void Arrive(Chain* chain, Query* query)
{
    if (napi_call_threadsafe_function(chain->arrivals, query, napi_tsfn_nonblocking) != napi_ok) {
        delete query; // only while the environment is going away
    }
}

// On the loop: the request calls the listener and sends the answer back
// through the IPC thread and the worker; the answer settles the promise.
void OnArrival(napi_env env, napi_value /*callback*/, void* context, void* data)
{
    auto* chain = static_cast<Chain*>(context);
    auto* query = static_cast<Query*>(data);
    if (env == nullptr) {
        delete query;
        return;
    }
    if (!query->answered) {
        napi_value listener = nullptr;
        napi_value global = nullptr;
        napi_get_reference_value(env, chain->listener, &listener);
        napi_get_global(env, &global);
        napi_call_function(env, global, listener, 0, nullptr, nullptr);
        query->answered = true;
        chain->ipc.Post([chain, query] { chain->worker.Post([chain, query] { Arrive(chain, query); }); });
        return;
    }
    auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - query->start).count();
    napi_value elapsed = nullptr;
    napi_create_double(env, static_cast<double>(ns), &elapsed);
    napi_resolve_deferred(env, query->deferred, elapsed);
    delete query;
    if (--chain->inFlight == 0) {
        napi_unref_threadsafe_function(env, chain->arrivals);
    }
}

napi_value Run(napi_env env, napi_callback_info info)
{
    Chain* chain = nullptr;
    size_t argc = 1;
    napi_value listener = nullptr;
    napi_get_cb_info(env, info, &argc, &listener, nullptr, reinterpret_cast<void**>(&chain));
    napi_valuetype type = napi_undefined;
    if (argc < 1 || napi_typeof(env, listener, &type) != napi_ok || type != napi_function) {
        napi_throw_type_error(env, nullptr, "run(listener): listener must be a function");
        return nullptr;
    }
    if (chain->listener == nullptr) {
        napi_create_reference(env, listener, 1, &chain->listener);
    }
    auto* query = new Query;
    napi_value promise = nullptr;
    napi_create_promise(env, &query->deferred, &promise);
    if (chain->inFlight++ == 0) {
        napi_ref_threadsafe_function(env, chain->arrivals); // the loop waits for the answer
    }
    query->start = Clock::now();
    chain->ipc.Post([chain, query] {
        chain->deliveryThreads.fetch_add(1);
        std::thread([chain, query] {
            Arrive(chain, query);
            chain->deliveryThreads.fetch_sub(1);
        }).detach();
    });
    return promise;
}

void Release(void* data)
{
    auto* chain = static_cast<Chain*>(data);
    chain->ipc.Stop(); // no delivery thread starts after this
    while (chain->deliveryThreads.load() != 0) {
        std::this_thread::yield(); // one still handing its query to the loop
    }
    delete chain; // joins the worker
}

} // namespace

NAPI_MODULE_INIT()
{
    auto* chain = new Chain;
    napi_value name = nullptr;
    napi_value run = nullptr;
    if (napi_create_string_utf8(env, "queryChain", NAPI_AUTO_LENGTH, &name) != napi_ok ||
        napi_create_threadsafe_function(env, nullptr, nullptr, name, 0, 1, nullptr, nullptr, chain, OnArrival,
            &chain->arrivals) != napi_ok) {
        delete chain;
        napi_throw_error(env, nullptr, "cannot set up the query chain");
        return nullptr;
    }
    napi_unref_threadsafe_function(env, chain->arrivals);
    napi_add_env_cleanup_hook(env, Release, chain);
    napi_create_function(env, "run", NAPI_AUTO_LENGTH, Run, chain, &run);
    napi_set_named_property(env, exports, "run", run);
    return exports;
}
