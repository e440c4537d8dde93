#include "daemon_service.h"

#include "bridge_identity.h"
#include "client_identity.h"
#include "daemon_log.h"
#include "ipc_errors.h"
#include "listener_proxies.h"
#include "nav_info_service_stub.h"

namespace OHOS::NavigationInfoService {
namespace {

// Listener calls a call may cause that run on its reader thread.
constexpr size_t kListenerCallsOnReader = 4;

CoreOptions CoreOptionsOf(const DaemonConfig& config, std::shared_ptr<WorkerPool> executor)
{
    CoreOptions options;
    options.executor = std::move(executor);
    options.policy = WithBridgeGrant(config.policy); // null denies everything, like the authenticator
    options.requestTimeout = config.requestTimeout;
    options.maxOutstandingPerClient = config.maxOutstandingPerClient;
    options.goneRetention = config.goneRetention;
    options.limits = {StatusNotificationFits, MetadataNotificationFits};
    return options;
}

// The reply and what the call and its first listener calls send leave
// together at the end, each connection's in one write; further listener
// calls (a publish with many followers) go to the workers, so that they do
// not hold the reply back.
void RunAsCall(WorkerPool& pool, const std::function<void()>& call)
{
    IpcConnection::WriteBatch frames;
    WorkerPool::CallerRuns listenerCalls(pool, kListenerCallsOnReader);
    call();
}

} // namespace

DaemonService::DaemonService(DaemonConfig config)
    : config_(std::move(config)),
      executor_(std::make_shared<WorkerPool>(config_.listenerThreads)),
      core_(NavInfoServiceCore::Create(CoreOptionsOf(config_, executor_))),
      policy_(std::make_shared<PolicySlot>(config_.policy)),
      liveness_(std::make_shared<OwnerLiveness>([slot = policy_](const std::string& bundleName) {
          std::shared_ptr<const RuleAccessPolicy> policy = slot->Get();
          return policy != nullptr ? policy->LivenessTimeout(bundleName) : DEFAULT_LIVENESS_TIMEOUT;
      }))
{
}

DaemonService::~DaemonService()
{
    Stop();
}

int DaemonService::Start()
{
    stopping_->store(false);
    if (!liveness_->Start()) {
        DAEMON_LOGE("the keep-alive thread could not be started: frozen publishers will not be noticed");
    }
    IpcServerOptions options;
    options.socketMode = config_.socketMode;
    options.authenticator = MakeIdentityAuthenticator(policy_);
    options.maxConnectionsPerUid = config_.maxConnectionsPerUid;
    options.idleTimeoutMs = static_cast<int>(config_.idleTimeout.count());
    // The stub's calls never block and never wait on a client, so each runs
    // on the reader thread that read it, and the first listener calls it
    // causes run there too once it has returned, instead of on a worker.
    // Held weakly: a connection can outlive the daemon's last use of it on a
    // worker (a proxy dropped there), and a pool must not be freed by its own
    // thread.
    std::weak_ptr<WorkerPool> executor = executor_;
    options.runOnReader = [executor](const std::function<void()>& run) {
        std::shared_ptr<WorkerPool> pool = executor.lock();
        if (pool == nullptr) {
            run();
            return;
        }
        RunAsCall(*pool, run);
    };
    std::weak_ptr<NavInfoServiceCore> core = core_;
    auto stopping = stopping_;
    std::weak_ptr<OwnerLiveness> liveness = liveness_;
    options.onConnectionClosed = [core, stopping, liveness](const std::shared_ptr<IpcConnection>& connection) {
        if (auto watcher = liveness.lock()) {
            watcher->Forget(connection->GetId());
        }
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
    sptr<IRemoteObject> root = new NavInfoServiceStub(
        core_, [this] { return ConnectedClients(); }, liveness_);
    // The caller reports a failure, with its reason.
    if (config_.listenFd >= 0) {
        return server_.StartListening(config_.listenFd, root, std::move(options));
    }
    return server_.Start(config_.socketPath, root, std::move(options));
}

void DaemonService::RunHere(const std::function<void()>& call)
{
    RunAsCall(*executor_, call);
}

size_t DaemonService::ReloadPolicy(const std::shared_ptr<const RuleAccessPolicy>& policy)
{
    // Handshakes first, then calls: from here on nobody gets in or acts under the old one.
    std::shared_ptr<const RuleAccessPolicy> before = policy_->Set(policy);
    core_->SetAccessPolicy(WithBridgeGrant(policy));
    size_t closed = 0;
    for (const auto& connection : server_.GetConnections()) {
        auto identity = std::static_pointer_cast<ClientIdentity>(connection->GetAttribute());
        if (identity != nullptr && ShouldCloseAfterReload(before.get(), policy.get(), *identity)) {
            DAEMON_LOGI("connection %{public}llu (%{public}s) closed: the new policy refuses or narrows it",
                static_cast<unsigned long long>(connection->GetId()), identity->bundleName.c_str());
            connection->Close();
            ++closed;
        }
    }
    return closed;
}

std::string DaemonService::StatusText() const
{
    size_t clients = server_.GetConnectionCount();
    size_t registrations = core_->RegistrationCount();
    return std::to_string(clients) + (clients == 1 ? " client, " : " clients, ") + std::to_string(registrations) +
        (registrations == 1 ? " registration" : " registrations");
}

void DaemonService::Stop()
{
    {
        std::lock_guard<std::mutex> lock(listingMutex_);
        stopping_->store(true);
    }
    liveness_->Stop();
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
