// Parcel codec of a ServiceSnapshot, field by field with the record codecs
// (layout in docs/service-protocol.md, transaction 12). Same contract as
// record_marshalling.h: a failed write leaves the parcel as it was, a failed
// read leaves the read position where it was.
#ifndef PROTOCOL_SNAPSHOT_MARSHALLING_H
#define PROTOCOL_SNAPSHOT_MARSHALLING_H

#include "parcel.h"
#include "service_snapshot.h"

namespace OHOS::NavigationInfoService::Marshalling {

bool WriteServiceSnapshot(Parcel& parcel, const ServiceSnapshot& snapshot);
bool ReadServiceSnapshot(Parcel& parcel, ServiceSnapshot& snapshot);

} // namespace OHOS::NavigationInfoService::Marshalling

#endif // PROTOCOL_SNAPSHOT_MARSHALLING_H
