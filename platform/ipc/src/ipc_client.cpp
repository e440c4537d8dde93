#include "ipc_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <chrono>
#include <thread>

#include "errno_text.h"
#include "ipc_errors.h"
#include "ipc_log.h"
#include "ipc_object_proxy.h"
#include "ipc_socket.h"
#include "ipc_thread_pool.h"

namespace OHOS {

namespace {

// Pause between tries while the server's accept backlog is full.
constexpr int kConnectRetryMs = 10;

using Clock = std::chrono::steady_clock;

int MillisLeft(Clock::time_point deadline)
{
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

// A connected socket to path, or -1 with status set.
int ConnectSocket(const std::string& path, Clock::time_point deadline, int& status)
{
    struct sockaddr_un addr {};
    unsigned int len = 0;
    if (!IpcSocket::MakeAddress(path, &addr, len)) {
        status = IPC_ERR_INVALID_DATA;
        return -1;
    }
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        status = IPC_ERR_CONNECT;
        return -1;
    }
    for (;;) {
        if (connect(fd, reinterpret_cast<struct sockaddr*>(&addr), len) == 0) {
            return fd;
        }
        if (errno == EINTR) {
            continue;
        }
        if (errno == EAGAIN && MillisLeft(deadline) > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(kConnectRetryMs));
            continue;
        }
        status = errno == EAGAIN ? IPC_ERR_TIMED_OUT : IPC_ERR_CONNECT;
        // The caller decides what a failure is worth telling (it may retry for a while).
        IPC_LOGI("connect to %{public}s failed: %{public}s", path.c_str(), ErrnoText(errno).c_str());
        close(fd);
        return -1;
    }
}

} // namespace

sptr<IRemoteObject> IpcConnect(const std::string& path, const IpcConnectOptions& options, int* status)
{
    int ignored = IPC_OK;
    int& result = status != nullptr ? *status : ignored;
    result = IPC_OK;
    if (options.bundleName.size() > kMaxBundleNameLength || options.token.size() > kMaxTokenLength) {
        result = IPC_ERR_INVALID_DATA;
        return nullptr;
    }
    const auto deadline = Clock::now() +
        std::chrono::milliseconds(options.timeoutMs > 0 ? options.timeoutMs : kHandshakeTimeoutMs);
    int fd = ConnectSocket(path, deadline, result);
    if (fd < 0) {
        return nullptr;
    }
    std::shared_ptr<IpcThreadPool> pool = options.pool;
    if (pool == nullptr) {
        pool = IpcThreadPool::Create(options.poolThreads, "ipc-client");
    }
    if (pool == nullptr) {
        close(fd);
        result = IPC_ERR_NO_MEMORY;
        return nullptr;
    }
    IpcConnection::Options connectionOptions;
    connectionOptions.role = IpcConnection::Role::CLIENT;
    connectionOptions.pool = std::move(pool);
    connectionOptions.onClosed = options.onClosed;
    connectionOptions.sendTimeoutMs = options.sendTimeoutMs;
    connectionOptions.handshakeTimeoutMs = MillisLeft(deadline) + 1;
    std::shared_ptr<IpcConnection> connection = IpcConnection::Create(fd, std::move(connectionOptions));
    if (connection == nullptr) {
        result = IPC_ERR_NO_MEMORY;
        return nullptr;
    }
    result = connection->SendHello({options.bundleName, options.token}, MillisLeft(deadline));
    if (result != IPC_OK) {
        return nullptr;
    }
    sptr<IRemoteObject> root = connection->GetRootObject();
    if (root == nullptr) {
        result = IPC_ERR_DEAD_OBJECT;
    }
    return root;
}

std::shared_ptr<IpcConnection> IpcConnectionOf(const sptr<IRemoteObject>& object)
{
    auto* proxy = object != nullptr ? dynamic_cast<IPCObjectProxy*>(object.GetRefPtr()) : nullptr;
    return proxy != nullptr ? proxy->GetConnection() : nullptr;
}

} // namespace OHOS
