// Thread-safe functions called from native threads, also after their
// environment is gone.
//
// nullTsfnStatuses()        { acquire, call, release } for a null handle.
// createTsfn(fn?, maxQueue?) id of a new thread-safe function; each item it
//                           delivers calls fn(value) with a null receiver.
// counters(id)              { allocated, freed, finalized } for the items and
//                           the finalizer of id.
// sendFromThread(id, n, ms) a detached native thread waits ms, then acquires,
//                           calls (blocking) n times with 0..n-1, releases.
// callStatusFromThread(id)  status of one call from a native thread (joined).
// sendInTicketOrder(id, n, skip) takes n hand-off tickets here, in order, then
//                           one thread per ticket calls with its index, the
//                           later tickets first; tickets whose index is a
//                           multiple of skip are given up instead, a second
//                           after the others.
// releaseTsfn(id)           status of a release on this thread.
// startHammer(id, blocking) id of a native thread calling acquire, call and
//                           release on the handle until stopped.
// markHammerPhase(hid)      later calls count as phase "after".
// stopHammer(hid)           joins it; { before, after } status counts.
#include <atomic>
#include <chrono>
#include <memory>
#include <system_error>
#include <thread>

#include "host_addon.h"
#include "napi_host/hand_off_ticket.h"

namespace {

struct Counters {
    std::atomic<int64_t> allocated{0};
    std::atomic<int64_t> freed{0};
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

HostTest::Table<TsfnRecord>& Tsfns()
{
    static auto* table = new HostTest::Table<TsfnRecord>;
    return *table;
}

Item* NewItem(const std::shared_ptr<Counters>& counters, int64_t value)
{
    ++counters->allocated;
    return new Item{counters, value};
}

void FreeItem(Item* item)
{
    ++item->counters->freed;
    delete item;
}

// Call-into-JS callback; loop thread. env == nullptr: Node is emptying the
// queue of a function it frees, and the item must only be freed.
void CallJs(napi_env env, napi_value fn, void*, void* data)
{
    auto* item = static_cast<Item*>(data);
    napi_value value = env != nullptr ? HostTest::MakeInt(env, item->value) : nullptr;
    FreeItem(item);
    if (env != nullptr && fn != nullptr) {
        napi_call_function(env, nullptr, fn, 1, &value, nullptr);
    }
}

// The record of the id in the first argument; the next arguments as numbers.
bool RecordArgs(napi_env env, napi_callback_info info, TsfnRecord* record, std::vector<uint32_t*> more = {})
{
    uint32_t id = 0;
    more.insert(more.begin(), &id);
    return HostTest::Uints(env, info, more) &&
        (Tsfns().Find(id, record) || HostTest::Fail(env, "expected the id of a thread-safe function"));
}

HOST_EXPORT(nullTsfnStatuses)
{
    return HostTest::Ints(env,
        {{"acquire", napi_acquire_threadsafe_function(nullptr)},
            {"call", napi_call_threadsafe_function(nullptr, nullptr, napi_tsfn_nonblocking)},
            {"release", napi_release_threadsafe_function(nullptr, napi_tsfn_release)}});
}

HOST_EXPORT(createTsfn)
{
    napi_value argv[2] = {};
    size_t argc = 2;
    uint32_t maxQueue = 0;
    napi_valuetype type = napi_undefined;
    if (napi_get_cb_info(env, info, &argc, argv, nullptr, nullptr) != napi_ok ||
        (argc >= 2 && napi_get_value_uint32(env, argv[1], &maxQueue) != napi_ok)) {
        HostTest::Fail(env, "expected an optional function and an optional queue size");
        return nullptr;
    }
    bool isFunction = argc >= 1 && napi_typeof(env, argv[0], &type) == napi_ok && type == napi_function;
    napi_value fn = isFunction ? argv[0] : nullptr;
    auto counters = std::make_shared<Counters>();
    auto* finalizeData = new std::shared_ptr<Counters>(counters);
    auto finalize = [](napi_env, void* data, void*) {
        auto* kept = static_cast<std::shared_ptr<Counters>*>(data);
        ++(*kept)->finalized;
        delete kept;
    };
    napi_value name = nullptr;
    napi_threadsafe_function tsfn = nullptr;
    napi_create_string_utf8(env, "napi_host_test.tsfn", NAPI_AUTO_LENGTH, &name);
    if (napi_create_threadsafe_function(env, fn, nullptr, name, maxQueue, 1, finalizeData, finalize, nullptr, CallJs,
            &tsfn) != napi_ok) {
        delete finalizeData;
        HostTest::Fail(env, "creating the thread-safe function failed");
        return nullptr;
    }
    return HostTest::MakeInt(env, Tsfns().Add(TsfnRecord{tsfn, counters}));
}

HOST_EXPORT(counters)
{
    TsfnRecord r{};
    return RecordArgs(env, info, &r) ? HostTest::Ints(env,
                                           {{"allocated", r.counters->allocated}, {"freed", r.counters->freed},
                                               {"finalized", r.counters->finalized}})
                                     : nullptr;
}

HOST_EXPORT(sendFromThread)
{
    TsfnRecord record{};
    uint32_t count = 0;
    uint32_t delayMs = 0;
    if (!RecordArgs(env, info, &record, {&count, &delayMs})) {
        return nullptr;
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
        HostTest::Fail(env, "could not start the sending thread");
    }
    return nullptr;
}

HOST_EXPORT(callStatusFromThread)
{
    TsfnRecord record{};
    napi_status status = napi_generic_failure;
    if (!RecordArgs(env, info, &record)) {
        return nullptr;
    }
    try {
        std::thread([&status, &record] {
            Item* item = NewItem(record.counters, 0);
            if ((status = napi_call_threadsafe_function(record.tsfn, item, napi_tsfn_nonblocking)) != napi_ok) {
                FreeItem(item);
            }
        }).join();
    } catch (const std::system_error&) {
        HostTest::Fail(env, "could not start the calling thread");
        return nullptr;
    }
    return HostTest::MakeInt(env, status);
}

HOST_EXPORT(sendInTicketOrder)
{
    TsfnRecord record{};
    uint32_t count = 0;
    uint32_t skip = 0;
    if (!RecordArgs(env, info, &record, {&count, &skip})) {
        return nullptr;
    }
    for (uint32_t i = 0; i < count; ++i) {
        auto ticket = std::make_shared<NapiHost::HandOffTicket>(NapiHost::HandOffTicket::Take(record.tsfn));
        try {
            std::thread([record, ticket, i, count, skip] {
                const bool givenUp = skip != 0 && i % skip == 0;
                std::this_thread::sleep_for(std::chrono::milliseconds(2 * (count - i) + (givenUp ? 1000 : 0)));
                if (givenUp) {
                    return; // the ticket is given up when the thread's copy goes
                }
                NapiHost::HandOffTicket::Use inOrder(*ticket);
                Item* item = NewItem(record.counters, i);
                if (napi_call_threadsafe_function(record.tsfn, item, napi_tsfn_blocking) != napi_ok) {
                    FreeItem(item);
                }
            }).detach();
        } catch (const std::system_error&) {
            HostTest::Fail(env, "could not start a sending thread");
            return nullptr;
        }
    }
    return nullptr;
}

HOST_EXPORT(releaseTsfn)
{
    TsfnRecord record{};
    return RecordArgs(env, info, &record)
        ? HostTest::MakeInt(env, napi_release_threadsafe_function(record.tsfn, napi_tsfn_release))
        : nullptr;
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
    napi_value ToJs(napi_env env) const
    {
        return HostTest::Ints(env,
            {{"calls", calls}, {"ok", ok}, {"queueFull", queueFull}, {"closing", closing}, {"invalidArg", invalidArg},
                {"other", other}});
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

HostTest::Table<std::shared_ptr<Hammer>>& Hammers()
{
    static auto* table = new HostTest::Table<std::shared_ptr<Hammer>>;
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

HOST_EXPORT(startHammer)
{
    napi_value argv[2] = {};
    size_t argc = 2;
    bool blocking = false;
    auto h = std::make_shared<Hammer>();
    uint32_t id = 0;
    if (napi_get_cb_info(env, info, &argc, argv, nullptr, nullptr) != napi_ok || argc < 1 ||
        napi_get_value_uint32(env, argv[0], &id) != napi_ok || !Tsfns().Find(id, &h->record) ||
        (argc >= 2 && napi_get_value_bool(env, argv[1], &blocking) != napi_ok)) {
        HostTest::Fail(env, "expected a thread-safe function id and an optional blocking flag");
        return nullptr;
    }
    h->mode = blocking ? napi_tsfn_blocking : napi_tsfn_nonblocking;
    try {
        h->thread = std::thread(RunHammer, h.get());
    } catch (const std::system_error&) {
        HostTest::Fail(env, "could not start the hammer thread");
        return nullptr;
    }
    return HostTest::MakeInt(env, Hammers().Add(h));
}

// The hammer of the id argument; with take, no longer kept.
bool HammerArg(napi_env env, napi_callback_info info, std::shared_ptr<Hammer>* h, bool take)
{
    uint32_t id = 0;
    return HostTest::Uints(env, info, {&id}) &&
        (Hammers().Find(id, h, take) || HostTest::Fail(env, "expected a hammer id"));
}

HOST_EXPORT(markHammerPhase)
{
    std::shared_ptr<Hammer> h;
    if (HammerArg(env, info, &h, false)) {
        h->phase = 1;
    }
    return nullptr;
}

HOST_EXPORT(stopHammer)
{
    std::shared_ptr<Hammer> h;
    if (!HammerArg(env, info, &h, true)) {
        return nullptr;
    }
    h->stop = true;
    if (h->thread.joinable()) {
        h->thread.join();
    }
    napi_value result = nullptr;
    napi_create_object(env, &result);
    napi_set_named_property(env, result, "before", h->counts[0].ToJs(env));
    napi_set_named_property(env, result, "after", h->counts[1].ToJs(env));
    return result;
}

} // namespace
