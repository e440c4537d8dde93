#include "snapshot_marshalling.h"

#include <utility>
#include <vector>

#include "record_marshalling.h"

namespace OHOS::NavigationInfoService::Marshalling {
namespace {

using Snapshot = ServiceSnapshot;

// Smallest encoding of any list entry (a Server: empty name and an id), to
// refuse a count the remaining bytes cannot hold before reserving for it.
constexpr size_t MIN_ENTRY_BYTES = 4 + 8;

template <typename T, typename WriteOne>
bool WriteList(Parcel& parcel, const std::vector<T>& list, WriteOne&& writeOne)
{
    if (list.size() > MAX_SNAPSHOT_ENTRIES || !parcel.WriteInt32(static_cast<int32_t>(list.size()))) {
        return false;
    }
    for (const T& entry : list) {
        if (!writeOne(entry)) {
            return false;
        }
    }
    return true;
}

template <typename T, typename ReadOne>
bool ReadList(Parcel& parcel, std::vector<T>& list, ReadOne&& readOne)
{
    int32_t count = 0;
    if (!parcel.ReadInt32(count) || count < 0 || static_cast<size_t>(count) > MAX_SNAPSHOT_ENTRIES ||
        static_cast<size_t>(count) > parcel.GetReadableBytes() / MIN_ENTRY_BYTES) {
        return false;
    }
    list.clear();
    list.reserve(static_cast<size_t>(count));
    for (int32_t i = 0; i < count; ++i) {
        T entry;
        if (!readOne(entry)) {
            return false;
        }
        list.push_back(std::move(entry));
    }
    return true;
}

bool WriteBody(Parcel& p, const Snapshot& s)
{
    return p.WriteInt64(s.takenAt) && p.WriteBool(s.truncated) &&
        WriteList(p, s.clients,
            [&](const Snapshot::Client& c) {
                return p.WriteUint64(c.clientId) && WriteBoundedString(p, c.bundleName) && p.WriteInt32(c.pid) &&
                    p.WriteInt32(c.uid);
            }) &&
        WriteList(p, s.follows,
            [&](const Snapshot::Follow& f) {
                return p.WriteUint64(f.clientId) && WriteBoundedString(p, f.bundleName) && p.WriteInt32(f.kind);
            }) &&
        WriteList(p, s.servers,
            [&](const Snapshot::Server& v) {
                return WriteBoundedString(p, v.bundleName) && p.WriteUint64(v.clientId);
            }) &&
        WriteList(p, s.requests,
            [&](const Snapshot::Request& r) {
                return p.WriteUint64(r.requestId) && p.WriteUint64(r.requesterClientId) &&
                    WriteBoundedString(p, r.bundleName) && p.WriteInt32(r.kind) && p.WriteInt32(r.type) &&
                    p.WriteInt64(r.ageMs);
            }) &&
        WriteList(p, s.statuses,
            [&](const Snapshot::StatusRecord& r) {
                return WriteBoundedString(p, r.bundleName) && WriteNavigationStatus(p, r.status);
            }) &&
        WriteList(p, s.metadata,
            [&](const Snapshot::MetadataRecord& r) {
                return WriteBoundedString(p, r.bundleName) && WriteNavigationMetadata(p, r.metadata) &&
                    p.WriteInt64(r.updateTime);
            }) &&
        WriteList(p, s.owners, [&](const Snapshot::Owner& o) {
            return WriteBoundedString(p, o.bundleName) && p.WriteUint64(o.clientId) && p.WriteBool(o.waiting);
        });
}

bool ReadBody(Parcel& p, Snapshot& s)
{
    return p.ReadInt64(s.takenAt) && p.ReadBool(s.truncated) &&
        ReadList(p, s.clients,
            [&](Snapshot::Client& c) {
                return p.ReadUint64(c.clientId) && ReadBoundedString(p, c.bundleName) && p.ReadInt32(c.pid) &&
                    p.ReadInt32(c.uid);
            }) &&
        ReadList(p, s.follows,
            [&](Snapshot::Follow& f) {
                return p.ReadUint64(f.clientId) && ReadBoundedString(p, f.bundleName) && p.ReadInt32(f.kind);
            }) &&
        ReadList(p, s.servers,
            [&](Snapshot::Server& v) { return ReadBoundedString(p, v.bundleName) && p.ReadUint64(v.clientId); }) &&
        ReadList(p, s.requests,
            [&](Snapshot::Request& r) {
                return p.ReadUint64(r.requestId) && p.ReadUint64(r.requesterClientId) &&
                    ReadBoundedString(p, r.bundleName) && p.ReadInt32(r.kind) && p.ReadInt32(r.type) &&
                    p.ReadInt64(r.ageMs);
            }) &&
        ReadList(p, s.statuses,
            [&](Snapshot::StatusRecord& r) {
                return ReadBoundedString(p, r.bundleName) && ReadNavigationStatus(p, r.status);
            }) &&
        ReadList(p, s.metadata,
            [&](Snapshot::MetadataRecord& r) {
                return ReadBoundedString(p, r.bundleName) && ReadNavigationMetadata(p, r.metadata) &&
                    p.ReadInt64(r.updateTime);
            }) &&
        ReadList(p, s.owners, [&](Snapshot::Owner& o) {
            return ReadBoundedString(p, o.bundleName) && p.ReadUint64(o.clientId) && p.ReadBool(o.waiting);
        });
}

} // namespace

bool WriteServiceSnapshot(Parcel& parcel, const ServiceSnapshot& snapshot)
{
    const size_t start = parcel.GetWritePosition();
    if (WriteBody(parcel, snapshot)) {
        return true;
    }
    parcel.RewindWrite(start);
    return false;
}

bool ReadServiceSnapshot(Parcel& parcel, ServiceSnapshot& snapshot)
{
    const size_t start = parcel.GetReadPosition();
    ServiceSnapshot read;
    if (ReadBody(parcel, read)) {
        snapshot = std::move(read);
        return true;
    }
    parcel.RewindRead(start);
    return false;
}

} // namespace OHOS::NavigationInfoService::Marshalling
