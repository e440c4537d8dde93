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

template <typename T>
struct Same {
    using type = T;
};

template <typename T, typename Write>
RoundTripCase Item(const char* name, Write write, bool (Parcel::*read)(T&), typename Same<T>::type value, size_t bytes)
{
    return {name, [=](Parcel& p) { return (p.*write)(value); }, bytes,
        [=](Parcel& p) {
            T v{};
            return (p.*read)(v) && v == value;
        }};
}

const std::vector<RoundTripCase>& RoundTripCases()
{
    static const std::string utf8 = u8"Stra\u00dfe \u2192 A9";
    static const std::vector<RoundTripCase> cases = {
        Item("bool true", &Parcel::WriteBool, &Parcel::ReadBool, true, 4),
        Item("bool false", &Parcel::WriteBool, &Parcel::ReadBool, false, 4),
        Item("int8 min", &Parcel::WriteInt8, &Parcel::ReadInt8, INT8_MIN, 4),
        Item("int16 max", &Parcel::WriteInt16, &Parcel::ReadInt16, INT16_MAX, 4),
        Item("int32 min", &Parcel::WriteInt32, &Parcel::ReadInt32, INT32_MIN, 4),
        Item("int64 min", &Parcel::WriteInt64, &Parcel::ReadInt64, INT64_MIN, 8),
        Item("uint8 max", &Parcel::WriteUint8, &Parcel::ReadUint8, UINT8_MAX, 4),
        Item("uint16 max", &Parcel::WriteUint16, &Parcel::ReadUint16, UINT16_MAX, 4),
        Item("uint32 max", &Parcel::WriteUint32, &Parcel::ReadUint32, UINT32_MAX, 4),
        Item("uint64 max", &Parcel::WriteUint64, &Parcel::ReadUint64, UINT64_MAX, 8),
        Item("float", &Parcel::WriteFloat, &Parcel::ReadFloat, -1.5f, 4),
        Item("double", &Parcel::WriteDouble, &Parcel::ReadDouble, 6.02214076e23, 8),
        Item("empty string", &Parcel::WriteString, &Parcel::ReadString, "", 4),
        Item("string 3 bytes", &Parcel::WriteString, &Parcel::ReadString, "abc", 8),
        Item("string 4 bytes", &Parcel::WriteString, &Parcel::ReadString, "abcd", 8),
        Item("string with NUL", &Parcel::WriteString, &Parcel::ReadString, std::string("a\0b", 3), 8),
        Item("string utf8", &Parcel::WriteString, &Parcel::ReadString, utf8, 4 + Parcel::PaddedSize(utf8.size())),
        Item("string16 odd", &Parcel::WriteString16, &Parcel::ReadString16, u"abc", 12),
        Item("uint16 vector", &Parcel::WriteUInt16Vector, &Parcel::ReadUInt16Vector, {1, 0xFFFF, 3}, 12),
        Item("int32 vector", &Parcel::WriteInt32Vector, &Parcel::ReadInt32Vector, {-1, 0, INT32_MAX}, 16),
        Item("empty int32 vector", &Parcel::WriteInt32Vector, &Parcel::ReadInt32Vector, {}, 4),
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

TEST(ParcelRoundTrip, EveryTruncationFailsAtTheStartOfTheItem)
{
    for (const RoundTripCase& c : RoundTripCases()) {
        Parcel full;
        ASSERT_TRUE(full.WriteInt32(7) && c.write(full));
        for (size_t length = 4; length < full.GetDataSize(); length += 4) {
            SCOPED_TRACE(std::string(c.name) + " cut at " + std::to_string(length));
            Parcel cut;
            ASSERT_TRUE(cut.SetData(full.GetData(), length));
            EXPECT_EQ(cut.ReadInt32(), 7);
            EXPECT_FALSE(c.readAndCompare(cut));
            EXPECT_EQ(cut.GetReadPosition(), 4u);
        }
    }
}

TEST(ParcelRead, FailedReadsKeepThePositionAndValueFormsGiveZero)
{
    Parcel parcel;
    ASSERT_TRUE(parcel.WriteInt32(-7));
    EXPECT_EQ(parcel.ReadInt64(), 0); // only 4 bytes left
    EXPECT_EQ(parcel.GetReadPosition(), 0u);
    EXPECT_EQ(parcel.ReadInt32(), -7);
    EXPECT_EQ(parcel.ReadInt32(), 0);
    EXPECT_EQ(parcel.ReadString(), "");
    EXPECT_EQ(parcel.ReadDouble(), 0.0);

    ASSERT_TRUE(parcel.WriteBuffer("abcdefgh", 8));
    EXPECT_EQ(parcel.ReadBuffer(9), nullptr);
    EXPECT_EQ(parcel.ReadBuffer(SIZE_MAX), nullptr);
    EXPECT_EQ(parcel.GetReadPosition(), 4u);
    EXPECT_NE(parcel.ReadBuffer(8), nullptr);
}

TEST(ParcelRead, NarrowTypesRefuseValuesOutsideTheirRange)
{
    const std::pair<int32_t, std::function<bool(Parcel&)>> cases[] = {
        {2,
            [](Parcel& p) {
                bool v;
                return p.ReadBool(v);
            }},
        {-1,
            [](Parcel& p) {
                bool v;
                return p.ReadBool(v);
            }},
        {128,
            [](Parcel& p) {
                int8_t v;
                return p.ReadInt8(v);
            }},
        {-129,
            [](Parcel& p) {
                int8_t v;
                return p.ReadInt8(v);
            }},
        {40000,
            [](Parcel& p) {
                int16_t v;
                return p.ReadInt16(v);
            }},
        {256,
            [](Parcel& p) {
                uint8_t v;
                return p.ReadUint8(v);
            }},
        {-1,
            [](Parcel& p) {
                uint8_t v;
                return p.ReadUint8(v);
            }},
        {65536,
            [](Parcel& p) {
                uint16_t v;
                return p.ReadUint16(v);
            }},
    };
    for (const auto& [stored, read] : cases) {
        SCOPED_TRACE(stored);
        Parcel parcel;
        ASSERT_TRUE(parcel.WriteInt32(stored));
        EXPECT_FALSE(read(parcel));
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
        {"string",
            [](Parcel& p) {
                std::string v;
                return p.ReadString(v);
            },
            1},
        {"string16",
            [](Parcel& p) {
                std::u16string v;
                return p.ReadString16(v);
            },
            2},
        {"uint16 vector",
            [](Parcel& p) {
                std::vector<uint16_t> v;
                return p.ReadUInt16Vector(v);
            },
            2},
        {"int32 vector",
            [](Parcel& p) {
                std::vector<int32_t> v;
                return p.ReadInt32Vector(v);
            },
            4},
    };
    constexpr size_t kBody = 64; // bytes that follow the count
    {
        AllocProbe probe; // sees the allocations of this thread
        std::vector<uint8_t> block(4096);
        ASSERT_GE(probe.Largest(), block.size());
    }
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

TEST(ParcelWrite, CapacityIsEnforcedAndFailedWritesChangeNothing)
{
    Parcel parcel;
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

    Parcel fresh;
    std::string big(kDefaultParcelCapacity, 'x'); // plus its length, one slot too many
    EXPECT_FALSE(fresh.WriteString(big));
    EXPECT_EQ(fresh.GetDataSize(), 0u);
    big.resize(kDefaultParcelCapacity - 4);
    EXPECT_TRUE(fresh.WriteString(big));
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

TEST(MessageParcelTest, InterfaceTokenAndRawDataRoundTrip)
{
    MessageParcel parcel;
    ASSERT_TRUE(parcel.WriteInterfaceToken(u"OHOS.Test.IFoo"));
    ASSERT_TRUE(parcel.WriteRawData("xyz", 3));
    EXPECT_EQ(parcel.ReadInterfaceToken(), u"OHOS.Test.IFoo");
    size_t at = parcel.GetReadPosition();
    EXPECT_EQ(parcel.ReadRawData(4), nullptr) << "raw data must match the written length";
    EXPECT_EQ(parcel.GetReadPosition(), at);
    const void* data = parcel.ReadRawData(3);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(std::memcmp(data, "xyz", 3), 0);
}

} // namespace
} // namespace OHOS
