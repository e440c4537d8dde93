#include "parcel.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <limits>

namespace OHOS {

namespace {

constexpr size_t kSlot = 4; // every item starts on a 4-byte boundary
constexpr size_t kFirstReserve = 512;

template <typename Narrow, typename Wide>
bool FitsIn(Wide value)
{
    return value >= static_cast<Wide>(std::numeric_limits<Narrow>::min()) &&
        value <= static_cast<Wide>(std::numeric_limits<Narrow>::max());
}

} // namespace

Parcel::Parcel() = default;

Parcel::~Parcel() = default;

bool Parcel::SetMaxCapacity(size_t capacity)
{
    if (capacity < data_.size()) {
        return false;
    }
    maxCapacity_ = capacity;
    return true;
}

bool Parcel::RewindRead(size_t position)
{
    if (position > data_.size() || position % kSlot != 0) {
        return false;
    }
    readPos_ = position;
    return true;
}

bool Parcel::RewindWrite(size_t position)
{
    if (position > data_.size() || position % kSlot != 0) {
        return false;
    }
    data_.resize(position);
    if (readPos_ > position) {
        readPos_ = position;
    }
    return true;
}

void Parcel::ClearData()
{
    data_.clear();
    readPos_ = 0;
}

bool Parcel::SetData(const uint8_t* data, size_t size)
{
    if (size > maxCapacity_ || size % kSlot != 0 || (size > 0 && data == nullptr)) {
        return false;
    }
    data_.assign(data, data + size);
    readPos_ = 0;
    return true;
}

bool Parcel::CanWrite(size_t total) const
{
    return total <= maxCapacity_ && data_.size() <= maxCapacity_ - total;
}

bool Parcel::WriteAligned(const void* data, size_t size)
{
    size_t padded = PaddedSize(size);
    if (padded < size || !CanWrite(padded)) {
        return false;
    }
    size_t at = data_.size();
    if (data_.capacity() - at < padded) {
        // Room for this item and what usually follows, so that a record is
        // not copied again at every few items it grows by.
        data_.reserve(std::max({at + padded, 2 * data_.capacity(), kFirstReserve}));
    }
    // The bytes, then zeros up to the slot boundary: each byte written once.
    const auto* bytes = static_cast<const uint8_t*>(data);
    if (size > 0) {
        data_.insert(data_.end(), bytes, bytes + size);
    }
    data_.insert(data_.end(), padded - size, 0);
    return true;
}

const uint8_t* Parcel::Peek(size_t size) const
{
    size_t padded = PaddedSize(size);
    if (padded < size || readPos_ > data_.size() || data_.size() - readPos_ < padded) {
        return nullptr;
    }
    // An empty vector may have no storage; a zero-byte read still succeeds.
    static const uint8_t kNothing = 0;
    return data_.empty() ? &kNothing : data_.data() + readPos_;
}

bool Parcel::ReadAligned(void* out, size_t size)
{
    const uint8_t* at = Peek(size);
    if (at == nullptr) {
        return false;
    }
    if (size > 0) {
        std::memcpy(out, at, size);
    }
    readPos_ += PaddedSize(size);
    return true;
}

bool Parcel::ReadCount(size_t elementSize, size_t& count)
{
    size_t start = readPos_;
    int32_t declared = 0;
    if (!ReadAligned(&declared, sizeof(declared))) {
        return false;
    }
    size_t remaining = data_.size() - readPos_;
    if (declared < 0 || static_cast<size_t>(declared) > remaining / elementSize ||
        PaddedSize(static_cast<size_t>(declared) * elementSize) > remaining) {
        readPos_ = start;
        return false;
    }
    count = static_cast<size_t>(declared);
    return true;
}

// Narrow values travel widened to 32 bits so that every item keeps the
// 4-byte slot layout.
bool Parcel::WriteBool(bool value)
{
    return WriteInt32(value ? 1 : 0);
}
bool Parcel::WriteInt8(int8_t value)
{
    return WriteInt32(value);
}
bool Parcel::WriteInt16(int16_t value)
{
    return WriteInt32(value);
}
bool Parcel::WriteInt32(int32_t value)
{
    return WriteAligned(&value, sizeof(value));
}
bool Parcel::WriteInt64(int64_t value)
{
    return WriteAligned(&value, sizeof(value));
}
bool Parcel::WriteUint8(uint8_t value)
{
    return WriteUint32(value);
}
bool Parcel::WriteUint16(uint16_t value)
{
    return WriteUint32(value);
}
bool Parcel::WriteUint32(uint32_t value)
{
    return WriteAligned(&value, sizeof(value));
}
bool Parcel::WriteUint64(uint64_t value)
{
    return WriteAligned(&value, sizeof(value));
}
bool Parcel::WriteFloat(float value)
{
    return WriteAligned(&value, sizeof(value));
}
bool Parcel::WriteDouble(double value)
{
    return WriteAligned(&value, sizeof(value));
}

bool Parcel::WriteString(const std::string& value)
{
    if (value.size() > static_cast<size_t>(INT32_MAX) || !CanWrite(kSlot + PaddedSize(value.size()))) {
        return false;
    }
    WriteInt32(static_cast<int32_t>(value.size()));
    return WriteAligned(value.data(), value.size());
}

bool Parcel::WriteString16(const std::u16string& value)
{
    if (value.size() > static_cast<size_t>(INT32_MAX) / sizeof(char16_t) ||
        !CanWrite(kSlot + PaddedSize(value.size() * sizeof(char16_t)))) {
        return false;
    }
    WriteInt32(static_cast<int32_t>(value.size()));
    return WriteAligned(value.data(), value.size() * sizeof(char16_t));
}

bool Parcel::WriteUInt16Vector(const std::vector<uint16_t>& value)
{
    if (value.size() > static_cast<size_t>(INT32_MAX) / sizeof(uint16_t) ||
        !CanWrite(kSlot + PaddedSize(value.size() * sizeof(uint16_t)))) {
        return false;
    }
    WriteInt32(static_cast<int32_t>(value.size()));
    return WriteAligned(value.data(), value.size() * sizeof(uint16_t));
}

bool Parcel::WriteInt32Vector(const std::vector<int32_t>& value)
{
    if (value.size() > static_cast<size_t>(INT32_MAX) / sizeof(int32_t) ||
        !CanWrite(kSlot + value.size() * sizeof(int32_t))) {
        return false;
    }
    WriteInt32(static_cast<int32_t>(value.size()));
    return WriteAligned(value.data(), value.size() * sizeof(int32_t));
}

bool Parcel::WriteBuffer(const void* data, size_t size)
{
    if (size > 0 && data == nullptr) {
        return false;
    }
    return WriteAligned(data, size);
}

bool Parcel::WriteParcelable(const Parcelable* object)
{
    if (object == nullptr) {
        return WriteInt32(0);
    }
    size_t start = data_.size();
    if (!WriteInt32(1) || !object->Marshalling(*this)) {
        data_.resize(start);
        return false;
    }
    return true;
}

bool Parcel::ReadBool(bool& value)
{
    size_t start = readPos_;
    int32_t raw = 0;
    if (!ReadInt32(raw)) {
        return false;
    }
    if (raw != 0 && raw != 1) {
        readPos_ = start;
        return false;
    }
    value = raw == 1;
    return true;
}

namespace {

// Reads a widened value and checks that it fits the narrow type.
template <typename Narrow, typename Wide, typename ReadWide>
bool ReadNarrow(size_t& pos, Narrow& value, ReadWide readWide)
{
    size_t start = pos;
    Wide raw = 0;
    if (!readWide(raw)) {
        return false;
    }
    if (!FitsIn<Narrow>(raw)) {
        pos = start;
        return false;
    }
    value = static_cast<Narrow>(raw);
    return true;
}

} // namespace

bool Parcel::ReadInt8(int8_t& value)
{
    return ReadNarrow<int8_t, int32_t>(readPos_, value, [this](int32_t& raw) { return ReadInt32(raw); });
}

bool Parcel::ReadInt16(int16_t& value)
{
    return ReadNarrow<int16_t, int32_t>(readPos_, value, [this](int32_t& raw) { return ReadInt32(raw); });
}

bool Parcel::ReadUint8(uint8_t& value)
{
    return ReadNarrow<uint8_t, uint32_t>(readPos_, value, [this](uint32_t& raw) { return ReadUint32(raw); });
}

bool Parcel::ReadUint16(uint16_t& value)
{
    return ReadNarrow<uint16_t, uint32_t>(readPos_, value, [this](uint32_t& raw) { return ReadUint32(raw); });
}

bool Parcel::ReadInt32(int32_t& value)
{
    return ReadAligned(&value, sizeof(value));
}
bool Parcel::ReadInt64(int64_t& value)
{
    return ReadAligned(&value, sizeof(value));
}
bool Parcel::ReadUint32(uint32_t& value)
{
    return ReadAligned(&value, sizeof(value));
}
bool Parcel::ReadUint64(uint64_t& value)
{
    return ReadAligned(&value, sizeof(value));
}
bool Parcel::ReadFloat(float& value)
{
    return ReadAligned(&value, sizeof(value));
}
bool Parcel::ReadDouble(double& value)
{
    return ReadAligned(&value, sizeof(value));
}

bool Parcel::ReadString(std::string& value)
{
    size_t start = readPos_;
    size_t count = 0;
    if (!ReadCount(sizeof(char), count)) {
        return false;
    }
    const uint8_t* bytes = Peek(count);
    if (bytes == nullptr) {
        readPos_ = start;
        return false;
    }
    value.assign(reinterpret_cast<const char*>(bytes), count);
    readPos_ += PaddedSize(count);
    return true;
}

bool Parcel::ReadString16(std::u16string& value)
{
    size_t start = readPos_;
    size_t count = 0;
    if (!ReadCount(sizeof(char16_t), count)) {
        return false;
    }
    std::u16string result(count, u'\0');
    if (!ReadAligned(result.data(), count * sizeof(char16_t))) {
        readPos_ = start;
        return false;
    }
    value = std::move(result);
    return true;
}

bool Parcel::ReadUInt16Vector(std::vector<uint16_t>& value)
{
    size_t start = readPos_;
    size_t count = 0;
    if (!ReadCount(sizeof(uint16_t), count)) {
        return false;
    }
    std::vector<uint16_t> result(count);
    if (!ReadAligned(result.data(), count * sizeof(uint16_t))) {
        readPos_ = start;
        return false;
    }
    value = std::move(result);
    return true;
}

bool Parcel::ReadInt32Vector(std::vector<int32_t>& value)
{
    size_t start = readPos_;
    size_t count = 0;
    if (!ReadCount(sizeof(int32_t), count)) {
        return false;
    }
    std::vector<int32_t> result(count);
    if (!ReadAligned(result.data(), count * sizeof(int32_t))) {
        readPos_ = start;
        return false;
    }
    value = std::move(result);
    return true;
}

const uint8_t* Parcel::ReadBuffer(size_t size)
{
    const uint8_t* at = Peek(size);
    if (at == nullptr) {
        return nullptr;
    }
    readPos_ += PaddedSize(size);
    return at;
}

namespace {

template <typename T, typename Read>
T ReadOrZero(Read read)
{
    T value{};
    return read(value) ? value : T{};
}

} // namespace

bool Parcel::ReadBool()
{
    return ReadOrZero<bool>([this](bool& v) { return ReadBool(v); });
}
int8_t Parcel::ReadInt8()
{
    return ReadOrZero<int8_t>([this](int8_t& v) { return ReadInt8(v); });
}
int16_t Parcel::ReadInt16()
{
    return ReadOrZero<int16_t>([this](int16_t& v) { return ReadInt16(v); });
}
int32_t Parcel::ReadInt32()
{
    return ReadOrZero<int32_t>([this](int32_t& v) { return ReadInt32(v); });
}
int64_t Parcel::ReadInt64()
{
    return ReadOrZero<int64_t>([this](int64_t& v) { return ReadInt64(v); });
}
uint8_t Parcel::ReadUint8()
{
    return ReadOrZero<uint8_t>([this](uint8_t& v) { return ReadUint8(v); });
}
uint16_t Parcel::ReadUint16()
{
    return ReadOrZero<uint16_t>([this](uint16_t& v) { return ReadUint16(v); });
}
uint32_t Parcel::ReadUint32()
{
    return ReadOrZero<uint32_t>([this](uint32_t& v) { return ReadUint32(v); });
}
uint64_t Parcel::ReadUint64()
{
    return ReadOrZero<uint64_t>([this](uint64_t& v) { return ReadUint64(v); });
}
float Parcel::ReadFloat()
{
    return ReadOrZero<float>([this](float& v) { return ReadFloat(v); });
}
double Parcel::ReadDouble()
{
    return ReadOrZero<double>([this](double& v) { return ReadDouble(v); });
}
std::string Parcel::ReadString()
{
    return ReadOrZero<std::string>([this](std::string& v) { return ReadString(v); });
}
std::u16string Parcel::ReadString16()
{
    return ReadOrZero<std::u16string>([this](std::u16string& v) { return ReadString16(v); });
}

} // namespace OHOS
