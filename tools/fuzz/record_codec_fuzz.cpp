// libFuzzer target for the record codecs that the daemon and the client
// library apply to a peer's bytes: NavigationStatus, NavigationMetadata,
// ResultData and the ServiceSnapshot of an inspection. The first byte picks the record, the rest is the parcel. A
// record that reads must write back, and what it writes must read again to
// the very same bytes: a codec whose two directions disagree traps.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "parcel.h"
#include "record_marshalling.h"
#include "snapshot_marshalling.h"

namespace {

using namespace OHOS;
using namespace OHOS::NavigationInfoService;

// Reads a record from parcel; if that works, checks the round trip.
template <typename Record, typename Read, typename Write>
void RoundTrip(Parcel& parcel, Read read, Write write)
{
    Record first;
    const size_t before = parcel.GetReadPosition();
    if (!read(parcel, first)) {
        if (parcel.GetReadPosition() != before) {
            __builtin_trap(); // a failed read moved the position
        }
        return;
    }
    Parcel written;
    if (!write(written, first)) {
        __builtin_trap(); // read but cannot be written back
    }
    Parcel again;
    Record second;
    if (!again.SetData(written.GetData(), written.GetDataSize()) || !read(again, second) ||
        again.GetReadableBytes() != 0) {
        __builtin_trap(); // written but cannot be read back whole
    }
    Parcel rewritten;
    if (!write(rewritten, second) || rewritten.GetDataSize() != written.GetDataSize() ||
        !std::equal(written.GetData(), written.GetData() + written.GetDataSize(), rewritten.GetData())) {
        __builtin_trap(); // the second round trip changed the record
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) {
        return 0;
    }
    const uint8_t kind = data[0] % 4;
    // Parcels hold whole 4-byte slots: the tail of the input is dropped.
    std::vector<uint8_t> bytes(data + 1, data + 1 + (size - 1) / 4 * 4);
    Parcel parcel;
    if (!parcel.SetData(bytes.data(), bytes.size())) {
        return 0;
    }
    switch (kind) {
        case 0:
            RoundTrip<NavigationStatus>(parcel, Marshalling::ReadNavigationStatus, Marshalling::WriteNavigationStatus);
            break;
        case 1:
            RoundTrip<NavigationMetadata>(parcel, Marshalling::ReadNavigationMetadata,
                Marshalling::WriteNavigationMetadata);
            break;
        case 2: RoundTrip<ResultData>(parcel, Marshalling::ReadResultData, Marshalling::WriteResultData); break;
        default:
            RoundTrip<ServiceSnapshot>(parcel, Marshalling::ReadServiceSnapshot, Marshalling::WriteServiceSnapshot);
            break;
    }
    return 0;
}
