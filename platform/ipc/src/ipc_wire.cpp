#include "ipc_wire.h"

#include <cstring>

namespace OHOS::IpcWire {

namespace {

void Put16(uint8_t* out, uint16_t v)
{
    out[0] = static_cast<uint8_t>(v);
    out[1] = static_cast<uint8_t>(v >> 8);
}

void Put32(uint8_t* out, uint32_t v)
{
    for (int i = 0; i < 4; ++i) {
        out[i] = static_cast<uint8_t>(v >> (8 * i));
    }
}

void Put64(uint8_t* out, uint64_t v)
{
    for (int i = 0; i < 8; ++i) {
        out[i] = static_cast<uint8_t>(v >> (8 * i));
    }
}

uint16_t Get16(const uint8_t* in)
{
    return static_cast<uint16_t>(in[0] | (in[1] << 8));
}

uint32_t Get32(const uint8_t* in)
{
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i) {
        v = (v << 8) | in[i];
    }
    return v;
}

uint64_t Get64(const uint8_t* in)
{
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i) {
        v = (v << 8) | in[i];
    }
    return v;
}

// Offsets of the header fields.
constexpr size_t kOffMagic = 0;
constexpr size_t kOffVersion = 4;
constexpr size_t kOffType = 6;
constexpr size_t kOffFlags = 7;
constexpr size_t kOffTransaction = 8;
constexpr size_t kOffHandle = 16;
constexpr size_t kOffCode = 20;
constexpr size_t kOffPayload = 24;
constexpr size_t kOffObjects = 28;
static_assert(kOffObjects + 4 == kFrameHeaderSize, "header layout");

// The fields each frame type may carry.
DecodeStatus CheckFields(const FrameHeader& h)
{
    bool ok = false;
    switch (h.type) {
        case FrameType::HELLO: ok = h.transactionId == 0 && h.handle == 0 && h.objectCount == 0; break;
        case FrameType::HELLO_ACK:
            ok = h.transactionId == 0 && h.handle == 0 && h.payloadSize == 0 && h.objectCount == 0;
            break;
        case FrameType::TRANSACTION: ok = h.transactionId != 0; break;
        case FrameType::ONEWAY: ok = h.transactionId == 0; break;
        case FrameType::REPLY: ok = h.transactionId != 0 && h.handle == 0; break;
        case FrameType::RELEASE:
            ok = h.transactionId == 0 && h.code != 0 && h.payloadSize == 0 && h.objectCount == 0;
            break;
    }
    return ok ? DecodeStatus::OK : DecodeStatus::BAD_FIELDS;
}

bool KnownType(uint8_t type)
{
    return type >= static_cast<uint8_t>(FrameType::HELLO) && type <= static_cast<uint8_t>(FrameType::RELEASE);
}

} // namespace

const char* DecodeStatusName(DecodeStatus status)
{
    switch (status) {
        case DecodeStatus::OK: return "ok";
        case DecodeStatus::NEED_MORE: return "need more";
        case DecodeStatus::BAD_MAGIC: return "bad magic";
        case DecodeStatus::BAD_VERSION: return "bad version";
        case DecodeStatus::BAD_TYPE: return "bad type";
        case DecodeStatus::BAD_FLAGS: return "bad flags";
        case DecodeStatus::TOO_LARGE: return "too large";
        case DecodeStatus::BAD_FIELDS: return "bad fields";
        case DecodeStatus::BAD_OBJECT: return "bad object";
    }
    return "unknown";
}

void EncodeHeader(const FrameHeader& h, uint8_t* out)
{
    Put32(out + kOffMagic, kMagic);
    Put16(out + kOffVersion, kVersion);
    out[kOffType] = static_cast<uint8_t>(h.type);
    out[kOffFlags] = h.flags;
    Put64(out + kOffTransaction, h.transactionId);
    Put32(out + kOffHandle, h.handle);
    Put32(out + kOffCode, h.code);
    Put32(out + kOffPayload, h.payloadSize);
    Put32(out + kOffObjects, h.objectCount);
}

DecodeStatus DecodeHeader(const uint8_t* in, size_t size, FrameHeader& header)
{
    // Reject garbage as early as its first bytes show it, before waiting for more.
    static const uint8_t magicBytes[4] = {'N', 'I', 'P', 'C'};
    if (std::memcmp(in, magicBytes, size < 4 ? size : 4) != 0) {
        return DecodeStatus::BAD_MAGIC;
    }
    if (size < kFrameHeaderSize) {
        return DecodeStatus::NEED_MORE;
    }
    if (Get16(in + kOffVersion) != kVersion) {
        return DecodeStatus::BAD_VERSION;
    }
    if (!KnownType(in[kOffType])) {
        return DecodeStatus::BAD_TYPE;
    }
    if ((in[kOffFlags] & ~kKnownFlags) != 0) {
        return DecodeStatus::BAD_FLAGS;
    }
    FrameHeader h;
    h.type = static_cast<FrameType>(in[kOffType]);
    h.flags = in[kOffFlags];
    h.transactionId = Get64(in + kOffTransaction);
    h.handle = Get32(in + kOffHandle);
    h.code = Get32(in + kOffCode);
    h.payloadSize = Get32(in + kOffPayload);
    h.objectCount = Get32(in + kOffObjects);
    if (h.payloadSize > kMaxFramePayload || h.objectCount > kMaxObjectsPerParcel) {
        return DecodeStatus::TOO_LARGE;
    }
    if (h.payloadSize % 4 != 0) {
        return DecodeStatus::BAD_FIELDS;
    }
    DecodeStatus fields = CheckFields(h);
    if (fields != DecodeStatus::OK) {
        return fields;
    }
    header = h;
    return DecodeStatus::OK;
}

void EncodeObject(const WireObject& object, uint8_t* out)
{
    Put32(out, static_cast<uint32_t>(object.kind));
    Put32(out + 4, object.handle);
}

DecodeStatus DecodeObject(const uint8_t* in, WireObject& object)
{
    uint32_t kind = Get32(in);
    if (kind != static_cast<uint32_t>(ObjectKind::SENDER_HANDLE) &&
        kind != static_cast<uint32_t>(ObjectKind::RECEIVER_HANDLE)) {
        return DecodeStatus::BAD_OBJECT;
    }
    object.kind = static_cast<ObjectKind>(kind);
    object.handle = Get32(in + 4);
    return DecodeStatus::OK;
}

bool EncodeFrame(FrameHeader header, const uint8_t* payload, size_t payloadSize, const std::vector<WireObject>& objects,
    std::vector<uint8_t>& out)
{
    if (payloadSize > kMaxFramePayload || payloadSize % 4 != 0 || objects.size() > kMaxObjectsPerParcel ||
        (payloadSize > 0 && payload == nullptr)) {
        return false;
    }
    header.payloadSize = static_cast<uint32_t>(payloadSize);
    header.objectCount = static_cast<uint32_t>(objects.size());
    if (CheckFields(header) != DecodeStatus::OK || (header.flags & ~kKnownFlags) != 0) {
        return false;
    }
    out.resize(kFrameHeaderSize + payloadSize + objects.size() * kWireObjectSize);
    EncodeHeader(header, out.data());
    if (payloadSize > 0) {
        std::memcpy(out.data() + kFrameHeaderSize, payload, payloadSize);
    }
    uint8_t* at = out.data() + kFrameHeaderSize + payloadSize;
    for (const WireObject& object : objects) {
        EncodeObject(object, at);
        at += kWireObjectSize;
    }
    return true;
}

void FrameDecoder::Feed(const uint8_t* data, size_t size)
{
    if (failed_ != DecodeStatus::OK || size == 0) {
        return;
    }
    // Drop what earlier frames used before growing the buffer.
    if (consumed_ > 0) {
        buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(consumed_));
        consumed_ = 0;
    }
    buffer_.insert(buffer_.end(), data, data + size);
}

DecodeStatus FrameDecoder::Next(Frame& frame)
{
    if (failed_ != DecodeStatus::OK) {
        return failed_;
    }
    size_t available = buffer_.size() - consumed_;
    if (available == 0) {
        return DecodeStatus::NEED_MORE;
    }
    const uint8_t* at = buffer_.data() + consumed_;
    FrameHeader header;
    DecodeStatus status = DecodeHeader(at, available, header);
    if (status == DecodeStatus::NEED_MORE) {
        return status;
    }
    if (status != DecodeStatus::OK) {
        failed_ = status;
        return status;
    }
    size_t bodySize = header.payloadSize + static_cast<size_t>(header.objectCount) * kWireObjectSize;
    if (available - kFrameHeaderSize < bodySize) {
        return DecodeStatus::NEED_MORE;
    }
    const uint8_t* objectsAt = at + kFrameHeaderSize + header.payloadSize;
    std::vector<WireObject> objects(header.objectCount);
    for (uint32_t i = 0; i < header.objectCount; ++i) {
        status = DecodeObject(objectsAt + i * kWireObjectSize, objects[i]);
        if (status != DecodeStatus::OK) {
            failed_ = status;
            return status;
        }
    }
    frame.header = header;
    frame.payload.assign(at + kFrameHeaderSize, at + kFrameHeaderSize + header.payloadSize);
    frame.objects = std::move(objects);
    consumed_ += kFrameHeaderSize + bodySize;
    return DecodeStatus::OK;
}

} // namespace OHOS::IpcWire
