// Intrusive, thread-safe reference counting for platform objects.
//
// A RefBase object is owned by its strong references (sptr): the last one
// deletes it. Weak references (wptr) keep only the bookkeeping block alive and
// can be promoted back to a strong reference while the object still lives.
// Copying a RefBase object makes a new, independently counted object.
#ifndef PLATFORM_UTILS_REFBASE_H
#define PLATFORM_UTILS_REFBASE_H

#include <atomic>
#include <cstddef>
#include <utility>

namespace OHOS {

class RefBase;

// Bookkeeping shared by an object and its weak references. The object holds
// one weak count on its own counter, so the counter outlives the object.
class RefCounter {
public:
    explicit RefCounter(RefBase* object) : object_(object) {}
    std::atomic<int> strong_{0};
    std::atomic<int> weak_{1};
    std::atomic<bool> everStrong_{false};
    RefBase* const object_;

    void IncWeak() { weak_.fetch_add(1, std::memory_order_relaxed); }
    // Deletes the counter when the last weak count goes.
    static void DecWeak(RefCounter* counter);
    // Takes a strong count only while the object is strongly held.
    bool AttemptIncStrong();
};

class RefBase {
public:
    RefBase();
    RefBase(const RefBase& other);
    RefBase& operator=(const RefBase& other);
    RefBase(RefBase&& other) noexcept;
    RefBase& operator=(RefBase&& other) noexcept;
    virtual ~RefBase();

    // Called when the last strong reference goes; deletes the object.
    virtual void RefPtrCallback();
    virtual void OnFirstStrongRef(const void* objectId);
    virtual void OnLastStrongRef(const void* objectId);
    virtual void OnLastWeakRef(const void* objectId);
    virtual bool OnAttemptPromoted(const void* objectId);

    void IncStrongRef(const void* objectId);
    void DecStrongRef(const void* objectId);
    int GetSptrRefCount() const;

    void IncWeakRef(const void* objectId);
    RefCounter* GetRefCounter() const { return refs_; }
    int GetWptrRefCount() const;

private:
    RefCounter* refs_;
};

template <typename T>
class wptr;

template <typename T>
class sptr {
public:
    sptr() = default;
    sptr(std::nullptr_t) {}
    sptr(T* other) : ref_(other) { Inc(); }
    sptr(const sptr& other) : ref_(other.ref_) { Inc(); }
    sptr(sptr&& other) noexcept : ref_(other.ref_) { other.ref_ = nullptr; }
    template <typename O>
    sptr(const sptr<O>& other) : ref_(other.GetRefPtr())
    {
        Inc();
    }
    ~sptr() { Dec(); }

    sptr& operator=(T* other)
    {
        if (other != nullptr) {
            other->IncStrongRef(this);
        }
        T* old = ref_;
        ref_ = other;
        if (old != nullptr) {
            old->DecStrongRef(this);
        }
        return *this;
    }
    // Safe on itself: operator=(T*) takes the new reference before dropping the old.
    sptr& operator=(const sptr& other) { return *this = other.ref_; } // NOLINT(bugprone-unhandled-self-assignment)
    sptr& operator=(sptr&& other) noexcept
    {
        if (this != &other) {
            T* old = ref_;
            ref_ = other.ref_;
            other.ref_ = nullptr;
            if (old != nullptr) {
                old->DecStrongRef(this);
            }
        }
        return *this;
    }
    template <typename O>
    sptr& operator=(const sptr<O>& other)
    {
        return *this = static_cast<T*>(other.GetRefPtr());
    }
    sptr& operator=(std::nullptr_t)
    {
        clear();
        return *this;
    }

    void clear()
    {
        T* old = ref_;
        ref_ = nullptr;
        if (old != nullptr) {
            old->DecStrongRef(this);
        }
    }
    // Adopts a pointer whose strong count the caller already took.
    void ForceSetRefPtr(T* other) { ref_ = other; }

    T* GetRefPtr() const { return ref_; }
    T* operator->() const { return ref_; }
    T& operator*() const { return *ref_; }
    operator T*() const { return ref_; }
    explicit operator bool() const { return ref_ != nullptr; }

    template <typename... Args>
    static sptr<T> MakeSptr(Args&&... args)
    {
        return sptr<T>(new T(std::forward<Args>(args)...));
    }

private:
    void Inc() const
    {
        if (ref_ != nullptr) {
            ref_->IncStrongRef(this);
        }
    }
    void Dec() const
    {
        if (ref_ != nullptr) {
            ref_->DecStrongRef(this);
        }
    }
    T* ref_ = nullptr;
};

template <typename T, typename O>
bool operator==(const sptr<T>& a, const sptr<O>& b)
{
    return a.GetRefPtr() == b.GetRefPtr();
}
template <typename T, typename O>
bool operator!=(const sptr<T>& a, const sptr<O>& b)
{
    return a.GetRefPtr() != b.GetRefPtr();
}
template <typename T>
bool operator==(const sptr<T>& a, std::nullptr_t)
{
    return a.GetRefPtr() == nullptr;
}
template <typename T>
bool operator!=(const sptr<T>& a, std::nullptr_t)
{
    return a.GetRefPtr() != nullptr;
}

template <typename T>
class wptr {
public:
    wptr() = default;
    wptr(T* other) { Set(other); }
    wptr(const sptr<T>& other) { Set(other.GetRefPtr()); }
    wptr(const wptr& other) : ref_(other.ref_), counter_(other.counter_)
    {
        if (counter_ != nullptr) {
            counter_->IncWeak();
        }
    }
    ~wptr() { Reset(); }
    wptr& operator=(const wptr& other)
    {
        if (this != &other) {
            if (other.counter_ != nullptr) {
                other.counter_->IncWeak();
            }
            Reset();
            ref_ = other.ref_;
            counter_ = other.counter_;
        }
        return *this;
    }
    wptr& operator=(const sptr<T>& other)
    {
        Reset();
        Set(other.GetRefPtr());
        return *this;
    }

    // A strong reference to the object, or null once it is gone.
    sptr<T> promote() const
    {
        sptr<T> result;
        if (counter_ != nullptr && counter_->AttemptIncStrong()) {
            result.ForceSetRefPtr(ref_);
        }
        return result;
    }
    T* GetRefPtr() const { return ref_; }

private:
    void Set(T* other)
    {
        ref_ = other;
        counter_ = other != nullptr ? other->GetRefCounter() : nullptr;
        if (counter_ != nullptr) {
            counter_->IncWeak();
        }
    }
    void Reset()
    {
        if (counter_ != nullptr) {
            RefCounter::DecWeak(counter_);
        }
        counter_ = nullptr;
        ref_ = nullptr;
    }
    T* ref_ = nullptr;
    RefCounter* counter_ = nullptr;
};

} // namespace OHOS

#endif // PLATFORM_UTILS_REFBASE_H
