// The listening side: a Unix-domain socket at a path, one IpcConnection per
// accepted peer, and a root object that every peer reaches as handle 0.
//
// The socket file is created with socketMode (default 0600) before the
// socket listens, so no peer can connect through wider permissions. A stale
// socket left at the path (nobody accepts on it) is removed; a live one, or
// a file that is not a socket, makes Start fail.
//
// Admission: at most maxConnections at once, and at most
// maxConnectionsPerUid from one peer uid (SO_PEERCRED at accept); a
// connection beyond either is closed at once. Refusals are logged at most
// once a second.
//
// A socket handed over by a service manager (StartListening) is served as
// it is: its owner made the file and set its mode, and the file stays when
// the server stops.
//
// Threads: Start and Stop from one owning thread (not from an IPC thread of
// this server); the getters from any thread. An accept thread takes new
// peers; transactions run on the server's pool.
#ifndef PLATFORM_IPC_IPC_SERVER_H
#define PLATFORM_IPC_IPC_SERVER_H

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ipc_connection.h"
#include "ipc_limits.h"
#include "iremote_object.h"

namespace OHOS {

struct IpcServerOptions {
    mode_t socketMode = 0600;
    size_t poolThreads = kDefaultServerPoolThreads;
    size_t maxConnections = kMaxServerConnections;
    size_t maxConnectionsPerUid = kMaxServerConnectionsPerUid;
    int handshakeTimeoutMs = kHandshakeTimeoutMs;
    int sendTimeoutMs = kSendTimeoutMs;
    int frameTimeoutMs = kFrameReadTimeoutMs;
    int idleTimeoutMs = kIdleTimeoutMs; // 0: idle connections are kept
    // Checks each client's HELLO (reader thread of that connection); absent:
    // every peer that may open the socket is accepted.
    IpcConnection::Authenticator authenticator;
    // Told when a connection ends (reader thread of that connection).
    IpcConnection::ClosedCallback onConnectionClosed;
    // See IpcConnection::Options::runOnReader.
    IpcConnection::ReaderCallRunner runOnReader;
};

class IpcServer {
public:
    IpcServer();
    // Stops the server.
    ~IpcServer();
    IpcServer(const IpcServer&) = delete;
    IpcServer& operator=(const IpcServer&) = delete;

    // Binds, listens and starts accepting. IPC_OK, or IPC_ERR_INVALID_DATA
    // (bad path or options, already started), IPC_ERR_BUSY (another server
    // answers at the path), IPC_ERR_CONNECT (socket calls failed) or
    // IPC_ERR_NO_MEMORY (threads could not be started).
    // The reason of a failure, one line, is then in GetStartError().
    int Start(const std::string& path, const sptr<IRemoteObject>& root, IpcServerOptions options = {});
    // Serves a socket that is already bound and listening (handed over by a
    // service manager), which it owns from then on (closed even on failure).
    // Its file and mode are not touched, and Stop leaves the file in place.
    // socketMode is not used. IPC_OK, IPC_ERR_INVALID_DATA or IPC_ERR_NO_MEMORY.
    int StartListening(int listenFd, const sptr<IRemoteObject>& root, IpcServerOptions options = {});
    // Why the latest Start or StartListening failed; empty after a success.
    const std::string& GetStartError() const { return startError_; }
    // Stops accepting, closes every connection (their death notifications
    // run before this returns) and removes the socket file. Idempotent.
    void Stop();

    bool IsRunning() const;
    const std::string& GetPath() const { return path_; }
    std::vector<std::shared_ptr<IpcConnection>> GetConnections() const;
    size_t GetConnectionCount() const;

    struct State;

private:
    // Starts accepting on listenFd (owned from here on, closed on failure).
    int Serve(int listenFd, const std::string& path, ino_t socketInode, const sptr<IRemoteObject>& root,
        IpcServerOptions options);

    std::string path_;
    std::string startError_;
    // Read with std::atomic_load: the listing calls may run on any thread,
    // concurrently with Stop on the controlling one.
    std::shared_ptr<State> state_;
};

} // namespace OHOS

#endif // PLATFORM_IPC_IPC_SERVER_H
