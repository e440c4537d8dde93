// The interface side of an IPC object: a typed API over an IRemoteObject.
#ifndef PLATFORM_IPC_IREMOTE_BROKER_H
#define PLATFORM_IPC_IREMOTE_BROKER_H

#include "iremote_object.h"
#include "refbase.h"

namespace OHOS {

class IRemoteBroker : public virtual RefBase {
public:
    IRemoteBroker() = default;
    ~IRemoteBroker() override = default;
    virtual sptr<IRemoteObject> AsObject() = 0;
};

#define DECLARE_INTERFACE_DESCRIPTOR(DESCRIPTOR)             \
    static const std::u16string& GetDescriptor()             \
    {                                                        \
        static const std::u16string descriptor = DESCRIPTOR; \
        return descriptor;                                   \
    }

} // namespace OHOS

#endif // PLATFORM_IPC_IREMOTE_BROKER_H
