// The fields of a metadata record as the metadata parser names them, and the
// dispatch of a property name to its field.
#ifndef NAVIGATION_INFO_NAPI_METADATA_FIELDS_H
#define NAVIGATION_INFO_NAPI_METADATA_FIELDS_H

namespace OHOS::NavigationInfoService {

enum MetadataField {
    NOT_A_METADATA_FIELD = -1,
    NAVI_TURN_MODE,
    SEGMENT_LEFT_DIS,
    CURRENT_ROAD_NAME,
    NEXT_ROAD_NAME,
    INTERSECTION_VIEW,
    VIEW_WIDTH,
    VIEW_HEIGHT,
    TRAFFIC_LANE,
    CAMERA_SPEED_LIMIT_VALID,
    CAMERA_SPEED_LIMIT,
    NAVI_SPEED_LIMIT_VALID,
    NAVI_SPEED_LIMIT,
    CURRENT_SPEED,
    NAVI_BEARING,
    TOTAL_LEFT_DIS,
    REMAINING_TIME,
    METADATA_CUSTOM_DATA
};

// The field a zero-terminated property name names, exactly and
// case-sensitively, or NOT_A_METADATA_FIELD. A few characters (never past
// the terminator) choose the one field it can be, and one comparison with
// that field's name decides.
MetadataField MetadataFieldOf(const char* name);

} // namespace OHOS::NavigationInfoService

#endif // NAVIGATION_INFO_NAPI_METADATA_FIELDS_H
