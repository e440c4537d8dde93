#include "nav_info_service_stub.h"

#include <exception>
#include <string>

#include "client_identity.h"
#include "daemon_log.h"
#include "hilog/log_rate_limit.h"
#include "ipc_connection.h"
#include "ipc_errors.h"
#include "ipc_skeleton.h"
#include "listener_proxies.h"
#include "message_parcel.h"
#include "nav_info_errors.h"
#include "nav_info_service_ipc.h"
#include "record_marshalling.h"
#include "snapshot_marshalling.h"

namespace OHOS::NavigationInfoService {
namespace {

int ReplyResult(MessageParcel& reply, int32_t result)
{
    return reply.WriteInt32(result) ? IPC_OK : IPC_ERR_NO_MEMORY;
}

// An optional object (nav_info_service_ipc.h): false if the flag is neither
// 0 nor 1, or 1 is not followed by an object.
bool ReadOptionalObject(MessageParcel& data, sptr<IRemoteObject>& object)
{
    int32_t flag = 0;
    if (!data.ReadInt32(flag)) {
        return false;
    }
    if (flag == OBJECT_ABSENT) {
        object = nullptr;
        return true;
    }
    object = flag == OBJECT_PRESENT ? data.ReadRemoteObject() : nullptr;
    return object != nullptr;
}

// The flags that may end a publish or a follower registration (nav_info_service_ipc.h).
bool ReadReplayFlag(MessageParcel& data, Replay& kind)
{
    kind = Replay::NONE;
    if (data.GetReadableBytes() == 0) {
        return true;
    }
    int32_t flags = 0;
    if (!data.ReadInt32(flags)) {
        return false;
    }
    if ((flags & static_cast<int32_t>(Replay::RESTORED)) != 0) {
        kind = Replay::RESTORED;
    }
    return true;
}

} // namespace

NavInfoServiceStub::NavInfoServiceStub(std::shared_ptr<NavInfoServiceCore> core, ClientLister listClients,
    std::shared_ptr<OwnerLiveness> liveness)
    : IPCObjectStub(NavInfoServiceDescriptor()),
      core_(std::move(core)),
      listClients_(std::move(listClients)),
      liveness_(std::move(liveness))
{
}

// A call that succeeded in publishing or serving for the caller's bundle
// made its connection the bundle's owner until it ends: a quiet owner is
// not idle (closing it would report its bundle UNAVAILABLE), so the idle
// rule must leave it; and its keep-alive watch starts now, in the call that
// made it the owner, so that it is never an owner unwatched.
int32_t NavInfoServiceStub::KeepOwnerConnection(const CallerInfo& caller, int32_t result)
{
    if (result == NAV_INFO_SUCCESS) {
        if (std::shared_ptr<IpcConnection> connection = IPCSkeleton::GetCallingConnection()) {
            connection->KeepWhileIdle();
            if (liveness_ != nullptr) {
                liveness_->Watch(connection, caller.bundleName);
            }
        }
    }
    return result;
}

int NavInfoServiceStub::OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption&)
{
    std::shared_ptr<ClientIdentity> identity = CallingIdentity();
    if (identity == nullptr) {
        return IPC_ERR_PERMISSION;
    }
    CallerInfo caller;
    caller.bundleName = identity->bundleName;
    caller.pid = static_cast<int32_t>(IPCSkeleton::GetCallingPid());
    caller.uid = static_cast<int32_t>(IPCSkeleton::GetCallingUid());
    caller.clientId = IPCSkeleton::GetCallingConnectionId();

    int status = IPC_OK;
    try {
        status = Dispatch(code, caller, data, reply);
    } catch (const std::bad_alloc&) {
        status = IPC_ERR_NO_MEMORY;
    } catch (...) {
        status = IPC_ERR_STUB_EXCEPTION;
    }

    std::shared_ptr<IpcConnection> connection = IPCSkeleton::GetCallingConnection();
    if (status == IPC_ERR_INVALID_DATA || status == IPC_ERR_UNKNOWN_TRANSACTION) {
        uint32_t refused = ++identity->refusedRequests;
        HILOG_RATE_LIMITED(DAEMON_LOGW,
            "connection %{public}llu (%{public}s): request %{public}u refused (%{public}d), "
            "%{public}u so far",
            static_cast<unsigned long long>(caller.clientId), caller.bundleName.c_str(), code, status, refused);
        if (refused >= MAX_REFUSED_REQUESTS && connection != nullptr) {
            HILOG_RATE_LIMITED(DAEMON_LOGW, "connection %{public}llu: too many malformed requests, closing",
                static_cast<unsigned long long>(caller.clientId));
            connection->Close();
        }
    }
    // A registration that raced with the end of its connection must not
    // outlive it: the connection's clean-up may already have run.
    if (connection != nullptr && !connection->IsAlive()) {
        core_->OnClientGone(caller.clientId);
    }
    return status;
}

int NavInfoServiceStub::Dispatch(uint32_t code, const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    using Handler = int (NavInfoServiceStub::*)(const CallerInfo&, MessageParcel&, MessageParcel&);
    struct Route {
        uint32_t code;
        Handler handler;
    };
    static const Route routes[] = {
        {SVC_UPDATE_NAVIGATION_STATUS, &NavInfoServiceStub::UpdateStatus},
        {SVC_UPDATE_NAVIGATION_METADATA, &NavInfoServiceStub::UpdateMetadata},
        {SVC_REGISTER_SYSTEM_NAVIGATION_LISTENER, &NavInfoServiceStub::RegisterSystemListener},
        {SVC_UNREGISTER_SYSTEM_NAVIGATION_LISTENER, &NavInfoServiceStub::UnregisterSystemListener},
        {SVC_GET_NAVIGATION_STATUS, &NavInfoServiceStub::GetStatus},
        {SVC_REGISTER_NAVIGATION_STATUS_LISTENER, &NavInfoServiceStub::RegisterStatusListener},
        {SVC_UNREGISTER_NAVIGATION_STATUS_LISTENER, &NavInfoServiceStub::UnregisterStatusListener},
        {SVC_REGISTER_NAVIGATION_METADATA_LISTENER, &NavInfoServiceStub::RegisterMetadataListener},
        {SVC_UNREGISTER_NAVIGATION_METADATA_LISTENER, &NavInfoServiceStub::UnregisterMetadataListener},
        {SVC_QUERY_NAVIGATION_INFO, &NavInfoServiceStub::Query},
        {SVC_SEND_NAVIGATION_CMD, &NavInfoServiceStub::Command},
        {SVC_INSPECT_SERVICE, &NavInfoServiceStub::Inspect},
        {SVC_REGISTER_KEEP_ALIVE, &NavInfoServiceStub::RegisterKeepAlive},
        {SVC_KEEP_ALIVE_ANSWER, &NavInfoServiceStub::KeepAliveAnswer},
        {SVC_REGISTER_REQUEST_OBSERVER, &NavInfoServiceStub::RegisterRequestObserver},
        {SVC_UNREGISTER_REQUEST_OBSERVER, &NavInfoServiceStub::UnregisterRequestObserver},
    };
    for (const Route& route : routes) {
        if (route.code == code) {
            if (data.ReadInterfaceToken() != NavInfoServiceDescriptor()) {
                return IPC_ERR_INVALID_DATA;
            }
            return (this->*route.handler)(caller, data, reply);
        }
    }
    return IPC_ERR_UNKNOWN_TRANSACTION;
}

int NavInfoServiceStub::UpdateStatus(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    NavigationStatus status;
    Replay replay = Replay::NONE;
    if (!Marshalling::ReadNavigationStatus(data, status) || !ReadReplayFlag(data, replay)) {
        return IPC_ERR_INVALID_DATA;
    }
    return ReplyResult(reply,
        KeepOwnerConnection(caller,
            replay == Replay::RESTORED ? core_->RestoreNavigationStatus(caller, std::move(status))
                                       : core_->UpdateNavigationStatus(caller, std::move(status))));
}

int NavInfoServiceStub::UpdateMetadata(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    NavigationMetadata metadata;
    Replay replay = Replay::NONE;
    if (!Marshalling::ReadNavigationMetadata(data, metadata) || !ReadReplayFlag(data, replay)) {
        return IPC_ERR_INVALID_DATA;
    }
    return ReplyResult(reply,
        KeepOwnerConnection(caller,
            replay == Replay::RESTORED ? core_->RestoreNavigationMetadata(caller, std::move(metadata))
                                       : core_->UpdateNavigationMetadata(caller, std::move(metadata))));
}

int NavInfoServiceStub::RegisterSystemListener(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    sptr<IRemoteObject> object;
    if (!ReadOptionalObject(data, object)) {
        return IPC_ERR_INVALID_DATA;
    }
    // An object of another kind is as good as none: the core answers 1001.
    return ReplyResult(reply,
        KeepOwnerConnection(caller, core_->RegisterSystemNavigationListener(caller, SystemListenerFromObject(object))));
}

int NavInfoServiceStub::UnregisterSystemListener(const CallerInfo& caller, MessageParcel&, MessageParcel& reply)
{
    return ReplyResult(reply, core_->UnRegisterSystemNavigationListener(caller));
}

int NavInfoServiceStub::GetStatus(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    std::string bundleName;
    if (!Marshalling::ReadBoundedString(data, bundleName)) {
        return IPC_ERR_INVALID_DATA;
    }
    NavigationStatus status;
    int32_t result = core_->GetNavigationStatus(caller, bundleName, status);
    if (!reply.WriteInt32(result)) {
        return IPC_ERR_NO_MEMORY;
    }
    if (result == NAV_INFO_SUCCESS && !Marshalling::WriteNavigationStatus(reply, status)) {
        // Every stored status arrived through the same codec, so this takes
        // running out of memory; the caller learns the service failed.
        reply.ClearAll();
        return ReplyResult(reply, NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    }
    return IPC_OK;
}

int NavInfoServiceStub::RegisterStatusListener(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    std::string bundleName;
    sptr<IRemoteObject> object;
    Replay kind = Replay::NONE;
    if (!Marshalling::ReadBoundedString(data, bundleName) || !ReadOptionalObject(data, object) ||
        !ReadReplayFlag(data, kind)) {
        return IPC_ERR_INVALID_DATA;
    }
    auto listener = StatusListenerFromObject(object);
    return ReplyResult(reply,
        kind == Replay::RESTORED ? core_->RestoreNavigationStatusListener(caller, bundleName, listener)
                                 : core_->RegisterNavigationStatusListener(caller, bundleName, listener));
}

int NavInfoServiceStub::UnregisterStatusListener(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    std::string bundleName;
    if (!Marshalling::ReadBoundedString(data, bundleName)) {
        return IPC_ERR_INVALID_DATA;
    }
    return ReplyResult(reply, core_->UnRegisterNavigationStatusListener(caller, bundleName));
}

int NavInfoServiceStub::RegisterRequestObserver(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    std::string bundleName;
    sptr<IRemoteObject> object;
    if (!Marshalling::ReadBoundedString(data, bundleName) || !ReadOptionalObject(data, object)) {
        return IPC_ERR_INVALID_DATA;
    }
    return ReplyResult(reply, core_->RegisterRequestObserver(caller, bundleName, RequestObserverFromObject(object)));
}

int NavInfoServiceStub::UnregisterRequestObserver(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    std::string bundleName;
    if (!Marshalling::ReadBoundedString(data, bundleName)) {
        return IPC_ERR_INVALID_DATA;
    }
    return ReplyResult(reply, core_->UnRegisterRequestObserver(caller, bundleName));
}

int NavInfoServiceStub::RegisterMetadataListener(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    std::string bundleName;
    sptr<IRemoteObject> object;
    Replay kind = Replay::NONE;
    if (!Marshalling::ReadBoundedString(data, bundleName) || !ReadOptionalObject(data, object) ||
        !ReadReplayFlag(data, kind)) {
        return IPC_ERR_INVALID_DATA;
    }
    auto listener = MetadataListenerFromObject(object);
    return ReplyResult(reply,
        kind == Replay::RESTORED ? core_->RestoreNavigationMetadataListener(caller, bundleName, listener)
                                 : core_->RegisterNavigationMetadataListener(caller, bundleName, listener));
}

int NavInfoServiceStub::UnregisterMetadataListener(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    std::string bundleName;
    if (!Marshalling::ReadBoundedString(data, bundleName)) {
        return IPC_ERR_INVALID_DATA;
    }
    return ReplyResult(reply, core_->UnRegisterNavigationMetadataListener(caller, bundleName));
}

int NavInfoServiceStub::Query(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    std::string bundleName;
    int32_t type = 0;
    AAFwk::WantParams params;
    sptr<IRemoteObject> object;
    if (!Marshalling::ReadBoundedString(data, bundleName) || !data.ReadInt32(type) ||
        !Marshalling::ReadWantParams(data, params) || !ReadOptionalObject(data, object)) {
        return IPC_ERR_INVALID_DATA;
    }
    // An unknown kind passes through: the core validates it (1001).
    return ReplyResult(reply,
        core_->QueryNavigationInfo(caller, bundleName, static_cast<QueryType>(type), std::move(params),
            MapCallbackFromObject(object)));
}

int NavInfoServiceStub::Command(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    std::string bundleName;
    int32_t type = 0;
    AAFwk::WantParams params;
    sptr<IRemoteObject> object;
    if (!Marshalling::ReadBoundedString(data, bundleName) || !data.ReadInt32(type) ||
        !Marshalling::ReadWantParams(data, params) || !ReadOptionalObject(data, object)) {
        return IPC_ERR_INVALID_DATA;
    }
    return ReplyResult(reply,
        core_->SendNavigationCmd(caller, bundleName, static_cast<CommandType>(type), std::move(params),
            MapCallbackFromObject(object)));
}

int NavInfoServiceStub::Inspect(const CallerInfo& caller, MessageParcel&, MessageParcel& reply)
{
    ServiceSnapshot snapshot;
    int32_t result = core_->InspectService(caller, snapshot);
    if (result == NAV_INFO_SUCCESS && listClients_ != nullptr) {
        snapshot.clients = listClients_();
        if (snapshot.clients.size() > MAX_SNAPSHOT_ENTRIES) {
            snapshot.clients.resize(MAX_SNAPSHOT_ENTRIES);
            snapshot.truncated = true;
        }
    }
    if (!reply.WriteInt32(result)) {
        return IPC_ERR_NO_MEMORY;
    }
    if (result != NAV_INFO_SUCCESS || Marshalling::WriteServiceSnapshot(reply, snapshot)) {
        return IPC_OK;
    }
    // Too large for one reply: the records go, the rest still tells who is connected.
    snapshot.statuses.clear();
    snapshot.metadata.clear(); // the owners stay: small, and what `navinfo clients` shows
    snapshot.truncated = true;
    if (!Marshalling::WriteServiceSnapshot(reply, snapshot)) {
        reply.ClearAll();
        return ReplyResult(reply, NAV_INFO_ERR_SERVICE_UNAVAILABLE);
    }
    return IPC_OK;
}

// The client offers its responder before its first call that may make it
// the owner; it is watched from the call that does (or at once, if the
// connection owns its bundle already).
int NavInfoServiceStub::RegisterKeepAlive(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    sptr<IRemoteObject> object;
    if (!ReadOptionalObject(data, object)) {
        return IPC_ERR_INVALID_DATA;
    }
    std::shared_ptr<IpcConnection> connection = IPCSkeleton::GetCallingConnection();
    if (object == nullptr || liveness_ == nullptr || connection == nullptr) {
        return ReplyResult(reply, NAV_INFO_ERR_INVALID_PARAM);
    }
    liveness_->Offer(connection, std::move(object));
    if (core_->OwnsBundle(caller.clientId, caller.bundleName)) {
        liveness_->Watch(connection, caller.bundleName);
    }
    return ReplyResult(reply, NAV_INFO_SUCCESS);
}

int NavInfoServiceStub::KeepAliveAnswer(const CallerInfo& caller, MessageParcel& data, MessageParcel& reply)
{
    uint64_t sequence = 0;
    if (!data.ReadUint64(sequence)) {
        return IPC_ERR_INVALID_DATA;
    }
    if (liveness_ != nullptr) {
        liveness_->Answered(caller.clientId, sequence);
    }
    return ReplyResult(reply, NAV_INFO_SUCCESS);
}

} // namespace OHOS::NavigationInfoService
