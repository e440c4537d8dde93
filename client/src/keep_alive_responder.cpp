#include "keep_alive_responder.h"

#include "client_log.h"
#include "ipc_errors.h"
#include "message_option.h"
#include "message_parcel.h"
#include "nav_info_service_ipc.h"

namespace OHOS::NavigationInfoService {

KeepAliveResponder::KeepAliveResponder(const sptr<IRemoteObject>& service)
    : IPCObjectStub(KeepAliveDescriptor()),
      service_(service)
{
}

int KeepAliveResponder::OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel&, MessageOption&)
{
    if (code != KEEP_ALIVE || data.ReadInterfaceToken() != KeepAliveDescriptor()) {
        return IPC_ERR_UNKNOWN_TRANSACTION;
    }
    uint64_t sequence = 0;
    if (!data.ReadUint64(sequence)) {
        return IPC_ERR_INVALID_DATA;
    }
    sptr<IRemoteObject> service = service_.promote();
    if (service == nullptr) {
        return IPC_ERR_DEAD_OBJECT;
    }
    MessageParcel answer;
    MessageParcel unused;
    MessageOption option(MessageOption::TF_ASYNC);
    if (!answer.WriteInterfaceToken(NavInfoServiceDescriptor()) || !answer.WriteUint64(sequence)) {
        return IPC_ERR_NO_MEMORY;
    }
    int status = service->SendRequest(SVC_KEEP_ALIVE_ANSWER, answer, unused, option);
    if (status != IPC_OK) {
        CLIENT_LOGW("keep-alive %{public}llu not answered: %{public}d", static_cast<unsigned long long>(sequence),
            status);
    }
    return status;
}

} // namespace OHOS::NavigationInfoService
