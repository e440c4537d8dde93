// Records for the protocol tests: field-by-field comparison (bit-exact for
// doubles, so NaN and -0.0 must survive too) and samples from empty to
// large, with values at the edges of their types.
#ifndef TEST_NATIVE_DAEMON_RECORD_SAMPLES_H
#define TEST_NATIVE_DAEMON_RECORD_SAMPLES_H

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "navigation_info_data.h"
#include "want_params.h"

namespace OHOS::NavigationInfoService::Testing {

inline bool SameDouble(double a, double b)
{
    // Bit for bit on purpose: a round trip keeps -0.0 and NaN as they were.
    return std::memcmp(&a, &b, sizeof(a)) == 0; // NOLINT(bugprone-suspicious-memory-comparison)
}

inline bool Same(const Location& a, const Location& b)
{
    return a.name == b.name && a.coordType == b.coordType && SameDouble(a.longitude, b.longitude) &&
        SameDouble(a.latitude, b.latitude) && SameDouble(a.altitude, b.altitude);
}

inline bool Same(const NavigationStatus& a, const NavigationStatus& b)
{
    if (a.passPoint.size() != b.passPoint.size()) {
        return false;
    }
    for (size_t i = 0; i < a.passPoint.size(); ++i) {
        if (!Same(a.passPoint[i], b.passPoint[i])) {
            return false;
        }
    }
    return a.status == b.status && a.naviType == b.naviType && Same(a.destLocation, b.destLocation) &&
        a.routeIndex == b.routeIndex && a.customData == b.customData && a.theme == b.theme &&
        a.routePreference == b.routePreference && a.updateTime == b.updateTime;
}

inline bool Same(const NavigationMetadata& a, const NavigationMetadata& b)
{
    return a.naviTurnMode == b.naviTurnMode && a.segmentLeftDis == b.segmentLeftDis &&
        a.currentRoadName == b.currentRoadName && a.nextRoadName == b.nextRoadName &&
        a.intersectionView == b.intersectionView && a.viewWidth == b.viewWidth && a.viewHeight == b.viewHeight &&
        a.trafficLane == b.trafficLane && a.cameraSpeedLimitValid == b.cameraSpeedLimitValid &&
        a.cameraSpeedLimit == b.cameraSpeedLimit && a.naviSpeedLimitValid == b.naviSpeedLimitValid &&
        a.naviSpeedLimit == b.naviSpeedLimit && a.currentSpeed == b.currentSpeed &&
        SameDouble(a.naviBearing, b.naviBearing) && a.totalLeftDis == b.totalLeftDis &&
        a.remainingTime == b.remainingTime && a.customData == b.customData;
}

inline bool Same(const ResultData& a, const ResultData& b)
{
    return a.code == b.code && a.message == b.message && a.data == b.data;
}

// A map nested `levels` deep (the outermost counts as level 1).
inline AAFwk::WantParams NestedParams(size_t levels)
{
    AAFwk::WantParams params;
    params.SetParam("leaf", AAFwk::WantValue::Int(static_cast<int32_t>(levels)));
    for (size_t level = 1; level < levels; ++level) {
        AAFwk::WantParams outer;
        outer.SetParam("in", AAFwk::WantValue::Params(std::move(params)));
        params = std::move(outer);
    }
    return params;
}

// A map whose value under "a" is an array nested so that the deepest array
// sits at level `levels`.
inline AAFwk::WantParams NestedArrays(size_t levels)
{
    AAFwk::WantValue value = AAFwk::WantValue::Array({AAFwk::WantValue::Bool(true)});
    for (size_t level = 3; level <= levels; ++level) {
        value = AAFwk::WantValue::Array({std::move(value)});
    }
    AAFwk::WantParams params;
    params.SetParam("a", std::move(value));
    return params;
}

// Every kind of value, nested both ways.
inline AAFwk::WantParams RichParams()
{
    AAFwk::WantParams inner;
    inner.SetParam("lane", AAFwk::WantValue::Int(2));
    inner.SetParam("", AAFwk::WantValue::String("empty key"));
    AAFwk::WantParams params;
    params.SetParam("t", AAFwk::WantValue::Bool(true));
    params.SetParam("f", AAFwk::WantValue::Bool(false));
    params.SetParam("i", AAFwk::WantValue::Int(std::numeric_limits<int32_t>::min()));
    params.SetParam("l", AAFwk::WantValue::Long(std::numeric_limits<int64_t>::max()));
    params.SetParam("d", AAFwk::WantValue::Double(-0.0));
    params.SetParam("s",
        AAFwk::WantValue::String("Stra\xC3\x9F"
                                 "e\n\t"));
    params.SetParam("nested", AAFwk::WantValue::Params(inner));
    params.SetParam("arr",
        AAFwk::WantValue::Array({AAFwk::WantValue::Int(1), AAFwk::WantValue::String("x"),
            AAFwk::WantValue::Params(inner), AAFwk::WantValue::Array({}), AAFwk::WantValue::Long(-1)}));
    return params;
}

inline Location SampleLocation(const std::string& name)
{
    return Location{name, 2, 13.404954, 52.520008, -12.5};
}

inline std::vector<NavigationStatus> StatusSamples()
{
    NavigationStatus empty;
    NavigationStatus full;
    full.status = 1;
    full.naviType = -3;
    full.destLocation = SampleLocation("Office \xE2\x9C\x93");
    full.passPoint = {SampleLocation("A"), SampleLocation(""), SampleLocation(std::string(300, 'p'))};
    full.routeIndex = std::numeric_limits<int32_t>::min();
    full.customData = std::string("with\0nul", 8);
    full.theme = 7;
    full.routePreference = {HIGHWAY_FIRST, TIME_FIRST, static_cast<RoutePreference>(99)};
    full.updateTime = 0x7FEDCBA987654321LL;
    NavigationStatus odd;
    odd.destLocation.longitude = std::numeric_limits<double>::quiet_NaN();
    odd.destLocation.latitude = std::numeric_limits<double>::infinity();
    odd.updateTime = -1;
    odd.passPoint.assign(64, SampleLocation("p"));
    return {empty, full, odd};
}

inline std::vector<NavigationMetadata> MetadataSamples()
{
    NavigationMetadata empty;
    NavigationMetadata full;
    full.naviTurnMode = 0xFFFF;
    full.segmentLeftDis = 0xFFFFFFFFu;
    full.currentRoadName = "A1";
    full.nextRoadName = std::string(1000, 'n');
    full.intersectionView = {0x61, 0xD83D, 0xDE97, 0}; // text with a surrogate pair and a NUL unit
    full.viewWidth = 640;
    full.viewHeight = 480;
    full.trafficLane = {0xE9};
    full.cameraSpeedLimitValid = true;
    full.cameraSpeedLimit = 80;
    full.naviSpeedLimitValid = false;
    full.naviSpeedLimit = 100;
    full.currentSpeed = 77;
    full.naviBearing = 359.999;
    full.totalLeftDis = 1;
    full.remainingTime = 600;
    full.customData = RichParams();
    NavigationMetadata odd;
    odd.intersectionView.assign(3, 0x20); // odd unit count: padding after it
    odd.naviBearing = -std::numeric_limits<double>::denorm_min();
    odd.customData = NestedParams(32);
    return {empty, full, odd};
}

inline std::vector<ResultData> ResultSamples()
{
    return {ResultData{}, ResultData{-1, "m", RichParams()}, ResultData{1004, std::string(255, 'x'), NestedArrays(32)}};
}

} // namespace OHOS::NavigationInfoService::Testing

#endif // TEST_NATIVE_DAEMON_RECORD_SAMPLES_H
