// The client's connection to navinfo-service: connects on demand, notices
// when the daemon goes away, and connects again, lazily on the next call and
// in the background while the owner has registrations to restore.
//
// Each successful connection gets a generation number (1, 2, ...). Before a
// new connection is handed to any caller, the onConnected hook runs with it
// (the transport restores its registrations there), so no caller can race
// ahead of the restoration. When a connection is lost, onLost runs once for
// its generation.
//
// The log tells a loss once and its end once (warnings), whatever the
// number of attempts in between; a change of failure (refused instead of
// unreachable) is told too. Each attempt is logged at info level.
//
// Retries back off: after a failed attempt, calls fail at once (with the
// failure of that attempt) until the back-off time has passed; it starts at
// RETRY_BACKOFF_MIN_MS and doubles up to RETRY_BACKOFF_MAX_MS. A connection
// the daemon refused (identity not accepted) fails with
// NAV_INFO_ERR_NO_PERMISSION, anything else with
// NAV_INFO_ERR_SERVICE_UNAVAILABLE. A refusal lasts until the daemon's policy
// changes: the retry thread keeps trying while the owner wants a connection,
// at most once per refusal back-off (RefusalRetryBase(), 1 s, doubling up to
// 30 times that), so that a fixed policy is picked up within 30 s.
//
// Threads: Acquire from any thread (not from within a hook). Hooks run
// without any lock of the connector held: onConnected on the thread that
// connected (a caller or the retry thread), onLost on the connection's reader
// thread. The retry thread starts at the first loss; if it cannot be
// started, reconnection is lazy only.
#ifndef CLIENT_SERVICE_CONNECTOR_H
#define CLIENT_SERVICE_CONNECTOR_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "iremote_object.h"

namespace OHOS {
class IpcThreadPool;
}

namespace OHOS::NavigationInfoService {

constexpr int CONNECT_TIMEOUT_MS = 1000;
constexpr int RETRY_BACKOFF_MIN_MS = 50;
constexpr int RETRY_BACKOFF_MAX_MS = 1000;

struct ServiceEndpoint {
    std::string socketPath;
    std::string bundleName; // claimed in HELLO
    std::string token;      // presented in HELLO; may be empty
    int connectTimeoutMs = CONNECT_TIMEOUT_MS;
};

// What Acquire gives: the service's root object and its generation, or null
// and the result every call should return meanwhile.
struct ServiceLease {
    sptr<IRemoteObject> service;
    uint64_t generation = 0;
    int32_t failure = 0;
};

class ServiceConnector : public std::enable_shared_from_this<ServiceConnector> {
public:
    struct Hooks {
        std::function<void(const sptr<IRemoteObject>& service, uint64_t generation)> onConnected;
        std::function<void(uint64_t generation)> onLost;
        // The connection of generation is live and handed to callers now.
        std::function<void(uint64_t generation)> onUp;
        // An attempt failed with this result (1002 or 1005).
        std::function<void(int32_t failure)> onFailed;
        // Asked by the retry thread before each attempt: true while there is
        // something to restore, so reconnecting cannot wait for a call.
        std::function<bool()> wantsReconnect;
    };

    // pool: shared by every connection for the calls the daemon makes on
    // this process's objects; null lets each connection make its own.
    static std::shared_ptr<ServiceConnector> Create(ServiceEndpoint endpoint, Hooks hooks,
        std::shared_ptr<IpcThreadPool> pool);
    ~ServiceConnector();
    ServiceConnector(const ServiceConnector&) = delete;
    ServiceConnector& operator=(const ServiceConnector&) = delete;

    // The live connection, or a new one if the back-off allows an attempt
    // now. Waits at most twice connectTimeoutMs for another thread that is
    // connecting, then at most connectTimeoutMs plus the restoration for its
    // own attempt.
    ServiceLease Acquire();

    // Stops the retry thread and closes the connection; later Acquire calls
    // fail with NAV_INFO_ERR_SERVICE_UNAVAILABLE. Idempotent. Not from a hook.
    void Shutdown();

    // Any thread: the generation of the live connection, 0 when there is none.
    uint64_t CurrentGeneration() const;

    // Any thread, no lock of the owner held: something to restore was kept
    // while there is no connection, so connect from the background (asking
    // wantsReconnect before each attempt) instead of waiting for a call.
    void WantReconnect();

private:
    friend class ConnectorRecipient;
    using Clock = std::chrono::steady_clock;

    ServiceConnector(ServiceEndpoint endpoint, Hooks hooks, std::shared_ptr<IpcThreadPool> pool);

    // Connects unless the connection is live or the back-off forbids it. One
    // thread connects at a time (connecting_); waitForTurn: wait for the
    // other one however long it takes, instead of giving up after twice the
    // connect time-out.
    ServiceLease Connect(bool waitForTurn);
    // Takes the connecting turn; false when it could not be had in time or
    // the connector stops. EndConnecting gives it back.
    bool BeginConnecting(bool waitForTurn);
    void EndConnecting();
    // The reader thread of connection `generation` tells us it ended.
    void OnDied(uint64_t generation);
    // The retry thread: RetryLoop, with no exception leaving the thread.
    void RetryMain();
    void RetryLoop();
    // stateMutex_ held.
    void NoteFailureLocked(int32_t failure);
    void StartRetryThreadLocked();

    const ServiceEndpoint endpoint_;
    const Hooks hooks_;
    const std::shared_ptr<IpcThreadPool> pool_;

    mutable std::mutex stateMutex_; // guards every field below
    std::condition_variable wake_;  // the retry thread waits on it
    // Callers wait on it for connecting_ to clear, Shutdown for lostHooksRunning_ to reach 0.
    std::condition_variable turnFree_;
    size_t lostHooksRunning_ = 0; // onLost calls in progress
    // A thread is connecting or restoring: the others wait for it.
    bool connecting_ = false;
    sptr<IRemoteObject> service_; // the live connection's root, or null
    uint64_t generation_ = 0;     // of service_
    uint64_t lastGeneration_ = 0; // the latest one handed out
    int32_t lastFailure_ = 0;     // of the latest failed attempt; 0 after a success
    bool everConnected_ = false;  // for the log: a failure before that is the first news
    bool lossTold_ = false;       // a loss (or a first failure) was warned; its end will be too
    int32_t failureTold_ = 0;     // the failure last warned about
    Clock::time_point nextAttempt_{};
    int backoffMs_ = RETRY_BACKOFF_MIN_MS; // of unreachable attempts
    // The retry thread's pace after refused attempts; RefusalRetryBase() again after a success.
    std::chrono::milliseconds refusalBackoff_;
    Clock::time_point nextRefusalRetry_{};
    bool retryWanted_ = false; // a connection was lost and not yet replaced
    bool stopping_ = false;
    bool retryThreadStarted_ = false;
    std::thread retryThread_;
};

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_SERVICE_CONNECTOR_H
