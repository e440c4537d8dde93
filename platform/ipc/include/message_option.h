// Options of one IPC transaction: synchronous (with a reply) or one-way.
#ifndef PLATFORM_IPC_MESSAGE_OPTION_H
#define PLATFORM_IPC_MESSAGE_OPTION_H

namespace OHOS {

class MessageOption {
public:
    enum {
        TF_SYNC = 0x00,
        TF_ASYNC = 0x01,
    };
    explicit MessageOption(int flags = TF_SYNC) : flags_(flags) {}
    int GetFlags() const { return flags_; }
    void SetFlags(int flags) { flags_ = flags; }

private:
    int flags_;
};

} // namespace OHOS

#endif // PLATFORM_IPC_MESSAGE_OPTION_H
