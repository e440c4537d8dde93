#include "alloc_probe.h"

#include <cstdlib>
#include <new>

namespace {

thread_local bool tProbing = false;
thread_local size_t tLargest = 0;

void* Allocate(size_t size)
{
    if (tProbing && size > tLargest) {
        tLargest = size;
    }
    void* p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}

} // namespace

void* operator new(size_t size)
{
    return Allocate(size);
}
void* operator new[](size_t size)
{
    return Allocate(size);
}
void operator delete(void* p) noexcept
{
    std::free(p);
}
void operator delete[](void* p) noexcept
{
    std::free(p);
}
void operator delete(void* p, size_t) noexcept
{
    std::free(p);
}
void operator delete[](void* p, size_t) noexcept
{
    std::free(p);
}

namespace OHOS {

AllocProbe::AllocProbe()
{
    tProbing = true;
    tLargest = 0;
}

AllocProbe::~AllocProbe()
{
    tProbing = false;
}

size_t AllocProbe::Largest() const
{
    return tLargest;
}

} // namespace OHOS
