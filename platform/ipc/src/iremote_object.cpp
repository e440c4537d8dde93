#include "iremote_object.h"

#include "iremote_broker.h"

namespace OHOS {

// Remote-object references travel in a MessageParcel's object table
// (MessageParcel::WriteRemoteObject); a plain Parcel cannot carry them.
bool IRemoteObject::Marshalling(Parcel&) const
{
    return false;
}

sptr<IRemoteBroker> IRemoteObject::AsInterface()
{
    return nullptr;
}

} // namespace OHOS
