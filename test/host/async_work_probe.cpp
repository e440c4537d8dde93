// Async works created on the JavaScript thread and queued from elsewhere.
//
// queueFromThread(ms)   promise; a native thread queues the work after ms.
// queueOnLoop()         promise; the work is queued on this thread.
//   Both resolve in the complete callback with
//   { queueStatus, completeStatus, executedOn } and delete the work there;
//   executedOn names the thread the execute callback ran on: "queuing
//   thread", "loop thread", "another thread", or "never".
// createWork()          id of a kept work (its complete deletes it).
// deleteWork(id)        status of napi_delete_async_work.
// queueWorkFromThread(id) / queueWorkHere(id)
//                       status of queueing a kept work from a native thread
//                       (joined before returning) or from this thread.
// queueUnknownWork()    { fromThread, here, nullWork } statuses for works
//                       never created.
#include <atomic>
#include <chrono>
#include <memory>
#include <system_error>
#include <thread>

#include "host_addon.h"

namespace {

// ---- works answered through a promise ----

struct PromiseWork {
    napi_env env = nullptr;           // set on the JS thread before the queuer starts
    napi_deferred deferred = nullptr; // JS thread only
    napi_async_work work = nullptr;   // set before the queuer starts
    std::thread queuer;               // joined in the complete callback
    std::atomic<int> queueStatus{-1}; // written by whoever queues
    std::thread::id loop = std::this_thread::get_id();
    std::thread::id queuing;                      // set by the queuer before it queues
    std::atomic<const char*> executedOn{"never"}; // written by the execute callback
};

const char* ExecutedOn(const PromiseWork& pw)
{
    const auto self = std::this_thread::get_id();
    return self == pw.loop ? "loop thread" : self == pw.queuing ? "queuing thread" : "another thread";
}

void ResolvePromiseWork(napi_env env, napi_status status, void* data)
{
    std::unique_ptr<PromiseWork> pw(static_cast<PromiseWork*>(data));
    if (pw->queuer.joinable()) {
        pw->queuer.join(); // it has queued the work, at most it is returning
    }
    napi_delete_async_work(env, pw->work);
    napi_value result = HostTest::Ints(env, {{"queueStatus", pw->queueStatus}, {"completeStatus", status}});
    napi_value executedOn = nullptr;
    napi_create_string_utf8(env, pw->executedOn, NAPI_AUTO_LENGTH, &executedOn);
    napi_set_named_property(env, result, "executedOn", executedOn);
    napi_resolve_deferred(env, pw->deferred, result);
}

// The promise of a new work, queued from a native thread after delayMs or
// at once on this thread.
napi_value PromiseOfWork(napi_env env, uint32_t delayMs, bool fromThread)
{
    auto pw = std::make_unique<PromiseWork>();
    pw->env = env;
    napi_value promise = nullptr;
    napi_value name = nullptr;
    auto execute = [](napi_env, void* data) {
        auto* pw = static_cast<PromiseWork*>(data);
        pw->executedOn = ExecutedOn(*pw);
    };
    if (napi_create_promise(env, &pw->deferred, &promise) != napi_ok ||
        napi_create_string_utf8(env, "napi_host_test.promiseWork", NAPI_AUTO_LENGTH, &name) != napi_ok ||
        napi_create_async_work(env, nullptr, name, execute, ResolvePromiseWork, pw.get(), &pw->work) != napi_ok) {
        HostTest::Fail(env, "creating the promise work failed");
        return nullptr;
    }
    PromiseWork* raw = pw.get();
    try {
        if (fromThread) {
            pw->queuer = std::thread([raw, delayMs] {
                std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
                // Owned by the complete callback from here on: it joins this
                // thread before freeing raw, so the store below is safe.
                raw->queuing = std::this_thread::get_id();
                raw->queueStatus = napi_queue_async_work(raw->env, raw->work);
            });
        } else if ((pw->queueStatus = napi_queue_async_work(env, pw->work)) != napi_ok) {
            napi_delete_async_work(env, pw->work);
            HostTest::Fail(env, "queueing on the loop thread failed");
            return nullptr;
        }
    } catch (const std::system_error&) {
        napi_delete_async_work(env, pw->work);
        HostTest::Fail(env, "could not start the queueing thread");
        return nullptr;
    }
    static_cast<void>(pw.release()); // freed by ResolvePromiseWork
    return promise;
}

HOST_EXPORT(queueFromThread)
{
    uint32_t delayMs = 0;
    return HostTest::Uints(env, info, {&delayMs}) ? PromiseOfWork(env, delayMs, true) : nullptr;
}

HOST_EXPORT(queueOnLoop)
{
    return PromiseOfWork(env, 0, false);
}

// ---- kept works, addressed by id ----

struct KeptWork {
    napi_env env;
    napi_async_work work;
};

HostTest::Table<KeptWork>& Kept()
{
    static auto* kept = new HostTest::Table<KeptWork>;
    return *kept;
}

void Nothing(napi_env, void*) {}

// Like the module: the work deletes itself when it completes.
void DeleteKeptWork(napi_env env, napi_status, void* data)
{
    KeptWork kept{};
    if (Kept().Find(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(data)), &kept, true)) {
        napi_delete_async_work(env, kept.work);
    }
}

HOST_EXPORT(createWork)
{
    uint32_t id = Kept().Add(KeptWork{env, nullptr});
    napi_value name = nullptr;
    napi_async_work work = nullptr;
    // The id travels as the work's data and is never dereferenced.
    void* data = reinterpret_cast<void*>(uintptr_t{id}); // NOLINT(performance-no-int-to-ptr)
    if (napi_create_string_utf8(env, "napi_host_test.keptWork", NAPI_AUTO_LENGTH, &name) != napi_ok ||
        napi_create_async_work(env, nullptr, name, Nothing, DeleteKeptWork, data, &work) != napi_ok) {
        HostTest::Fail(env, "creating the work failed");
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(Kept().mu);
    Kept().byId[id].work = work;
    return HostTest::MakeInt(env, id);
}

// The kept work of the id argument; with take, no longer kept.
bool KeptArg(napi_env env, napi_callback_info info, KeptWork* kept, bool take = false)
{
    uint32_t id = 0;
    return HostTest::Uints(env, info, {&id}) &&
        (Kept().Find(id, kept, take) || HostTest::Fail(env, "expected the id of a kept work"));
}

// The status of queueing work from a new native thread, joined.
napi_value StatusFromThread(napi_env env, napi_env workEnv, napi_async_work work)
{
    napi_status status = napi_generic_failure;
    try {
        std::thread([&status, workEnv, work] { status = napi_queue_async_work(workEnv, work); }).join();
    } catch (const std::system_error&) {
        HostTest::Fail(env, "could not start the queueing thread");
        return nullptr;
    }
    return HostTest::MakeInt(env, status);
}

HOST_EXPORT(deleteWork)
{
    KeptWork kept{};
    return KeptArg(env, info, &kept, true) ? HostTest::MakeInt(env, napi_delete_async_work(env, kept.work)) : nullptr;
}

HOST_EXPORT(queueWorkFromThread)
{
    KeptWork kept{};
    return KeptArg(env, info, &kept) ? StatusFromThread(env, kept.env, kept.work) : nullptr;
}

HOST_EXPORT(queueWorkHere)
{
    KeptWork kept{};
    return KeptArg(env, info, &kept) ? HostTest::MakeInt(env, napi_queue_async_work(kept.env, kept.work)) : nullptr;
}

HOST_EXPORT(queueUnknownWork)
{
    // Never dereferenced: napi_host only looks the address up.
    static int notAWork = 0;
    auto bogus = reinterpret_cast<napi_async_work>(&notAWork);
    napi_value fromThread = StatusFromThread(env, env, bogus);
    if (fromThread == nullptr) {
        return nullptr;
    }
    napi_value result = HostTest::Ints(env,
        {{"here", napi_queue_async_work(env, bogus)}, {"nullWork", napi_queue_async_work(env, nullptr)}});
    napi_set_named_property(env, result, "fromThread", fromThread);
    return result;
}

} // namespace
