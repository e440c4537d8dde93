// The frame codec: header layout, the streaming decoder, and refusal of
// garbage, oversized, truncated and ill-formed frames.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ipc_wire.h"

namespace OHOS::IpcWire {
namespace {

FrameHeader Transaction(uint64_t id = 7)
{
    FrameHeader h;
    h.type = FrameType::TRANSACTION;
    h.transactionId = id;
    h.handle = 3;
    h.code = 42;
    return h;
}

std::vector<uint8_t> Encode(const FrameHeader& h, std::vector<uint8_t> payload = {},
    const std::vector<WireObject>& objects = {})
{
    std::vector<uint8_t> out;
    EXPECT_TRUE(EncodeFrame(h, payload.data(), payload.size(), objects, out));
    return out;
}

void Put32(std::vector<uint8_t>& bytes, size_t at, uint32_t v)
{
    for (int i = 0; i < 4; ++i) {
        bytes[at + i] = static_cast<uint8_t>(v >> (8 * i));
    }
}

TEST(WireHeader, FieldsSitAtTheirDocumentedOffsetsInLittleEndian)
{
    std::vector<uint8_t> bytes = Encode(Transaction(0x0102030405060708ULL), {1, 2, 3, 4},
        {{ObjectKind::SENDER_HANDLE, 9}});
    ASSERT_EQ(bytes.size(), kFrameHeaderSize + 4 + kWireObjectSize);
    EXPECT_EQ(std::memcmp(bytes.data(), "NIPC", 4), 0);
    const std::pair<size_t, uint8_t> fields[] = {{4, 1} /* version */, {5, 0}, {6, uint8_t(FrameType::TRANSACTION)},
        {7, 0} /* flags */, {8, 0x08}, {15, 0x01} /* id */, {16, 3} /* handle */, {20, 42} /* code */,
        {24, 4} /* payload size */, {28, 1} /* object count */, {32, 1} /* payload */,
        {36, uint8_t(ObjectKind::SENDER_HANDLE)}, {40, 9}};
    for (const auto& [offset, value] : fields) {
        EXPECT_EQ(bytes[offset], value) << "at " << offset;
    }
}

TEST(WireDecoder, RoundTripsFramesFedOneByteAtATime)
{
    std::vector<uint8_t> stream = Encode(Transaction(1), {9, 8, 7, 6, 5, 4, 3, 2},
        {{ObjectKind::SENDER_HANDLE, 5}, {ObjectKind::RECEIVER_HANDLE, 0}});
    FrameHeader release;
    release.type = FrameType::RELEASE;
    release.handle = 5;
    release.code = 2;
    std::vector<uint8_t> second = Encode(release);
    stream.insert(stream.end(), second.begin(), second.end());

    FrameDecoder decoder;
    std::vector<Frame> frames;
    for (uint8_t byte : stream) {
        decoder.Feed(&byte, 1);
        Frame frame;
        DecodeStatus status;
        while ((status = decoder.Next(frame)) == DecodeStatus::OK) {
            frames.push_back(frame);
        }
        ASSERT_EQ(status, DecodeStatus::NEED_MORE);
    }
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].header.type, FrameType::TRANSACTION);
    EXPECT_EQ(frames[0].header.transactionId, 1u);
    EXPECT_EQ(frames[0].header.code, 42u);
    EXPECT_EQ(frames[0].payload, (std::vector<uint8_t>{9, 8, 7, 6, 5, 4, 3, 2}));
    ASSERT_EQ(frames[0].objects.size(), 2u);
    EXPECT_EQ(frames[0].objects[1].kind, ObjectKind::RECEIVER_HANDLE);
    EXPECT_EQ(frames[1].header.type, FrameType::RELEASE);
    EXPECT_EQ(frames[1].header.code, 2u);
    EXPECT_EQ(decoder.BufferedBytes(), 0u);
}

TEST(WireDecoder, EveryTruncationWaitsForMoreAndNeverYieldsAFrame)
{
    std::vector<uint8_t> bytes = Encode(Transaction(), {1, 2, 3, 4}, {{ObjectKind::SENDER_HANDLE, 1}});
    for (size_t length = 0; length < bytes.size(); ++length) {
        SCOPED_TRACE(length);
        FrameDecoder decoder;
        decoder.Feed(bytes.data(), length);
        Frame frame;
        EXPECT_EQ(decoder.Next(frame), DecodeStatus::NEED_MORE);
    }
}

// A valid header changed in one field, and what the decoder must say.
struct Corruption {
    const char* name;
    size_t offset;
    uint32_t value;
    bool word; // 32-bit field (else one byte)
    DecodeStatus expected;
};

TEST(WireDecoder, RefusesCorruptedFramesForGood)
{
    const Corruption cases[] = {
        {"magic", 0, 0x41414141, true, DecodeStatus::BAD_MAGIC},
        {"version", 4, 2, false, DecodeStatus::BAD_VERSION},
        {"type zero", 6, 0, false, DecodeStatus::BAD_TYPE},
        {"type unknown", 6, 99, false, DecodeStatus::BAD_TYPE},
        {"flags", 7, 0x80, false, DecodeStatus::BAD_FLAGS},
        {"payload over limit", 24, static_cast<uint32_t>(kMaxFramePayload + 4), true, DecodeStatus::TOO_LARGE},
        {"payload huge", 24, 0xFFFFFFFC, true, DecodeStatus::TOO_LARGE},
        {"payload misaligned", 24, 3, true, DecodeStatus::BAD_FIELDS},
        {"objects over limit", 28, static_cast<uint32_t>(kMaxObjectsPerParcel + 1), true, DecodeStatus::TOO_LARGE},
        {"transaction id zero", 8, 0, true, DecodeStatus::BAD_FIELDS},
        {"object kind", kFrameHeaderSize, 7, true, DecodeStatus::BAD_OBJECT},
    };
    for (const Corruption& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<uint8_t> bytes = Encode(Transaction(), {}, {{ObjectKind::SENDER_HANDLE, 1}});
        if (c.word) {
            Put32(bytes, c.offset, c.value);
            if (c.offset == 8) {
                Put32(bytes, 12, 0); // the transaction id is 64 bits wide
            }
        } else {
            bytes[c.offset] = static_cast<uint8_t>(c.value);
        }
        FrameDecoder decoder;
        decoder.Feed(bytes.data(), bytes.size());
        Frame frame;
        EXPECT_EQ(decoder.Next(frame), c.expected);
        // The stream cannot be resynchronised: the decoder stays failed.
        std::vector<uint8_t> good = Encode(Transaction());
        decoder.Feed(good.data(), good.size());
        EXPECT_EQ(decoder.Next(frame), c.expected);
    }
    const uint8_t http[] = {'G', 'E', 'T', ' '};
    FrameDecoder decoder;
    decoder.Feed(http, 1);
    Frame frame;
    EXPECT_EQ(decoder.Next(frame), DecodeStatus::BAD_MAGIC) << "garbage is refused from its first byte";
}

TEST(WireDecoder, FieldRulesPerFrameType)
{
    struct Case {
        const char* name;
        FrameType type;
        uint64_t transactionId;
        uint32_t handle;
        uint32_t code;
        uint32_t payload;
        uint32_t objects;
        DecodeStatus expected;
    } cases[] = {
        {"hello", FrameType::HELLO, 0, 0, 0, 8, 0, DecodeStatus::OK},
        {"hello with objects", FrameType::HELLO, 0, 0, 0, 0, 1, DecodeStatus::BAD_FIELDS},
        {"hello with id", FrameType::HELLO, 1, 0, 0, 0, 0, DecodeStatus::BAD_FIELDS},
        {"ack", FrameType::HELLO_ACK, 0, 0, 5, 0, 0, DecodeStatus::OK},
        {"ack with payload", FrameType::HELLO_ACK, 0, 0, 0, 4, 0, DecodeStatus::BAD_FIELDS},
        {"oneway", FrameType::ONEWAY, 0, 2, 1, 4, 1, DecodeStatus::OK},
        {"oneway with id", FrameType::ONEWAY, 3, 2, 1, 0, 0, DecodeStatus::BAD_FIELDS},
        {"reply", FrameType::REPLY, 3, 0, 0, 4, 1, DecodeStatus::OK},
        {"reply without id", FrameType::REPLY, 0, 0, 0, 0, 0, DecodeStatus::BAD_FIELDS},
        {"reply with handle", FrameType::REPLY, 3, 1, 0, 0, 0, DecodeStatus::BAD_FIELDS},
        {"release", FrameType::RELEASE, 0, 4, 1, 0, 0, DecodeStatus::OK},
        {"release of nothing", FrameType::RELEASE, 0, 4, 0, 0, 0, DecodeStatus::BAD_FIELDS},
        {"release with payload", FrameType::RELEASE, 0, 4, 1, 4, 0, DecodeStatus::BAD_FIELDS},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FrameHeader h;
        h.type = c.type;
        h.transactionId = c.transactionId;
        h.handle = c.handle;
        h.code = c.code;
        h.payloadSize = c.payload;
        h.objectCount = c.objects;
        uint8_t raw[kFrameHeaderSize];
        EncodeHeader(h, raw);
        FrameHeader decoded;
        EXPECT_EQ(DecodeHeader(raw, sizeof(raw), decoded), c.expected);
        // The encoder refuses what the decoder refuses.
        std::vector<uint8_t> payload(c.payload);
        std::vector<WireObject> objects(c.objects);
        std::vector<uint8_t> out;
        EXPECT_EQ(EncodeFrame(h, payload.data(), payload.size(), objects, out), c.expected == DecodeStatus::OK);
    }
}

TEST(WireLimits, LargestFrameRoundTripsAndLargerOnesAreNotEncoded)
{
    std::vector<uint8_t> payload(kMaxFramePayload + 4, 0xAB);
    std::vector<WireObject> objects(kMaxObjectsPerParcel + 1, {ObjectKind::SENDER_HANDLE, 1});
    std::vector<uint8_t> bytes;
    EXPECT_FALSE(EncodeFrame(Transaction(), payload.data(), payload.size(), {}, bytes));
    EXPECT_FALSE(EncodeFrame(Transaction(), nullptr, 0, objects, bytes));
    payload.resize(kMaxFramePayload);
    objects.resize(kMaxObjectsPerParcel);
    ASSERT_TRUE(EncodeFrame(Transaction(), payload.data(), payload.size(), objects, bytes));
    EXPECT_EQ(bytes.size(), kMaxFrameSize);
    FrameDecoder decoder;
    decoder.Feed(bytes.data(), bytes.size());
    Frame frame;
    ASSERT_EQ(decoder.Next(frame), DecodeStatus::OK);
    EXPECT_EQ(frame.payload.size(), kMaxFramePayload);
    EXPECT_EQ(frame.objects.size(), kMaxObjectsPerParcel);
}

} // namespace
} // namespace OHOS::IpcWire
