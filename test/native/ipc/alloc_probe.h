// Records the largest single heap allocation the current thread makes while
// a probe is alive, through a replacement of the global operator new in the
// test binary. Used to show that hostile lengths are refused before memory
// is reserved for them.
#ifndef TEST_NATIVE_IPC_ALLOC_PROBE_H
#define TEST_NATIVE_IPC_ALLOC_PROBE_H

#include <cstddef>

namespace OHOS {

class AllocProbe {
public:
    AllocProbe();
    ~AllocProbe();
    size_t Largest() const;
};

} // namespace OHOS

#endif // TEST_NATIVE_IPC_ALLOC_PROBE_H
