#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "refbase.h"

using OHOS::RefBase;
using OHOS::sptr;
using OHOS::wptr;

namespace {

struct Tracked : public RefBase {
    explicit Tracked(std::atomic<int>* deaths) : deaths_(deaths) {}
    Tracked(const Tracked& other) = default;
    ~Tracked() override { deaths_->fetch_add(1); }
    void OnFirstStrongRef(const void*) override { firstRefs++; }
    std::atomic<int>* deaths_;
    int firstRefs = 0;
};

TEST(RefBaseTest, LastStrongReferenceDeletesOnceAndWeakOnesPromoteOnlyUntilThen)
{
    std::atomic<int> deaths{0};
    wptr<Tracked> weak;
    {
        sptr<Tracked> a = new Tracked(&deaths);
        weak = a;
        EXPECT_EQ(a->GetSptrRefCount(), 1);
        sptr<Tracked> b = a;
        sptr<Tracked> c = std::move(b);
        EXPECT_EQ(b, nullptr); // NOLINT(bugprone-use-after-move): what a move leaves is the point
        EXPECT_EQ(a->GetSptrRefCount(), 2);
        EXPECT_EQ(a->firstRefs, 1);
        c = nullptr;
        sptr<Tracked> promoted = weak.promote();
        ASSERT_EQ(promoted, a);
        EXPECT_EQ(a->GetSptrRefCount(), 2);
        promoted = nullptr;
        EXPECT_EQ(a->GetSptrRefCount(), 1);
        EXPECT_EQ(deaths.load(), 0);
    }
    EXPECT_EQ(deaths.load(), 1);
    EXPECT_EQ(weak.promote(), nullptr);
}

TEST(RefBaseTest, CopyIsIndependentlyCounted)
{
    std::atomic<int> deaths{0};
    sptr<Tracked> original = new Tracked(&deaths);
    {
        sptr<Tracked> copy = new Tracked(*original);
        EXPECT_NE(copy->GetRefCounter(), original->GetRefCounter());
        EXPECT_EQ(copy->GetSptrRefCount(), 1);
        EXPECT_EQ(original->GetSptrRefCount(), 1);
    }
    EXPECT_EQ(deaths.load(), 1);
    EXPECT_EQ(original->GetSptrRefCount(), 1);
    Tracked onStack(*original); // a copy never held strongly frees its counter with itself
    EXPECT_EQ(onStack.GetSptrRefCount(), 0);
}

TEST(RefBaseTest, ConcurrentCopiesAndReleases)
{
    std::atomic<int> deaths{0};
    for (int round = 0; round < 50; ++round) {
        sptr<Tracked> shared = new Tracked(&deaths);
        wptr<Tracked> weak = shared;
        std::vector<std::thread> threads;
        threads.reserve(4);
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([shared, weak]() mutable {
                for (int i = 0; i < 1000; ++i) {
                    sptr<Tracked> copy = shared; // NOLINT(performance-unnecessary-copy-initialization): the count races
                    sptr<Tracked> promoted = weak.promote();
                    EXPECT_NE(promoted, nullptr);
                }
                shared = nullptr;
            });
        }
        shared = nullptr;
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(deaths.load(), round + 1);
        EXPECT_EQ(weak.promote(), nullptr);
    }
}

} // namespace
