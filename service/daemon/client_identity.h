// Who a connected client is, as the daemon verified it at the handshake.
//
// The transport gives the peer's pid and uid from SO_PEERCRED; the client
// claims a bundle name (and may present a token) in its HELLO. The
// authenticator accepts the claim only if the access policy allows that
// bundle name for that uid with that token
// (RuleAccessPolicy::IdentityAllowed); otherwise the connection is refused
// and closed before any transaction. The accepted bundle name is attached to
// the connection and is the only name that connection's calls can act as.
//
// Threads: the authenticator runs on the reader thread of each connection;
// CallingIdentity on the IPC thread running a transaction. ClientIdentity's
// bundleName is immutable; refusedRequests is atomic.
#ifndef SERVICE_DAEMON_CLIENT_IDENTITY_H
#define SERVICE_DAEMON_CLIENT_IDENTITY_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "access_policy.h"
#include "ipc_connection.h"

namespace OHOS::NavigationInfoService {

struct ClientIdentity {
    explicit ClientIdentity(std::string bundle) : bundleName(std::move(bundle)) {}
    const std::string bundleName;
    // Requests of this connection refused as malformed (see the stub).
    std::atomic<uint32_t> refusedRequests{0};
};

// Accepts a HELLO whose bundle name is not empty and that policy allows for
// the peer's uid and the token presented; attaches a ClientIdentity.
// Refuses anything else with IPC_ERR_PERMISSION. A null policy refuses all.
IpcConnection::Authenticator MakeIdentityAuthenticator(std::shared_ptr<const RuleAccessPolicy> policy);

// The identity of the connection whose transaction this thread runs; null
// outside a transaction or on a connection without one.
std::shared_ptr<ClientIdentity> CallingIdentity();

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_CLIENT_IDENTITY_H
