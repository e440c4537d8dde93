#include "ipc_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <chrono>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "hilog/log_rate_limit.h"
#include "errno_text.h"
#include "ipc_errors.h"
#include "ipc_log.h"
#include "ipc_socket.h"
#include "ipc_thread_pool.h"

namespace OHOS {

namespace {

constexpr int kListenBacklog = 16;
// Pause after accept fails for lack of descriptors, so the loop does not spin.
constexpr int kAcceptRetryMs = 50;

} // namespace

// Shared with the accept thread and the connections' closed callbacks, which
// may outlive a Stop that raced with them.
struct IpcServer::State {
    mutable std::mutex mutex;
    std::map<uint64_t, std::shared_ptr<IpcConnection>> connections; // guarded by mutex
    std::map<uid_t, size_t> connectionsPerUid;                      // guarded by mutex
    bool running = false;                                           // guarded by mutex
    int listenFd = -1; // set by Start, closed by Stop after the accept thread ended
    int wakeFd = -1;   // eventfd that tells the accept thread to stop
    ino_t socketInode = 0;
    std::thread acceptThread;
    std::shared_ptr<IpcThreadPool> pool;
    sptr<IRemoteObject> root;
    IpcServerOptions options;
};

namespace {

// mutex held: lists a connection under its peer's uid.
void ListLocked(IpcServer::State& state, const std::shared_ptr<IpcConnection>& connection)
{
    state.connections[connection->GetId()] = connection;
    ++state.connectionsPerUid[connection->GetPeerCredentials().uid];
}

void Forget(const std::weak_ptr<IpcServer::State>& weak, uint64_t id)
{
    if (auto state = weak.lock()) {
        std::shared_ptr<IpcConnection> gone;
        std::lock_guard<std::mutex> lock(state->mutex);
        auto it = state->connections.find(id);
        if (it != state->connections.end()) {
            gone = std::move(it->second);
            state->connections.erase(it);
            auto uid = state->connectionsPerUid.find(gone->GetPeerCredentials().uid);
            if (uid != state->connectionsPerUid.end() && --uid->second == 0) {
                state->connectionsPerUid.erase(uid);
            }
        }
    }
}

// Why a new peer of this uid cannot be taken now, or null. mutex held.
const char* RefusalLocked(const IpcServer::State& state, uid_t uid)
{
    if (!state.running) {
        return "stopping";
    }
    if (state.connections.size() >= state.options.maxConnections) {
        return "too many connections";
    }
    auto perUid = state.connectionsPerUid.find(uid);
    if (perUid != state.connectionsPerUid.end() && perUid->second >= state.options.maxConnectionsPerUid) {
        return "too many connections of this uid";
    }
    return nullptr;
}

void Admit(const std::shared_ptr<IpcServer::State>& state, int fd)
{
    IpcSocket::Credentials peer;
    if (!IpcSocket::GetPeerCredentials(fd, peer)) {
        HILOG_RATE_LIMITED(IPC_LOGW, "server: connection refused: peer credentials unknown");
        close(fd);
        return;
    }
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        if (const char* refusal = RefusalLocked(*state, peer.uid)) {
            HILOG_RATE_LIMITED(IPC_LOGW, "server: connection of uid %{public}u refused: %{public}s",
                static_cast<unsigned>(peer.uid), refusal);
            close(fd);
            return;
        }
    }
    std::weak_ptr<IpcServer::State> weak = state;
    IpcConnection::Options options;
    options.role = IpcConnection::Role::SERVER;
    options.root = state->root;
    options.pool = state->pool;
    options.authenticator = state->options.authenticator;
    options.sendTimeoutMs = state->options.sendTimeoutMs;
    options.handshakeTimeoutMs = state->options.handshakeTimeoutMs;
    options.frameTimeoutMs = state->options.frameTimeoutMs;
    options.idleTimeoutMs = state->options.idleTimeoutMs;
    options.runOnReader = state->options.runOnReader;
    IpcConnection::ClosedCallback userCallback = state->options.onConnectionClosed;
    options.onClosed = [weak, userCallback](const std::shared_ptr<IpcConnection>& connection) {
        Forget(weak, connection->GetId());
        if (userCallback) {
            userCallback(connection);
        }
    };
    std::shared_ptr<IpcConnection> connection = IpcConnection::Create(fd, std::move(options));
    if (connection == nullptr) {
        return;
    }
    bool keep;
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        keep = state->running;
        if (keep) {
            ListLocked(*state, connection);
        }
    }
    // It may have ended before it was listed; its callback found nothing to remove.
    if (!keep || !connection->IsAlive()) {
        Forget(weak, connection->GetId());
        if (!keep) {
            connection->Close();
        }
    }
}

void AcceptLoop(const std::shared_ptr<IpcServer::State>& state)
{
    for (;;) {
        struct pollfd fds[2] = {{state->listenFd, POLLIN, 0}, {state->wakeFd, POLLIN, 0}};
        int ready = poll(fds, 2, -1);
        if (ready < 0) {
            if (errno == EINTR) {
                continue;
            }
            IPC_LOGE("server: poll failed: %{public}s", ErrnoText(errno).c_str());
            return;
        }
        if (fds[1].revents != 0) {
            return;
        }
        if ((fds[0].revents & POLLIN) == 0) {
            continue;
        }
        int fd = accept4(state->listenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
                HILOG_RATE_LIMITED(IPC_LOGE, "server: accept failed: %{public}s", ErrnoText(errno).c_str());
                std::this_thread::sleep_for(std::chrono::milliseconds(kAcceptRetryMs));
            }
            continue;
        }
        Admit(state, fd);
    }
}

// Removes a socket file nobody accepts on. Returns IPC_OK when the path is
// free (now or already); otherwise the failure, with why in reason.
int ClearStaleSocket(const std::string& path, std::string& reason)
{
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0) {
        if (errno == ENOENT) {
            return IPC_OK;
        }
        reason = std::string("cannot look at it: ") + ErrnoText(errno);
        return IPC_ERR_CONNECT;
    }
    if (!S_ISSOCK(st.st_mode)) {
        reason = "it exists and is not a socket";
        return IPC_ERR_INVALID_DATA;
    }
    struct sockaddr_un addr {};
    unsigned int len = 0;
    IpcSocket::MakeAddress(path, &addr, len);
    int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (probe < 0) {
        reason = std::string("socket: ") + ErrnoText(errno);
        return IPC_ERR_CONNECT;
    }
    int rc = connect(probe, reinterpret_cast<struct sockaddr*>(&addr), len);
    int err = errno;
    close(probe);
    if (rc == 0) {
        reason = "another service answers there";
        return IPC_ERR_BUSY;
    }
    if (err != ECONNREFUSED) {
        reason = std::string("cannot probe the socket there: ") + ErrnoText(err);
        return IPC_ERR_CONNECT;
    }
    IPC_LOGI("server: removing stale socket %{public}s", path.c_str());
    if (unlink(path.c_str()) == 0 || errno == ENOENT) {
        return IPC_OK;
    }
    reason = std::string("cannot remove the stale socket: ") + ErrnoText(errno);
    return IPC_ERR_CONNECT;
}

} // namespace

IpcServer::IpcServer() = default;

IpcServer::~IpcServer()
{
    Stop();
}

int IpcServer::Start(const std::string& path, const sptr<IRemoteObject>& root, IpcServerOptions options)
{
    struct sockaddr_un addr {};
    unsigned int addrLen = 0;
    startError_.clear();
    if (IsRunning() || !IpcSocket::MakeAddress(path, &addr, addrLen) || (options.socketMode & ~0777) != 0 ||
        options.maxConnections == 0 || options.maxConnectionsPerUid == 0) {
        startError_ = "invalid path or options";
        return IPC_ERR_INVALID_DATA;
    }
    int status = ClearStaleSocket(path, startError_);
    if (status != IPC_OK) {
        return status;
    }
    int listenFd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listenFd < 0) {
        startError_ = std::string("socket: ") + ErrnoText(errno);
        return IPC_ERR_CONNECT;
    }
    if (bind(listenFd, reinterpret_cast<struct sockaddr*>(&addr), addrLen) != 0) {
        int err = errno;
        startError_ = std::string("bind: ") + ErrnoText(err);
        close(listenFd);
        return err == EADDRINUSE ? IPC_ERR_BUSY : IPC_ERR_CONNECT;
    }
    // Permissions are set before listen(): until then every connect is refused,
    // so no peer ever gets in through the umask's wider mode.
    struct stat st {};
    if (chmod(path.c_str(), options.socketMode) != 0 || stat(path.c_str(), &st) != 0 ||
        listen(listenFd, kListenBacklog) != 0) {
        startError_ = std::string("preparing the socket: ") + ErrnoText(errno);
        unlink(path.c_str());
        close(listenFd);
        return IPC_ERR_CONNECT;
    }
    status = Serve(listenFd, path, st.st_ino, root, std::move(options));
    if (status != IPC_OK) {
        unlink(path.c_str());
    }
    return status;
}

int IpcServer::StartListening(int listenFd, const sptr<IRemoteObject>& root, IpcServerOptions options)
{
    startError_.clear();
    if (IsRunning() || listenFd < 0 || options.maxConnections == 0 || options.maxConnectionsPerUid == 0) {
        startError_ = "invalid socket or options";
        return IPC_ERR_INVALID_DATA;
    }
    struct sockaddr_un addr {};
    socklen_t len = sizeof(addr);
    std::string path = "(socket handed over)";
    if (getsockname(listenFd, reinterpret_cast<struct sockaddr*>(&addr), &len) == 0 && addr.sun_family == AF_UNIX &&
        len > offsetof(struct sockaddr_un, sun_path) && addr.sun_path[0] != '\0') {
        path.assign(addr.sun_path, strnlen(addr.sun_path, sizeof(addr.sun_path)));
    }
    // Inode 0: the file belongs to whoever made the socket and stays at Stop.
    return Serve(listenFd, path, 0, root, std::move(options));
}

int IpcServer::Serve(int listenFd, const std::string& path, ino_t socketInode, const sptr<IRemoteObject>& root,
    IpcServerOptions options)
{
    std::shared_ptr<State> state;
    try {
        state = std::make_shared<State>();
    } catch (...) {
        close(listenFd);
        startError_ = "out of memory";
        return IPC_ERR_NO_MEMORY;
    }
    state->listenFd = listenFd;
    state->socketInode = socketInode;
    state->pool = IpcThreadPool::Create(options.poolThreads, "ipc-server");
    state->wakeFd = eventfd(0, EFD_CLOEXEC);
    if (state->pool == nullptr || state->wakeFd < 0) {
        startError_ = state->pool == nullptr ? "threads not started" : std::string("eventfd: ") + ErrnoText(errno);
        close(listenFd);
        if (state->wakeFd >= 0) {
            close(state->wakeFd);
        }
        return state->pool == nullptr ? IPC_ERR_NO_MEMORY : IPC_ERR_CONNECT;
    }
    state->root = root;
    state->options = std::move(options);
    state->running = true;
    try {
        state->acceptThread = std::thread([state] { AcceptLoop(state); });
    } catch (const std::exception& e) {
        startError_ = std::string("accept thread not started: ") + e.what();
        close(state->listenFd);
        close(state->wakeFd);
        return IPC_ERR_NO_MEMORY;
    }
    path_ = path;
    std::atomic_store(&state_, std::move(state));
    IPC_LOGI("server: listening on %{public}s", path_.c_str());
    return IPC_OK;
}

void IpcServer::Stop()
{
    std::shared_ptr<State> state = std::atomic_exchange(&state_, std::shared_ptr<State>());
    if (state == nullptr) {
        return;
    }
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        state->running = false;
    }
    uint64_t one = 1;
    ssize_t wrote = write(state->wakeFd, &one, sizeof(one));
    (void)wrote;
    if (state->acceptThread.joinable()) {
        state->acceptThread.join();
    }
    close(state->listenFd);
    close(state->wakeFd);
    // Remove the file only if it is still ours, not a successor's; never one
    // that was handed over.
    struct stat st {};
    if (state->socketInode != 0 && lstat(path_.c_str(), &st) == 0 && S_ISSOCK(st.st_mode) &&
        st.st_ino == state->socketInode) {
        unlink(path_.c_str());
    }
    std::map<uint64_t, std::shared_ptr<IpcConnection>> connections;
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        connections.swap(state->connections);
        state->connectionsPerUid.clear();
    }
    for (auto& [id, connection] : connections) {
        connection->Close();
    }
    connections.clear();
    state->pool.reset();
    state->root = nullptr;
}

bool IpcServer::IsRunning() const
{
    return std::atomic_load(&state_) != nullptr;
}

std::vector<std::shared_ptr<IpcConnection>> IpcServer::GetConnections() const
{
    std::vector<std::shared_ptr<IpcConnection>> result;
    std::shared_ptr<State> state = std::atomic_load(&state_);
    if (state == nullptr) {
        return result;
    }
    std::lock_guard<std::mutex> lock(state->mutex);
    for (const auto& [id, connection] : state->connections) {
        result.push_back(connection);
    }
    return result;
}

size_t IpcServer::GetConnectionCount() const
{
    std::shared_ptr<State> state = std::atomic_load(&state_);
    if (state == nullptr) {
        return 0;
    }
    std::lock_guard<std::mutex> lock(state->mutex);
    return state->connections.size();
}

} // namespace OHOS
