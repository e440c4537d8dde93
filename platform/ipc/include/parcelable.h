// An object that can write itself into a parcel.
#ifndef PLATFORM_IPC_PARCELABLE_H
#define PLATFORM_IPC_PARCELABLE_H

#include "refbase.h"

namespace OHOS {

class Parcel;

class Parcelable : public virtual RefBase {
public:
    ~Parcelable() override = default;
    virtual bool Marshalling(Parcel& parcel) const = 0;
};

} // namespace OHOS

#endif // PLATFORM_IPC_PARCELABLE_H
