#include "daemon_service.h"

#include "client_identity.h"
#include "daemon_log.h"
#include "ipc_errors.h"
#include "listener_proxies.h"
#include "nav_info_service_stub.h"

namespace OHOS::NavigationInfoService {
namespace {

CoreOptions CoreOptionsOf(const DaemonConfig& config, std::shared_ptr<WorkerPool> executor)
{
    CoreOptions options;
    options.executor = std::move(executor);
    options.policy = config.policy; // null denies everything, like the authenticator
    options.requestTimeout = config.requestTimeout;
    options.maxOutstandingPerClient = config.maxOutstandingPerClient;
    options.limits = {StatusNotificationFits, MetadataNotificationFits};
    return options;
}

} // namespace

DaemonService::DaemonService(DaemonConfig config)
    : config_(std::move(config)),
      executor_(std::make_shared<WorkerPool>(config_.listenerThreads)),
      core_(NavInfoServiceCore::Create(CoreOptionsOf(config_, executor_)))
{
}

DaemonService::~DaemonService()
{
    Stop();
}

int DaemonService::Start()
{
    stopping_->store(false);
    IpcServerOptions options;
    options.socketMode = config_.socketMode;
    options.authenticator = MakeIdentityAuthenticator(config_.policy);
    options.maxConnectionsPerUid = config_.maxConnectionsPerUid;
    options.idleTimeoutMs = static_cast<int>(config_.idleTimeout.count());
    std::weak_ptr<NavInfoServiceCore> core = core_;
    auto stopping = stopping_;
    options.onConnectionClosed = [core, stopping](const std::shared_ptr<IpcConnection>& connection) {
        // While stopping, the core must not answer requests 1003 to the
        // requesters still connected: the service is going away, and each
        // client answers its own open requests 1002 when its connection ends.
        if (stopping->load()) {
            return;
        }
        if (auto live = core.lock()) {
            DAEMON_LOGI("connection %{public}llu ended", static_cast<unsigned long long>(connection->GetId()));
            live->OnClientGone(connection->GetId());
        }
    };
    sptr<IRemoteObject> root = new NavInfoServiceStub(core_, [this] { return ConnectedClients(); });
    int status = server_.Start(config_.socketPath, root, std::move(options));
    if (status != IPC_OK) {
        DAEMON_LOGE("cannot serve %{public}s: %{public}d", config_.socketPath.c_str(), status);
    }
    return status;
}

void DaemonService::Stop()
{
    {
        std::lock_guard<std::mutex> lock(listingMutex_);
        stopping_->store(true);
    }
    server_.Stop();
    // Whatever the closed connections left behind goes now; records too.
    core_->Reset();
}

std::vector<ServiceSnapshot::Client> DaemonService::ConnectedClients() const
{
    std::vector<ServiceSnapshot::Client> clients;
    std::lock_guard<std::mutex> lock(listingMutex_);
    if (stopping_->load()) {
        return clients;
    }
    for (const auto& connection : server_.GetConnections()) {
        auto identity = std::static_pointer_cast<ClientIdentity>(connection->GetAttribute());
        if (identity == nullptr || !connection->IsAlive()) {
            continue; // still in its handshake, refused, or gone
        }
        const auto& peer = connection->GetPeerCredentials();
        clients.push_back({connection->GetId(), identity->bundleName, static_cast<int32_t>(peer.pid),
            static_cast<int32_t>(peer.uid)});
    }
    return clients;
}

} // namespace OHOS::NavigationInfoService
