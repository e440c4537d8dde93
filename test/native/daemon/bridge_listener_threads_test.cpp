// What the DDS bridge relies on when Cyclone's threads call it: a drain
// runs one call at a time, misses no asking and never makes a thread wait
// (not even one that asks from inside the drain); a closed gate lets no
// listener call in and waits for the one inside; a write made inside a
// drain leaves Cyclone's thread, in order, and none is lost at the stop.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include "listener_gate.h"
#include "serial_drain.h"
#include "write_offload.h"

using namespace OHOS::NavigationInfoService;

TEST(SerialDrain, AnAskingWhileItRunsReturnsAtOnceAndIsRunAgainByTheRunningThread)
{
    SerialDrain drain;
    std::promise<void> started;
    std::promise<void> asked;
    std::shared_future<void> askedDone = asked.get_future().share();
    std::vector<std::thread::id> runs; // written inside runs only
    auto work = [&] {
        runs.push_back(std::this_thread::get_id());
        if (runs.size() == 1) {
            started.set_value();
            askedDone.wait();
        }
    };
    std::thread running([&] { drain.Run(work); });
    const std::thread::id runner = running.get_id();
    started.get_future().wait();
    auto second = std::async(std::launch::async, [&] { drain.Run(work); });
    EXPECT_EQ(second.wait_for(std::chrono::seconds(10)), std::future_status::ready) << "the asker waited";
    asked.set_value();
    running.join();
    ASSERT_EQ(runs.size(), 2U) << "the asking made while it ran was not run";
    EXPECT_EQ(runs[1], runner);
}

TEST(SerialDrain, ConcurrentAskersNeverRunItTwiceAtOnce)
{
    SerialDrain drain;
    std::atomic<bool> inside{false};
    std::atomic<int> overlaps{0};
    std::atomic<int> runs{0};
    auto work = [&] {
        if (inside.exchange(true)) {
            ++overlaps;
        }
        ++runs;
        std::this_thread::yield();
        inside.store(false);
    };
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 5000; ++i) {
                drain.Run(work);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(overlaps.load(), 0);
    EXPECT_GT(runs.load(), 0);
}

TEST(SerialDrain, AskingFromInsideTheDrainRunsItAgainAfterwardsOnTheSameThread)
{
    // Cyclone may deliver a sample of this process's own writer on the
    // writing thread, inside the drain that wrote it.
    SerialDrain drain;
    int runs = 0;
    int depth = 0;
    int deepest = 0;
    std::function<void()> work = [&] {
        deepest = std::max(deepest, ++depth);
        if (++runs < 3) {
            drain.Run(work);
        }
        --depth;
    };
    drain.Run(work);
    EXPECT_EQ(runs, 3);
    EXPECT_EQ(deepest, 1) << "the drain ran inside itself";
}

TEST(ListenerGate, CloseWaitsForTheCallInsideAndShutsOutLaterOnes)
{
    ListenerGate gate;
    ASSERT_TRUE(gate.Enter());
    std::promise<void> leave;
    std::thread call([&] {
        leave.get_future().wait();
        gate.Leave();
    });
    auto closed = std::async(std::launch::async, [&] { gate.Close(); });
    EXPECT_EQ(closed.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout)
        << "Close returned while a call was inside";
    EXPECT_FALSE(gate.Enter()) << "a call got in while closing";
    leave.set_value();
    EXPECT_EQ(closed.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    call.join();
    EXPECT_FALSE(gate.Enter());
    gate.Close(); // again: nothing inside
}

TEST(WriteOffload, WritesInsideADrainRunElsewhereInOrderAndTheStopRunsWhatIsQueued)
{
    WriteOffload offload;
    const std::thread::id self = std::this_thread::get_id();
    std::thread::id outside;
    offload.Run([&] { outside = std::this_thread::get_id(); });
    EXPECT_EQ(outside, self) << "a write outside a drain left its thread";

    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    std::vector<int> order; // written by the offload thread only, read after Stop
    std::vector<std::thread::id> where;
    {
        WriteOffload::InDrain inDrain;
        offload.Run([&] {
            released.wait_for(std::chrono::seconds(5)); // a write waiting for acknowledgements
            order.push_back(1);
            where.push_back(std::this_thread::get_id());
        });
        offload.Run([&] {
            order.push_back(2);
            where.push_back(std::this_thread::get_id());
        });
    }
    release.set_value();
    offload.Stop();
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    ASSERT_EQ(where.size(), 2U);
    EXPECT_NE(where[0], self) << "a write inside a drain stayed on Cyclone's thread";

    WriteOffload::InDrain inDrain;
    std::thread::id afterStop;
    offload.Run([&] { afterStop = std::this_thread::get_id(); });
    EXPECT_EQ(afterStop, self);
}
