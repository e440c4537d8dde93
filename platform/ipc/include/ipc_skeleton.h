// Who is calling: the identity of the peer whose transaction the current
// thread is running. The dispatcher sets it (thread-local) around each
// OnRemoteRequest; outside a dispatched call the functions describe this
// process itself (own pid/uid, connection id 0, no connection).
//
// Threads: any thread; each sees its own value.
#ifndef PLATFORM_IPC_IPC_SKELETON_H
#define PLATFORM_IPC_IPC_SKELETON_H

#include <sys/types.h>

#include <cstdint>
#include <memory>

namespace OHOS {

class IpcConnection;

class IPCSkeleton {
public:
    // Kernel-verified (SO_PEERCRED) identity of the calling process.
    static pid_t GetCallingPid();
    static uid_t GetCallingUid();
    static gid_t GetCallingGid();
    // Process-unique id of the connection the call came on; 0 outside a call.
    static uint64_t GetCallingConnectionId();
    // The connection the call came on; null outside a call.
    static std::shared_ptr<IpcConnection> GetCallingConnection();
    // The attribute the server attached to that connection (see
    // IpcConnection::SetAttribute); null outside a call or if none.
    static std::shared_ptr<void> GetCallingConnectionAttribute();
    // True while the thread runs a transaction that arrived over IPC.
    static bool IsHandlingTransaction();
};

// Sets the calling identity of this thread for its lifetime and restores
// the previous one after, so that nested dispatches keep their own. Used by
// the dispatcher; tests may use it to fake a caller.
class ScopedCallingIdentity {
public:
    ScopedCallingIdentity(pid_t pid, uid_t uid, gid_t gid, std::shared_ptr<IpcConnection> connection);
    ~ScopedCallingIdentity();
    ScopedCallingIdentity(const ScopedCallingIdentity&) = delete;
    ScopedCallingIdentity& operator=(const ScopedCallingIdentity&) = delete;

    struct Identity {
        pid_t pid;
        uid_t uid;
        gid_t gid;
        std::shared_ptr<IpcConnection> connection;
    };

private:
    Identity identity_;
    const Identity* previous_;
};

} // namespace OHOS

#endif // PLATFORM_IPC_IPC_SKELETON_H
