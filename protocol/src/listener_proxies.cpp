#include "listener_proxies.h"

#include <cstdint>

#include "protocol_log.h"
#include "ipc_errors.h"
#include "message_option.h"
#include "message_parcel.h"
#include "nav_info_errors.h"
#include "record_marshalling.h"

namespace OHOS::NavigationInfoService {
namespace {

// Sends a one-way transaction; a failure is logged (see the header) and returned.
int SendOneway(const sptr<IRemoteObject>& remote, uint32_t code, MessageParcel& data)
{
    MessageParcel reply;
    MessageOption option(MessageOption::TF_ASYNC);
    int status = remote->SendRequest(code, data, reply, option);
    if (status != IPC_OK) {
        PROTOCOL_LOGI("one-way call %{public}u not delivered: %{public}d", code, status);
    }
    return status;
}

// A local object's own interface of type I, or null.
template <typename I>
sptr<I> LocalInterface(const sptr<IRemoteObject>& object)
{
    sptr<IRemoteBroker> broker = object->AsInterface();
    I* typed = dynamic_cast<I*>(broker.GetRefPtr());
    return sptr<I>(typed);
}

template <typename I, typename Proxy>
sptr<I> InterfaceFromObject(const sptr<IRemoteObject>& object)
{
    if (object == nullptr) {
        return nullptr;
    }
    if (!object->IsProxyObject()) {
        return LocalInterface<I>(object);
    }
    return sptr<I>(new Proxy(object));
}

// A number of the largest values, so that a record that fits with it fits with any.
constexpr NotificationNumber LARGEST_NUMBER{UINT64_MAX, UINT64_MAX};

template <typename Record, typename WriteRecord>
bool WriteNotification(MessageParcel& data, const std::u16string& descriptor, const Record& record,
    const std::string& bundleName, NotificationNumber number, WriteRecord writeRecord)
{
    return data.WriteInterfaceToken(descriptor) && writeRecord(data, record) &&
        Marshalling::WriteBoundedString(data, bundleName) && Marshalling::WriteNotificationNumber(data, number);
}

// Sends a notification, numbered ones as supersedable (see the header).
void SendNotification(const sptr<IRemoteObject>& remote, uint32_t code, MessageParcel& data, NotificationNumber number)
{
    MessageParcel reply;
    MessageOption option(MessageOption::TF_ASYNC);
    option.SetSupersedeKey(number.stream);
    int status = remote->SendRequest(code, data, reply, option);
    if (status != IPC_OK) {
        PROTOCOL_LOGI("notification %{public}u not delivered: %{public}d", code, status);
    }
}

} // namespace

bool WriteStatusNotification(MessageParcel& data, const NavigationStatus& status, const std::string& bundleName,
    NotificationNumber number)
{
    return WriteNotification(data, INavigationStatusListener::GetDescriptor(), status, bundleName, number,
        Marshalling::WriteNavigationStatus);
}

bool WriteMetadataNotification(MessageParcel& data, const NavigationMetadata& metadata, const std::string& bundleName,
    NotificationNumber number)
{
    return WriteNotification(data, INavigationMetadataListener::GetDescriptor(), metadata, bundleName, number,
        Marshalling::WriteNavigationMetadata);
}

// The check counts the notification's bytes instead of writing them: the
// record is not copied, and nothing is allocated.
bool StatusNotificationFits(const NavigationStatus& status, const std::string& bundleName)
{
    ParcelSizer sizer;
    return sizer.WriteInterfaceToken(INavigationStatusListener::GetDescriptor()) &&
        Marshalling::MeasureNavigationStatus(sizer, status) && Marshalling::MeasureBoundedString(sizer, bundleName) &&
        Marshalling::MeasureNotificationNumber(sizer, LARGEST_NUMBER);
}

bool MetadataNotificationFits(const NavigationMetadata& metadata, const std::string& bundleName)
{
    ParcelSizer sizer;
    return sizer.WriteInterfaceToken(INavigationMetadataListener::GetDescriptor()) &&
        Marshalling::MeasureNavigationMetadata(sizer, metadata) &&
        Marshalling::MeasureBoundedString(sizer, bundleName) &&
        Marshalling::MeasureNotificationNumber(sizer, LARGEST_NUMBER);
}

NavigationStatusListenerProxy::NavigationStatusListenerProxy(sptr<IRemoteObject> remote) : remote_(std::move(remote)) {}

void NavigationStatusListenerProxy::OnStatusChanged(const NavigationStatus& status, const std::string& bundleName)
{
    OnNumberedStatusChanged(status, bundleName, {});
}

void NavigationStatusListenerProxy::OnNumberedStatusChanged(const NavigationStatus& status,
    const std::string& bundleName, NotificationNumber number)
{
    MessageParcel data;
    if (!WriteStatusNotification(data, status, bundleName, number)) {
        PROTOCOL_LOGW("status of %{public}s not encodable", bundleName.c_str());
        return;
    }
    SendNotification(remote_, ON_STATUS_CHANGED, data, number);
}

NavigationMetadataListenerProxy::NavigationMetadataListenerProxy(sptr<IRemoteObject> remote)
    : remote_(std::move(remote))
{
}

void NavigationMetadataListenerProxy::OnMetadataChanged(const NavigationMetadata& metadata,
    const std::string& bundleName)
{
    OnNumberedMetadataChanged(metadata, bundleName, {});
}

void NavigationMetadataListenerProxy::OnNumberedMetadataChanged(const NavigationMetadata& metadata,
    const std::string& bundleName, NotificationNumber number)
{
    MessageParcel data;
    if (!WriteMetadataNotification(data, metadata, bundleName, number)) {
        PROTOCOL_LOGW("metadata of %{public}s not encodable", bundleName.c_str());
        return;
    }
    SendNotification(remote_, ON_METADATA_CHANGED, data, number);
}

SystemNavigationListenerProxy::SystemNavigationListenerProxy(sptr<IRemoteObject> remote) : remote_(std::move(remote)) {}

void SystemNavigationListenerProxy::OnQueryNavigationInfo(QueryType type, AAFwk::WantParams params,
    sptr<IMapCallback> callback)
{
    SendRequest(ON_QUERY_NAVIGATION_INFO, static_cast<int32_t>(type), params, callback);
}

void SystemNavigationListenerProxy::OnReceiveNavigationCmd(CommandType type, AAFwk::WantParams params,
    sptr<IMapCallback> callback)
{
    SendRequest(ON_RECEIVE_NAVIGATION_CMD, static_cast<int32_t>(type), params, callback);
}

void SystemNavigationListenerProxy::SendRequest(uint32_t code, int32_t type, const AAFwk::WantParams& params,
    const sptr<IMapCallback>& callback)
{
    sptr<IRemoteObject> callbackObject;
    try {
        callbackObject = MapCallbackObjectForSending(callback);
    } catch (const std::bad_alloc&) {
        PROTOCOL_LOGE("out of memory: request %{public}u not sent", code);
        return;
    }
    MessageParcel data;
    if (callbackObject == nullptr || !data.WriteInterfaceToken(GetDescriptor()) || !data.WriteInt32(type) ||
        !Marshalling::WriteWantParams(data, params) || !data.WriteRemoteObject(callbackObject)) {
        PROTOCOL_LOGW("request %{public}u not encodable", code);
        return;
    }
    int status = SendOneway(remote_, code, data);
    data.ClearAll(); // the parcel's reference to the callback object goes before the answer
    if (status == IPC_ERR_TOO_MANY || status == IPC_ERR_NO_MEMORY) {
        ResultData answer;
        answer.code = NAV_INFO_ERR_TOO_MANY_REQUESTS;
        answer.message = NavInfoResultText(answer.code);
        callback->Callback(std::move(answer));
    }
    // A lost connection is left to the service: it answers NOT_FOUND when it learns.
}

MapCallbackProxy::MapCallbackProxy(sptr<IRemoteObject> remote) : remote_(std::move(remote)) {}

sptr<IRemoteObject> MapCallbackProxy::AsObject()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return remote_;
}

void MapCallbackProxy::Callback(ResultData data)
{
    sptr<IRemoteObject> remote;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        remote = std::move(remote_);
    }
    if (remote == nullptr) {
        PROTOCOL_LOGI("answer %{public}d dropped: the request was answered already", data.code);
        return;
    }
    MessageParcel parcel;
    if (!parcel.WriteInterfaceToken(GetDescriptor()) || !Marshalling::WriteResultData(parcel, data)) {
        // The requester must still be answered: an answer over the limits
        // becomes an empty one with the same code.
        PROTOCOL_LOGW("answer %{public}d over the record limits; sent without message and data", data.code);
        parcel.ClearAll();
        ResultData plain;
        plain.code = data.code;
        if (!parcel.WriteInterfaceToken(GetDescriptor()) || !Marshalling::WriteResultData(parcel, plain)) {
            return;
        }
    }
    SendOneway(remote, MAP_CALLBACK, parcel);
}

MapCallbackRelay::MapCallbackRelay(sptr<IMapCallback> target) : target_(std::move(target)) {}

void MapCallbackRelay::Callback(ResultData data)
{
    target_->Callback(std::move(data));
}

sptr<INavigationStatusListener> StatusListenerFromObject(const sptr<IRemoteObject>& object)
{
    return InterfaceFromObject<INavigationStatusListener, NavigationStatusListenerProxy>(object);
}

sptr<INavigationMetadataListener> MetadataListenerFromObject(const sptr<IRemoteObject>& object)
{
    return InterfaceFromObject<INavigationMetadataListener, NavigationMetadataListenerProxy>(object);
}

sptr<ISystemNavigationListener> SystemListenerFromObject(const sptr<IRemoteObject>& object)
{
    return InterfaceFromObject<ISystemNavigationListener, SystemNavigationListenerProxy>(object);
}

sptr<IMapCallback> MapCallbackFromObject(const sptr<IRemoteObject>& object)
{
    return InterfaceFromObject<IMapCallback, MapCallbackProxy>(object);
}

sptr<IRemoteObject> MapCallbackObjectForSending(const sptr<IMapCallback>& callback)
{
    if (callback == nullptr) {
        return nullptr;
    }
    sptr<IRemoteObject> object = callback->AsObject();
    if (object != nullptr && (object->IsProxyObject() || dynamic_cast<MapCallbackStub*>(callback.GetRefPtr()))) {
        return object;
    }
    return sptr<IRemoteObject>(new MapCallbackRelay(callback));
}

} // namespace OHOS::NavigationInfoService
