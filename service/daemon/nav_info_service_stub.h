// The daemon's root object: decodes each service transaction
// (nav_info_service_ipc.h, docs/service-protocol.md) and calls the service
// core as the verified caller of the connection it came on.
//
// Caller: bundle name from the connection's ClientIdentity, pid and uid from
// SO_PEERCRED, clientId = the connection's id (so OnClientGone(id) drops what
// the connection left behind).
//
// Status: IPC_OK with the core's result in the reply; IPC_ERR_PERMISSION on a
// connection without identity; IPC_ERR_INVALID_DATA for a wrong interface
// token or arguments that do not decode or break a record limit;
// IPC_ERR_UNKNOWN_TRANSACTION for an unknown code. Refused requests are
// counted per connection; after MAX_REFUSED_REQUESTS the connection is closed.
//
// Threads: OnRemoteRequest runs on the server's IPC threads, any number at
// once. The stub holds no lock of its own.
#ifndef SERVICE_DAEMON_NAV_INFO_SERVICE_STUB_H
#define SERVICE_DAEMON_NAV_INFO_SERVICE_STUB_H

#include <functional>
#include <memory>
#include <vector>

#include "caller_info.h"
#include "ipc_object_stub.h"
#include "nav_info_service_core.h"
#include "owner_liveness.h"

namespace OHOS::NavigationInfoService {

constexpr uint32_t MAX_REFUSED_REQUESTS = 8;

class NavInfoServiceStub : public IPCObjectStub {
public:
    // The daemon's live connections with their verified identities, for
    // InspectService (any IPC thread).
    using ClientLister = std::function<std::vector<ServiceSnapshot::Client>()>;

    // liveness null: keep-alive responders are refused (1001) and answers ignored.
    explicit NavInfoServiceStub(std::shared_ptr<NavInfoServiceCore> core, ClientLister listClients = nullptr,
        std::shared_ptr<OwnerLiveness> liveness = nullptr);

    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;

private:
    // Decodes and runs one request; returns the transport status.
    int Dispatch(uint32_t code, const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);

    int UpdateStatus(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int UpdateMetadata(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int RegisterSystemListener(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int UnregisterSystemListener(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int GetStatus(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int RegisterStatusListener(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int UnregisterStatusListener(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int RegisterMetadataListener(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int UnregisterMetadataListener(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int Query(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int Command(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int Inspect(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int RegisterRequestObserver(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int UnregisterRequestObserver(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    // Passes result on; a success made the calling connection its bundle's owner.
    int32_t KeepOwnerConnection(const CallerInfo& caller, int32_t result);
    int RegisterKeepAlive(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);
    int KeepAliveAnswer(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply);

    const std::shared_ptr<NavInfoServiceCore> core_;
    const ClientLister listClients_;
    const std::shared_ptr<OwnerLiveness> liveness_;
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_NAV_INFO_SERVICE_STUB_H
