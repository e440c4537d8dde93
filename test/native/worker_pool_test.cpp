// The worker pool (the IPC threads) and the deadline timer.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <set>
#include <stdexcept>
#include <system_error>

#include "core_test_support.h"
#include "deadline_timer.h"
#include "worker_pool.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;
using std::chrono::milliseconds;

std::thread NoThread(const std::function<void()>&)
{
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
}

TEST(WorkerPoolTest, RunsTasksOnItsOwnThreadsStartedLazilyUpToTheLimit)
{
    WorkerPool pool(3);
    EXPECT_EQ(pool.ThreadCount(), 0u) << "no thread before the first task";
    std::mutex mutex;
    std::set<std::thread::id> threads;
    std::atomic<int> done{0};
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(pool.Post(nullptr, [&] {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
            std::lock_guard<std::mutex> lock(mutex);
            threads.insert(std::this_thread::get_id());
            ++done;
        }));
    }
    ASSERT_TRUE(WaitUntil([&] { return done == 50; }));
    EXPECT_LE(pool.ThreadCount(), 3u);
    EXPECT_GE(pool.ThreadCount(), 1u);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0u);
}

TEST(WorkerPoolTest, TasksOfOneKeyRunOneAtATimeInOrder)
{
    WorkerPool pool(4);
    int keys[2] = {0, 0};
    std::mutex mutex;
    std::vector<int> seen[2];
    std::atomic<int> running[2] = {0, 0};
    std::atomic<bool> overlapped{false};
    constexpr int COUNT = 300;
    for (int i = 0; i < COUNT; ++i) {
        for (int k = 0; k < 2; ++k) {
            pool.Post(&keys[k], [&, i, k] {
                if (++running[k] > 1) {
                    overlapped = true;
                }
                {
                    std::lock_guard<std::mutex> lock(mutex);
                    seen[k].push_back(i);
                }
                --running[k];
            });
        }
    }
    ASSERT_TRUE(WaitUntil([&] {
        std::lock_guard<std::mutex> lock(mutex);
        return seen[0].size() == COUNT && seen[1].size() == COUNT;
    }));
    EXPECT_FALSE(overlapped);
    for (int i = 0; i < COUNT; ++i) {
        ASSERT_EQ(seen[0][i], i);
        ASSERT_EQ(seen[1][i], i);
    }
}

// Tasks posted inside a CallerRuns scope run on the posting thread when it
// closes, unless their key is busy elsewhere; a key's order holds across the
// caller and the workers, and what the kept tasks post, or what is past the
// cap, goes to the workers.
TEST(WorkerPoolTest, CallerRunsKeepsFreeTasksForTheClosingThreadAndTheKeyOrder)
{
    WorkerPool pool(2);
    const auto caller = std::this_thread::get_id();
    int freeKey = 0;
    int busyKey = 0;
    std::mutex mutex;
    std::vector<std::string> order;
    std::map<std::string, std::thread::id> ranOn;
    auto record = [&](const std::string& name) {
        std::lock_guard<std::mutex> lock(mutex);
        order.push_back(name);
        ranOn[name] = std::this_thread::get_id();
    };
    std::atomic<bool> release{false};
    ASSERT_TRUE(pool.Post(&busyKey, [&] {
        WaitUntil([&] { return release.load(); });
        record("busy-1");
    }));
    std::thread other;
    {
        WorkerPool::CallerRuns scope(pool);
        ASSERT_TRUE(pool.Post(&freeKey, [&] {
            record("free-1");
            pool.Post(nullptr, [&] { record("posted-by-kept"); });
        }));
        ASSERT_TRUE(pool.Post(nullptr, [&] { record("unkeyed"); }));
        ASSERT_TRUE(pool.Post(&busyKey, [&] { record("busy-2"); }));
        // Another thread's task of a key the caller keeps waits for it.
        other = std::thread([&] { pool.Post(&freeKey, [&] { record("free-2"); }); });
        other.join();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        std::lock_guard<std::mutex> lock(mutex);
        EXPECT_TRUE(order.empty()) << "nothing kept runs before the scope closes";
    }
    release = true;
    ASSERT_TRUE(WaitUntil([&] {
        std::lock_guard<std::mutex> lock(mutex);
        return order.size() == 6;
    }));
    EXPECT_EQ(ranOn["free-1"], caller);
    EXPECT_EQ(ranOn["unkeyed"], caller);
    EXPECT_NE(ranOn["posted-by-kept"], caller);
    EXPECT_NE(ranOn["free-2"], caller);
    EXPECT_NE(ranOn["busy-2"], caller);
    auto position = [&](const std::string& name) {
        return std::find(order.begin(), order.end(), name) - order.begin();
    };
    EXPECT_LT(position("free-1"), position("free-2"));
    EXPECT_LT(position("busy-1"), position("busy-2"));

    {
        WorkerPool::CallerRuns scope(pool, 1);
        pool.Post(nullptr, [&] { record("kept"); });
        pool.Post(nullptr, [&] { record("over the cap"); });
    }
    ASSERT_TRUE(WaitUntil([&] {
        std::lock_guard<std::mutex> lock(mutex);
        return order.size() == 8;
    }));
    EXPECT_EQ(ranOn["kept"], caller);
    EXPECT_NE(ranOn["over the cap"], caller);
}

TEST(WorkerPoolTest, ThrowingTaskDoesNotStopItsThread)
{
    WorkerPool pool(1);
    std::atomic<int> after{0};
    pool.Post(nullptr, [] { throw std::runtime_error("task failure"); });
    pool.Post(nullptr, [&] { ++after; });
    ASSERT_TRUE(WaitUntil([&] { return after == 1; }));
    EXPECT_EQ(pool.ThreadCount(), 1u);
}

TEST(WorkerPoolTest, RefusesTasksItCannotRunAndUsesTheThreadsItCouldStart)
{
    bool ran = false;
    WorkerPool none(2, NoThread);
    EXPECT_FALSE(none.Post(nullptr, [&] { ran = true; }));
    EXPECT_EQ(none.ThreadCount(), 0u);
    EXPECT_FALSE(ran);
    WorkerPool one(1);
    EXPECT_FALSE(one.Post(nullptr, std::function<void()>())) << "an empty task";

    std::atomic<int> started{0};
    WorkerPool some(4, [&](std::function<void()> body) -> std::thread {
        return started++ > 0 ? NoThread(body) : std::thread(std::move(body));
    });
    std::atomic<int> done{0};
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(some.Post(nullptr, [&] { ++done; }));
    }
    ASSERT_TRUE(WaitUntil([&] { return done == 20; }));
    EXPECT_EQ(some.ThreadCount(), 1u);
}

TEST(WorkerPoolTest, DestructionRunsWhatIsQueued)
{
    std::atomic<int> done{0};
    {
        WorkerPool pool(1);
        for (int i = 0; i < 100; ++i) {
            pool.Post(nullptr, [&] { ++done; });
        }
    }
    EXPECT_EQ(done.load(), 100);
}

class TimerTest : public ::testing::Test {
protected:
    std::vector<uint64_t> Fired()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return fired_;
    }
    std::mutex mutex_;
    std::vector<uint64_t> fired_;
    DeadlineTimer timer_{[this](uint64_t id) {
        std::lock_guard<std::mutex> lock(mutex_);
        fired_.push_back(id);
    }};
};

TEST_F(TimerTest, FiresInDeadlineOrderAndNotCancelledOnes)
{
    ASSERT_TRUE(timer_.EnsureStarted());
    auto now = DeadlineTimer::Clock::now();
    timer_.Schedule(1, now + milliseconds(30));
    timer_.Schedule(2, now + milliseconds(10));
    timer_.Schedule(3, now + milliseconds(20));
    timer_.Schedule(4, now + milliseconds(15));
    timer_.Schedule(5, now + std::chrono::hours(1));
    timer_.Schedule(5, now + milliseconds(40)); // rescheduled earlier
    EXPECT_TRUE(timer_.Cancel(3));
    EXPECT_FALSE(timer_.Cancel(99));
    ASSERT_TRUE(WaitUntil([&] { return Fired().size() == 4; }));
    EXPECT_EQ(Fired(), (std::vector<uint64_t>{2, 4, 1, 5}));
    EXPECT_FALSE(timer_.Cancel(1)) << "a fired id is no longer scheduled";
    EXPECT_EQ(timer_.ScheduledCount(), 0u);
}

// A nearer deadline scheduled while the thread already sleeps (until woken,
// or until a later deadline) wakes it: it fires in its time, not when the
// thread would have woken anyway.
TEST_F(TimerTest, ANearerDeadlineWakesTheWaitingThread)
{
    const struct {
        const char* name;
        std::chrono::hours waitingFor; // 0: nothing scheduled
    } cases[] = {
        {"waiting with nothing scheduled", std::chrono::hours(0)},
        {"waiting for a deadline an hour away", std::chrono::hours(1)},
    };
    uint64_t id = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        timer_.Stop();
        ASSERT_TRUE(timer_.EnsureStarted());
        if (c.waitingFor.count() > 0) {
            timer_.Schedule(++id, DeadlineTimer::Clock::now() + c.waitingFor);
        }
        std::this_thread::sleep_for(milliseconds(50)); // the thread is asleep by now
        const size_t firedBefore = Fired().size();
        const uint64_t near = ++id;
        timer_.Schedule(near, DeadlineTimer::Clock::now() + milliseconds(20));
        ASSERT_TRUE(WaitUntil([&] { return Fired().size() > firedBefore; }, milliseconds(2000)));
        EXPECT_EQ(Fired().back(), near);
    }
}

TEST_F(TimerTest, StopDropsWhatIsScheduled)
{
    ASSERT_TRUE(timer_.EnsureStarted());
    timer_.Schedule(1, DeadlineTimer::Clock::now() + std::chrono::hours(1));
    timer_.Stop();
    EXPECT_EQ(timer_.ScheduledCount(), 0u);
    ASSERT_TRUE(timer_.EnsureStarted()) << "a stopped timer starts again";
    timer_.Schedule(2, DeadlineTimer::Clock::now());
    ASSERT_TRUE(WaitUntil([&] { return Fired().size() == 1; }));
    EXPECT_EQ(Fired()[0], 2u);
    EXPECT_FALSE(DeadlineTimer([](uint64_t) {}, NoThread).EnsureStarted()) << "a failed start is reported";
}

} // namespace
} // namespace OHOS::NavigationInfoService
