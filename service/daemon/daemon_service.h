// navinfo-service without its process concerns (arguments, signals): the
// service core, the threads that call listeners, the identity check and the
// socket server, wired together. Tests run it in-process.
//
// Death: when a connection ends for any reason (the client closed it, its
// process died, it broke the protocol), the core is told OnClientGone(id):
// its listeners and subscriptions go, requests it sent are dropped, and
// requests sent to its system navigation listener are answered 1003 (except
// while the daemon stops: see Stop).
//
// Frozen: a connection that owns a bundle answers keep-alives; one silent
// for its bundle's liveness time-out (policy, default 3 s) is closed, which
// reports its bundle gone like any other end (owner_liveness.h).
//
// Reload: ReloadPolicy swaps the policy at once for new handshakes and for
// every call; connections the new policy refuses, or whose rights it
// narrows, are closed (their clients connect again under the new policy).
// Published records, the other clients' registrations and the requests in
// flight between them stay.
//
// Threads: Start, Stop and ReloadPolicy from one owning thread, never from an IPC thread
// or a listener call of this service; the getters from any thread.
#ifndef SERVICE_DAEMON_DAEMON_SERVICE_H
#define SERVICE_DAEMON_DAEMON_SERVICE_H

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "access_policy.h"
#include "ipc_server.h"
#include "nav_info_service_core.h"
#include "owner_liveness.h"
#include "policy_slot.h"
#include "worker_pool.h"

namespace OHOS::NavigationInfoService {

struct DaemonConfig {
    std::string socketPath;
    mode_t socketMode = 0600;
    // A listening socket handed over by the service manager, served instead
    // of socketPath (owned by the service from Start on); -1: none.
    int listenFd = -1;
    // Decides identities and access. Null: every client is refused.
    std::shared_ptr<const RuleAccessPolicy> policy;
    std::chrono::milliseconds requestTimeout = DEFAULT_REQUEST_TIMEOUT;
    // How long a gone publisher's UNAVAILABLE is kept (the policy's "goneRetentionSeconds").
    std::chrono::milliseconds goneRetention = DEFAULT_GONE_RETENTION;
    size_t listenerThreads = 4;
    // Outstanding queries and commands per connection (beyond: 1006).
    size_t maxOutstandingPerClient = DEFAULT_MAX_OUTSTANDING_REQUESTS;
    // Connections: the share of one uid, and how long a connection that holds
    // nothing may stay silent (the IPC layer's defaults; shorter in tests).
    size_t maxConnectionsPerUid = kMaxServerConnectionsPerUid;
    std::chrono::milliseconds idleTimeout{kIdleTimeoutMs};
};

class DaemonService {
public:
    // May throw std::bad_alloc.
    explicit DaemonService(DaemonConfig config);
    // Stops the service.
    ~DaemonService();
    DaemonService(const DaemonService&) = delete;
    DaemonService& operator=(const DaemonService&) = delete;

    // Listens on the socket. IPC_OK or the IpcServer::Start failure, whose
    // reason is then in StartError().
    int Start();
    const std::string& StartError() const { return server_.GetStartError(); }
    // Closes every connection, removes the socket file and drops the core's
    // state. Requests in flight are not answered by the daemon: every client
    // answers its own 1002 when its connection ends. Idempotent.
    void Stop();

    // Runs call on this thread as a call read from a socket runs: the frames
    // it sends leave together when it returns, and the first listener calls
    // of the core that it causes run here after it instead of waking a
    // worker. For threads that feed the core as reader threads do (the
    // network bridge's) and must not wait on a client. Any thread.
    void RunHere(const std::function<void()>& call);

    // Replaces the access policy (null: refuse everybody from now on).
    // Returns how many connections it closed.
    size_t ReloadPolicy(const std::shared_ptr<const RuleAccessPolicy>& policy);

    // The path served (of the handed-over socket too, once started).
    const std::string& SocketPath() const { return server_.IsRunning() ? server_.GetPath() : config_.socketPath; }
    size_t ConnectionCount() const { return server_.GetConnectionCount(); }
    // One line for the service manager's status: clients and registrations.
    std::string StatusText() const;
    // The core, for tests (outstanding requests, time-out) and the network bridge.
    NavInfoServiceCore& Core() const { return *core_; }
    std::shared_ptr<NavInfoServiceCore> SharedCore() const { return core_; }
    // The policy in force now (null: everybody refused).
    std::shared_ptr<const RuleAccessPolicy> Policy() const { return policy_->Get(); }
    const DaemonConfig& Config() const { return config_; }

private:
    // The live connections that were accepted with an identity (IPC
    // threads); none once Stop has begun.
    std::vector<ServiceSnapshot::Client> ConnectedClients() const;

    const DaemonConfig config_;
    const std::shared_ptr<WorkerPool> executor_;
    const std::shared_ptr<NavInfoServiceCore> core_;
    const std::shared_ptr<PolicySlot> policy_;
    // Keep-alives to bundle owners; closes the connections of frozen ones.
    const std::shared_ptr<OwnerLiveness> liveness_;
    // Set by Stop; read by the connection-closed callback (reader threads).
    const std::shared_ptr<std::atomic<bool>> stopping_ = std::make_shared<std::atomic<bool>>(false);
    // Held while ConnectedClients reads the server's connections and while
    // Stop sets stopping_, so that no reading overlaps the server's stop.
    mutable std::mutex listingMutex_;
    IpcServer server_;
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_DAEMON_SERVICE_H
