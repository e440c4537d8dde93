// The client side: connect to a server's socket, say HELLO, and get the
// proxy of the server's root object.
//
// Threads: any thread, but not an IPC thread of the connection being closed
// when closing it.
#ifndef PLATFORM_IPC_IPC_CLIENT_H
#define PLATFORM_IPC_IPC_CLIENT_H

#include <memory>
#include <string>

#include "ipc_connection.h"
#include "ipc_limits.h"
#include "iremote_object.h"

namespace OHOS {

class IpcThreadPool;

struct IpcConnectOptions {
    // Sent in HELLO; the server decides whether to believe them.
    std::string bundleName;
    std::string token;
    // Covers connecting and the HELLO exchange.
    int timeoutMs = kHandshakeTimeoutMs;
    int sendTimeoutMs = kSendTimeoutMs;
    // Threads that run calls the server makes on our objects (callbacks).
    size_t poolThreads = kDefaultClientPoolThreads;
    // A pool to share among connections instead of one of their own.
    std::shared_ptr<IpcThreadPool> pool;
    // Told when the connection ends (reader thread).
    IpcConnection::ClosedCallback onClosed;
};

// Connects to the server at path and returns the proxy of its root object,
// or null with *status set (IPC_ERR_CONNECT, IPC_ERR_TIMED_OUT,
// IPC_ERR_PERMISSION or the server's refusal, IPC_ERR_NO_MEMORY,
// IPC_ERR_INVALID_DATA). The connection stays open until Close() on it
// (IpcConnectionOf(root)->Close()) or until the server goes away.
sptr<IRemoteObject> IpcConnect(const std::string& path, const IpcConnectOptions& options = {}, int* status = nullptr);

// The connection a proxy belongs to; null for a local object.
std::shared_ptr<IpcConnection> IpcConnectionOf(const sptr<IRemoteObject>& object);

} // namespace OHOS

#endif // PLATFORM_IPC_IPC_CLIENT_H
