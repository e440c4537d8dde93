// Parcel codecs of the navigation records, field by field (the layouts are
// written down in docs/service-protocol.md). The client library and the
// navinfo-service daemon share them, so both ends always agree.
//
// Writes: false when a value breaks a limit below or the parcel is full; the
// parcel is then left as it was before the call.
// Reads: false on truncated data, a value of the wrong kind, a limit broken
// or a duplicate key; the read position is then left where it was, and the
// output holds unspecified (but valid) contents.
//
// Threads: like Parcel, one thread at a time per parcel; no shared state.
#ifndef PROTOCOL_RECORD_MARSHALLING_H
#define PROTOCOL_RECORD_MARSHALLING_H

#include <cstddef>
#include <string>

#include "navigation_info_data.h"
#include "numbered_notifications.h"
#include "parcel.h"
#include "parcel_sizer.h"
#include "want_params.h"

namespace OHOS::NavigationInfoService::Marshalling {

// Longest string in any record, bundle-name argument or WantParams key/value.
constexpr size_t MAX_STRING_BYTES = 64 * 1024;
// Entries of NavigationStatus::passPoint and ::routePreference.
constexpr size_t MAX_PASS_POINTS = 1024;
constexpr size_t MAX_ROUTE_PREFERENCES = 256;
// UTF-16 units of NavigationMetadata::intersectionView and ::trafficLane.
constexpr size_t MAX_TEXT_VECTOR_UNITS = 64 * 1024;
// Nesting of WantParams: the outermost map is level 1; a nested map or an
// array is one level deeper than the container holding it. The same bound
// as the JavaScript conversion of want parameters.
constexpr size_t MAX_WANT_DEPTH = 32;
// Values in one WantParams tree: every map entry and every array element,
// nested containers included.
constexpr size_t MAX_WANT_VALUES = 64 * 1024;

bool WriteLocation(Parcel& parcel, const Location& location);
bool ReadLocation(Parcel& parcel, Location& location);

bool WriteNavigationStatus(Parcel& parcel, const NavigationStatus& status);
bool ReadNavigationStatus(Parcel& parcel, NavigationStatus& status);

bool WriteNavigationMetadata(Parcel& parcel, const NavigationMetadata& metadata);
bool ReadNavigationMetadata(Parcel& parcel, NavigationMetadata& metadata);

bool WriteResultData(Parcel& parcel, const ResultData& result);
bool ReadResultData(Parcel& parcel, ResultData& result);

bool WriteWantParams(Parcel& parcel, const AAFwk::WantParams& params);
bool ReadWantParams(Parcel& parcel, AAFwk::WantParams& params);

// The number of a status or metadata notification: stream, then sequence.
bool WriteNotificationNumber(Parcel& parcel, const NotificationNumber& number);
bool ReadNotificationNumber(Parcel& parcel, NotificationNumber& number);

// A string of at most MAX_STRING_BYTES (bundle names, messages).
bool WriteBoundedString(Parcel& parcel, const std::string& value);
bool ReadBoundedString(Parcel& parcel, std::string& value);

// The writes above counted instead of made: the same limits, the same
// failures, the bytes added to the sizer.
bool MeasureNavigationStatus(ParcelSizer& sizer, const NavigationStatus& status);
bool MeasureNavigationMetadata(ParcelSizer& sizer, const NavigationMetadata& metadata);
bool MeasureBoundedString(ParcelSizer& sizer, const std::string& value);
bool MeasureNotificationNumber(ParcelSizer& sizer, const NotificationNumber& number);

} // namespace OHOS::NavigationInfoService::Marshalling

#endif // PROTOCOL_RECORD_MARSHALLING_H
