// Async works created on the JavaScript thread and queued from elsewhere.
//
// queueFromThread(ms)   promise; a native thread queues the work after ms.
// queueOnLoop()         promise; the work is queued on this thread.
//   Both resolve in the complete callback with
//   { queueStatus, completeStatus, executed } and delete the work there.
// createWork()          id of a kept work (its complete deletes it).
// deleteWork(id)        status of napi_delete_async_work.
// queueWorkFromThread(id) / queueWorkHere(id)
//                       status of queueing a kept work from a native thread
//                       (joined before returning) or from this thread.
// createAndDeleteWork() { create, delete } statuses, nothing queued.
// queueUnknownWork()    { fromThread, here, nullWork } statuses for works
//                       never created.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <unordered_map>

#include "host_addon.h"

namespace {

// ---- works answered through a promise ----

struct PromiseWork {
    napi_env env = nullptr;                   // set on the JS thread before the queuer starts
    napi_deferred deferred = nullptr;         // JS thread only
    napi_async_work work = nullptr;           // set before the queuer starts
    std::thread queuer;                       // joined in the complete callback
    std::atomic<int> queueStatus{-1};         // written by whoever queues
    std::atomic<bool> executed{false};        // written on the thread pool
};

void MarkExecuted(napi_env /* env */, void* data)
{
    static_cast<PromiseWork*>(data)->executed = true;
}

void ResolvePromiseWork(napi_env env, napi_status status, void* data)
{
    std::unique_ptr<PromiseWork> pw(static_cast<PromiseWork*>(data));
    if (pw->queuer.joinable()) {
        pw->queuer.join(); // it has queued the work, at most it is returning
    }
    napi_delete_async_work(env, pw->work);
    napi_value result = nullptr;
    napi_value executed = nullptr;
    napi_create_object(env, &result);
    HostTest::SetInt(env, result, "queueStatus", pw->queueStatus);
    HostTest::SetInt(env, result, "completeStatus", status);
    napi_get_boolean(env, pw->executed, &executed);
    napi_set_named_property(env, result, "executed", executed);
    napi_resolve_deferred(env, pw->deferred, result);
}

// Creates the work and its promise; null (with an exception) on failure.
std::unique_ptr<PromiseWork> NewPromiseWork(napi_env env, napi_value* promise)
{
    auto pw = std::make_unique<PromiseWork>();
    pw->env = env;
    napi_value name = nullptr;
    if (napi_create_promise(env, &pw->deferred, promise) != napi_ok ||
        napi_create_string_utf8(env, "napi_host_test.promiseWork", NAPI_AUTO_LENGTH, &name) != napi_ok ||
        napi_create_async_work(env, nullptr, name, MarkExecuted, ResolvePromiseWork, pw.get(), &pw->work) !=
            napi_ok) {
        HostTest::Throw(env, "creating the promise work failed");
        return nullptr;
    }
    return pw;
}

napi_value QueueFromThread(napi_env env, napi_callback_info info)
{
    napi_value argv[1] = {};
    size_t argc = 1;
    uint32_t delayMs = 0;
    if (!HostTest::GetArgs(env, info, &argc, argv) || argc < 1 || !HostTest::GetUint32(env, argv[0], &delayMs)) {
        return HostTest::Throw(env, "expected a delay in milliseconds");
    }
    napi_value promise = nullptr;
    std::unique_ptr<PromiseWork> pw = NewPromiseWork(env, &promise);
    if (!pw) {
        return nullptr;
    }
    PromiseWork* raw = pw.get();
    try {
        pw->queuer = std::thread([raw, delayMs] {
            std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
            // Owned by the complete callback from here on: it joins this
            // thread before freeing raw, so the store below is safe.
            raw->queueStatus = napi_queue_async_work(raw->env, raw->work);
        });
    } catch (const std::system_error&) {
        napi_delete_async_work(env, pw->work);
        return HostTest::Throw(env, "could not start the queueing thread");
    }
    pw.release(); // freed by ResolvePromiseWork
    return promise;
}

napi_value QueueOnLoop(napi_env env, napi_callback_info /* info */)
{
    napi_value promise = nullptr;
    std::unique_ptr<PromiseWork> pw = NewPromiseWork(env, &promise);
    if (!pw) {
        return nullptr;
    }
    napi_status status = napi_queue_async_work(env, pw->work);
    pw->queueStatus = status;
    if (status != napi_ok) {
        napi_delete_async_work(env, pw->work);
        return HostTest::Throw(env, "queueing on the loop thread failed");
    }
    pw.release();
    return promise;
}

// ---- kept works, addressed by id ----

struct KeptWork {
    napi_env env;
    napi_async_work work;
};

// Shared by every env of the process (main and Workers). Leaked, like the
// registries of napi_host, for threads still running at exit.
struct KeptWorks {
    std::mutex mu;
    std::unordered_map<uint32_t, KeptWork> byId; // guarded by mu
    uint32_t nextId = 1;                         // guarded by mu
};

KeptWorks& Kept()
{
    static KeptWorks* kept = new KeptWorks;
    return *kept;
}

bool FindKept(uint32_t id, KeptWork* result)
{
    std::lock_guard<std::mutex> lock(Kept().mu);
    auto it = Kept().byId.find(id);
    if (it == Kept().byId.end()) {
        return false;
    }
    *result = it->second;
    return true;
}

bool TakeKept(uint32_t id, KeptWork* result)
{
    std::lock_guard<std::mutex> lock(Kept().mu);
    auto it = Kept().byId.find(id);
    if (it == Kept().byId.end()) {
        return false;
    }
    *result = it->second;
    Kept().byId.erase(it);
    return true;
}

void Nothing(napi_env /* env */, void* /* data */) {}

// Like the module: the work deletes itself when it completes.
void DeleteKeptWork(napi_env env, napi_status /* status */, void* data)
{
    KeptWork kept {};
    if (TakeKept(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(data)), &kept)) {
        napi_delete_async_work(env, kept.work);
    }
}

napi_value CreateWork(napi_env env, napi_callback_info /* info */)
{
    uint32_t id = 0;
    {
        std::lock_guard<std::mutex> lock(Kept().mu);
        id = Kept().nextId++;
    }
    napi_value name = nullptr;
    napi_async_work work = nullptr;
    if (napi_create_string_utf8(env, "napi_host_test.keptWork", NAPI_AUTO_LENGTH, &name) != napi_ok ||
        napi_create_async_work(env, nullptr, name, Nothing, DeleteKeptWork, reinterpret_cast<void*>(uintptr_t {id}),
            &work) != napi_ok) {
        return HostTest::Throw(env, "creating the work failed");
    }
    {
        std::lock_guard<std::mutex> lock(Kept().mu);
        Kept().byId[id] = KeptWork {env, work};
    }
    return HostTest::MakeInt(env, id);
}

bool KeptFromArgs(napi_env env, napi_callback_info info, uint32_t* id)
{
    napi_value argv[1] = {};
    size_t argc = 1;
    return HostTest::GetArgs(env, info, &argc, argv) && argc == 1 && HostTest::GetUint32(env, argv[0], id);
}

napi_value DeleteWork(napi_env env, napi_callback_info info)
{
    uint32_t id = 0;
    KeptWork kept {};
    if (!KeptFromArgs(env, info, &id) || !TakeKept(id, &kept)) {
        return HostTest::Throw(env, "expected the id of a kept work");
    }
    return HostTest::MakeInt(env, napi_delete_async_work(env, kept.work));
}

// Runs queue(env, work) on a new native thread and waits for its status.
napi_value StatusFromThread(napi_env env, napi_env workEnv, napi_async_work work)
{
    napi_status status = napi_generic_failure;
    try {
        std::thread queuer([&status, workEnv, work] { status = napi_queue_async_work(workEnv, work); });
        queuer.join();
    } catch (const std::system_error&) {
        return HostTest::Throw(env, "could not start the queueing thread");
    }
    return HostTest::MakeInt(env, status);
}

napi_value QueueWorkFromThread(napi_env env, napi_callback_info info)
{
    uint32_t id = 0;
    KeptWork kept {};
    if (!KeptFromArgs(env, info, &id) || !FindKept(id, &kept)) {
        return HostTest::Throw(env, "expected the id of a kept work");
    }
    return StatusFromThread(env, kept.env, kept.work);
}

napi_value QueueWorkHere(napi_env env, napi_callback_info info)
{
    uint32_t id = 0;
    KeptWork kept {};
    if (!KeptFromArgs(env, info, &id) || !FindKept(id, &kept)) {
        return HostTest::Throw(env, "expected the id of a kept work");
    }
    return HostTest::MakeInt(env, napi_queue_async_work(kept.env, kept.work));
}

napi_value CreateAndDeleteWork(napi_env env, napi_callback_info /* info */)
{
    napi_value name = nullptr;
    napi_async_work work = nullptr;
    napi_create_string_utf8(env, "napi_host_test.unusedWork", NAPI_AUTO_LENGTH, &name);
    napi_status created = napi_create_async_work(env, nullptr, name, Nothing, nullptr, nullptr, &work);
    napi_status deleted = created == napi_ok ? napi_delete_async_work(env, work) : napi_generic_failure;
    napi_value result = nullptr;
    napi_create_object(env, &result);
    HostTest::SetInt(env, result, "create", created);
    HostTest::SetInt(env, result, "delete", deleted);
    return result;
}

napi_value QueueUnknownWork(napi_env env, napi_callback_info /* info */)
{
    // Never dereferenced: napi_host only looks the address up.
    static int notAWork = 0;
    auto bogus = reinterpret_cast<napi_async_work>(&notAWork);
    napi_value fromThread = StatusFromThread(env, env, bogus);
    if (fromThread == nullptr) {
        return nullptr;
    }
    napi_value result = nullptr;
    napi_create_object(env, &result);
    napi_set_named_property(env, result, "fromThread", fromThread);
    HostTest::SetInt(env, result, "here", napi_queue_async_work(env, bogus));
    HostTest::SetInt(env, result, "nullWork", napi_queue_async_work(env, nullptr));
    return result;
}

} // namespace

void HostTest::DefineAsyncWorkProbe(napi_env env, napi_value exports)
{
    static const Export list[] = {
        {"queueFromThread", QueueFromThread},
        {"queueOnLoop", QueueOnLoop},
        {"createWork", CreateWork},
        {"deleteWork", DeleteWork},
        {"queueWorkFromThread", QueueWorkFromThread},
        {"queueWorkHere", QueueWorkHere},
        {"createAndDeleteWork", CreateAndDeleteWork},
        {"queueUnknownWork", QueueUnknownWork},
    };
    DefineExports(env, exports, list, sizeof(list) / sizeof(list[0]));
}
