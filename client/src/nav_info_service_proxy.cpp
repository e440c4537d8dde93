#include "nav_info_service_proxy.h"

#include "client_log.h"
#include "ipc_errors.h"
#include "message_option.h"
#include "message_parcel.h"
#include "nav_info_errors.h"
#include "nav_info_service_ipc.h"
#include "record_marshalling.h"
#include "snapshot_marshalling.h"

namespace OHOS::NavigationInfoService {
namespace {

// The token and an optional object (see nav_info_service_ipc.h).
bool WriteOptionalObject(MessageParcel& data, const sptr<IRemoteObject>& object)
{
    if (object == nullptr) {
        return data.WriteInt32(OBJECT_ABSENT);
    }
    return data.WriteInt32(OBJECT_PRESENT) && data.WriteRemoteObject(object);
}

// A transport status as a service result.
int32_t ResultOfStatus(int status)
{
    switch (status) {
        case IPC_ERR_INVALID_DATA:
            // The daemon refuses a request it cannot decode: that is the
            // caller's argument, not the service's availability.
            return NAV_INFO_ERR_INVALID_PARAM;
        case IPC_ERR_TOO_MANY:
            // This process's own limits: calls waiting for replies, or object
            // handles (one per outstanding query or command).
            return NAV_INFO_ERR_TOO_MANY_REQUESTS;
        default: return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
}

} // namespace

NavInfoServiceProxy::NavInfoServiceProxy(sptr<IRemoteObject> remote, int callTimeoutMs)
    : remote_(std::move(remote)),
      callTimeoutMs_(callTimeoutMs)
{
}

int32_t NavInfoServiceProxy::Transact(uint32_t code, MessageParcel& data, MessageParcel& reply)
{
    if (remote_ == nullptr) {
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
    MessageOption option(MessageOption::TF_SYNC);
    option.SetWaitTimeMs(callTimeoutMs_);
    int status = remote_->SendRequest(code, data, reply, option);
    if (status != IPC_OK) {
        CLIENT_LOGW("service call %{public}u failed: %{public}d", code, status);
        return ResultOfStatus(status);
    }
    int32_t result = NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    if (!reply.ReadInt32(result)) {
        CLIENT_LOGW("service call %{public}u: reply without a result", code);
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
    return result;
}

int32_t NavInfoServiceProxy::Transact(uint32_t code, MessageParcel& data)
{
    MessageParcel reply;
    return Transact(code, data, reply);
}

namespace {

// The flags of a replayed call, written only when there are any.
bool WriteReplayFlag(MessageParcel& data, Replay replay)
{
    return replay == Replay::NONE || data.WriteInt32(static_cast<int32_t>(replay));
}

} // namespace

int32_t NavInfoServiceProxy::UpdateNavigationStatus(const NavigationStatus& status, Replay replay)
{
    MessageParcel data;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor()) || !Marshalling::WriteNavigationStatus(data, status) ||
        !WriteReplayFlag(data, replay)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    return Transact(SVC_UPDATE_NAVIGATION_STATUS, data);
}

int32_t NavInfoServiceProxy::UpdateNavigationMetadata(const NavigationMetadata& metadata, Replay replay)
{
    MessageParcel data;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor()) ||
        !Marshalling::WriteNavigationMetadata(data, metadata) || !WriteReplayFlag(data, replay)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    return Transact(SVC_UPDATE_NAVIGATION_METADATA, data);
}

int32_t NavInfoServiceProxy::RegisterSystemNavigationListener(const sptr<IRemoteObject>& listener)
{
    MessageParcel data;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor()) || !WriteOptionalObject(data, listener)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    return Transact(SVC_REGISTER_SYSTEM_NAVIGATION_LISTENER, data);
}

int32_t NavInfoServiceProxy::UnRegisterSystemNavigationListener()
{
    MessageParcel data;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor())) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    return Transact(SVC_UNREGISTER_SYSTEM_NAVIGATION_LISTENER, data);
}

int32_t NavInfoServiceProxy::GetNavigationStatus(const std::string& bundleName, NavigationStatus& status)
{
    MessageParcel data;
    MessageParcel reply;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor()) || !Marshalling::WriteBoundedString(data, bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    int32_t result = Transact(SVC_GET_NAVIGATION_STATUS, data, reply);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    NavigationStatus read;
    if (!Marshalling::ReadNavigationStatus(reply, read)) {
        CLIENT_LOGW("status of %{public}s: reply does not decode", bundleName.c_str());
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
    status = std::move(read);
    return NAV_INFO_SUCCESS;
}

int32_t NavInfoServiceProxy::RegisterNavigationStatusListener(const std::string& bundleName,
    const sptr<IRemoteObject>& listener, Replay replay)
{
    MessageParcel data;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor()) || !Marshalling::WriteBoundedString(data, bundleName) ||
        !WriteOptionalObject(data, listener) || !WriteReplayFlag(data, replay)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    return Transact(SVC_REGISTER_NAVIGATION_STATUS_LISTENER, data);
}

int32_t NavInfoServiceProxy::UnRegisterNavigationStatusListener(const std::string& bundleName)
{
    MessageParcel data;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor()) || !Marshalling::WriteBoundedString(data, bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    return Transact(SVC_UNREGISTER_NAVIGATION_STATUS_LISTENER, data);
}

int32_t NavInfoServiceProxy::RegisterNavigationMetadataListener(const std::string& bundleName,
    const sptr<IRemoteObject>& listener, Replay replay)
{
    MessageParcel data;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor()) || !Marshalling::WriteBoundedString(data, bundleName) ||
        !WriteOptionalObject(data, listener) || !WriteReplayFlag(data, replay)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    return Transact(SVC_REGISTER_NAVIGATION_METADATA_LISTENER, data);
}

int32_t NavInfoServiceProxy::UnRegisterNavigationMetadataListener(const std::string& bundleName)
{
    MessageParcel data;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor()) || !Marshalling::WriteBoundedString(data, bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    return Transact(SVC_UNREGISTER_NAVIGATION_METADATA_LISTENER, data);
}

int32_t NavInfoServiceProxy::Request(uint32_t code, const std::string& bundleName, int32_t type,
    const AAFwk::WantParams& params, const sptr<IRemoteObject>& callback)
{
    MessageParcel data;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor()) || !Marshalling::WriteBoundedString(data, bundleName) ||
        !data.WriteInt32(type) || !Marshalling::WriteWantParams(data, params) || !WriteOptionalObject(data, callback)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    return Transact(code, data);
}

int32_t NavInfoServiceProxy::QueryNavigationInfo(const std::string& bundleName, int32_t type,
    const AAFwk::WantParams& params, const sptr<IRemoteObject>& callback)
{
    return Request(SVC_QUERY_NAVIGATION_INFO, bundleName, type, params, callback);
}

int32_t NavInfoServiceProxy::SendNavigationCmd(const std::string& bundleName, int32_t type,
    const AAFwk::WantParams& params, const sptr<IRemoteObject>& callback)
{
    return Request(SVC_SEND_NAVIGATION_CMD, bundleName, type, params, callback);
}

int32_t NavInfoServiceProxy::RegisterKeepAlive(const sptr<IRemoteObject>& responder)
{
    MessageParcel data;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor()) || !WriteOptionalObject(data, responder)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    return Transact(SVC_REGISTER_KEEP_ALIVE, data);
}

int32_t NavInfoServiceProxy::RegisterRequestObserver(const std::string& bundleName, const sptr<IRemoteObject>& observer)
{
    MessageParcel data;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor()) || !Marshalling::WriteBoundedString(data, bundleName) ||
        !WriteOptionalObject(data, observer)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    return Transact(SVC_REGISTER_REQUEST_OBSERVER, data);
}

int32_t NavInfoServiceProxy::UnRegisterRequestObserver(const std::string& bundleName)
{
    MessageParcel data;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor()) || !Marshalling::WriteBoundedString(data, bundleName)) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    return Transact(SVC_UNREGISTER_REQUEST_OBSERVER, data);
}

int32_t NavInfoServiceProxy::InspectService(ServiceSnapshot& snapshot)
{
    MessageParcel data;
    MessageParcel reply;
    if (!data.WriteInterfaceToken(NavInfoServiceDescriptor())) {
        return NAV_INFO_ERR_INVALID_PARAM;
    }
    int32_t result = Transact(SVC_INSPECT_SERVICE, data, reply);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    if (!Marshalling::ReadServiceSnapshot(reply, snapshot)) {
        CLIENT_LOGW("service snapshot: reply does not decode");
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
    return NAV_INFO_SUCCESS;
}

} // namespace OHOS::NavigationInfoService
