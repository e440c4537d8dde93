// The listener and callback stubs, and the bases for applications. The
// bases live here so that their vtables and type information are in the
// client library for the module and tests to share.
//
// Each stub checks the interface token, decodes the arguments with the
// record codecs and calls its interface method on the IPC thread that runs
// the transaction. The status and metadata stubs also count, from the
// numbers the service gives, the records dropped on the way, and log them. A request that does not decode is refused with
// IPC_ERR_INVALID_DATA and never reaches the method; an unknown code gets
// IPC_ERR_UNKNOWN_TRANSACTION. No exception leaves a stub.
#include "navigation_listeners.h"

#include <exception>

#include "protocol_log.h"
#include "ipc_errors.h"
#include "listener_proxies.h"
#include "message_parcel.h"
#include "record_marshalling.h"

namespace OHOS::NavigationInfoService {
namespace {

// Runs the body of a stub; an exception (from decoding or from the
// application's method) becomes a status instead of crossing the IPC layer.
template <typename Body>
int Guarded(const char* stub, Body&& body) noexcept
{
    try {
        return body();
    } catch (const std::bad_alloc&) {
        PROTOCOL_LOGE("%{public}s: out of memory", stub);
        return IPC_ERR_NO_MEMORY;
    } catch (const std::exception& e) {
        PROTOCOL_LOGE("%{public}s: %{public}s", stub, e.what());
    } catch (...) {
        PROTOCOL_LOGE("%{public}s: unknown exception", stub);
    }
    return IPC_ERR_STUB_EXCEPTION;
}

} // namespace

int NavigationStatusListenerStub::OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel&, MessageOption&)
{
    if (code != ON_STATUS_CHANGED) {
        return IPC_ERR_UNKNOWN_TRANSACTION;
    }
    return Guarded(__func__, [&] {
        NavigationStatus status;
        std::string bundleName;
        NotificationNumber number;
        if (data.ReadInterfaceToken() != GetDescriptor() || !Marshalling::ReadNavigationStatus(data, status) ||
            !Marshalling::ReadBoundedString(data, bundleName) || !Marshalling::ReadNotificationNumber(data, number)) {
            return static_cast<int>(IPC_ERR_INVALID_DATA);
        }
        gaps_.Arrived("status", bundleName, number);
        OnStatusChanged(status, bundleName);
        return static_cast<int>(IPC_OK);
    });
}

int NavigationMetadataListenerStub::OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel&, MessageOption&)
{
    if (code != ON_METADATA_CHANGED) {
        return IPC_ERR_UNKNOWN_TRANSACTION;
    }
    return Guarded(__func__, [&] {
        NavigationMetadata metadata;
        std::string bundleName;
        NotificationNumber number;
        if (data.ReadInterfaceToken() != GetDescriptor() || !Marshalling::ReadNavigationMetadata(data, metadata) ||
            !Marshalling::ReadBoundedString(data, bundleName) || !Marshalling::ReadNotificationNumber(data, number)) {
            return static_cast<int>(IPC_ERR_INVALID_DATA);
        }
        gaps_.Arrived("metadata", bundleName, number);
        OnMetadataChanged(metadata, bundleName);
        return static_cast<int>(IPC_OK);
    });
}

int MapCallbackStub::OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel&, MessageOption&)
{
    if (code != MAP_CALLBACK) {
        return IPC_ERR_UNKNOWN_TRANSACTION;
    }
    return Guarded(__func__, [&] {
        ResultData result;
        if (data.ReadInterfaceToken() != GetDescriptor() || !Marshalling::ReadResultData(data, result)) {
            return static_cast<int>(IPC_ERR_INVALID_DATA);
        }
        Callback(std::move(result));
        return static_cast<int>(IPC_OK);
    });
}

int SystemNavigationListenerStub::OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel&, MessageOption&)
{
    if (code != ON_QUERY_NAVIGATION_INFO && code != ON_RECEIVE_NAVIGATION_CMD) {
        return IPC_ERR_UNKNOWN_TRANSACTION;
    }
    return Guarded(__func__, [&] {
        int32_t type = 0;
        AAFwk::WantParams params;
        if (data.ReadInterfaceToken() != GetDescriptor() || !data.ReadInt32(type) ||
            !Marshalling::ReadWantParams(data, params)) {
            return static_cast<int>(IPC_ERR_INVALID_DATA);
        }
        sptr<IMapCallback> callback = MapCallbackFromObject(data.ReadRemoteObject());
        if (callback == nullptr) {
            return static_cast<int>(IPC_ERR_INVALID_DATA);
        }
        // The kind passes through unchecked, as in-process: the service
        // validated it before sending.
        if (code == ON_QUERY_NAVIGATION_INFO) {
            OnQueryNavigationInfo(static_cast<QueryType>(type), std::move(params), std::move(callback));
        } else {
            OnReceiveNavigationCmd(static_cast<CommandType>(type), std::move(params), std::move(callback));
        }
        return static_cast<int>(IPC_OK);
    });
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
