// A bounds-checked byte container for IPC data.
//
// Layout: every item starts at a 4-byte boundary and takes a multiple of four
// bytes. Values are stored in host byte order (both ends of a Unix-domain
// socket share one host):
//   bool, int8, int16, uint8, uint16   4 bytes, widened to 32 bits
//   int32, uint32, float               4 bytes
//   int64, uint64, double              8 bytes
//   std::string                        int32 byte count, the bytes, zero padding
//   std::u16string, vector<uint16_t>   int32 unit count, 2 bytes per unit, padding
//   vector<int32_t>                    int32 count, 4 bytes per element
//   raw buffer                         the bytes and padding; the length is not written
//
// Reads: every read checks that the item lies inside the written data, and a
// read that fails leaves the read position where it was. Narrow integers and
// bools must hold a value of their type (a bool is 0 or 1), so a mis-ordered
// read fails instead of truncating. Counts above INT32_MAX or above what the
// remaining bytes can hold are refused before anything is allocated.
//
// Writes: a write that would take the data beyond the capacity (default
// kDefaultParcelCapacity) fails and leaves the parcel unchanged.
//
// Threads: a parcel is not synchronized; one thread at a time may use it.
#ifndef PLATFORM_IPC_PARCEL_H
#define PLATFORM_IPC_PARCEL_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ipc_limits.h"
#include "parcelable.h"

namespace OHOS {

class Parcel {
public:
    Parcel();
    virtual ~Parcel();
    Parcel(const Parcel&) = default;
    Parcel& operator=(const Parcel&) = default;
    Parcel(Parcel&&) noexcept = default;
    Parcel& operator=(Parcel&&) noexcept = default;

    // Bytes written so far, and where the next read and write happen.
    size_t GetDataSize() const { return data_.size(); }
    size_t GetReadPosition() const { return readPos_; }
    size_t GetWritePosition() const { return data_.size(); }
    size_t GetReadableBytes() const { return data_.size() - readPos_; }
    const uint8_t* GetData() const { return data_.data(); }

    // Largest number of bytes the parcel may hold. Refused (false) below the
    // bytes already written.
    bool SetMaxCapacity(size_t capacity);
    size_t GetMaxCapacity() const { return maxCapacity_; }

    // Moves the read position; false if beyond the data or not 4-byte aligned.
    bool RewindRead(size_t position);
    // Drops everything written at and after position (4-byte aligned).
    bool RewindWrite(size_t position);
    // Empties the parcel; the capacity stays.
    void ClearData();
    // Replaces the contents with a copy of size bytes (a multiple of four),
    // read position at the start. False, parcel unchanged, if too large or
    // misaligned.
    bool SetData(const uint8_t* data, size_t size);

    bool WriteBool(bool value);
    bool WriteInt8(int8_t value);
    bool WriteInt16(int16_t value);
    bool WriteInt32(int32_t value);
    bool WriteInt64(int64_t value);
    bool WriteUint8(uint8_t value);
    bool WriteUint16(uint16_t value);
    bool WriteUint32(uint32_t value);
    bool WriteUint64(uint64_t value);
    bool WriteFloat(float value);
    bool WriteDouble(double value);
    bool WriteString(const std::string& value);
    bool WriteString16(const std::u16string& value);
    bool WriteUInt16Vector(const std::vector<uint16_t>& value);
    bool WriteInt32Vector(const std::vector<int32_t>& value);
    // Raw bytes, padded to four; the reader must know the length.
    bool WriteBuffer(const void* data, size_t size);
    // A Parcelable: an int32 presence flag (1 or 0 for null), then what its
    // Marshalling writes. On failure the parcel is restored.
    bool WriteParcelable(const Parcelable* object);

    bool ReadBool(bool& value);
    bool ReadInt8(int8_t& value);
    bool ReadInt16(int16_t& value);
    bool ReadInt32(int32_t& value);
    bool ReadInt64(int64_t& value);
    bool ReadUint8(uint8_t& value);
    bool ReadUint16(uint16_t& value);
    bool ReadUint32(uint32_t& value);
    bool ReadUint64(uint64_t& value);
    bool ReadFloat(float& value);
    bool ReadDouble(double& value);
    bool ReadString(std::string& value);
    bool ReadString16(std::u16string& value);
    bool ReadUInt16Vector(std::vector<uint16_t>& value);
    bool ReadInt32Vector(std::vector<int32_t>& value);
    // Points into the parcel at size bytes (padding skipped); valid until the
    // parcel is next written or cleared. Null on failure.
    const uint8_t* ReadBuffer(size_t size);

    // The same reads returning the value, or 0 / empty on failure.
    bool ReadBool();
    int8_t ReadInt8();
    int16_t ReadInt16();
    int32_t ReadInt32();
    int64_t ReadInt64();
    uint8_t ReadUint8();
    uint16_t ReadUint16();
    uint32_t ReadUint32();
    uint64_t ReadUint64();
    float ReadFloat();
    double ReadDouble();
    std::string ReadString();
    std::u16string ReadString16();

    // Reads what WriteParcelable wrote through T::Unmarshalling(Parcel&),
    // which returns a new T or null. A written null is consumed and gives
    // null; on failure the result is null and the position is restored.
    template <typename T>
    T* ReadParcelable()
    {
        size_t start = readPos_;
        int32_t present = 0;
        if (!ReadInt32(present) || (present != 0 && present != 1)) {
            readPos_ = start;
            return nullptr;
        }
        if (present == 0) {
            return nullptr;
        }
        T* object = T::Unmarshalling(*this);
        if (object == nullptr) {
            readPos_ = start;
        }
        return object;
    }

    // Bytes an item of size bytes takes with its padding.
    static constexpr size_t PaddedSize(size_t size) { return (size + 3) & ~static_cast<size_t>(3); }

protected:
    // Appends size bytes and zero padding; false, nothing written, if the
    // capacity would be passed.
    bool WriteAligned(const void* data, size_t size);
    // Reserves room for a write of total bytes; false if it would not fit.
    bool CanWrite(size_t total) const;
    // Copies size bytes at the read position and advances past the padding.
    bool ReadAligned(void* out, size_t size);
    // The data at the read position if size padded bytes remain, else null.
    const uint8_t* Peek(size_t size) const;
    // Reads an item count for elements of elementSize bytes: non-negative and
    // small enough that count * elementSize (padded) remains after it.
    bool ReadCount(size_t elementSize, size_t& count);

private:
    std::vector<uint8_t> data_;
    size_t readPos_ = 0;
    size_t maxCapacity_ = kDefaultParcelCapacity;
};

} // namespace OHOS

#endif // PLATFORM_IPC_PARCEL_H
