#include "record_marshalling.h"

#include <unordered_set>
#include <utility>
#include <vector>

namespace OHOS::NavigationInfoService::Marshalling {
namespace {

using AAFwk::WantParams;
using AAFwk::WantValue;

// Type tags of WantParams values on the wire. Fixed here, independent of the
// in-memory enum, so that a change there cannot silently change the protocol.
enum WireTag : int32_t {
    TAG_BOOLEAN = 1,
    TAG_INT = 2,
    TAG_LONG = 3,
    TAG_DOUBLE = 4,
    TAG_STRING = 5,
    TAG_WANT_PARAMS = 6,
    TAG_ARRAY = 7,
};

// Smallest encodings, used to refuse a count that the remaining bytes cannot
// hold before anything is reserved for it.
constexpr size_t MIN_LOCATION_BYTES = 4 + 4 + 3 * 8; // empty name, coordType, three doubles
constexpr size_t MIN_WANT_ENTRY_BYTES = 4 + 4 + 4;   // empty key, tag, smallest value
constexpr size_t MIN_WANT_ELEMENT_BYTES = 4 + 4;     // tag, smallest value

// Runs body; if it fails, drops whatever it wrote. The writers take any Out
// with Parcel's writing members: a Parcel, or a ParcelSizer that only counts.
template <typename Out, typename Body>
bool Writing(Out& parcel, Body&& body)
{
    const size_t start = parcel.GetWritePosition();
    if (body()) {
        return true;
    }
    parcel.RewindWrite(start);
    return false;
}

// Runs body; if it fails, moves the read position back to where it was.
template <typename Body>
bool Reading(Parcel& parcel, Body&& body)
{
    const size_t start = parcel.GetReadPosition();
    if (body()) {
        return true;
    }
    parcel.RewindRead(start);
    return false;
}

template <typename Out>
bool WriteCount(Out& parcel, size_t count, size_t maxCount)
{
    return count <= maxCount && parcel.WriteInt32(static_cast<int32_t>(count));
}

// A count that is not negative, within maxCount, and small enough that
// count items of at least minBytesEach bytes fit in what is left.
bool ReadCount(Parcel& parcel, size_t maxCount, size_t minBytesEach, size_t& count)
{
    int32_t raw = 0;
    if (!parcel.ReadInt32(raw) || raw < 0) {
        return false;
    }
    count = static_cast<size_t>(raw);
    return count <= maxCount && count <= parcel.GetReadableBytes() / minBytesEach;
}

// The int32 length in front of a string or vector, without consuming it.
bool PeekLength(Parcel& parcel, size_t maxLength)
{
    const size_t start = parcel.GetReadPosition();
    int32_t length = 0;
    if (!parcel.ReadInt32(length)) {
        return false;
    }
    parcel.RewindRead(start);
    return length >= 0 && static_cast<size_t>(length) <= maxLength;
}

template <typename Out>
bool WriteStringItem(Out& parcel, const std::string& value)
{
    return value.size() <= MAX_STRING_BYTES && parcel.WriteString(value);
}

bool ReadStringItem(Parcel& parcel, std::string& value)
{
    return PeekLength(parcel, MAX_STRING_BYTES) && parcel.ReadString(value);
}

template <typename Out>
bool WriteTextVector(Out& parcel, const std::vector<uint16_t>& value)
{
    return value.size() <= MAX_TEXT_VECTOR_UNITS && parcel.WriteUInt16Vector(value);
}

bool ReadTextVector(Parcel& parcel, std::vector<uint16_t>& value)
{
    return PeekLength(parcel, MAX_TEXT_VECTOR_UNITS) && parcel.ReadUInt16Vector(value);
}

template <typename Out>
bool WriteLocationItem(Out& parcel, const Location& location)
{
    return WriteStringItem(parcel, location.name) && parcel.WriteInt32(location.coordType) &&
        parcel.WriteDouble(location.longitude) && parcel.WriteDouble(location.latitude) &&
        parcel.WriteDouble(location.altitude);
}

bool ReadLocationItem(Parcel& parcel, Location& location)
{
    return ReadStringItem(parcel, location.name) && parcel.ReadInt32(location.coordType) &&
        parcel.ReadDouble(location.longitude) && parcel.ReadDouble(location.latitude) &&
        parcel.ReadDouble(location.altitude);
}

// --- WantParams ---
// depth: the level of the map being written or read (outermost 1).
// budget: values that may still be written or read in this tree.

template <typename Out>
bool WriteParamsItem(Out& parcel, const WantParams& params, size_t depth, size_t& budget);
bool ReadParamsItem(Parcel& parcel, WantParams& params, size_t depth, size_t& budget);

// A value held by a container of level depth.
template <typename Out>
bool WriteValueItem(Out& parcel, const WantValue& value, size_t depth, size_t& budget)
{
    switch (value.GetType()) {
        case WantValue::Type::BOOLEAN: return parcel.WriteInt32(TAG_BOOLEAN) && parcel.WriteBool(value.GetBool());
        case WantValue::Type::INT: return parcel.WriteInt32(TAG_INT) && parcel.WriteInt32(value.GetInt());
        case WantValue::Type::LONG: return parcel.WriteInt32(TAG_LONG) && parcel.WriteInt64(value.GetLong());
        case WantValue::Type::DOUBLE: return parcel.WriteInt32(TAG_DOUBLE) && parcel.WriteDouble(value.GetDouble());
        case WantValue::Type::STRING:
            return parcel.WriteInt32(TAG_STRING) && WriteStringItem(parcel, value.GetString());
        case WantValue::Type::WANT_PARAMS:
            return parcel.WriteInt32(TAG_WANT_PARAMS) && WriteParamsItem(parcel, value.GetParams(), depth + 1, budget);
        case WantValue::Type::ARRAY: {
            const auto& elements = value.GetArray();
            if (depth + 1 > MAX_WANT_DEPTH || !parcel.WriteInt32(TAG_ARRAY) ||
                !WriteCount(parcel, elements.size(), MAX_WANT_VALUES)) {
                return false;
            }
            for (const WantValue& element : elements) {
                if (budget == 0) {
                    return false;
                }
                --budget;
                if (!WriteValueItem(parcel, element, depth + 1, budget)) {
                    return false;
                }
            }
            return true;
        }
    }
    return false;
}

bool ReadValueItem(Parcel& parcel, WantValue& value, size_t depth, size_t& budget)
{
    int32_t tag = 0;
    if (!parcel.ReadInt32(tag)) {
        return false;
    }
    switch (tag) {
        case TAG_BOOLEAN: {
            bool v = false;
            return parcel.ReadBool(v) && (value = WantValue::Bool(v), true);
        }
        case TAG_INT: {
            int32_t v = 0;
            return parcel.ReadInt32(v) && (value = WantValue::Int(v), true);
        }
        case TAG_LONG: {
            int64_t v = 0;
            return parcel.ReadInt64(v) && (value = WantValue::Long(v), true);
        }
        case TAG_DOUBLE: {
            double v = 0.0;
            return parcel.ReadDouble(v) && (value = WantValue::Double(v), true);
        }
        case TAG_STRING: {
            std::string v;
            return ReadStringItem(parcel, v) && (value = WantValue::String(std::move(v)), true);
        }
        case TAG_WANT_PARAMS: {
            WantParams nested;
            return ReadParamsItem(parcel, nested, depth + 1, budget) &&
                (value = WantValue::Params(std::move(nested)), true);
        }
        case TAG_ARRAY: {
            size_t count = 0;
            if (depth + 1 > MAX_WANT_DEPTH || !ReadCount(parcel, budget, MIN_WANT_ELEMENT_BYTES, count)) {
                return false;
            }
            std::vector<WantValue> elements;
            elements.reserve(count);
            for (size_t i = 0; i < count; ++i) {
                if (budget == 0) {
                    return false;
                }
                --budget;
                WantValue element;
                if (!ReadValueItem(parcel, element, depth + 1, budget)) {
                    return false;
                }
                elements.push_back(std::move(element));
            }
            value = WantValue::Array(std::move(elements));
            return true;
        }
        default: return false; // an unknown tag: nothing after it can be trusted
    }
}

template <typename Out>
bool WriteParamsItem(Out& parcel, const WantParams& params, size_t depth, size_t& budget)
{
    const auto& entries = params.GetEntries();
    if (depth > MAX_WANT_DEPTH || !WriteCount(parcel, entries.size(), MAX_WANT_VALUES)) {
        return false;
    }
    for (const auto& [key, value] : entries) {
        if (budget == 0) {
            return false;
        }
        --budget;
        if (!WriteStringItem(parcel, key) || !WriteValueItem(parcel, value, depth, budget)) {
            return false;
        }
    }
    return true;
}

bool ReadParamsItem(Parcel& parcel, WantParams& params, size_t depth, size_t& budget)
{
    size_t count = 0;
    if (depth > MAX_WANT_DEPTH || !ReadCount(parcel, budget, MIN_WANT_ENTRY_BYTES, count)) {
        return false;
    }
    params.Clear();
    params.Reserve(count);
    std::unordered_set<std::string> seen;
    seen.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        if (budget == 0) {
            return false;
        }
        --budget;
        std::string key;
        WantValue value;
        if (!ReadStringItem(parcel, key) || !ReadValueItem(parcel, value, depth, budget)) {
            return false;
        }
        // A key twice would make the map depend on which copy wins: refused.
        if (!seen.insert(key).second) {
            return false;
        }
        params.AppendParam(std::move(key), std::move(value));
    }
    return true;
}

template <typename Out>
bool WriteBoundedStringTo(Out& parcel, const std::string& value)
{
    return Writing(parcel, [&] { return WriteStringItem(parcel, value); });
}

template <typename Out>
bool WriteNotificationNumberTo(Out& parcel, const NotificationNumber& number)
{
    return Writing(parcel, [&] { return parcel.WriteUint64(number.stream) && parcel.WriteUint64(number.sequence); });
}

template <typename Out>
bool WriteNavigationStatusTo(Out& parcel, const NavigationStatus& status)
{
    return Writing(parcel, [&] {
        if (!parcel.WriteInt32(status.status) || !parcel.WriteInt32(status.naviType) ||
            !WriteLocationItem(parcel, status.destLocation) ||
            !WriteCount(parcel, status.passPoint.size(), MAX_PASS_POINTS)) {
            return false;
        }
        for (const Location& point : status.passPoint) {
            if (!WriteLocationItem(parcel, point)) {
                return false;
            }
        }
        if (!parcel.WriteInt32(status.routeIndex) || !WriteStringItem(parcel, status.customData) ||
            !parcel.WriteInt32(status.theme) ||
            !WriteCount(parcel, status.routePreference.size(), MAX_ROUTE_PREFERENCES)) {
            return false;
        }
        for (RoutePreference preference : status.routePreference) {
            if (!parcel.WriteInt32(static_cast<int32_t>(preference))) {
                return false;
            }
        }
        return parcel.WriteInt64(status.updateTime);
    });
}

template <typename Out>
bool WriteNavigationMetadataTo(Out& parcel, const NavigationMetadata& m)
{
    return Writing(parcel, [&] {
        size_t budget = MAX_WANT_VALUES;
        return parcel.WriteUint16(m.naviTurnMode) && parcel.WriteUint32(m.segmentLeftDis) &&
            WriteStringItem(parcel, m.currentRoadName) && WriteStringItem(parcel, m.nextRoadName) &&
            WriteTextVector(parcel, m.intersectionView) && parcel.WriteUint32(m.viewWidth) &&
            parcel.WriteUint32(m.viewHeight) && WriteTextVector(parcel, m.trafficLane) &&
            parcel.WriteBool(m.cameraSpeedLimitValid) && parcel.WriteUint32(m.cameraSpeedLimit) &&
            parcel.WriteBool(m.naviSpeedLimitValid) && parcel.WriteUint32(m.naviSpeedLimit) &&
            parcel.WriteUint32(m.currentSpeed) && parcel.WriteDouble(m.naviBearing) &&
            parcel.WriteUint32(m.totalLeftDis) && parcel.WriteUint32(m.remainingTime) &&
            WriteParamsItem(parcel, m.customData, 1, budget);
    });
}

} // namespace

bool WriteBoundedString(Parcel& parcel, const std::string& value)
{
    return WriteBoundedStringTo(parcel, value);
}

bool ReadBoundedString(Parcel& parcel, std::string& value)
{
    return Reading(parcel, [&] { return ReadStringItem(parcel, value); });
}

bool WriteNotificationNumber(Parcel& parcel, const NotificationNumber& number)
{
    return WriteNotificationNumberTo(parcel, number);
}

bool ReadNotificationNumber(Parcel& parcel, NotificationNumber& number)
{
    return Reading(parcel, [&] { return parcel.ReadUint64(number.stream) && parcel.ReadUint64(number.sequence); });
}

bool WriteLocation(Parcel& parcel, const Location& location)
{
    return Writing(parcel, [&] { return WriteLocationItem(parcel, location); });
}

bool ReadLocation(Parcel& parcel, Location& location)
{
    return Reading(parcel, [&] { return ReadLocationItem(parcel, location); });
}

bool WriteNavigationStatus(Parcel& parcel, const NavigationStatus& status)
{
    return WriteNavigationStatusTo(parcel, status);
}

bool ReadNavigationStatus(Parcel& parcel, NavigationStatus& status)
{
    return Reading(parcel, [&] {
        size_t points = 0;
        if (!parcel.ReadInt32(status.status) || !parcel.ReadInt32(status.naviType) ||
            !ReadLocationItem(parcel, status.destLocation) ||
            !ReadCount(parcel, MAX_PASS_POINTS, MIN_LOCATION_BYTES, points)) {
            return false;
        }
        status.passPoint.assign(points, Location());
        for (Location& point : status.passPoint) {
            if (!ReadLocationItem(parcel, point)) {
                return false;
            }
        }
        size_t preferences = 0;
        if (!parcel.ReadInt32(status.routeIndex) || !ReadStringItem(parcel, status.customData) ||
            !parcel.ReadInt32(status.theme) ||
            !ReadCount(parcel, MAX_ROUTE_PREFERENCES, sizeof(int32_t), preferences)) {
            return false;
        }
        status.routePreference.clear();
        status.routePreference.reserve(preferences);
        for (size_t i = 0; i < preferences; ++i) {
            int32_t preference = 0;
            if (!parcel.ReadInt32(preference)) {
                return false;
            }
            // Out-of-range values pass through: the records are not validated.
            status.routePreference.push_back(static_cast<RoutePreference>(preference));
        }
        return parcel.ReadInt64(status.updateTime);
    });
}

bool WriteNavigationMetadata(Parcel& parcel, const NavigationMetadata& m)
{
    return WriteNavigationMetadataTo(parcel, m);
}

bool ReadNavigationMetadata(Parcel& parcel, NavigationMetadata& m)
{
    return Reading(parcel, [&] {
        size_t budget = MAX_WANT_VALUES;
        return parcel.ReadUint16(m.naviTurnMode) && parcel.ReadUint32(m.segmentLeftDis) &&
            ReadStringItem(parcel, m.currentRoadName) && ReadStringItem(parcel, m.nextRoadName) &&
            ReadTextVector(parcel, m.intersectionView) && parcel.ReadUint32(m.viewWidth) &&
            parcel.ReadUint32(m.viewHeight) && ReadTextVector(parcel, m.trafficLane) &&
            parcel.ReadBool(m.cameraSpeedLimitValid) && parcel.ReadUint32(m.cameraSpeedLimit) &&
            parcel.ReadBool(m.naviSpeedLimitValid) && parcel.ReadUint32(m.naviSpeedLimit) &&
            parcel.ReadUint32(m.currentSpeed) && parcel.ReadDouble(m.naviBearing) &&
            parcel.ReadUint32(m.totalLeftDis) && parcel.ReadUint32(m.remainingTime) &&
            ReadParamsItem(parcel, m.customData, 1, budget);
    });
}

bool WriteResultData(Parcel& parcel, const ResultData& result)
{
    return Writing(parcel, [&] {
        size_t budget = MAX_WANT_VALUES;
        return parcel.WriteInt32(result.code) && WriteStringItem(parcel, result.message) &&
            WriteParamsItem(parcel, result.data, 1, budget);
    });
}

bool ReadResultData(Parcel& parcel, ResultData& result)
{
    return Reading(parcel, [&] {
        size_t budget = MAX_WANT_VALUES;
        return parcel.ReadInt32(result.code) && ReadStringItem(parcel, result.message) &&
            ReadParamsItem(parcel, result.data, 1, budget);
    });
}

bool WriteWantParams(Parcel& parcel, const AAFwk::WantParams& params)
{
    return Writing(parcel, [&] {
        size_t budget = MAX_WANT_VALUES;
        return WriteParamsItem(parcel, params, 1, budget);
    });
}

bool ReadWantParams(Parcel& parcel, AAFwk::WantParams& params)
{
    return Reading(parcel, [&] {
        size_t budget = MAX_WANT_VALUES;
        return ReadParamsItem(parcel, params, 1, budget);
    });
}

bool MeasureNavigationStatus(ParcelSizer& sizer, const NavigationStatus& status)
{
    return WriteNavigationStatusTo(sizer, status);
}

bool MeasureNavigationMetadata(ParcelSizer& sizer, const NavigationMetadata& metadata)
{
    return WriteNavigationMetadataTo(sizer, metadata);
}

bool MeasureBoundedString(ParcelSizer& sizer, const std::string& value)
{
    return WriteBoundedStringTo(sizer, value);
}

bool MeasureNotificationNumber(ParcelSizer& sizer, const NotificationNumber& number)
{
    return WriteNotificationNumberTo(sizer, number);
}

} // namespace OHOS::NavigationInfoService::Marshalling
