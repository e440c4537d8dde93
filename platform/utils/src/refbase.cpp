#include "refbase.h"

namespace OHOS {

void RefCounter::DecWeak(RefCounter* counter)
{
    if (counter->weak_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete counter;
    }
}

bool RefCounter::AttemptIncStrong()
{
    int current = strong_.load(std::memory_order_relaxed);
    while (current > 0) {
        if (strong_.compare_exchange_weak(current, current + 1, std::memory_order_acq_rel)) {
            IncWeak();
            return true;
        }
    }
    return false;
}

RefBase::RefBase() : refs_(new RefCounter(this)) {}

// A copy is a new object with a count of its own, never a share of the original's.
RefBase::RefBase(const RefBase&) : refs_(new RefCounter(this)) {}

// Assignment keeps this object's own count: nothing to do, on itself or not.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
RefBase& RefBase::operator=(const RefBase&)
{
    return *this;
}

// NOLINTNEXTLINE(bugprone-unhandled-exception-at-new): no memory for the count ends the process (noexcept)
RefBase::RefBase(RefBase&&) noexcept : refs_(new RefCounter(this)) {}

RefBase& RefBase::operator=(RefBase&&) noexcept
{
    return *this;
}

RefBase::~RefBase()
{
    RefCounter::DecWeak(refs_);
}

void RefBase::RefPtrCallback()
{
    delete this;
}

void RefBase::OnFirstStrongRef(const void*) {}

void RefBase::OnLastStrongRef(const void*) {}

void RefBase::OnLastWeakRef(const void*) {}

bool RefBase::OnAttemptPromoted(const void*)
{
    return true;
}

void RefBase::IncStrongRef(const void* objectId)
{
    refs_->IncWeak();
    if (refs_->strong_.fetch_add(1, std::memory_order_relaxed) == 0) {
        refs_->everStrong_.store(true, std::memory_order_relaxed);
        OnFirstStrongRef(objectId);
    }
}

void RefBase::DecStrongRef(const void* objectId)
{
    RefCounter* counter = refs_;
    if (counter->strong_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        OnLastStrongRef(objectId);
        RefPtrCallback();
    }
    RefCounter::DecWeak(counter);
}

int RefBase::GetSptrRefCount() const
{
    return refs_->strong_.load(std::memory_order_relaxed);
}

void RefBase::IncWeakRef(const void*)
{
    refs_->IncWeak();
}

int RefBase::GetWptrRefCount() const
{
    return refs_->weak_.load(std::memory_order_relaxed);
}

} // namespace OHOS
