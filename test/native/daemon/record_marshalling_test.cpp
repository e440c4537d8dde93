// The record codecs: every sample survives a round trip bit for bit and the
// reader consumes exactly what the writer wrote; every truncation fails
// without moving the read position; the documented layouts hold; every limit
// is enforced on both sides.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "record_marshalling.h"
#include "record_samples.h"
#include "snapshot_marshalling.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Marshalling;
using Testing::Same;

// A service snapshot with every list filled.
ServiceSnapshot SampleSnapshot()
{
    ServiceSnapshot s;
    s.takenAt = 1767225600123;
    s.truncated = true;
    s.clients = {{1, "com.nav", 4242, 1000}, {0xFFFFFFFFFFull, "", -1, 0}};
    s.follows = {{2, "com.nav", ServiceSnapshot::FOLLOW_METADATA}};
    s.servers = {{"com.nav", 1}};
    s.requests = {{77, 2, "com.nav", ServiceSnapshot::REQUEST_COMMAND, GO_HOME, 1500}};
    s.statuses = {{"com.nav", Testing::StatusSamples().back()}};
    s.metadata = {{"com.nav", Testing::MetadataSamples().back(), 1767225600000}};
    return s;
}

bool Same(const ServiceSnapshot& a, const ServiceSnapshot& b)
{
    auto sameClient = [](const auto& x, const auto& y) {
        return x.clientId == y.clientId && x.bundleName == y.bundleName && x.pid == y.pid && x.uid == y.uid;
    };
    auto sameFollow = [](const auto& x, const auto& y) {
        return x.clientId == y.clientId && x.bundleName == y.bundleName && x.kind == y.kind;
    };
    auto sameServer = [](const auto& x, const auto& y) {
        return x.clientId == y.clientId && x.bundleName == y.bundleName;
    };
    auto sameRequest = [](const auto& x, const auto& y) {
        return x.requestId == y.requestId && x.requesterClientId == y.requesterClientId &&
            x.bundleName == y.bundleName && x.kind == y.kind && x.type == y.type && x.ageMs == y.ageMs;
    };
    auto sameStatus = [](const auto& x, const auto& y) {
        return x.bundleName == y.bundleName && Same(x.status, y.status);
    };
    auto sameMetadata = [](const auto& x, const auto& y) {
        return x.bundleName == y.bundleName && Same(x.metadata, y.metadata) && x.updateTime == y.updateTime;
    };
    return a.takenAt == b.takenAt && a.truncated == b.truncated &&
        std::equal(a.clients.begin(), a.clients.end(), b.clients.begin(), b.clients.end(), sameClient) &&
        std::equal(a.follows.begin(), a.follows.end(), b.follows.begin(), b.follows.end(), sameFollow) &&
        std::equal(a.servers.begin(), a.servers.end(), b.servers.begin(), b.servers.end(), sameServer) &&
        std::equal(a.requests.begin(), a.requests.end(), b.requests.begin(), b.requests.end(), sameRequest) &&
        std::equal(a.statuses.begin(), a.statuses.end(), b.statuses.begin(), b.statuses.end(), sameStatus) &&
        std::equal(a.metadata.begin(), a.metadata.end(), b.metadata.begin(), b.metadata.end(), sameMetadata);
}

struct CodecCase {
    std::string name;
    std::function<bool(Parcel&)> write;
    // Reads one record and compares it with the one written.
    std::function<bool(Parcel&)> readSame;
};

template <typename T, typename W, typename R>
void AddCases(std::vector<CodecCase>& cases, const std::string& kind, const std::vector<T>& samples, W write, R read)
{
    for (size_t i = 0; i < samples.size(); ++i) {
        const T& sample = samples[i];
        cases.push_back({kind + "#" + std::to_string(i), [sample, write](Parcel& p) { return write(p, sample); },
            [sample, read](Parcel& p) {
                T back;
                return read(p, back) && Same(back, sample);
            }});
    }
}

std::vector<CodecCase> AllCases()
{
    std::vector<CodecCase> cases;
    AddCases(cases, "status", Testing::StatusSamples(), WriteNavigationStatus, ReadNavigationStatus);
    AddCases(cases, "metadata", Testing::MetadataSamples(), WriteNavigationMetadata, ReadNavigationMetadata);
    AddCases(cases, "result", Testing::ResultSamples(), WriteResultData, ReadResultData);
    AddCases(cases, "snapshot", std::vector<ServiceSnapshot>{ServiceSnapshot(), SampleSnapshot()}, WriteServiceSnapshot,
        ReadServiceSnapshot);
    std::vector<Location> locations = {Location(), Testing::SampleLocation("x"), Testing::SampleLocation("four")};
    AddCases(cases, "location", locations, WriteLocation, ReadLocation);
    for (const AAFwk::WantParams& params :
        {AAFwk::WantParams(), Testing::RichParams(), Testing::NestedParams(32), Testing::NestedArrays(32)}) {
        cases.push_back(
            {"want#" + std::to_string(cases.size()), [params](Parcel& p) { return WriteWantParams(p, params); },
                [params](Parcel& p) {
                    AAFwk::WantParams back;
                    back.SetParam("stale", AAFwk::WantValue::Int(1)); // the reader must replace, not merge
                    return ReadWantParams(p, back) && back == params;
                }});
    }
    return cases;
}

// Records with exactly as many items, bytes or units as each limit allows:
// the largest the codecs must still carry. Too big to cut at every offset,
// so they are kept out of the truncation table.
std::vector<CodecCase> AtTheLimits()
{
    const std::string longest(MAX_STRING_BYTES, 's');
    const std::vector<uint16_t> widest(MAX_TEXT_VECTOR_UNITS, 0x41);
    NavigationStatus points;
    points.passPoint.assign(MAX_PASS_POINTS, Testing::SampleLocation("p"));
    NavigationStatus preferences;
    preferences.routePreference.assign(MAX_ROUTE_PREFERENCES, TIME_FIRST);
    NavigationStatus strings;
    strings.destLocation.name = longest;
    strings.customData = longest;
    NavigationMetadata texts;
    texts.intersectionView = widest;
    texts.trafficLane = widest;
    texts.currentRoadName = longest;
    texts.nextRoadName = longest;
    AAFwk::WantParams values; // one entry and its array: every value the tree may hold
    values.SetParam("a",
        AAFwk::WantValue::Array(std::vector<AAFwk::WantValue>(MAX_WANT_VALUES - 1, AAFwk::WantValue::Bool(true))));
    AAFwk::WantParams longKeyAndValue;
    longKeyAndValue.SetParam(longest, AAFwk::WantValue::String(longest));
    ServiceSnapshot fullLists;
    fullLists.clients.assign(MAX_SNAPSHOT_ENTRIES, {1, "com.nav", 1, 1});
    fullLists.servers.assign(MAX_SNAPSHOT_ENTRIES, {"com.nav", 1});

    std::vector<CodecCase> cases;
    AddCases(cases, "status at the limits", std::vector<NavigationStatus>{points, preferences, strings},
        WriteNavigationStatus, ReadNavigationStatus);
    AddCases(cases, "metadata at the limits", std::vector<NavigationMetadata>{texts}, WriteNavigationMetadata,
        ReadNavigationMetadata);
    AddCases(cases, "result at the limits",
        std::vector<ResultData>{ResultData{0, longest, values}, ResultData{0, "", longKeyAndValue}}, WriteResultData,
        ReadResultData);
    AddCases(cases, "snapshot at the limits", std::vector<ServiceSnapshot>{fullLists}, WriteServiceSnapshot,
        ReadServiceSnapshot);
    return cases;
}

TEST(RecordMarshalling, EverySampleRoundTripsAndConsumesExactlyWhatWasWritten)
{
    std::vector<CodecCase> cases = AllCases();
    for (CodecCase& c : AtTheLimits()) {
        cases.push_back(std::move(c));
    }
    for (const CodecCase& c : cases) {
        SCOPED_TRACE(c.name);
        Parcel parcel;
        ASSERT_TRUE(parcel.SetMaxCapacity(4 * 1024 * 1024)); // the largest samples, twice
        ASSERT_TRUE(parcel.WriteInt32(0x5A5A5A5A));          // something before, to catch absolute offsets
        ASSERT_TRUE(c.write(parcel));
        const size_t end = parcel.GetDataSize();
        ASSERT_TRUE(c.write(parcel)); // twice in a row: the second must start where the first ended
        ASSERT_EQ(parcel.ReadInt32(), 0x5A5A5A5A);
        EXPECT_TRUE(c.readSame(parcel));
        EXPECT_EQ(parcel.GetReadPosition(), end);
        EXPECT_TRUE(c.readSame(parcel));
        EXPECT_EQ(parcel.GetReadableBytes(), 0u);
    }
}

TEST(RecordMarshalling, EveryTruncationFailsAndLeavesThePositionAlone)
{
    for (const CodecCase& c : AllCases()) {
        SCOPED_TRACE(c.name);
        Parcel whole;
        ASSERT_TRUE(c.write(whole));
        for (size_t cut = 0; cut < whole.GetDataSize(); cut += 4) {
            Parcel part;
            ASSERT_TRUE(part.SetData(whole.GetData(), cut));
            EXPECT_FALSE(c.readSame(part)) << "cut at " << cut;
            EXPECT_EQ(part.GetReadPosition(), 0u) << "cut at " << cut;
        }
    }
}

TEST(RecordMarshalling, AFailedWriteLeavesTheParcelAsItWas)
{
    for (const CodecCase& c : AllCases()) {
        SCOPED_TRACE(c.name);
        Parcel whole;
        ASSERT_TRUE(c.write(whole));
        if (whole.GetDataSize() <= 8) {
            continue;
        }
        Parcel tight;
        ASSERT_TRUE(tight.WriteInt32(7));
        ASSERT_TRUE(tight.SetMaxCapacity(whole.GetDataSize())); // 4 bytes short for the record
        EXPECT_FALSE(c.write(tight));
        EXPECT_EQ(tight.GetDataSize(), 4u);
        EXPECT_EQ(tight.ReadInt32(), 7);
    }
}

// --- Layouts as documented in docs/service-protocol.md ---

TEST(RecordMarshalling, LocationLayout)
{
    Parcel actual;
    ASSERT_TRUE(WriteLocation(actual, Location{"Rome", -2, 1.5, -2.5, 1e300}));
    Parcel expected;
    expected.WriteInt32(4);
    expected.WriteBuffer("Rome", 4);
    expected.WriteInt32(-2);
    expected.WriteDouble(1.5);
    expected.WriteDouble(-2.5);
    expected.WriteDouble(1e300);
    ASSERT_EQ(actual.GetDataSize(), expected.GetDataSize());
    EXPECT_EQ(0, std::memcmp(actual.GetData(), expected.GetData(), actual.GetDataSize()));
}

TEST(RecordMarshalling, StatusEndsWithTheRoutePreferencesAndThe64BitUpdateTime)
{
    NavigationStatus status;
    status.routePreference = {AVOID_HIGHWAY, static_cast<RoutePreference>(-5)};
    status.updateTime = 0x0102030405060708LL;
    Parcel parcel;
    ASSERT_TRUE(WriteNavigationStatus(parcel, status));
    // status, naviType, empty location (32), 0 pass points, routeIndex, empty string, theme
    const size_t preferences = 4 + 4 + 32 + 4 + 4 + 4 + 4;
    ASSERT_EQ(parcel.GetDataSize(), preferences + 4 + 2 * 4 + 8);
    ASSERT_TRUE(parcel.RewindRead(preferences));
    EXPECT_EQ(parcel.ReadInt32(), 2);
    EXPECT_EQ(parcel.ReadInt32(), AVOID_HIGHWAY);
    EXPECT_EQ(parcel.ReadInt32(), -5);
    EXPECT_EQ(parcel.ReadInt64(), 0x0102030405060708LL);
}

TEST(RecordMarshalling, WantParamsLayoutHasCountKeyTagAndValue)
{
    AAFwk::WantParams inner;
    inner.SetParam("b", AAFwk::WantValue::Bool(true));
    AAFwk::WantParams params;
    params.SetParam("k", AAFwk::WantValue::Long(-2));
    params.SetParam("m", AAFwk::WantValue::Params(inner));
    params.SetParam("a", AAFwk::WantValue::Array({AAFwk::WantValue::Double(0.5)}));
    Parcel actual;
    ASSERT_TRUE(WriteWantParams(actual, params));
    Parcel expected;
    expected.WriteInt32(3);
    expected.WriteString("k");
    expected.WriteInt32(3); // LONG
    expected.WriteInt64(-2);
    expected.WriteString("m");
    expected.WriteInt32(6); // WANT_PARAMS
    expected.WriteInt32(1);
    expected.WriteString("b");
    expected.WriteInt32(1); // BOOLEAN
    expected.WriteBool(true);
    expected.WriteString("a");
    expected.WriteInt32(7); // ARRAY
    expected.WriteInt32(1);
    expected.WriteInt32(4); // DOUBLE
    expected.WriteDouble(0.5);
    ASSERT_EQ(actual.GetDataSize(), expected.GetDataSize());
    EXPECT_EQ(0, std::memcmp(actual.GetData(), expected.GetData(), actual.GetDataSize()));
}

// --- Limits ---

// Writes raw WantParams bytes: a chain of `levels` maps, each holding the next under "in".
void WriteRawNestedMaps(Parcel& parcel, size_t levels)
{
    for (size_t level = 1; level < levels; ++level) {
        parcel.WriteInt32(1);
        parcel.WriteString("in");
        parcel.WriteInt32(6);
    }
    parcel.WriteInt32(0);
}

TEST(RecordMarshallingLimits, WantDepthIsCappedOnBothSides)
{
    Parcel ok;
    EXPECT_TRUE(WriteWantParams(ok, Testing::NestedParams(MAX_WANT_DEPTH)));
    EXPECT_TRUE(WriteWantParams(ok, Testing::NestedArrays(MAX_WANT_DEPTH)));

    Parcel deep;
    EXPECT_FALSE(WriteWantParams(deep, Testing::NestedParams(MAX_WANT_DEPTH + 1)));
    EXPECT_FALSE(WriteWantParams(deep, Testing::NestedArrays(MAX_WANT_DEPTH + 1)));
    EXPECT_EQ(deep.GetDataSize(), 0u);

    Parcel raw;
    WriteRawNestedMaps(raw, MAX_WANT_DEPTH + 1);
    AAFwk::WantParams back;
    EXPECT_FALSE(ReadWantParams(raw, back));
    EXPECT_EQ(raw.GetReadPosition(), 0u);

    Parcel rawOk;
    WriteRawNestedMaps(rawOk, MAX_WANT_DEPTH);
    EXPECT_TRUE(ReadWantParams(rawOk, back));

    // 40 arrays one inside the other: refused at level 33, long before the stack matters.
    Parcel arrays;
    arrays.WriteInt32(1);
    arrays.WriteString("a");
    for (int i = 0; i < 40; ++i) {
        arrays.WriteInt32(7);
        arrays.WriteInt32(1);
    }
    arrays.WriteInt32(2);
    arrays.WriteInt32(0);
    EXPECT_FALSE(ReadWantParams(arrays, back));
}

TEST(RecordMarshallingLimits, WantValueCountIsCappedAcrossTheTree)
{
    // Two arrays together pass the limit although each stays under it.
    const size_t half = MAX_WANT_VALUES / 2 + 1;
    std::vector<AAFwk::WantValue> many(half, AAFwk::WantValue::Int(1));
    AAFwk::WantParams params;
    params.SetParam("x", AAFwk::WantValue::Array(many));
    params.SetParam("y", AAFwk::WantValue::Array(many));
    Parcel parcel;
    EXPECT_FALSE(WriteWantParams(parcel, params));

    Parcel raw;
    raw.WriteInt32(2);
    for (const char* key : {"x", "y"}) {
        raw.WriteString(key);
        raw.WriteInt32(7);
        raw.WriteInt32(static_cast<int32_t>(half));
        for (size_t i = 0; i < half; ++i) {
            raw.WriteInt32(2);
            raw.WriteInt32(1);
        }
    }
    AAFwk::WantParams back;
    EXPECT_FALSE(ReadWantParams(raw, back));
    EXPECT_EQ(raw.GetReadPosition(), 0u);
}

TEST(RecordMarshallingLimits, MalformedWantParamsAreRefused)
{
    struct Bad {
        const char* what;
        std::function<void(Parcel&)> build;
    };
    const std::vector<Bad> bad = {
        {"negative count", [](Parcel& p) { p.WriteInt32(-1); }},
        {"count beyond the data",
            [](Parcel& p) {
                p.WriteInt32(0x7FFFFFFF);
                p.WriteString("k");
            }},
        {"unknown tag",
            [](Parcel& p) {
                p.WriteInt32(1);
                p.WriteString("k");
                p.WriteInt32(8);
                p.WriteInt32(0);
            }},
        {"tag zero",
            [](Parcel& p) {
                p.WriteInt32(1);
                p.WriteString("k");
                p.WriteInt32(0);
                p.WriteInt32(0);
            }},
        {"bool of 2",
            [](Parcel& p) {
                p.WriteInt32(1);
                p.WriteString("k");
                p.WriteInt32(1);
                p.WriteInt32(2);
            }},
        {"duplicate key",
            [](Parcel& p) {
                p.WriteInt32(2);
                for (int i = 0; i < 2; ++i) {
                    p.WriteString("k");
                    p.WriteInt32(2);
                    p.WriteInt32(i);
                }
            }},
        {"negative array count",
            [](Parcel& p) {
                p.WriteInt32(1);
                p.WriteString("k");
                p.WriteInt32(7);
                p.WriteInt32(-3);
            }},
        {"key over the limit",
            [](Parcel& p) {
                p.WriteInt32(1);
                p.WriteString(std::string(MAX_STRING_BYTES + 1, 'k'));
                p.WriteInt32(2);
                p.WriteInt32(0);
            }},
    };
    for (const Bad& b : bad) {
        SCOPED_TRACE(b.what);
        Parcel parcel;
        parcel.SetMaxCapacity(4 * 1024 * 1024);
        b.build(parcel);
        AAFwk::WantParams back;
        EXPECT_FALSE(ReadWantParams(parcel, back));
        EXPECT_EQ(parcel.GetReadPosition(), 0u);
    }
}

TEST(RecordMarshallingLimits, StringsAndListsOverTheirLimitsAreRefused)
{
    const std::string longest(MAX_STRING_BYTES, 's');
    Parcel parcel;
    EXPECT_TRUE(WriteBoundedString(parcel, longest));
    std::string back;
    EXPECT_TRUE(ReadBoundedString(parcel, back));
    EXPECT_EQ(back, longest);

    Parcel over;
    EXPECT_FALSE(WriteBoundedString(over, longest + "s"));
    EXPECT_EQ(over.GetDataSize(), 0u);
    ASSERT_TRUE(over.WriteString(longest + "s"));
    EXPECT_FALSE(ReadBoundedString(over, back));
    EXPECT_EQ(over.GetReadPosition(), 0u);

    NavigationStatus status;
    status.passPoint.resize(MAX_PASS_POINTS + 1);
    EXPECT_FALSE(WriteNavigationStatus(over, status));
    status.passPoint.resize(MAX_PASS_POINTS);
    status.routePreference.resize(MAX_ROUTE_PREFERENCES + 1, HIGHWAY_FIRST);
    EXPECT_FALSE(WriteNavigationStatus(over, status));

    NavigationMetadata metadata;
    metadata.trafficLane.resize(MAX_TEXT_VECTOR_UNITS + 1, 'x');
    EXPECT_FALSE(WriteNavigationMetadata(over, metadata));
    metadata.trafficLane.clear();
    metadata.currentRoadName.assign(MAX_STRING_BYTES + 1, 'r');
    EXPECT_FALSE(WriteNavigationMetadata(over, metadata));

    ResultData result;
    result.message.assign(MAX_STRING_BYTES + 1, 'm');
    EXPECT_FALSE(WriteResultData(over, result));
}

TEST(RecordMarshallingLimits, ACraftedPassPointCountIsRefusedBeforeReading)
{
    Parcel parcel;
    parcel.WriteInt32(0);              // status
    parcel.WriteInt32(0);              // naviType
    WriteLocation(parcel, Location()); // destLocation
    parcel.WriteInt32(static_cast<int32_t>(MAX_PASS_POINTS + 1));
    for (size_t i = 0; i <= MAX_PASS_POINTS; ++i) {
        WriteLocation(parcel, Location());
    }
    NavigationStatus status;
    EXPECT_FALSE(ReadNavigationStatus(parcel, status));
    EXPECT_EQ(parcel.GetReadPosition(), 0u);
}

TEST(RecordMarshallingLimits, NarrowMetadataFieldsRefuseWideValues)
{
    NavigationMetadata sample;
    Parcel good;
    ASSERT_TRUE(WriteNavigationMetadata(good, sample));

    // naviTurnMode is the first slot, cameraSpeedLimitValid the first bool.
    const size_t boolSlot = 4 + 4 + 4 + 4 + 4 + 4 + 4 + 4;
    for (auto [slot, value] : {std::pair<size_t, int32_t>{0, 0x10000}, {boolSlot, 2}}) {
        std::vector<uint8_t> bytes(good.GetData(), good.GetData() + good.GetDataSize());
        std::memcpy(&bytes[slot], &value, sizeof(value));
        Parcel bad;
        ASSERT_TRUE(bad.SetData(bytes.data(), bytes.size()));
        NavigationMetadata back;
        EXPECT_FALSE(ReadNavigationMetadata(bad, back)) << "slot " << slot;
    }
}

// --- Measuring ---

// A metadata record whose customData holds count strings of 64,000 bytes and
// one of lastBytes: about lastBytes + count * 64 KiB.
NavigationMetadata MetadataOfSize(size_t count, size_t lastBytes)
{
    NavigationMetadata metadata;
    for (size_t i = 0; i < count; ++i) {
        metadata.customData.AppendParam("s" + std::to_string(i), AAFwk::WantValue::String(std::string(64000, 'x')));
    }
    metadata.customData.AppendParam("last", AAFwk::WantValue::String(std::string(lastBytes, 'y')));
    return metadata;
}

TEST(RecordMeasuring, MeasuringAcceptsExactlyWhatAParcelTakesAndCountsItsBytes)
{
    std::vector<std::pair<std::string, std::function<bool(Parcel*, ParcelSizer*)>>> cases;
    auto addStatus = [&](const std::string& name, const NavigationStatus& status) {
        cases.push_back({name, [status](Parcel* p, ParcelSizer* s) {
                             return p != nullptr ? WriteNavigationStatus(*p, status)
                                                 : MeasureNavigationStatus(*s, status);
                         }});
    };
    auto addMetadata = [&](const std::string& name, const NavigationMetadata& metadata) {
        cases.push_back({name, [metadata](Parcel* p, ParcelSizer* s) {
                             return p != nullptr ? WriteNavigationMetadata(*p, metadata)
                                                 : MeasureNavigationMetadata(*s, metadata);
                         }});
    };
    for (const NavigationStatus& status : Testing::StatusSamples()) {
        addStatus("status sample", status);
    }
    for (const NavigationMetadata& metadata : Testing::MetadataSamples()) {
        addMetadata("metadata sample", metadata);
    }
    NavigationStatus tooManyPoints;
    tooManyPoints.passPoint.resize(MAX_PASS_POINTS + 1);
    addStatus("pass points over the limit", tooManyPoints);
    NavigationMetadata deep;
    deep.customData = Testing::NestedParams(MAX_WANT_DEPTH + 1);
    addMetadata("custom data too deep", deep);
    NavigationMetadata longName;
    longName.nextRoadName.assign(MAX_STRING_BYTES + 1, 'n');
    addMetadata("string over the limit", longName);
    // Around the parcel's capacity: the longest last string a parcel takes,
    // and a few bytes either side of it.
    size_t low = 0;
    size_t high = 64000;
    while (low < high) {
        const size_t middle = (low + high + 1) / 2;
        Parcel parcel;
        if (WriteNavigationMetadata(parcel, MetadataOfSize(16, middle))) {
            low = middle;
        } else {
            high = middle - 1;
        }
    }
    ASSERT_GT(low, 5u);
    ASSERT_LT(low, 64000u - 5);
    for (size_t bytes = low - 5; bytes <= low + 5; ++bytes) {
        addMetadata("capacity " + std::to_string(bytes), MetadataOfSize(16, bytes));
    }
    for (const auto& [name, write] : cases) {
        SCOPED_TRACE(name);
        Parcel parcel;
        ParcelSizer sizer;
        const bool written = write(&parcel, nullptr);
        EXPECT_EQ(write(nullptr, &sizer), written);
        EXPECT_EQ(sizer.GetDataSize(), parcel.GetDataSize());
    }
}

} // namespace
} // namespace OHOS::NavigationInfoService
