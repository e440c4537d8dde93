// The bytes a parcel would take, without the parcel: ParcelSizer has the
// writing members of Parcel (and MessageParcel's interface token) that the
// record codecs use, and keeps only the count, with the same 4-byte slots,
// the same padding and the same capacity rule, so a write through it
// succeeds exactly when the same write into an empty MessageParcel would.
//
// Threads: one thread at a time per sizer; no shared state.
#ifndef PROTOCOL_PARCEL_SIZER_H
#define PROTOCOL_PARCEL_SIZER_H

#include <climits>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "parcel.h"

namespace OHOS::NavigationInfoService {

class ParcelSizer {
public:
    explicit ParcelSizer(size_t maxCapacity = kDefaultParcelCapacity) : maxCapacity_(maxCapacity) {}

    size_t GetDataSize() const { return size_; }
    size_t GetWritePosition() const { return size_; }
    bool RewindWrite(size_t position)
    {
        if (position > size_) {
            return false;
        }
        size_ = position;
        return true;
    }

    bool WriteBool(bool) { return Take(SLOT); }
    bool WriteInt32(int32_t) { return Take(SLOT); }
    bool WriteUint16(uint16_t) { return Take(SLOT); }
    bool WriteUint32(uint32_t) { return Take(SLOT); }
    bool WriteInt64(int64_t) { return Take(sizeof(int64_t)); }
    bool WriteUint64(uint64_t) { return Take(sizeof(uint64_t)); }
    bool WriteDouble(double) { return Take(sizeof(double)); }
    bool WriteString(const std::string& value)
    {
        return value.size() <= static_cast<size_t>(INT32_MAX) && Take(SLOT + Parcel::PaddedSize(value.size()));
    }
    bool WriteString16(const std::u16string& value)
    {
        return value.size() <= static_cast<size_t>(INT32_MAX) / sizeof(char16_t) &&
            Take(SLOT + Parcel::PaddedSize(value.size() * sizeof(char16_t)));
    }
    bool WriteInterfaceToken(const std::u16string& name) { return WriteString16(name); }
    bool WriteUInt16Vector(const std::vector<uint16_t>& value)
    {
        return value.size() <= static_cast<size_t>(INT32_MAX) / sizeof(uint16_t) &&
            Take(SLOT + Parcel::PaddedSize(value.size() * sizeof(uint16_t)));
    }

private:
    static constexpr size_t SLOT = 4;

    bool Take(size_t bytes)
    {
        if (bytes > maxCapacity_ || size_ > maxCapacity_ - bytes) {
            return false;
        }
        size_ += bytes;
        return true;
    }

    size_t size_ = 0;
    size_t maxCapacity_;
};

} // namespace OHOS::NavigationInfoService

#endif // PROTOCOL_PARCEL_SIZER_H
