// Thread-safe functions called from native threads, also after their
// environment is gone.
//
// nullTsfnStatuses()        { acquire, call, release } for a null handle.
// createTsfn(fn?, maxQueue?) id of a new thread-safe function; each item it
//                           delivers calls fn(value) with a null receiver.
// counters(id)              { allocated, freed, delivered, droppedAtTeardown,
//                           finalized } for the items and finalizer of id.
// sendFromThread(id, n, ms) a detached native thread waits ms, then acquires,
//                           calls (blocking) n times with 0..n-1, releases.
// callStatusFromThread(id)  status of one call from a native thread (joined).
// releaseTsfn(id)           status of a release on this thread.
// startHammer(id, blocking) id of a native thread calling acquire, call and
//                           release on the handle until stopped.
// markHammerPhase(hid)      later calls count as phase "after".
// stopHammer(hid)           joins it; { before, after } status counts.
//
// Ids, handles and counters are shared by every env of the process, so a
// Worker can create a function and the main thread can keep calling it after
// the Worker is gone.
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

struct Counters {
    std::atomic<int64_t> allocated{0};
    std::atomic<int64_t> freed{0};
    std::atomic<int64_t> delivered{0};
    std::atomic<int64_t> droppedAtTeardown{0};
    std::atomic<int64_t> finalized{0};
};

// One queued call. Allocated by the calling thread; freed by CallJs, or by the
// caller when the call fails.
struct Item {
    std::shared_ptr<Counters> counters;
    int64_t value;
};

struct TsfnRecord {
    napi_threadsafe_function tsfn;
    std::shared_ptr<Counters> counters;
};

template <typename T>
struct Table {
    std::mutex mu;
    std::unordered_map<uint32_t, T> byId; // guarded by mu
    uint32_t nextId = 1;                  // guarded by mu

    uint32_t Add(T value)
    {
        std::lock_guard<std::mutex> lock(mu);
        uint32_t id = nextId++;
        byId.emplace(id, std::move(value));
        return id;
    }
    bool Find(uint32_t id, T* result)
    {
        std::lock_guard<std::mutex> lock(mu);
        auto it = byId.find(id);
        if (it == byId.end()) {
            return false;
        }
        *result = it->second;
        return true;
    }
    void Erase(uint32_t id)
    {
        std::lock_guard<std::mutex> lock(mu);
        byId.erase(id);
    }
};

// Leaked: detached threads may still use them at exit.
Table<TsfnRecord>& Tsfns()
{
    static auto* table = new Table<TsfnRecord>;
    return *table;
}

Item* NewItem(const std::shared_ptr<Counters>& counters, int64_t value)
{
    ++counters->allocated;
    return new Item {counters, value};
}

void FreeItem(Item* item)
{
    ++item->counters->freed;
    delete item;
}

// Call-into-JS callback; loop thread. env == nullptr: Node is emptying the
// queue of a function it frees, and the item must only be freed.
void CallJs(napi_env env, napi_value fn, void* /* context */, void* data)
{
    auto* item = static_cast<Item*>(data);
    if (env == nullptr) {
        ++item->counters->droppedAtTeardown;
        FreeItem(item);
        return;
    }
    ++item->counters->delivered;
    napi_value value = HostTest::MakeInt(env, item->value);
    FreeItem(item);
    if (fn != nullptr) {
        napi_call_function(env, nullptr, fn, 1, &value, nullptr);
    }
}

void Finalize(napi_env /* env */, void* data, void* /* context */)
{
    auto* counters = static_cast<std::shared_ptr<Counters>*>(data);
    ++(*counters)->finalized;
    delete counters;
}

bool RecordFromArg(napi_env env, napi_value arg, TsfnRecord* record)
{
    uint32_t id = 0;
    return HostTest::GetUint32(env, arg, &id) && Tsfns().Find(id, record);
}

napi_value NullTsfnStatuses(napi_env env, napi_callback_info /* info */)
{
    napi_value result = nullptr;
    napi_create_object(env, &result);
    HostTest::SetInt(env, result, "acquire", napi_acquire_threadsafe_function(nullptr));
    HostTest::SetInt(env, result, "call", napi_call_threadsafe_function(nullptr, nullptr, napi_tsfn_nonblocking));
    HostTest::SetInt(env, result, "release", napi_release_threadsafe_function(nullptr, napi_tsfn_release));
    return result;
}

napi_value CreateTsfn(napi_env env, napi_callback_info info)
{
    napi_value argv[2] = {};
    size_t argc = 2;
    uint32_t maxQueue = 0;
    if (!HostTest::GetArgs(env, info, &argc, argv) || (argc >= 2 && !HostTest::GetUint32(env, argv[1], &maxQueue))) {
        return HostTest::Throw(env, "expected an optional function and an optional queue size");
    }
    napi_value fn = nullptr;
    napi_valuetype type = napi_undefined;
    if (argc >= 1 && napi_typeof(env, argv[0], &type) == napi_ok && type == napi_function) {
        fn = argv[0];
    }
    auto counters = std::make_shared<Counters>();
    auto* finalizeData = new std::shared_ptr<Counters>(counters);
    napi_value name = nullptr;
    napi_threadsafe_function tsfn = nullptr;
    napi_create_string_utf8(env, "napi_host_test.tsfn", NAPI_AUTO_LENGTH, &name);
    if (napi_create_threadsafe_function(env, fn, nullptr, name, maxQueue, 1, finalizeData, Finalize, nullptr, CallJs,
        &tsfn) != napi_ok) {
        delete finalizeData;
        return HostTest::Throw(env, "creating the thread-safe function failed");
    }
    return HostTest::MakeInt(env, Tsfns().Add(TsfnRecord {tsfn, counters}));
}

napi_value CountersOf(napi_env env, napi_callback_info info)
{
    napi_value argv[1] = {};
    size_t argc = 1;
    TsfnRecord record {};
    if (!HostTest::GetArgs(env, info, &argc, argv) || argc < 1 || !RecordFromArg(env, argv[0], &record)) {
        return HostTest::Throw(env, "expected the id of a thread-safe function");
    }
    napi_value result = nullptr;
    napi_create_object(env, &result);
    HostTest::SetInt(env, result, "allocated", record.counters->allocated);
    HostTest::SetInt(env, result, "freed", record.counters->freed);
    HostTest::SetInt(env, result, "delivered", record.counters->delivered);
    HostTest::SetInt(env, result, "droppedAtTeardown", record.counters->droppedAtTeardown);
    HostTest::SetInt(env, result, "finalized", record.counters->finalized);
    return result;
}

napi_value SendFromThread(napi_env env, napi_callback_info info)
{
    napi_value argv[3] = {};
    size_t argc = 3;
    TsfnRecord record {};
    uint32_t count = 0;
    uint32_t delayMs = 0;
    if (!HostTest::GetArgs(env, info, &argc, argv) || argc < 3 || !RecordFromArg(env, argv[0], &record) ||
        !HostTest::GetUint32(env, argv[1], &count) || !HostTest::GetUint32(env, argv[2], &delayMs)) {
        return HostTest::Throw(env, "expected a thread-safe function id, a count and a delay");
    }
    try {
        std::thread([record, count, delayMs] {
            std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
            if (napi_acquire_threadsafe_function(record.tsfn) != napi_ok) {
                return;
            }
            for (uint32_t i = 0; i < count; ++i) {
                Item* item = NewItem(record.counters, i);
                if (napi_call_threadsafe_function(record.tsfn, item, napi_tsfn_blocking) != napi_ok) {
                    FreeItem(item);
                    return; // closing: the thread no longer holds the function
                }
            }
            napi_release_threadsafe_function(record.tsfn, napi_tsfn_release);
        }).detach();
    } catch (const std::system_error&) {
        return HostTest::Throw(env, "could not start the sending thread");
    }
    return nullptr;
}

napi_value CallStatusFromThread(napi_env env, napi_callback_info info)
{
    napi_value argv[1] = {};
    size_t argc = 1;
    TsfnRecord record {};
    if (!HostTest::GetArgs(env, info, &argc, argv) || argc < 1 || !RecordFromArg(env, argv[0], &record)) {
        return HostTest::Throw(env, "expected the id of a thread-safe function");
    }
    napi_status status = napi_generic_failure;
    try {
        std::thread caller([&status, &record] {
            Item* item = NewItem(record.counters, 0);
            status = napi_call_threadsafe_function(record.tsfn, item, napi_tsfn_nonblocking);
            if (status != napi_ok) {
                FreeItem(item);
            }
        });
        caller.join();
    } catch (const std::system_error&) {
        return HostTest::Throw(env, "could not start the calling thread");
    }
    return HostTest::MakeInt(env, status);
}

napi_value ReleaseTsfn(napi_env env, napi_callback_info info)
{
    napi_value argv[1] = {};
    size_t argc = 1;
    TsfnRecord record {};
    if (!HostTest::GetArgs(env, info, &argc, argv) || argc < 1 || !RecordFromArg(env, argv[0], &record)) {
        return HostTest::Throw(env, "expected the id of a thread-safe function");
    }
    return HostTest::MakeInt(env, napi_release_threadsafe_function(record.tsfn, napi_tsfn_release));
}

// ---- the hammer: a native thread that keeps calling on one handle ----

struct PhaseCounts {
    std::atomic<int64_t> calls{0}; // call statuses
    std::atomic<int64_t> ok{0};
    std::atomic<int64_t> queueFull{0};
    std::atomic<int64_t> closing{0};
    std::atomic<int64_t> invalidArg{0};
    std::atomic<int64_t> other{0}; // any other status, of any of the three calls

    void Count(napi_status status)
    {
        switch (status) {
            case napi_ok: ++ok; break;
            case napi_queue_full: ++queueFull; break;
            case napi_closing: ++closing; break;
            case napi_invalid_arg: ++invalidArg; break;
            default: ++other; break;
        }
    }
};

struct Hammer {
    TsfnRecord record;
    napi_threadsafe_function_call_mode mode = napi_tsfn_nonblocking;
    std::atomic<bool> stop{false};
    std::atomic<int> phase{0}; // 0 before, 1 after
    PhaseCounts counts[2];
    std::thread thread; // started and joined on the JS thread that owns the hammer
};

Table<std::shared_ptr<Hammer>>& Hammers()
{
    static auto* table = new Table<std::shared_ptr<Hammer>>;
    return *table;
}

void RunHammer(Hammer* h)
{
    napi_threadsafe_function tsfn = h->record.tsfn;
    for (int64_t i = 0; !h->stop; ++i) {
        PhaseCounts& counts = h->counts[h->phase];
        napi_status acquired = napi_acquire_threadsafe_function(tsfn);
        counts.Count(acquired);
        Item* item = NewItem(h->record.counters, i);
        napi_status called = napi_call_threadsafe_function(tsfn, item, h->mode);
        ++counts.calls;
        counts.Count(called);
        if (called != napi_ok) {
            FreeItem(item);
        }
        // While the function lives, release only what was acquired and not
        // given up by a napi_closing answer. On a stale handle every call must
        // fail the same way, so release is tried regardless.
        if (&counts == &h->counts[1] || (acquired == napi_ok && called != napi_closing)) {
            counts.Count(napi_release_threadsafe_function(tsfn, napi_tsfn_release));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
}

napi_value StartHammer(napi_env env, napi_callback_info info)
{
    napi_value argv[2] = {};
    size_t argc = 2;
    bool blocking = false;
    auto h = std::make_shared<Hammer>();
    if (!HostTest::GetArgs(env, info, &argc, argv) || argc < 1 || !RecordFromArg(env, argv[0], &h->record) ||
        (argc >= 2 && napi_get_value_bool(env, argv[1], &blocking) != napi_ok)) {
        return HostTest::Throw(env, "expected a thread-safe function id and an optional blocking flag");
    }
    h->mode = blocking ? napi_tsfn_blocking : napi_tsfn_nonblocking;
    try {
        h->thread = std::thread(RunHammer, h.get());
    } catch (const std::system_error&) {
        return HostTest::Throw(env, "could not start the hammer thread");
    }
    return HostTest::MakeInt(env, Hammers().Add(h));
}

bool HammerFromArgs(napi_env env, napi_callback_info info, std::shared_ptr<Hammer>* h, uint32_t* id)
{
    napi_value argv[1] = {};
    size_t argc = 1;
    return HostTest::GetArgs(env, info, &argc, argv) && argc >= 1 && HostTest::GetUint32(env, argv[0], id) &&
        Hammers().Find(*id, h);
}

napi_value MarkHammerPhase(napi_env env, napi_callback_info info)
{
    std::shared_ptr<Hammer> h;
    uint32_t id = 0;
    if (!HammerFromArgs(env, info, &h, &id)) {
        return HostTest::Throw(env, "expected a hammer id");
    }
    h->phase = 1;
    return nullptr;
}

napi_value PhaseObject(napi_env env, const PhaseCounts& counts)
{
    napi_value result = nullptr;
    napi_create_object(env, &result);
    HostTest::SetInt(env, result, "calls", counts.calls);
    HostTest::SetInt(env, result, "ok", counts.ok);
    HostTest::SetInt(env, result, "queueFull", counts.queueFull);
    HostTest::SetInt(env, result, "closing", counts.closing);
    HostTest::SetInt(env, result, "invalidArg", counts.invalidArg);
    HostTest::SetInt(env, result, "other", counts.other);
    return result;
}

napi_value StopHammer(napi_env env, napi_callback_info info)
{
    std::shared_ptr<Hammer> h;
    uint32_t id = 0;
    if (!HammerFromArgs(env, info, &h, &id)) {
        return HostTest::Throw(env, "expected a hammer id");
    }
    h->stop = true;
    if (h->thread.joinable()) {
        h->thread.join();
    }
    Hammers().Erase(id);
    napi_value result = nullptr;
    napi_create_object(env, &result);
    napi_set_named_property(env, result, "before", PhaseObject(env, h->counts[0]));
    napi_set_named_property(env, result, "after", PhaseObject(env, h->counts[1]));
    return result;
}

} // namespace

void HostTest::DefineTsfnProbe(napi_env env, napi_value exports)
{
    static const Export list[] = {
        {"nullTsfnStatuses", NullTsfnStatuses},
        {"createTsfn", CreateTsfn},
        {"counters", CountersOf},
        {"sendFromThread", SendFromThread},
        {"callStatusFromThread", CallStatusFromThread},
        {"releaseTsfn", ReleaseTsfn},
        {"startHammer", StartHammer},
        {"markHammerPhase", MarkHammerPhase},
        {"stopHammer", StopHammer},
    };
    DefineExports(env, exports, list, sizeof(list) / sizeof(list[0]));
}
