// The navigation records exchanged between applications and the navigation
// information service. The module and the client library use these very types.
#ifndef PROTOCOL_NAVIGATION_INFO_DATA_H
#define PROTOCOL_NAVIGATION_INFO_DATA_H

#include <cstdint>
#include <string>
#include <vector>

#include "want_params.h"

namespace OHOS::NavigationInfoService {

struct Location {
    std::string name;
    int32_t coordType = 0;
    double longitude = 0.0;
    double latitude = 0.0;
    double altitude = 0.0;
};

enum RoutePreference : int32_t {
    INTELLIGENT_RECOMMENDATION = 0,
    HIGHWAY_FIRST = 1,
    AVOID_HIGHWAY = 2,
    AVOID_CONGESTION = 3,
    LESS_CHARGE = 4,
    MAIN_ROAD_FIRST = 5,
    TIME_FIRST = 6,
};

// NavigationStatus::status of a navigation application that is not
// available; the service also stores it on behalf of one that went away.
constexpr int32_t MAP_STATUS_UNAVAILABLE = 5;

struct NavigationStatus {
    int32_t status = 0;
    int32_t naviType = 0;
    Location destLocation;
    std::vector<Location> passPoint;
    int32_t routeIndex = 0;
    std::string customData;
    int32_t theme = 0;
    std::vector<RoutePreference> routePreference;
    // When the service stored this status (milliseconds since the epoch);
    // applications neither set nor read it.
    int64_t updateTime = 0;
};

struct NavigationMetadata {
    uint16_t naviTurnMode = 0;
    uint32_t segmentLeftDis = 0;
    std::string currentRoadName;
    std::string nextRoadName;
    std::vector<uint16_t> intersectionView;
    uint32_t viewWidth = 0;
    uint32_t viewHeight = 0;
    std::vector<uint16_t> trafficLane;
    bool cameraSpeedLimitValid = false;
    uint32_t cameraSpeedLimit = 0;
    bool naviSpeedLimitValid = false;
    uint32_t naviSpeedLimit = 0;
    uint32_t currentSpeed = 0;
    double naviBearing = 0.0;
    uint32_t totalLeftDis = 0;
    uint32_t remainingTime = 0;
    OHOS::AAFwk::WantParams customData;
};

enum QueryType : int32_t {
    NAVIGATION_STATUS = 0,
    NAVIGATION_METADATA = 1,
};

enum CommandType : int32_t {
    START_NAVIGATION = 0,
    STOP_NAVIGATION = 1,
    GO_HOME = 2,
    GO_TO_COMPANY = 3,
    START_MAP_LAYER = 4,
    STOP_MAP_LAYER = 5,
    ZOOM_IN_MAP = 6,
    ZOOM_OUT_MAP = 7,
    CHANGE_THEME = 8,
    START_UPDATE_NAVIGATION_STATUS = 9,
    STOP_UPDATE_NAVIGATION_STATUS = 10,
};

constexpr int32_t QUERY_TYPE_COUNT = 2;
constexpr int32_t COMMAND_TYPE_COUNT = 11;

// The answer to one query or command.
struct ResultData {
    int32_t code = 0;
    std::string message;
    OHOS::AAFwk::WantParams data;
};

} // namespace OHOS::NavigationInfoService

#endif // PROTOCOL_NAVIGATION_INFO_DATA_H
