#include "metadata_fields.h"

#include <cstring>

namespace OHOS::NavigationInfoService {
namespace {

// name[index], or the terminator when the name ends before it: never reads
// past the terminator.
char CharAt(const char* name, size_t index)
{
    for (size_t i = 0; i < index; ++i) {
        if (name[i] == '\0') {
            return '\0';
        }
    }
    return name[index];
}

struct Candidate {
    const char* name;
    MetadataField field;
};

constexpr Candidate NONE{nullptr, NOT_A_METADATA_FIELD};

// The one field (or, for the speed limits, the first of two) a name can be,
// told by the characters where the field names differ.
Candidate CandidateFor(const char* name)
{
    // name[1] is read only after name[0] matched, name[2] only after name[1]
    // did, and further characters through CharAt.
    switch (name[0]) {
        case 'n':
            if (name[1] == 'e') {
                return {"nextRoadName", NEXT_ROAD_NAME};
            }
            switch (CharAt(name, 4)) {
                case 'T': return {"naviTurnMode", NAVI_TURN_MODE};
                case 'S': return {"naviSpeedLimit", NAVI_SPEED_LIMIT};
                case 'B': return {"naviBearing", NAVI_BEARING};
                default: return NONE;
            }
        case 'c':
            if (name[1] == 'a') {
                return {"cameraSpeedLimit", CAMERA_SPEED_LIMIT};
            }
            if (name[1] != 'u') {
                return NONE;
            }
            if (name[2] == 's') {
                return {"customData", METADATA_CUSTOM_DATA};
            }
            return CharAt(name, 7) == 'R' ? Candidate{"currentRoadName", CURRENT_ROAD_NAME}
                                          : Candidate{"currentSpeed", CURRENT_SPEED};
        case 's': return {"segmentLeftDis", SEGMENT_LEFT_DIS};
        case 'i': return {"intersectionView", INTERSECTION_VIEW};
        case 'v':
            return CharAt(name, 4) == 'W' ? Candidate{"viewWidth", VIEW_WIDTH} : Candidate{"viewHeight", VIEW_HEIGHT};
        case 't':
            return name[1] == 'r' ? Candidate{"trafficLane", TRAFFIC_LANE} : Candidate{"totalLeftDis", TOTAL_LEFT_DIS};
        case 'r': return {"remainingTime", REMAINING_TIME};
        default: return NONE;
    }
}

} // namespace

MetadataField MetadataFieldOf(const char* name)
{
    Candidate candidate = CandidateFor(name);
    if (candidate.name == nullptr) {
        return NOT_A_METADATA_FIELD;
    }
    // One comparison (strcmp compares many bytes at a time), two for the
    // speed limits' validity flags, which share the limit's name as a prefix.
    if (std::strcmp(name, candidate.name) == 0) {
        return candidate.field;
    }
    if (candidate.field == NAVI_SPEED_LIMIT && std::strcmp(name, "naviSpeedLimitValid") == 0) {
        return NAVI_SPEED_LIMIT_VALID;
    }
    if (candidate.field == CAMERA_SPEED_LIMIT && std::strcmp(name, "cameraSpeedLimitValid") == 0) {
        return CAMERA_SPEED_LIMIT_VALID;
    }
    return NOT_A_METADATA_FIELD;
}

} // namespace OHOS::NavigationInfoService
