// One Unix-domain-socket connection between two processes, with the object
// tables of both directions.
//
// Each connection owns:
//   - a reader thread that decodes frames and handles replies, releases and
//     the handshake itself, and hands transactions to an IPC thread pool;
//   - the table of local objects exported to the peer (handle -> object,
//     with the number of references the peer holds; handle 0 is the root);
//   - the table of proxies for the peer's handles;
//   - the synchronous calls waiting for replies.
// Frames leave in the order they were sent, through one outgoing queue: the
// sending thread writes what the socket takes at once and never waits for
// the peer; a writer thread, started when the socket is first full, writes
// the rest. Once kSupersedeAfterQueuedFrames (or ...Bytes) wait, a one-way
// call sent with a supersede key replaces the latest one of the same object
// and key that is still queued (the peer is behind, and only the latest
// matters). A peer that reads nothing for kSendTimeoutMs
// while other frames wait for it, or lets more than kMaxQueuedOutgoingBytes
// pile up, is taken as dead.
//
// Incoming one-way calls run in order, one at a time: on the reader thread
// itself when none waits before it (no hand-over between receiving a
// notification and running it), else on one pool thread at a time; so a
// one-way handler must not wait for a reply over its own connection. When
// kMaxQueuedOnewayTransactions of them wait, the reader stops reading until
// they are run, so a fast sender is slowed down instead of cut off (while
// this side waits for a reply, it reads on, up to the hard limits).
// Anything malformed, oversized or out of order closes the connection, and
// so does a frame left unfinished for frameTimeoutMs, a handshake not done in
// handshakeTimeoutMs, and (server side, when idleTimeoutMs is set) silence
// for idleTimeoutMs while the connection holds nothing.
//
// When the connection ends (peer closed, protocol error, write failure or
// Close()), the reader thread: fails every waiting synchronous call with
// IPC_ERR_DEAD_OBJECT, drops every exported object, marks every proxy dead
// and calls its death recipients, then calls the closed callback.
//
// Connections are made by IpcServer (one per accepted peer) and by
// IpcConnect (client side); users get them from IPCSkeleton or a proxy.
//
// Threads: every public member may be called from any thread.
#ifndef PLATFORM_IPC_IPC_CONNECTION_H
#define PLATFORM_IPC_IPC_CONNECTION_H

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "iremote_object.h"
#include "rate_limited_count.h"
#include "ipc_limits.h"
#include "ipc_wire.h"

namespace OHOS {

class IPCObjectProxy;
class IpcThreadPool;
class MessageParcel;

// What a client said about itself in HELLO. Not verified by the transport:
// the server's authenticator decides what to trust.
struct IpcHelloInfo {
    std::string bundleName;
    std::string token;
};

class IpcConnection : public std::enable_shared_from_this<IpcConnection> {
public:
    enum class Role { CLIENT, SERVER };

    struct PeerCredentials {
        pid_t pid = -1;
        uid_t uid = static_cast<uid_t>(-1);
        gid_t gid = static_cast<gid_t>(-1);
    };

    // Server side: checks a HELLO. Runs on the reader thread before any
    // transaction is accepted; may SetAttribute on the connection. Returns
    // IPC_OK to accept, anything else (sent to the client) to refuse.
    using Authenticator = std::function<int(IpcConnection& connection, const IpcHelloInfo& hello)>;
    // Told once, on the reader thread, after the connection has ended.
    using ClosedCallback = std::function<void(const std::shared_ptr<IpcConnection>& connection)>;
    // Runs a call on the reader thread: must call run() exactly once.
    using ReaderCallRunner = std::function<void(const std::function<void()>& run)>;

    struct Options {
        Role role = Role::CLIENT;
        // Server side: the object published as handle 0.
        sptr<IRemoteObject> root;
        std::shared_ptr<IpcThreadPool> pool;
        Authenticator authenticator;
        ClosedCallback onClosed;
        int sendTimeoutMs = kSendTimeoutMs;
        int handshakeTimeoutMs = kHandshakeTimeoutMs;
        int frameTimeoutMs = kFrameReadTimeoutMs;
        // Server side: see kIdleTimeoutMs; 0 keeps idle connections.
        int idleTimeoutMs = 0;
        // For objects whose calls never block and never wait on their own
        // peer. Set: synchronous calls run on the reader thread as they are
        // read (reply included) instead of being handed to the pool, and every
        // call the reader thread runs goes through this function. Absent:
        // synchronous calls run on the pool.
        ReaderCallRunner runOnReader;
    };

    ~IpcConnection();
    IpcConnection(const IpcConnection&) = delete;
    IpcConnection& operator=(const IpcConnection&) = delete;

    // Process-unique, never 0.
    uint64_t GetId() const { return id_; }
    Role GetRole() const { return role_; }
    // From SO_PEERCRED when the connection was made.
    const PeerCredentials& GetPeerCredentials() const { return peer_; }
    // What the client claimed in HELLO (server side; empty on the client).
    IpcHelloInfo GetHelloInfo() const;
    bool IsAlive() const;

    // Ends the connection. Waits for the reader thread to finish its clean-up
    // (death notifications) unless called on that thread.
    void Close();

    // An opaque value owned by whoever sets it, e.g. the verified bundle name
    // the authenticator attached. Read it during a call with
    // IPCSkeleton::GetCallingConnectionAttribute().
    void SetAttribute(std::shared_ptr<void> attribute);
    std::shared_ptr<void> GetAttribute() const;

    // Client side: the proxy of the server's root object (handle 0); null once
    // the connection is dead.
    sptr<IRemoteObject> GetRootObject();

    // Server side: the service keeps state in this peer's name that must not
    // end because the peer is quiet (a navigation application that owns a
    // bundle and only publishes now and then): from now on the idle rule
    // never closes this connection. It still ends when the peer goes.
    void KeepWhileIdle();

    // Sizes of the object tables, for diagnostics and tests.
    size_t GetExportedObjectCount() const;
    size_t GetProxyCount() const;

    // Makes a connection over a connected socket, which it owns from then
    // on (closed even on failure), and starts its reader thread. The server
    // side then waits for HELLO; the client side must call SendHello. Null
    // if the thread could not be started. Used by IpcServer and IpcConnect.
    static std::shared_ptr<IpcConnection> Create(int fd, Options options);

    // Client side: sends HELLO and waits up to timeoutMs for the answer.
    // Returns IPC_OK or the failure (the connection is closed then).
    int SendHello(const IpcHelloInfo& hello, int timeoutMs);

    // While one is open on a thread, the frames that thread sends are queued
    // in order as usual but written only when it closes, each connection's
    // together in as few writes as the socket takes: several frames that are
    // ready at once (a reply and the calls it caused, a call and a release)
    // leave in one system call. Another sender on the same connection writes
    // them out with its own, in order. A synchronous call, whose sender waits
    // for the reply, is written at once. Batches nest: a frame waits for the
    // batch that first held its connection.
    class WriteBatch {
    public:
        WriteBatch() noexcept;
        ~WriteBatch();
        WriteBatch(const WriteBatch&) = delete;
        WriteBatch& operator=(const WriteBatch&) = delete;

    private:
        friend class IpcConnection;
        WriteBatch* outer_;
        std::vector<std::shared_ptr<IpcConnection>> held_; // in order of their first frame
    };

private:
    friend class IPCObjectProxy;

    // A synchronous call waiting for its reply; guarded by mutex_.
    struct PendingCall {
        std::condition_variable done;
        bool finished = false;
        int status = 0;
        std::vector<uint8_t> payload;
        std::vector<sptr<IRemoteObject>> objects;
    };

    struct ExportEntry {
        sptr<IRemoteObject> object;
        uint64_t peerRefs = 0; // references handed to the peer and not yet released
        bool pinned = false;   // the root: never released by the peer
    };

    struct ProxyEntry {
        IPCObjectProxy* raw = nullptr;
        wptr<IPCObjectProxy> weak;
    };

    enum class State { HANDSHAKE, READY, CLOSED };

    IpcConnection(int fd, Options options);

    // --- reader thread (ipc_connection.cpp) ---
    void ReaderMain();
    bool HandleFrame(IpcWire::Frame& frame);
    bool HandleHello(const IpcWire::Frame& frame);
    bool HandleHelloAck(const IpcWire::Frame& frame);
    bool HandleReply(IpcWire::Frame& frame);
    bool HandleRelease(const IpcWire::Frame& frame);
    // Server side: nothing would be lost by closing: not kept (KeepWhileIdle),
    // no proxy of the peer's objects, no export but the root, no call in
    // flight either way.
    bool HoldsNothing() const;
    // Fails waiting calls, drops exports, notifies proxies' recipients.
    void TearDown();

    // --- transactions (ipc_connection_dispatch.cpp) ---
    int SendTransaction(uint32_t handle, uint32_t code, MessageParcel& data, MessageParcel& reply,
        MessageOption& option);
    bool HandleTransaction(IpcWire::Frame& frame);
    bool HandleOneway(IpcWire::Frame& frame);
    // Runs one incoming transaction on a pool thread; returns the status.
    int Dispatch(const sptr<IRemoteObject>& target, uint32_t code, MessageParcel& data, MessageParcel& reply,
        MessageOption& option);
    void RunSync(uint64_t transactionId, const sptr<IRemoteObject>& target, uint32_t code, MessageParcel& data,
        size_t bytes);
    void DrainOneway();
    void SendReply(uint64_t transactionId, int status, MessageParcel* reply);
    // Sends one whole frame (see QueueFrame); on failure the connection is
    // shut down. supersedeKey: see MessageOption::SetSupersedeKey.
    bool WriteFrame(const IpcWire::FrameHeader& header, const uint8_t* payload, size_t payloadSize,
        const std::vector<IpcWire::WireObject>& objects, uint64_t supersedeKey = 0);
    // Reader thread: waits while the one-way calls waiting to run are at
    // their limit; false once the connection is shutting down.
    bool WaitForOnewayRoom();
    // mutex_ held.
    bool HasOnewayRoomLocked() const;
    // Ends the stream so that the reader thread runs TearDown.
    void Shutdown(const char* reason);

    // --- outgoing frames (ipc_connection_outbound.cpp) ---
    // Any thread, never with mutex_ held. Queues the encoded frame behind
    // those not yet written (or puts it in the place of a queued one-way
    // frame of the same handle and non-zero key) and writes what the socket
    // takes now, without waiting. False when the connection is closed or
    // its peer is taken as dead. A frame that must not wait for a WriteBatch
    // (a call whose sender then waits for the reply) is written at once,
    // with those before it.
    bool QueueFrame(std::vector<uint8_t> bytes, uint32_t handle, uint64_t supersedeKey, bool mayWait);
    // outMutex_ held: writes queued frames until the socket is full. False on
    // a write error.
    bool FlushLocked();
    // outMutex_ not held: writes what the socket takes now and leaves the rest
    // to the writer thread (started if need be); the connection is shut down
    // if the peer is taken as dead.
    void FlushQueued();
    // outMutex_ held: as FlushQueued; the failure, or null.
    const char* FlushQueuedLocked();
    // The writer thread: writes the queue out whenever the socket has room.
    void WriterMain();
    // Reader thread, from TearDown: drops the queue and joins the writer.
    void CloseOutbound();

    // --- object tables (ipc_connection_objects.cpp) ---
    // Turns a parcel's objects into wire entries, taking a peer reference on
    // each exported local object. On failure nothing stays taken.
    int ExportObjects(const std::vector<sptr<IRemoteObject>>& objects, std::vector<IpcWire::WireObject>& out);
    void UnexportLocked(const std::vector<IpcWire::WireObject>& entries, std::vector<sptr<IRemoteObject>>& dropped);
    // Turns received entries into objects: proxies for the peer's handles,
    // our own objects for handles handed back. False for a handle that we
    // never exported or a full proxy table (a protocol error).
    bool ImportObjects(const std::vector<IpcWire::WireObject>& entries, std::vector<sptr<IRemoteObject>>& out);
    // The live proxy of a peer handle, or a new one. countReference: the handle
    // came in a frame, so the peer counted one more reference for us.
    sptr<IPCObjectProxy> ProxyForLocked(uint32_t handle, bool countReference, bool& ok);
    sptr<IRemoteObject> FindExportedLocked(uint32_t handle) const;
    // Called by a proxy whose last strong reference went.
    void OnProxyReleased(IPCObjectProxy* proxy);

    const uint64_t id_;
    const Role role_;
    const int fd_; // closed by the destructor; shut down (not closed) by Shutdown
    const std::shared_ptr<IpcThreadPool> pool_;
    const Authenticator authenticator_;
    const ClosedCallback onClosed_;
    const ReaderCallRunner runOnReader_;
    const int sendTimeoutMs_;
    const int handshakeTimeoutMs_;
    const int frameTimeoutMs_;
    const int idleTimeoutMs_;
    PeerCredentials peer_; // written before the reader starts, then read-only

    // Outgoing frames, oldest first; the front one may be partly written.
    struct OutFrame {
        std::vector<uint8_t> bytes;
        size_t written = 0;
        uint32_t handle = 0;
        uint64_t supersedeKey = 0; // 0: cannot be replaced
    };
    std::mutex outMutex_; // guards the fields up to writer_
    std::condition_variable outWork_;
    std::deque<OutFrame> outbound_;
    uint64_t outFrontId_ = 0; // id of outbound_.front(); ids count up by one per frame
    // Queued frames not yet started that a later one may replace: (handle, key) -> id.
    std::map<std::pair<uint32_t, uint64_t>, uint64_t> replaceable_;
    size_t outboundBytes_ = 0;
    size_t outboundPlain_ = 0; // queued frames without a supersede key
    std::chrono::steady_clock::time_point lastWriteProgress_;
    bool outClosed_ = false;
    bool writerStarted_ = false;
    bool heldInBatch_ = false; // a WriteBatch will write the queue out
    uint64_t supersededTotal_ = 0;
    RateLimitedCount superseded_;
    std::thread writer_;

    std::atomic<bool> keptWhileIdle_{false}; // see KeepWhileIdle
    mutable std::mutex mutex_;               // guards everything below
    State state_ = State::HANDSHAKE;
    std::condition_variable handshakeDone_;
    int handshakeStatus_ = 1; // 1: pending
    IpcHelloInfo hello_;
    std::shared_ptr<void> attribute_;
    std::map<uint32_t, ExportEntry> exports_;
    std::unordered_map<const IRemoteObject*, uint32_t> exportHandles_;
    uint32_t nextHandle_ = 1;
    std::map<uint32_t, ProxyEntry> proxies_;
    std::map<uint64_t, std::shared_ptr<PendingCall>> pending_;
    uint64_t nextTransactionId_ = 1;
    size_t incomingSync_ = 0;                  // transactions received and not yet answered
    size_t incomingBytes_ = 0;                 // their bytes plus queued one-way bytes
    std::deque<std::function<void()>> oneway_; // received one-way calls in order
    bool onewayRunning_ = false;
    bool readerWaiting_ = false; // the reader waits in WaitForOnewayRoom
    bool shuttingDown_ = false;  // Shutdown was called
    std::condition_variable onewayRoom_;

    std::mutex readerMutex_;
    std::thread reader_; // guarded by readerMutex_; taken out to be joined
};

} // namespace OHOS

#endif // PLATFORM_IPC_IPC_CONNECTION_H
