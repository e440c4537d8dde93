#include "bridge_payload.h"

#include "ipc_limits.h"
#include "parcel.h"
#include "record_marshalling.h"

namespace OHOS::NavigationInfoService::BridgePayload {
namespace {

template <typename Value, typename Write>
bool EncodeWith(const Value& value, Bytes& out, Write write)
{
    out.clear();
    Parcel parcel;
    if (!parcel.SetMaxCapacity(kMaxFramePayload) || !write(parcel, value)) {
        return false;
    }
    out.assign(parcel.GetData(), parcel.GetData() + parcel.GetDataSize());
    return true;
}

template <typename Value, typename Read>
bool DecodeWith(const uint8_t* data, size_t size, Value& value, Read read)
{
    if (data == nullptr || size == 0 || size > kMaxFramePayload) {
        return false;
    }
    Parcel parcel;
    return parcel.SetMaxCapacity(kMaxFramePayload) && parcel.SetData(data, size) && read(parcel, value) &&
        parcel.GetReadableBytes() == 0;
}

} // namespace

bool Encode(const NavigationStatus& status, Bytes& out)
{
    return EncodeWith(status, out, Marshalling::WriteNavigationStatus);
}
bool Encode(const NavigationMetadata& metadata, Bytes& out)
{
    return EncodeWith(metadata, out, Marshalling::WriteNavigationMetadata);
}
bool Encode(const AAFwk::WantParams& params, Bytes& out)
{
    return EncodeWith(params, out, Marshalling::WriteWantParams);
}
bool Encode(const ResultData& result, Bytes& out)
{
    return EncodeWith(result, out, Marshalling::WriteResultData);
}

bool Decode(const uint8_t* data, size_t size, NavigationStatus& status)
{
    return DecodeWith(data, size, status, Marshalling::ReadNavigationStatus);
}
bool Decode(const uint8_t* data, size_t size, NavigationMetadata& metadata)
{
    return DecodeWith(data, size, metadata, Marshalling::ReadNavigationMetadata);
}
bool Decode(const uint8_t* data, size_t size, AAFwk::WantParams& params)
{
    return DecodeWith(data, size, params, Marshalling::ReadWantParams);
}
bool Decode(const uint8_t* data, size_t size, ResultData& result)
{
    return DecodeWith(data, size, result, Marshalling::ReadResultData);
}

} // namespace OHOS::NavigationInfoService::BridgePayload
