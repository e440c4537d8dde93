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
// The policy is read from a PolicySlot at each handshake, so a reloaded
// policy applies to the next client at once; ShouldCloseAfterReload tells
// which connections made under the old one must go.
//
// Threads: the authenticator runs on the reader thread of each connection;
// CallingIdentity on the IPC thread running a transaction. ClientIdentity's
// names are immutable; refusedRequests is atomic.
#ifndef SERVICE_DAEMON_CLIENT_IDENTITY_H
#define SERVICE_DAEMON_CLIENT_IDENTITY_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "access_policy.h"
#include "ipc_connection.h"
#include "policy_slot.h"

namespace OHOS::NavigationInfoService {

struct ClientIdentity {
    ClientIdentity(std::string bundle, int32_t peerUid, std::string presentedToken)
        : bundleName(std::move(bundle)),
          uid(peerUid),
          token(std::move(presentedToken))
    {
    }
    const std::string bundleName;
    const int32_t uid;
    const std::string token; // kept to check the claim again after a reload; never logged
    // Requests of this connection refused as malformed (see the stub).
    std::atomic<uint32_t> refusedRequests{0};
};

// Accepts a HELLO whose bundle name is not empty and that the slot's policy
// allows for the peer's uid and the token presented; attaches a
// ClientIdentity. Refuses anything else with IPC_ERR_PERMISSION. A null
// policy refuses all.
IpcConnection::Authenticator MakeIdentityAuthenticator(const std::shared_ptr<const PolicySlot>& slot);

// After the policy changed from before to after: whether a client connected
// under before must be disconnected, because after refuses its identity or
// takes a right from it (system application, navigation permission). It
// then connects again under after, and what it registers again is checked
// anew. A null policy refuses everything.
bool ShouldCloseAfterReload(const RuleAccessPolicy* before, const RuleAccessPolicy* after,
    const ClientIdentity& client);

// The identity of the connection whose transaction this thread runs; null
// outside a transaction or on a connection without one.
std::shared_ptr<ClientIdentity> CallingIdentity();

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_CLIENT_IDENTITY_H
