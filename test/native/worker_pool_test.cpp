// The worker pool (the IPC threads) and the deadline timer.
#include <gtest/gtest.h>

#include <atomic>
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
    int keyA = 0;
    int keyB = 0;
    std::mutex mutex;
    std::vector<int> seenA;
    std::vector<int> seenB;
    std::atomic<int> runningA{0};
    std::atomic<bool> overlapped{false};
    constexpr int COUNT = 300;
    for (int i = 0; i < COUNT; ++i) {
        pool.Post(&keyA, [&, i] {
            if (++runningA > 1) {
                overlapped = true;
            }
            {
                std::lock_guard<std::mutex> lock(mutex);
                seenA.push_back(i);
            }
            --runningA;
        });
        pool.Post(&keyB, [&, i] {
            std::lock_guard<std::mutex> lock(mutex);
            seenB.push_back(i);
        });
    }
    ASSERT_TRUE(WaitUntil([&] {
        std::lock_guard<std::mutex> lock(mutex);
        return seenA.size() == COUNT && seenB.size() == COUNT;
    }));
    EXPECT_FALSE(overlapped);
    for (int i = 0; i < COUNT; ++i) {
        ASSERT_EQ(seenA[i], i);
        ASSERT_EQ(seenB[i], i);
    }
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

TEST(WorkerPoolTest, NoThreadAtAllRefusesTheTask)
{
    WorkerPool pool(2, [](std::function<void()>) -> std::thread {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    });
    bool ran = false;
    EXPECT_FALSE(pool.Post(nullptr, [&] { ran = true; }));
    EXPECT_EQ(pool.ThreadCount(), 0u);
    EXPECT_FALSE(ran);
}

TEST(WorkerPoolTest, FailureToAddAThreadStillRunsTasksOnTheOnesThere)
{
    std::atomic<int> started{0};
    WorkerPool pool(4, [&](std::function<void()> body) -> std::thread {
        if (started++ > 0) {
            throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
        }
        return std::thread(std::move(body));
    });
    std::atomic<int> done{0};
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(pool.Post(nullptr, [&] { ++done; }));
    }
    ASSERT_TRUE(WaitUntil([&] { return done == 20; }));
    EXPECT_EQ(pool.ThreadCount(), 1u);
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

TEST(WorkerPoolTest, EmptyTaskIsRefused)
{
    WorkerPool pool(1);
    EXPECT_FALSE(pool.Post(nullptr, std::function<void()>()));
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
    EXPECT_TRUE(timer_.Cancel(3));
    EXPECT_FALSE(timer_.Cancel(99));
    ASSERT_TRUE(WaitUntil([&] { return Fired().size() == 3; }));
    EXPECT_EQ(Fired(), (std::vector<uint64_t>{2, 4, 1}));
    EXPECT_FALSE(timer_.Cancel(1)) << "a fired id is no longer scheduled";
    EXPECT_EQ(timer_.ScheduledCount(), 0u);
}

TEST_F(TimerTest, ReschedulingMovesTheDeadline)
{
    ASSERT_TRUE(timer_.EnsureStarted());
    auto now = DeadlineTimer::Clock::now();
    timer_.Schedule(1, now + std::chrono::hours(1));
    timer_.Schedule(2, now + milliseconds(5));
    timer_.Schedule(1, now + milliseconds(1));
    ASSERT_TRUE(WaitUntil([&] { return Fired().size() == 2; }));
    EXPECT_EQ(timer_.ScheduledCount(), 0u);
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
}

TEST(TimerStartTest, FailedStartIsReported)
{
    DeadlineTimer timer([](uint64_t) {}, [](std::function<void()>) -> std::thread {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    });
    EXPECT_FALSE(timer.EnsureStarted());
}

} // namespace
} // namespace OHOS::NavigationInfoService
