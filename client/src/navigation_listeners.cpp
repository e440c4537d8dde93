// The listener and callback bases live here, so that their vtables and type
// information are in the client library for the module and tests to share.
#include "navigation_listeners.h"

namespace OHOS::NavigationInfoService {
namespace {

// The answer of a stub to a transaction it cannot decode: the same as
// IPCObjectStub's for a code it does not know. Decoding the requests of these
// stubs needs the parcel codec, which the IPC transport brings; until then
// every remote request is refused with this.
constexpr int ERR_UNKNOWN_TRANSACTION = -1;

} // namespace

int NavigationStatusListenerStub::OnRemoteRequest(uint32_t, MessageParcel&, MessageParcel&, MessageOption&)
{
    return ERR_UNKNOWN_TRANSACTION;
}

int NavigationMetadataListenerStub::OnRemoteRequest(uint32_t, MessageParcel&, MessageParcel&, MessageOption&)
{
    return ERR_UNKNOWN_TRANSACTION;
}

int MapCallbackStub::OnRemoteRequest(uint32_t, MessageParcel&, MessageParcel&, MessageOption&)
{
    return ERR_UNKNOWN_TRANSACTION;
}

int SystemNavigationListenerStub::OnRemoteRequest(uint32_t, MessageParcel&, MessageParcel&, MessageOption&)
{
    return ERR_UNKNOWN_TRANSACTION;
}

NavigationStatusListener::NavigationStatusListener() = default;
NavigationStatusListener::~NavigationStatusListener() = default;

NavigationMetadataListener::NavigationMetadataListener() = default;
NavigationMetadataListener::~NavigationMetadataListener() = default;

MapCallback::MapCallback() = default;
MapCallback::~MapCallback() = default;

SystemNavigationListener::SystemNavigationListener() = default;
SystemNavigationListener::~SystemNavigationListener() = default;

} // namespace OHOS::NavigationInfoService
