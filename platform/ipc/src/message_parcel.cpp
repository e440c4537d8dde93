#include "message_parcel.h"

#include <climits>

namespace OHOS {

MessageParcel::MessageParcel() = default;

MessageParcel::~MessageParcel() = default;

bool MessageParcel::WriteInterfaceToken(const std::u16string& name)
{
    return WriteString16(name);
}

std::u16string MessageParcel::ReadInterfaceToken()
{
    return ReadString16();
}

bool MessageParcel::WriteRemoteObject(const sptr<IRemoteObject>& object)
{
    if (object == nullptr || objects_.size() >= kMaxObjectsPerParcel || !CanWrite(2 * sizeof(uint32_t))) {
        return false;
    }
    WriteUint32(kObjectMarker);
    WriteUint32(static_cast<uint32_t>(objects_.size()));
    objects_.push_back(object);
    return true;
}

sptr<IRemoteObject> MessageParcel::ReadRemoteObject()
{
    size_t start = GetReadPosition();
    uint32_t marker = 0;
    uint32_t index = 0;
    if (!ReadUint32(marker) || marker != kObjectMarker || !ReadUint32(index) || index >= objects_.size()) {
        RewindRead(start);
        return nullptr;
    }
    return objects_[index];
}

bool MessageParcel::WriteRawData(const void* data, size_t size)
{
    if (size > static_cast<size_t>(INT32_MAX) || (size > 0 && data == nullptr) ||
        !CanWrite(sizeof(int32_t) + PaddedSize(size))) {
        return false;
    }
    WriteInt32(static_cast<int32_t>(size));
    return WriteBuffer(data, size);
}

const void* MessageParcel::ReadRawData(size_t size)
{
    size_t start = GetReadPosition();
    int32_t written = 0;
    if (!ReadInt32(written) || written < 0 || static_cast<size_t>(written) != size) {
        RewindRead(start);
        return nullptr;
    }
    const uint8_t* at = ReadBuffer(size);
    if (at == nullptr) {
        RewindRead(start);
    }
    return at;
}

bool MessageParcel::SetObjects(std::vector<sptr<IRemoteObject>> objects)
{
    if (objects.size() > kMaxObjectsPerParcel) {
        return false;
    }
    objects_ = std::move(objects);
    return true;
}

void MessageParcel::ClearAll()
{
    ClearData();
    objects_.clear();
}

} // namespace OHOS
