// Options of one IPC transaction: synchronous (with a reply) or one-way, and
// how long a synchronous call waits for its reply (0: the transport default,
// kDefaultSyncTimeoutMs).
// Threads: not synchronized; used by the thread that makes the call.
#ifndef PLATFORM_IPC_MESSAGE_OPTION_H
#define PLATFORM_IPC_MESSAGE_OPTION_H

#include <cstdint>

namespace OHOS {

class MessageOption {
public:
    enum {
        TF_SYNC = 0x00,
        TF_ASYNC = 0x01,
    };
    static constexpr int kMaxWaitSeconds = 1000000;
    explicit MessageOption(int flags = TF_SYNC) : flags_(flags) {}
    int GetFlags() const { return flags_; }
    void SetFlags(int flags) { flags_ = flags; }
    void SetWaitTime(int seconds)
    {
        waitTimeMs_ = seconds <= 0 ? 0 : (seconds > kMaxWaitSeconds ? kMaxWaitSeconds : seconds) * 1000;
    }
    int GetWaitTime() const { return waitTimeMs_ / 1000; }
    void SetWaitTimeMs(int milliseconds) { waitTimeMs_ = milliseconds > 0 ? milliseconds : 0; }
    int GetWaitTimeMs() const { return waitTimeMs_; }
    // One-way calls without objects only: a non-zero key lets this call
    // replace an earlier call of the same object and key that still waits to
    // be written (the peer reads slower than calls come), so that only the
    // latest one goes out. 0: every call goes out.
    void SetSupersedeKey(uint64_t key) { supersedeKey_ = key; }
    uint64_t GetSupersedeKey() const { return supersedeKey_; }

private:
    int flags_;
    int waitTimeMs_ = 0;
    uint64_t supersedeKey_ = 0;
};

} // namespace OHOS

#endif // PLATFORM_IPC_MESSAGE_OPTION_H
