// The request observer on the wire: the observation's codec, the daemon's
// proxy (one-way calls) and the observing client's stub.
#include "request_observer.h"

#include <exception>

#include "ipc_errors.h"
#include "message_option.h"
#include "message_parcel.h"
#include "protocol_log.h"
#include "record_marshalling.h"

namespace OHOS::NavigationInfoService {

namespace Marshalling {

bool WriteRequestObservation(Parcel& parcel, const RequestObservation& observation)
{
    const size_t start = parcel.GetWritePosition();
    if (parcel.WriteUint64(observation.requestId) && parcel.WriteBool(observation.answered) &&
        WriteBoundedString(parcel, observation.requester) &&
        parcel.WriteInt32(static_cast<int32_t>(observation.kind)) && parcel.WriteInt32(observation.type) &&
        WriteWantParams(parcel, observation.params) && WriteResultData(parcel, observation.answer)) {
        return true;
    }
    parcel.RewindWrite(start);
    return false;
}

bool ReadRequestObservation(Parcel& parcel, RequestObservation& observation)
{
    const size_t start = parcel.GetReadPosition();
    int32_t kind = 0;
    if (parcel.ReadUint64(observation.requestId) && parcel.ReadBool(observation.answered) &&
        ReadBoundedString(parcel, observation.requester) && parcel.ReadInt32(kind) &&
        (kind == static_cast<int32_t>(RequestObservation::Kind::QUERY) ||
            kind == static_cast<int32_t>(RequestObservation::Kind::COMMAND)) &&
        parcel.ReadInt32(observation.type) && ReadWantParams(parcel, observation.params) &&
        ReadResultData(parcel, observation.answer)) {
        observation.kind = static_cast<RequestObservation::Kind>(kind);
        return true;
    }
    parcel.RewindRead(start);
    return false;
}

} // namespace Marshalling

int RequestObserverStub::OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel&, MessageOption&)
{
    if (code != ON_REQUEST_OBSERVED) {
        return IPC_ERR_UNKNOWN_TRANSACTION;
    }
    try {
        RequestObservation observation;
        std::string bundle;
        if (data.ReadInterfaceToken() != GetDescriptor() || !Marshalling::ReadRequestObservation(data, observation) ||
            !Marshalling::ReadBoundedString(data, bundle)) {
            return IPC_ERR_INVALID_DATA;
        }
        OnRequestObserved(observation, bundle);
        return IPC_OK;
    } catch (const std::bad_alloc&) {
        PROTOCOL_LOGE("request observer: out of memory");
        return IPC_ERR_NO_MEMORY;
    } catch (const std::exception& e) {
        PROTOCOL_LOGE("request observer: %{public}s", e.what());
    } catch (...) {
        PROTOCOL_LOGE("request observer: unknown exception");
    }
    return IPC_ERR_STUB_EXCEPTION;
}

RequestObserverProxy::RequestObserverProxy(sptr<IRemoteObject> remote) : remote_(std::move(remote)) {}

void RequestObserverProxy::OnRequestObserved(const RequestObservation& observation, const std::string& bundle)
{
    MessageParcel data;
    if (!data.WriteInterfaceToken(GetDescriptor()) || !Marshalling::WriteRequestObservation(data, observation) ||
        !Marshalling::WriteBoundedString(data, bundle)) {
        PROTOCOL_LOGW("observation of request %{public}llu to %{public}s not encodable",
            static_cast<unsigned long long>(observation.requestId), bundle.c_str());
        return;
    }
    MessageParcel reply;
    MessageOption option(MessageOption::TF_ASYNC);
    int status = remote_->SendRequest(ON_REQUEST_OBSERVED, data, reply, option);
    if (status != IPC_OK) {
        PROTOCOL_LOGI("request observation not delivered: %{public}d", status);
    }
}

sptr<IRequestObserver> RequestObserverFromObject(const sptr<IRemoteObject>& object)
{
    if (object == nullptr) {
        return nullptr;
    }
    if (!object->IsProxyObject()) {
        sptr<IRemoteBroker> broker = object->AsInterface();
        return sptr<IRequestObserver>(dynamic_cast<IRequestObserver*>(broker.GetRefPtr()));
    }
    return sptr<IRequestObserver>(new RequestObserverProxy(object));
}

} // namespace OHOS::NavigationInfoService
