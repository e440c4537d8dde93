// The parcel of an IPC transaction: a Parcel plus interface tokens and
// remote-object references.
//
// Remote objects are not flattened into the bytes. WriteRemoteObject keeps
// the object in a side table of the parcel and writes an 8-byte reference
// (a marker and the table index) inline. When the parcel is sent, the
// transport turns each table entry into a handle of that connection; when a
// parcel arrives, it turns handles back into objects (proxies, or our own
// stubs when the peer hands one of ours back) and fills the table, so that
// ReadRemoteObject returns them in place.
//
// Threads: like Parcel, one thread at a time.
#ifndef PLATFORM_IPC_MESSAGE_PARCEL_H
#define PLATFORM_IPC_MESSAGE_PARCEL_H

#include <string>
#include <vector>

#include "iremote_object.h"
#include "parcel.h"

namespace OHOS {

class MessageParcel : public Parcel {
public:
    // Written before the index of each inline object reference, so that a
    // read at the wrong place fails instead of returning some object.
    static constexpr uint32_t kObjectMarker = 0x4A424F52; // "ROBJ"

    MessageParcel();
    ~MessageParcel() override;
    MessageParcel(MessageParcel&&) noexcept = default;
    MessageParcel& operator=(MessageParcel&&) noexcept = default;
    MessageParcel(const MessageParcel&) = default;
    MessageParcel& operator=(const MessageParcel&) = default;

    // The descriptor of the interface a request is meant for; stubs check it
    // first. ReadInterfaceToken returns an empty string on failure.
    bool WriteInterfaceToken(const std::u16string& name);
    std::u16string ReadInterfaceToken();

    // False for a null object, a full object table (kMaxObjectsPerParcel) or
    // a full parcel; the parcel is unchanged then.
    bool WriteRemoteObject(const sptr<IRemoteObject>& object);
    // Null when the next item is not an object reference (position unchanged).
    sptr<IRemoteObject> ReadRemoteObject();

    // A length-prefixed block of bytes (int32 length, bytes, padding).
    bool WriteRawData(const void* data, size_t size);
    // Points into the parcel; null unless exactly size bytes were written there.
    const void* ReadRawData(size_t size);

    // The object table, for the transport. SetObjects refuses more than
    // kMaxObjectsPerParcel entries.
    const std::vector<sptr<IRemoteObject>>& GetObjects() const { return objects_; }
    bool SetObjects(std::vector<sptr<IRemoteObject>> objects);
    size_t GetObjectCount() const { return objects_.size(); }

    // Empties data and object table.
    void ClearAll();

private:
    std::vector<sptr<IRemoteObject>> objects_;
};

} // namespace OHOS

#endif // PLATFORM_IPC_MESSAGE_PARCEL_H
