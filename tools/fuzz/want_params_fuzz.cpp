// libFuzzer target for the WantParams codec (nested maps and arrays of tagged
// values with a depth and a value-count cap): whatever reads must write back
// and read again to the same map and the same bytes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "parcel.h"
#include "record_marshalling.h"
#include "want_params.h"

using namespace OHOS;
using namespace OHOS::NavigationInfoService;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<uint8_t> bytes(data, data + size / 4 * 4);
    Parcel parcel;
    if (!parcel.SetData(bytes.data(), bytes.size())) {
        return 0;
    }
    AAFwk::WantParams first;
    if (!Marshalling::ReadWantParams(parcel, first)) {
        if (parcel.GetReadPosition() != 0) {
            __builtin_trap(); // a failed read moved the position
        }
        return 0;
    }
    Parcel written;
    if (!Marshalling::WriteWantParams(written, first)) {
        __builtin_trap(); // read but cannot be written back
    }
    Parcel again;
    AAFwk::WantParams second;
    if (!again.SetData(written.GetData(), written.GetDataSize()) || !Marshalling::ReadWantParams(again, second) ||
        again.GetReadableBytes() != 0) {
        __builtin_trap(); // written but cannot be read back whole
    }
    Parcel rewritten;
    if (!Marshalling::WriteWantParams(rewritten, second) || rewritten.GetDataSize() != written.GetDataSize() ||
        !std::equal(written.GetData(), written.GetData() + written.GetDataSize(), rewritten.GetData())) {
        __builtin_trap(); // the second round trip changed the map
    }
    return 0;
}
