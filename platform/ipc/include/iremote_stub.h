// A stub that is at the same time the interface it serves.
#ifndef PLATFORM_IPC_IREMOTE_STUB_H
#define PLATFORM_IPC_IREMOTE_STUB_H

#include "iremote_broker.h"
#include "ipc_object_stub.h"

namespace OHOS {

template <typename INTERFACE>
class IRemoteStub : public IPCObjectStub, public INTERFACE {
public:
    IRemoteStub() : IPCObjectStub(INTERFACE::GetDescriptor()) {}
    ~IRemoteStub() override = default;
    sptr<IRemoteObject> AsObject() override { return this; }
    sptr<IRemoteBroker> AsInterface() override { return this; }
};

} // namespace OHOS

#endif // PLATFORM_IPC_IREMOTE_STUB_H
