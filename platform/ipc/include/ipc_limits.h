// Every limit of the IPC layer in one place. Parcels, the frame decoder and
// the transport refuse anything beyond these, so that a hostile peer can make
// this process allocate, queue or keep only a bounded amount.
#ifndef PLATFORM_IPC_IPC_LIMITS_H
#define PLATFORM_IPC_IPC_LIMITS_H

#include <cstddef>
#include <cstdint>

namespace OHOS {

// Largest number of data bytes a parcel holds unless its owner sets another
// capacity; also the largest payload a frame may carry.
constexpr size_t kDefaultParcelCapacity = 1024 * 1024;
constexpr size_t kMaxFramePayload = kDefaultParcelCapacity;
// Remote objects one parcel (and so one frame) may carry.
constexpr size_t kMaxObjectsPerParcel = 64;
// Largest frame on the wire: header, payload and object table.
constexpr size_t kFrameHeaderSize = 32;
constexpr size_t kWireObjectSize = 8;
constexpr size_t kMaxFrameSize = kFrameHeaderSize + kMaxFramePayload + kMaxObjectsPerParcel * kWireObjectSize;

// Local objects one connection may export to its peer at once, and proxies
// one connection may hold for objects the peer exported.
constexpr size_t kMaxExportedHandlesPerConnection = 1024;
constexpr size_t kMaxImportedHandlesPerConnection = 1024;
// Synchronous transactions a connection may have waiting for replies, and
// received ones it runs at once (more are answered IPC_ERR_BUSY).
constexpr size_t kMaxOutstandingSyncTransactions = 16;
// One-way transactions received but not yet run, per connection: at this
// many the reader stops reading until they are run; while the connection
// waits for a reply to one of its own calls, it reads on up to the hard limit.
constexpr size_t kMaxQueuedOnewayTransactions = 256;
constexpr size_t kHardMaxQueuedOnewayTransactions = 4096;
// Bytes of received transactions waiting for or in dispatch, per connection.
constexpr size_t kMaxPendingIncomingBytes = 16 * 1024 * 1024;

// Threads of one IPC thread pool.
constexpr size_t kMaxPoolThreads = 16;
constexpr size_t kDefaultServerPoolThreads = 4;
constexpr size_t kDefaultClientPoolThreads = 2;
// Tasks waiting in one thread pool's queue (all connections together).
constexpr size_t kMaxPoolQueuedTasks = 4096;

// Connections one server keeps at once, and the share of one peer uid among
// them (counted from accept, handshake done or not); a connection beyond
// either is closed at accept. The share keeps one local user from locking
// the others out.
constexpr size_t kMaxServerConnections = 256;
constexpr size_t kMaxServerConnectionsPerUid = 64;

// How long a synchronous transaction waits for its reply unless the
// MessageOption says otherwise.
constexpr int kDefaultSyncTimeoutMs = 5000;
// How long a peer may read nothing while frames other than supersedable
// one-way calls wait for it, before it is taken as dead.
constexpr int kSendTimeoutMs = 2000;
// Bytes waiting to be written to one peer before it is taken as dead.
constexpr size_t kMaxQueuedOutgoingBytes = 16 * 1024 * 1024;
// Frames, or bytes, waiting to be written before a one-way call with a
// supersede key replaces a queued one of its key: a burst smaller than this
// goes out whole, however slowly the peer reads.
constexpr size_t kSupersedeAfterQueuedFrames = 512;
constexpr size_t kSupersedeAfterQueuedBytes = 2 * 1024 * 1024;
// How long a new connection may take to complete the HELLO exchange.
constexpr int kHandshakeTimeoutMs = 3000;
// How long the rest of a frame may take once its first bytes arrived; a peer
// that stops mid-frame is taken as dead (a writer has kSendTimeoutMs).
constexpr int kFrameReadTimeoutMs = 5000;
// Server side: how long an authenticated connection may stay silent while it
// holds nothing (no object of the peer, no call in either direction) before
// it is closed. A client that only publishes connects again on its next call.
constexpr int kIdleTimeoutMs = 60000;

// HELLO contents a peer may claim.
constexpr size_t kMaxBundleNameLength = 256;
constexpr size_t kMaxTokenLength = 4096;

// Longest socket path (sun_path holds 108 bytes with the terminator).
constexpr size_t kMaxSocketPathLength = 107;

} // namespace OHOS

#endif // PLATFORM_IPC_IPC_LIMITS_H
