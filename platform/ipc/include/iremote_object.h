// An object that can be reached through IPC: either a local stub, which
// handles requests itself, or a proxy, which forwards them to another process.
#ifndef PLATFORM_IPC_IREMOTE_OBJECT_H
#define PLATFORM_IPC_IREMOTE_OBJECT_H

#include <cstdint>
#include <string>
#include <vector>

#include "message_option.h"
#include "parcelable.h"
#include "refbase.h"

namespace OHOS {

class MessageParcel;
class IRemoteBroker;

class IRemoteObject : public virtual Parcelable {
public:
    // Told when the process behind a proxy goes away.
    class DeathRecipient : public virtual RefBase {
    public:
        virtual void OnRemoteDied(const wptr<IRemoteObject>& object) = 0;
    };

    explicit IRemoteObject(std::u16string descriptor = u"") : descriptor_(std::move(descriptor)) {}

    virtual int32_t GetObjectRefCount() = 0;
    virtual int SendRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) = 0;
    virtual bool IsProxyObject() const { return true; }
    virtual bool IsObjectDead() const { return false; }
    virtual std::u16string GetInterfaceDescriptor() { return descriptor_; }
    virtual bool CheckObjectLegality() const { return false; }
    virtual bool AddDeathRecipient(const sptr<DeathRecipient>& recipient) = 0;
    virtual bool RemoveDeathRecipient(const sptr<DeathRecipient>& recipient) = 0;
    bool Marshalling(Parcel& parcel) const override;
    virtual sptr<IRemoteBroker> AsInterface();
    virtual int Dump(int fd, const std::vector<std::u16string>& args) = 0;
    ~IRemoteObject() override = default;

protected:
    const std::u16string descriptor_;
};

} // namespace OHOS

#endif // PLATFORM_IPC_IREMOTE_OBJECT_H
