// Parcel and MessageParcel: layout, round trips, truncation, hostile counts,
// capacity, and the object table.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "alloc_probe.h"
#include "ipc_object_stub.h"
#include "message_parcel.h"

namespace OHOS {
namespace {

// One item type: how to write a sample, how many bytes it must take, and how
// to read it back and compare.
struct RoundTripCase {
    const char* name;
    std::function<bool(Parcel&)> write;
    size_t expectedBytes;
    std::function<bool(Parcel&)> readAndCompare;
};

const std::vector<RoundTripCase>& RoundTripCases()
{
    static const std::string utf8 = u8"Stra\u00dfe \u2192 A9";
    static const std::vector<RoundTripCase> cases = {
        {"bool true", [](Parcel& p) { return p.WriteBool(true); }, 4,
            [](Parcel& p) { bool v = false; return p.ReadBool(v) && v; }},
        {"bool false", [](Parcel& p) { return p.WriteBool(false); }, 4,
            [](Parcel& p) { bool v = true; return p.ReadBool(v) && !v; }},
        {"int8 min", [](Parcel& p) { return p.WriteInt8(INT8_MIN); }, 4,
            [](Parcel& p) { int8_t v = 0; return p.ReadInt8(v) && v == INT8_MIN; }},
        {"int16 max", [](Parcel& p) { return p.WriteInt16(INT16_MAX); }, 4,
            [](Parcel& p) { int16_t v = 0; return p.ReadInt16(v) && v == INT16_MAX; }},
        {"int32 min", [](Parcel& p) { return p.WriteInt32(INT32_MIN); }, 4,
            [](Parcel& p) { int32_t v = 0; return p.ReadInt32(v) && v == INT32_MIN; }},
        {"int64 min", [](Parcel& p) { return p.WriteInt64(INT64_MIN); }, 8,
            [](Parcel& p) { int64_t v = 0; return p.ReadInt64(v) && v == INT64_MIN; }},
        {"uint8 max", [](Parcel& p) { return p.WriteUint8(UINT8_MAX); }, 4,
            [](Parcel& p) { uint8_t v = 0; return p.ReadUint8(v) && v == UINT8_MAX; }},
        {"uint16 max", [](Parcel& p) { return p.WriteUint16(UINT16_MAX); }, 4,
            [](Parcel& p) { uint16_t v = 0; return p.ReadUint16(v) && v == UINT16_MAX; }},
        {"uint32 max", [](Parcel& p) { return p.WriteUint32(UINT32_MAX); }, 4,
            [](Parcel& p) { uint32_t v = 0; return p.ReadUint32(v) && v == UINT32_MAX; }},
        {"uint64 max", [](Parcel& p) { return p.WriteUint64(UINT64_MAX); }, 8,
            [](Parcel& p) { uint64_t v = 0; return p.ReadUint64(v) && v == UINT64_MAX; }},
        {"float", [](Parcel& p) { return p.WriteFloat(-1.5f); }, 4,
            [](Parcel& p) { float v = 0; return p.ReadFloat(v) && v == -1.5f; }},
        {"double", [](Parcel& p) { return p.WriteDouble(6.02214076e23); }, 8,
            [](Parcel& p) { double v = 0; return p.ReadDouble(v) && v == 6.02214076e23; }},
        {"empty string", [](Parcel& p) { return p.WriteString(""); }, 4,
            [](Parcel& p) { std::string v = "x"; return p.ReadString(v) && v.empty(); }},
        {"string 3 bytes", [](Parcel& p) { return p.WriteString("abc"); }, 8,
            [](Parcel& p) { std::string v; return p.ReadString(v) && v == "abc"; }},
        {"string 4 bytes", [](Parcel& p) { return p.WriteString("abcd"); }, 8,
            [](Parcel& p) { std::string v; return p.ReadString(v) && v == "abcd"; }},
        {"string with NUL", [](Parcel& p) { return p.WriteString(std::string("a\0b", 3)); }, 8,
            [](Parcel& p) { std::string v; return p.ReadString(v) && v == std::string("a\0b", 3); }},
        {"string utf8", [](Parcel& p) { return p.WriteString(utf8); }, 4 + Parcel::PaddedSize(utf8.size()),
            [](Parcel& p) { std::string v; return p.ReadString(v) && v == utf8; }},
        {"string16 odd", [](Parcel& p) { return p.WriteString16(u"abc"); }, 12,
            [](Parcel& p) { std::u16string v; return p.ReadString16(v) && v == u"abc"; }},
        {"uint16 vector", [](Parcel& p) { return p.WriteUInt16Vector({1, 0xFFFF, 3}); }, 12,
            [](Parcel& p) {
                std::vector<uint16_t> v;
                return p.ReadUInt16Vector(v) && v == std::vector<uint16_t>{1, 0xFFFF, 3};
            }},
        {"int32 vector", [](Parcel& p) { return p.WriteInt32Vector({-1, 0, INT32_MAX}); }, 16,
            [](Parcel& p) {
                std::vector<int32_t> v;
                return p.ReadInt32Vector(v) && v == std::vector<int32_t>{-1, 0, INT32_MAX};
            }},
        {"empty int32 vector", [](Parcel& p) { return p.WriteInt32Vector({}); }, 4,
            [](Parcel& p) { std::vector<int32_t> v{7}; return p.ReadInt32Vector(v) && v.empty(); }},
        {"buffer 5 bytes", [](Parcel& p) { return p.WriteBuffer("hello", 5); }, 8,
            [](Parcel& p) {
                const uint8_t* at = p.ReadBuffer(5);
                return at != nullptr && std::memcmp(at, "hello", 5) == 0;
            }},
    };
    return cases;
}

TEST(ParcelRoundTrip, EachTypeTakesItsSlotsAndReadsBack)
{
    for (const RoundTripCase& c : RoundTripCases()) {
        SCOPED_TRACE(c.name);
        Parcel parcel;
        ASSERT_TRUE(parcel.WriteInt32(0x11223344)); // a leading item shows offsets are honoured
        ASSERT_TRUE(c.write(parcel));
        EXPECT_EQ(parcel.GetDataSize(), 4 + c.expectedBytes);
        EXPECT_EQ(parcel.GetDataSize() % 4, 0u);
        ASSERT_TRUE(parcel.WriteInt32(0x55667788)); // and the trailing item starts on its boundary
        EXPECT_EQ(parcel.ReadInt32(), 0x11223344);
        EXPECT_TRUE(c.readAndCompare(parcel));
        EXPECT_EQ(parcel.GetReadPosition(), 4 + c.expectedBytes);
        EXPECT_EQ(parcel.ReadInt32(), 0x55667788);
        EXPECT_EQ(parcel.GetReadableBytes(), 0u);
    }
}

TEST(ParcelRoundTrip, EveryTruncationFailsAndKeepsThePosition)
{
    for (const RoundTripCase& c : RoundTripCases()) {
        Parcel full;
        ASSERT_TRUE(c.write(full));
        for (size_t length = 0; length < full.GetDataSize(); length += 4) {
            SCOPED_TRACE(std::string(c.name) + " cut at " + std::to_string(length));
            Parcel cut;
            ASSERT_TRUE(cut.SetData(full.GetData(), length));
            EXPECT_FALSE(c.readAndCompare(cut));
            EXPECT_EQ(cut.GetReadPosition(), 0u);
        }
    }
}

TEST(ParcelRoundTrip, MixedSequenceStopsAtTheFirstMissingItem)
{
    Parcel full;
    ASSERT_TRUE(full.WriteString("route"));
    ASSERT_TRUE(full.WriteInt64(42));
    ASSERT_TRUE(full.WriteInt32Vector({1, 2, 3}));
    ASSERT_TRUE(full.WriteBool(true));
    for (size_t length = 0; length <= full.GetDataSize(); length += 4) {
        SCOPED_TRACE(length);
        Parcel cut;
        ASSERT_TRUE(cut.SetData(full.GetData(), length));
        std::string s;
        int64_t i = 0;
        std::vector<int32_t> v;
        bool b = false;
        // Each read either succeeds whole or fails at the start of its item.
        size_t before = cut.GetReadPosition();
        bool all = cut.ReadString(s) && (before = cut.GetReadPosition(), cut.ReadInt64(i)) &&
            (before = cut.GetReadPosition(), cut.ReadInt32Vector(v)) &&
            (before = cut.GetReadPosition(), cut.ReadBool(b));
        if (length == full.GetDataSize()) {
            EXPECT_TRUE(all);
            EXPECT_EQ(s, "route");
            EXPECT_EQ(i, 42);
            EXPECT_EQ(v, (std::vector<int32_t>{1, 2, 3}));
            EXPECT_TRUE(b);
        } else {
            EXPECT_FALSE(all);
            EXPECT_EQ(cut.GetReadPosition(), before);
        }
    }
}

TEST(ParcelRead, ValueFormsReturnZeroOnFailure)
{
    Parcel parcel;
    ASSERT_TRUE(parcel.WriteInt32(-7));
    EXPECT_EQ(parcel.ReadInt64(), 0); // only 4 bytes left
    EXPECT_EQ(parcel.GetReadPosition(), 0u);
    EXPECT_EQ(parcel.ReadInt32(), -7);
    EXPECT_EQ(parcel.ReadInt32(), 0);
    EXPECT_EQ(parcel.ReadString(), "");
    EXPECT_EQ(parcel.ReadDouble(), 0.0);
}

TEST(ParcelRead, NarrowTypesRefuseValuesOutsideTheirRange)
{
    struct Case {
        const char* name;
        int32_t stored;
        std::function<bool(Parcel&)> read;
    } cases[] = {
        {"bool 2", 2, [](Parcel& p) { bool v; return p.ReadBool(v); }},
        {"bool -1", -1, [](Parcel& p) { bool v; return p.ReadBool(v); }},
        {"int8 128", 128, [](Parcel& p) { int8_t v; return p.ReadInt8(v); }},
        {"int8 -129", -129, [](Parcel& p) { int8_t v; return p.ReadInt8(v); }},
        {"int16 40000", 40000, [](Parcel& p) { int16_t v; return p.ReadInt16(v); }},
        {"uint8 256", 256, [](Parcel& p) { uint8_t v; return p.ReadUint8(v); }},
        {"uint8 -1", -1, [](Parcel& p) { uint8_t v; return p.ReadUint8(v); }},
        {"uint16 65536", 65536, [](Parcel& p) { uint16_t v; return p.ReadUint16(v); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Parcel parcel;
        ASSERT_TRUE(parcel.WriteInt32(c.stored));
        EXPECT_FALSE(c.read(parcel));
        EXPECT_EQ(parcel.GetReadPosition(), 0u);
    }
}

TEST(ParcelRead, HostileCountsAreRefusedBeforeAllocating)
{
    struct Case {
        const char* name;
        std::function<bool(Parcel&)> read;
        size_t elementSize;
    } readers[] = {
        {"string", [](Parcel& p) { std::string v; return p.ReadString(v); }, 1},
        {"string16", [](Parcel& p) { std::u16string v; return p.ReadString16(v); }, 2},
        {"uint16 vector", [](Parcel& p) { std::vector<uint16_t> v; return p.ReadUInt16Vector(v); }, 2},
        {"int32 vector", [](Parcel& p) { std::vector<int32_t> v; return p.ReadInt32Vector(v); }, 4},
    };
    constexpr size_t kBody = 64; // bytes that follow the count
    for (const Case& c : readers) {
        const int32_t fitting = static_cast<int32_t>(kBody / c.elementSize);
        for (int32_t count : {INT32_MAX, INT32_MIN, -1, fitting + 1, 1 << 20}) {
            SCOPED_TRACE(std::string(c.name) + " count " + std::to_string(count));
            Parcel parcel;
            ASSERT_TRUE(parcel.WriteInt32(count));
            std::vector<uint8_t> body(kBody, 0x41);
            ASSERT_TRUE(parcel.WriteBuffer(body.data(), body.size()));
            AllocProbe probe;
            EXPECT_FALSE(c.read(parcel));
            EXPECT_LE(probe.Largest(), kBody * 4) << "allocated for a count the data cannot hold";
            EXPECT_EQ(parcel.GetReadPosition(), 0u);
        }
        SCOPED_TRACE(std::string(c.name) + " exact fit");
        Parcel parcel;
        ASSERT_TRUE(parcel.WriteInt32(fitting));
        std::vector<uint8_t> body(kBody, 0x41);
        ASSERT_TRUE(parcel.WriteBuffer(body.data(), body.size()));
        EXPECT_TRUE(c.read(parcel));
        EXPECT_EQ(parcel.GetReadableBytes(), 0u);
    }
}

TEST(ParcelRead, BufferBeyondTheDataFails)
{
    Parcel parcel;
    ASSERT_TRUE(parcel.WriteBuffer("abcdefgh", 8));
    EXPECT_EQ(parcel.ReadBuffer(9), nullptr);
    EXPECT_EQ(parcel.ReadBuffer(SIZE_MAX), nullptr);
    EXPECT_EQ(parcel.GetReadPosition(), 0u);
    EXPECT_NE(parcel.ReadBuffer(8), nullptr);
}

TEST(ParcelWrite, CapacityIsEnforcedAndFailedWritesChangeNothing)
{
    Parcel parcel;
    EXPECT_EQ(parcel.GetMaxCapacity(), kDefaultParcelCapacity);
    ASSERT_TRUE(parcel.SetMaxCapacity(16));
    ASSERT_TRUE(parcel.WriteInt64(1));
    ASSERT_TRUE(parcel.WriteInt32(2));
    EXPECT_FALSE(parcel.WriteInt64(3));
    EXPECT_FALSE(parcel.WriteString("12345"));     // needs 12
    EXPECT_FALSE(parcel.WriteInt32Vector({1, 2})); // needs 12
    EXPECT_FALSE(parcel.WriteBuffer("12345", 5));  // needs 8
    EXPECT_EQ(parcel.GetDataSize(), 12u);
    EXPECT_TRUE(parcel.WriteString(""));
    EXPECT_EQ(parcel.GetDataSize(), 16u);
    EXPECT_FALSE(parcel.WriteBool(true));
    EXPECT_FALSE(parcel.SetMaxCapacity(8)); // below what is written
}

TEST(ParcelWrite, DefaultCapacityRefusesAStringOverOneMebibyte)
{
    Parcel parcel;
    std::string big(kDefaultParcelCapacity, 'x'); // plus its length, one slot too many
    EXPECT_FALSE(parcel.WriteString(big));
    EXPECT_EQ(parcel.GetDataSize(), 0u);
    big.resize(kDefaultParcelCapacity - 4);
    EXPECT_TRUE(parcel.WriteString(big));
}

TEST(ParcelData, SetDataAndRewindRefuseMisalignedPositions)
{
    Parcel parcel;
    const uint8_t bytes[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_FALSE(parcel.SetData(bytes, 6));
    ASSERT_TRUE(parcel.SetData(bytes, 4));
    EXPECT_FALSE(parcel.RewindRead(2));
    EXPECT_FALSE(parcel.RewindRead(8));
    EXPECT_TRUE(parcel.RewindRead(4));
    EXPECT_TRUE(parcel.RewindRead(0));
    ASSERT_TRUE(parcel.WriteInt32(9));
    ASSERT_TRUE(parcel.RewindWrite(4));
    EXPECT_EQ(parcel.GetDataSize(), 4u);
}

class Point : public Parcelable {
public:
    Point(int32_t x, int32_t y) : x_(x), y_(y) {}
    bool Marshalling(Parcel& parcel) const override { return parcel.WriteInt32(x_) && parcel.WriteInt32(y_); }
    static Point* Unmarshalling(Parcel& parcel)
    {
        int32_t x = 0;
        int32_t y = 0;
        return parcel.ReadInt32(x) && parcel.ReadInt32(y) ? new Point(x, y) : nullptr;
    }
    int32_t x_;
    int32_t y_;
};

TEST(ParcelParcelable, RoundTripNullAndTruncation)
{
    Parcel parcel;
    sptr<Point> point = new Point(3, -4);
    ASSERT_TRUE(parcel.WriteParcelable(point.GetRefPtr()));
    ASSERT_TRUE(parcel.WriteParcelable(nullptr));
    sptr<Point> back = parcel.ReadParcelable<Point>();
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->x_, 3);
    EXPECT_EQ(back->y_, -4);
    EXPECT_EQ(parcel.ReadParcelable<Point>(), nullptr);
    EXPECT_EQ(parcel.GetReadableBytes(), 0u);

    Parcel cut;
    ASSERT_TRUE(cut.SetData(parcel.GetData(), 8)); // flag and x only
    EXPECT_EQ(cut.ReadParcelable<Point>(), nullptr);
    EXPECT_EQ(cut.GetReadPosition(), 0u);
}

TEST(MessageParcelTest, InterfaceTokenRoundTrip)
{
    MessageParcel parcel;
    ASSERT_TRUE(parcel.WriteInterfaceToken(u"OHOS.Test.IFoo"));
    ASSERT_TRUE(parcel.WriteInt32(5));
    EXPECT_EQ(parcel.ReadInterfaceToken(), u"OHOS.Test.IFoo");
    EXPECT_EQ(parcel.ReadInt32(), 5);
}

TEST(MessageParcelTest, ObjectsGoToTheSideTableAndReadBackInPlace)
{
    sptr<IRemoteObject> a = new IPCObjectStub(u"a");
    sptr<IRemoteObject> b = new IPCObjectStub(u"b");
    MessageParcel parcel;
    ASSERT_TRUE(parcel.WriteRemoteObject(a));
    ASSERT_TRUE(parcel.WriteInt32(1));
    ASSERT_TRUE(parcel.WriteRemoteObject(b));
    ASSERT_TRUE(parcel.WriteRemoteObject(a));
    EXPECT_FALSE(parcel.WriteRemoteObject(nullptr));
    EXPECT_EQ(parcel.GetObjectCount(), 3u);
    EXPECT_EQ(parcel.GetDataSize(), 3 * 8 + 4u);

    EXPECT_EQ(parcel.ReadRemoteObject(), a);
    EXPECT_EQ(parcel.ReadRemoteObject(), nullptr); // an int32 is next
    EXPECT_EQ(parcel.GetReadPosition(), 8u);
    EXPECT_EQ(parcel.ReadInt32(), 1);
    EXPECT_EQ(parcel.ReadRemoteObject(), b);
    EXPECT_EQ(parcel.ReadRemoteObject(), a);
}

TEST(MessageParcelTest, ReferenceToAMissingTableEntryReadsNull)
{
    sptr<IRemoteObject> a = new IPCObjectStub();
    MessageParcel parcel;
    ASSERT_TRUE(parcel.WriteRemoteObject(a));
    ASSERT_TRUE(parcel.WriteRemoteObject(a));
    MessageParcel received;
    ASSERT_TRUE(received.SetData(parcel.GetData(), parcel.GetDataSize()));
    ASSERT_TRUE(received.SetObjects({a})); // the table lost its second entry
    EXPECT_EQ(received.ReadRemoteObject(), a);
    EXPECT_EQ(received.ReadRemoteObject(), nullptr);
    EXPECT_EQ(received.GetReadPosition(), 8u);
}

TEST(MessageParcelTest, ObjectTableIsCapped)
{
    sptr<IRemoteObject> a = new IPCObjectStub();
    MessageParcel parcel;
    for (size_t i = 0; i < kMaxObjectsPerParcel; ++i) {
        ASSERT_TRUE(parcel.WriteRemoteObject(a));
    }
    size_t size = parcel.GetDataSize();
    EXPECT_FALSE(parcel.WriteRemoteObject(a));
    EXPECT_EQ(parcel.GetDataSize(), size);
    std::vector<sptr<IRemoteObject>> tooMany(kMaxObjectsPerParcel + 1, a);
    EXPECT_FALSE(parcel.SetObjects(tooMany));
}

TEST(MessageParcelTest, RawDataMustMatchTheWrittenLength)
{
    MessageParcel parcel;
    ASSERT_TRUE(parcel.WriteRawData("xyz", 3));
    EXPECT_EQ(parcel.ReadRawData(4), nullptr);
    EXPECT_EQ(parcel.GetReadPosition(), 0u);
    const void* at = parcel.ReadRawData(3);
    ASSERT_NE(at, nullptr);
    EXPECT_EQ(std::memcmp(at, "xyz", 3), 0);
}

} // namespace
} // namespace OHOS

namespace OHOS {
namespace {

// The hostile-count test relies on the probe; make sure it sees allocations.
TEST(AllocProbeTest, SeesAllocationsOfThisThread)
{
    AllocProbe probe;
    std::vector<uint8_t> block(4096);
    EXPECT_GE(probe.Largest(), block.size());
}

} // namespace
} // namespace OHOS
