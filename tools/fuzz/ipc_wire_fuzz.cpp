// libFuzzer target for the two parsers that see hostile bytes: the frame
// decoder and the parcel reader. The input is split at a random point and
// fed in two pieces, every frame that decodes is read as a parcel by a
// sequence of reads that the payload's own bytes choose.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ipc_wire.h"
#include "message_parcel.h"

namespace {

void ReadParcel(const OHOS::IpcWire::Frame& frame)
{
    OHOS::MessageParcel parcel;
    if (!parcel.SetData(frame.payload.data(), frame.payload.size())) {
        return;
    }
    // Object references point into an empty table unless filled.
    size_t steps = 0;
    while (parcel.GetReadableBytes() > 0 && steps++ < 256) {
        // The payload is a multiple of four bytes, so a whole slot remains:
        // its first byte picks the read, the read starts after it.
        uint8_t op = parcel.GetData()[parcel.GetReadPosition()] % 12;
        size_t before = parcel.GetReadPosition() + 4;
        parcel.RewindRead(before);
        bool ok = false;
        switch (op) {
            case 0: {
                bool v;
                ok = parcel.ReadBool(v);
                break;
            }
            case 1: {
                int8_t v;
                ok = parcel.ReadInt8(v);
                break;
            }
            case 2: {
                uint16_t v;
                ok = parcel.ReadUint16(v);
                break;
            }
            case 3: {
                int64_t v;
                ok = parcel.ReadInt64(v);
                break;
            }
            case 4: {
                double v;
                ok = parcel.ReadDouble(v);
                break;
            }
            case 5: {
                std::string v;
                ok = parcel.ReadString(v);
                break;
            }
            case 6: {
                float v;
                ok = parcel.ReadFloat(v);
                break;
            }
            case 7: {
                std::vector<uint16_t> v;
                ok = parcel.ReadUInt16Vector(v);
                break;
            }
            case 8: {
                std::vector<int32_t> v;
                ok = parcel.ReadInt32Vector(v);
                break;
            }
            case 9: ok = parcel.ReadRemoteObject() != nullptr; break;
            case 10: ok = parcel.ReadRawData(parcel.GetReadableBytes() / 2) != nullptr; break;
            default: {
                std::u16string v;
                ok = parcel.ReadString16(v);
                break;
            }
        }
        if (!ok && parcel.GetReadPosition() != before) {
            __builtin_trap(); // a failed read moved the position
        }
        if (!ok) {
            return;
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    OHOS::IpcWire::FrameDecoder decoder;
    size_t split = size > 0 ? data[0] % (size + 1) : 0;
    OHOS::IpcWire::Frame frame;
    for (int piece = 0; piece < 2; ++piece) {
        if (piece == 0) {
            decoder.Feed(data, split);
        } else {
            decoder.Feed(data + split, size - split);
        }
        while (decoder.Next(frame) == OHOS::IpcWire::DecodeStatus::OK) {
            if (frame.header.payloadSize != frame.payload.size() || frame.header.objectCount != frame.objects.size()) {
                __builtin_trap();
            }
            ReadParcel(frame);
        }
    }
    return 0;
}
