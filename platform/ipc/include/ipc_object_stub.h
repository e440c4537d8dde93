// The local end of an IPC object: requests sent to it run OnRemoteRequest.
#ifndef PLATFORM_IPC_IPC_OBJECT_STUB_H
#define PLATFORM_IPC_IPC_OBJECT_STUB_H

#include "iremote_object.h"

namespace OHOS {

class IPCObjectStub : public IRemoteObject {
public:
    enum { OBJECT_TYPE_NATIVE = 0 };

    explicit IPCObjectStub(std::u16string descriptor = u"");
    ~IPCObjectStub() override;

    int32_t GetObjectRefCount() override;
    // A request sent to a local object is handled at once on the calling thread.
    int SendRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;
    bool IsProxyObject() const override { return false; }
    bool IsObjectDead() const override { return false; }
    bool CheckObjectLegality() const override { return true; }
    bool AddDeathRecipient(const sptr<DeathRecipient>& recipient) override;
    bool RemoveDeathRecipient(const sptr<DeathRecipient>& recipient) override;
    int Dump(int fd, const std::vector<std::u16string>& args) override;

    virtual int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option);
    void OnFirstStrongRef(const void* objectId) override;
    void OnLastStrongRef(const void* objectId) override;
    virtual int OnRemoteDump(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option);
    virtual int32_t ProcessProto(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option);
    virtual int GetObjectType() const { return OBJECT_TYPE_NATIVE; }
    virtual int32_t GetAndSaveDBinderData(int pid, int uid)
    {
        (void)pid;
        (void)uid;
        return 0;
    }
};

} // namespace OHOS

#endif // PLATFORM_IPC_IPC_OBJECT_STUB_H
