#include "ipc_object_stub.h"

#include "iremote_broker.h"

namespace OHOS {

// Remote-object references are written by the transport that carries the
// parcel; a plain object cannot marshal itself.
bool IRemoteObject::Marshalling(Parcel&) const
{
    return false;
}

sptr<IRemoteBroker> IRemoteObject::AsInterface()
{
    return nullptr;
}

IPCObjectStub::IPCObjectStub(std::u16string descriptor) : IRemoteObject(std::move(descriptor)) {}

IPCObjectStub::~IPCObjectStub() = default;

int32_t IPCObjectStub::GetObjectRefCount()
{
    return GetSptrRefCount();
}

int IPCObjectStub::SendRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option)
{
    return OnRemoteRequest(code, data, reply, option);
}

bool IPCObjectStub::AddDeathRecipient(const sptr<DeathRecipient>&)
{
    return false; // a local object does not die apart from this process
}

bool IPCObjectStub::RemoveDeathRecipient(const sptr<DeathRecipient>&)
{
    return false;
}

int IPCObjectStub::Dump(int, const std::vector<std::u16string>&)
{
    return 0;
}

int IPCObjectStub::OnRemoteRequest(uint32_t, MessageParcel&, MessageParcel&, MessageOption&)
{
    return -1; // unknown transaction
}

void IPCObjectStub::OnFirstStrongRef(const void*) {}

void IPCObjectStub::OnLastStrongRef(const void*) {}

int IPCObjectStub::OnRemoteDump(uint32_t, MessageParcel&, MessageParcel&, MessageOption&)
{
    return 0;
}

int32_t IPCObjectStub::ProcessProto(uint32_t, MessageParcel&, MessageParcel&, MessageOption&)
{
    return 0;
}

} // namespace OHOS
