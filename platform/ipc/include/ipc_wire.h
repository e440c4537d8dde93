// The frame format of the IPC socket protocol (see docs/wire-protocol.md).
// Pure functions and a streaming decoder, with no I/O, so that they can be
// tested and fuzzed on their own.
//
// Threads: the free functions are thread-safe; a FrameDecoder belongs to one
// thread at a time (the connection's reader thread).
#ifndef PLATFORM_IPC_IPC_WIRE_H
#define PLATFORM_IPC_IPC_WIRE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ipc_limits.h"

namespace OHOS::IpcWire {

constexpr uint32_t kMagic = 0x4350494E; // bytes "NIPC" in little-endian order
constexpr uint16_t kVersion = 1;

enum class FrameType : uint8_t {
    HELLO = 1,       // client -> server, first frame: claimed bundle name and token
    HELLO_ACK = 2,   // server -> client: status of the handshake
    TRANSACTION = 3, // a synchronous call; the peer answers with REPLY
    ONEWAY = 4,      // a call without reply
    REPLY = 5,       // the status and reply parcel of a TRANSACTION
    RELEASE = 6,     // the sender dropped `count` references to one of our handles
};

// No flag is defined yet; frames with any flag bit set are refused.
constexpr uint8_t kKnownFlags = 0;

struct FrameHeader {
    FrameType type = FrameType::HELLO;
    uint8_t flags = 0;
    uint64_t transactionId = 0; // TRANSACTION and its REPLY; 0 otherwise
    uint32_t handle = 0;        // TRANSACTION, ONEWAY, RELEASE: a handle the receiver exported
    uint32_t code = 0;          // transaction code; REPLY/HELLO_ACK: status; RELEASE: count
    uint32_t payloadSize = 0;   // bytes of parcel data after the header (multiple of 4)
    uint32_t objectCount = 0;   // 8-byte object entries after the payload
};

// Who exported the handle in an object entry.
enum class ObjectKind : uint32_t {
    SENDER_HANDLE = 1,   // an object of the sender: the receiver makes or reuses a proxy
    RECEIVER_HANDLE = 2, // an object the receiver exported earlier, handed back
};

struct WireObject {
    ObjectKind kind = ObjectKind::SENDER_HANDLE;
    uint32_t handle = 0;
};

enum class DecodeStatus {
    OK,
    NEED_MORE, // not enough bytes yet
    BAD_MAGIC,
    BAD_VERSION,
    BAD_TYPE,
    BAD_FLAGS,
    TOO_LARGE,  // payload or object count over the limits
    BAD_FIELDS, // fields that this frame type does not allow
    BAD_OBJECT, // an object entry of unknown kind
};

const char* DecodeStatusName(DecodeStatus status);

// Writes the header's kFrameHeaderSize bytes (little-endian fields).
void EncodeHeader(const FrameHeader& header, uint8_t* out);
// Checks and parses a header from size bytes: magic, version, type, flags,
// limits and the fields each type allows.
DecodeStatus DecodeHeader(const uint8_t* in, size_t size, FrameHeader& header);

void EncodeObject(const WireObject& object, uint8_t* out);
DecodeStatus DecodeObject(const uint8_t* in, WireObject& object);

// Builds a whole frame. The header's payloadSize and objectCount are set
// from the arguments. False if the result would break a limit.
bool EncodeFrame(FrameHeader header, const uint8_t* payload, size_t payloadSize, const std::vector<WireObject>& objects,
    std::vector<uint8_t>& out);

struct Frame {
    FrameHeader header;
    std::vector<uint8_t> payload;
    std::vector<WireObject> objects;
};

// Splits a byte stream into frames. Feed bytes as they arrive, then call
// Next until it returns NEED_MORE. After any other failure the stream cannot
// be resynchronised: the decoder stays failed and the connection must close.
// It buffers at most one frame plus what was fed since.
class FrameDecoder {
public:
    void Feed(const uint8_t* data, size_t size);
    DecodeStatus Next(Frame& frame);
    size_t BufferedBytes() const { return buffer_.size() - consumed_; }

private:
    std::vector<uint8_t> buffer_;
    size_t consumed_ = 0;
    DecodeStatus failed_ = DecodeStatus::OK;
};

} // namespace OHOS::IpcWire

#endif // PLATFORM_IPC_IPC_WIRE_H
