#include "service_connector.h"

#include <algorithm>
#include <exception>

#include "backoff_retrier.h"
#include "client_log.h"
#include "ipc_client.h"
#include "ipc_errors.h"
#include "nav_info_errors.h"

namespace OHOS::NavigationInfoService {

// Tells the connector that the connection of one generation ended. Holds the
// connector weakly: a recipient may outlive it.
class ConnectorRecipient : public IRemoteObject::DeathRecipient {
public:
    ConnectorRecipient(std::weak_ptr<ServiceConnector> connector, uint64_t generation)
        : connector_(std::move(connector)),
          generation_(generation)
    {
    }

    // Reader thread of the connection.
    void OnRemoteDied(const wptr<IRemoteObject>&) override
    {
        if (auto connector = connector_.lock()) {
            connector->OnDied(generation_);
        }
    }

private:
    const std::weak_ptr<ServiceConnector> connector_;
    const uint64_t generation_;
};

namespace {

template <typename Hook, typename... Args>
void RunHook(const char* name, const Hook& hook, Args&&... args) noexcept
{
    if (!hook) {
        return;
    }
    try {
        hook(std::forward<Args>(args)...);
    } catch (const std::exception& e) {
        CLIENT_LOGE("%{public}s hook failed: %{public}s", name, e.what());
    } catch (...) {
        CLIENT_LOGE("%{public}s hook failed", name);
    }
}

// Why an attempt to connect failed, in words.
const char* ConnectFailureText(int status)
{
    switch (status) {
        case IPC_ERR_CONNECT: return "nobody listens there";
        case IPC_ERR_TIMED_OUT: return "no answer in time";
        case IPC_ERR_PERMISSION: return "the service refuses this identity";
        case IPC_ERR_DEAD_OBJECT: return "the connection closed at once";
        case IPC_ERR_NO_MEMORY: return "out of memory";
        case IPC_ERR_INVALID_DATA: return "bundle name or token too long";
        default: return "the handshake failed";
    }
}

void CloseConnectionOf(const sptr<IRemoteObject>& service)
{
    if (auto connection = IpcConnectionOf(service)) {
        connection->Close();
    }
}

} // namespace

std::shared_ptr<ServiceConnector> ServiceConnector::Create(ServiceEndpoint endpoint, Hooks hooks,
    std::shared_ptr<IpcThreadPool> pool)
{
    return std::shared_ptr<ServiceConnector>(
        new ServiceConnector(std::move(endpoint), std::move(hooks), std::move(pool)));
}

ServiceConnector::ServiceConnector(ServiceEndpoint endpoint, Hooks hooks, std::shared_ptr<IpcThreadPool> pool)
    : endpoint_(std::move(endpoint)),
      hooks_(std::move(hooks)),
      pool_(std::move(pool)),
      refusalBackoff_(RefusalRetryBase())
{
}

ServiceConnector::~ServiceConnector()
{
    Shutdown();
}

uint64_t ServiceConnector::CurrentGeneration() const
{
    std::lock_guard<std::mutex> lock(stateMutex_);
    return service_ != nullptr ? generation_ : 0;
}

ServiceLease ServiceConnector::Acquire()
{
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        if (stopping_) {
            return {nullptr, 0, NAV_INFO_ERR_SERVICE_UNAVAILABLE};
        }
        if (service_ != nullptr) {
            return {service_, generation_, NAV_INFO_SUCCESS};
        }
    }
    return Connect(false);
}

void ServiceConnector::NoteFailureLocked(int32_t failure)
{
    lastFailure_ = failure;
    nextAttempt_ = Clock::now() + std::chrono::milliseconds(backoffMs_);
    backoffMs_ = std::min(backoffMs_ * 2, RETRY_BACKOFF_MAX_MS);
}

bool ServiceConnector::BeginConnecting(bool waitForTurn)
{
    std::unique_lock<std::mutex> lock(stateMutex_);
    auto free = [this] { return !connecting_ || stopping_; };
    if (waitForTurn) {
        turnFree_.wait(lock, free);
    } else if (!turnFree_.wait_for(lock, std::chrono::milliseconds(2 * endpoint_.connectTimeoutMs), free)) {
        return false;
    }
    if (stopping_) {
        return false;
    }
    connecting_ = true;
    return true;
}

void ServiceConnector::EndConnecting()
{
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        connecting_ = false;
    }
    turnFree_.notify_all();
}

ServiceLease ServiceConnector::Connect(bool waitForTurn)
{
    if (!BeginConnecting(waitForTurn)) {
        return {nullptr, 0, NAV_INFO_ERR_SERVICE_UNAVAILABLE};
    }
    struct Turn {
        ServiceConnector* self;
        ~Turn() { self->EndConnecting(); }
    } turn{this};
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        if (stopping_) {
            return {nullptr, 0, NAV_INFO_ERR_SERVICE_UNAVAILABLE};
        }
        if (service_ != nullptr) {
            return {service_, generation_, NAV_INFO_SUCCESS};
        }
        if (Clock::now() < nextAttempt_) {
            return {nullptr, 0, lastFailure_};
        }
    }

    IpcConnectOptions options;
    options.bundleName = endpoint_.bundleName;
    options.token = endpoint_.token;
    options.timeoutMs = endpoint_.connectTimeoutMs;
    options.pool = pool_;
    int status = IPC_OK;
    sptr<IRemoteObject> service = IpcConnect(endpoint_.socketPath, options, &status);
    uint64_t generation = 0;
    if (service != nullptr) {
        std::lock_guard<std::mutex> lock(stateMutex_);
        generation = ++lastGeneration_;
    }
    if (service == nullptr ||
        !service->AddDeathRecipient(
            sptr<IRemoteObject::DeathRecipient>(new ConnectorRecipient(weak_from_this(), generation)))) {
        // A refusal of our identity is final until the daemon changes its
        // policy; anything else (no daemon, time-out, lost at once) may pass.
        int32_t failure = status == IPC_ERR_PERMISSION ? NAV_INFO_ERR_NO_PERMISSION : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
        bool tell = false;
        {
            std::lock_guard<std::mutex> lock(stateMutex_);
            // News: the first failure ever, or another kind than the one told.
            tell = (!everConnected_ && !lossTold_) || (lossTold_ && failureTold_ != failure);
            if (tell) {
                lossTold_ = true;
                failureTold_ = failure;
            }
            NoteFailureLocked(failure);
        }
        if (tell) {
            CLIENT_LOGW("no connection to %{public}s as %{public}s: %{public}s", endpoint_.socketPath.c_str(),
                endpoint_.bundleName.c_str(), ConnectFailureText(status));
        } else {
            CLIENT_LOGI("still no connection to %{public}s: %{public}s", endpoint_.socketPath.c_str(),
                ConnectFailureText(status));
        }
        RunHook("onFailed", hooks_.onFailed, failure);
        return {nullptr, 0, failure};
    }

    RunHook("onConnected", hooks_.onConnected, service, generation);

    bool stopped = false;
    bool back = false;        // up before, lost, and that loss was told
    bool afterFailed = false; // never up before, and a failure was told
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        stopped = stopping_;
        if (!stopped) {
            service_ = service;
            generation_ = generation;
            lastFailure_ = NAV_INFO_SUCCESS;
            back = lossTold_ && everConnected_;
            afterFailed = lossTold_ && !everConnected_;
            lossTold_ = false;
            everConnected_ = true;
            backoffMs_ = RETRY_BACKOFF_MIN_MS;
            refusalBackoff_ = RefusalRetryBase();
            retryWanted_ = false;
        }
    }
    if (stopped) {
        // Closed outside stateMutex_: the closing runs our recipient, which takes it.
        CloseConnectionOf(service);
        return {nullptr, 0, NAV_INFO_ERR_SERVICE_UNAVAILABLE};
    }
    if (back) {
        CLIENT_LOGW("connection to %{public}s is back (generation %{public}llu)", endpoint_.socketPath.c_str(),
            static_cast<unsigned long long>(generation));
    } else if (afterFailed) {
        // Said at the level the failure was, so that whoever saw it sees the end of it.
        CLIENT_LOGW("connected to %{public}s as %{public}s (generation %{public}llu)", endpoint_.socketPath.c_str(),
            endpoint_.bundleName.c_str(), static_cast<unsigned long long>(generation));
    } else {
        CLIENT_LOGI("connected to %{public}s as %{public}s (generation %{public}llu)", endpoint_.socketPath.c_str(),
            endpoint_.bundleName.c_str(), static_cast<unsigned long long>(generation));
    }
    RunHook("onUp", hooks_.onUp, generation);
    // A loss during onConnected found nothing published to clear: handle it now.
    if (service->IsObjectDead()) {
        OnDied(generation);
        return {nullptr, 0, NAV_INFO_ERR_SERVICE_UNAVAILABLE};
    }
    return {service, generation, NAV_INFO_SUCCESS};
}

void ServiceConnector::OnDied(uint64_t generation)
{
    sptr<IRemoteObject> dropped;
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        if (service_ == nullptr || generation_ != generation) {
            return; // already handled, or never published
        }
        dropped = std::move(service_);
        generation_ = 0;
        lastFailure_ = NAV_INFO_ERR_SERVICE_UNAVAILABLE;
        // The next call may try at once; the back-off starts from there.
        nextAttempt_ = Clock::now();
        backoffMs_ = RETRY_BACKOFF_MIN_MS;
        retryWanted_ = true;
        StartRetryThreadLocked();
        ++lostHooksRunning_;
        lossTold_ = true;
        failureTold_ = NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
    CLIENT_LOGW("connection to %{public}s lost (generation %{public}llu)", endpoint_.socketPath.c_str(),
        static_cast<unsigned long long>(generation));
    wake_.notify_all();
    RunHook("onLost", hooks_.onLost, generation);
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        --lostHooksRunning_;
    }
    turnFree_.notify_all();
}

void ServiceConnector::WantReconnect()
{
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        if (stopping_ || service_ != nullptr) {
            return;
        }
        retryWanted_ = true;
        StartRetryThreadLocked();
    }
    wake_.notify_all();
}

void ServiceConnector::StartRetryThreadLocked()
{
    if (retryThreadStarted_ || stopping_) {
        return;
    }
    retryThreadStarted_ = true;
    try {
        retryThread_ = std::thread([this] { RetryMain(); });
    } catch (const std::exception& e) {
        CLIENT_LOGW("no retry thread (%{public}s): reconnecting on the next call only", e.what());
    }
}

void ServiceConnector::RetryMain()
{
    try {
        RetryLoop();
    } catch (const std::exception& e) {
        // Out of memory at worst: reconnection stays lazy from here on.
        CLIENT_LOGE("retry thread stopped: %{public}s", e.what());
    } catch (...) {
        CLIENT_LOGE("retry thread stopped");
    }
}

void ServiceConnector::RetryLoop()
{
    std::unique_lock<std::mutex> lock(stateMutex_);
    while (!stopping_) {
        if (!retryWanted_ || service_ != nullptr) {
            retryWanted_ = false;
            wake_.wait(lock);
            continue;
        }
        if (Clock::now() < nextAttempt_) {
            wake_.wait_until(lock, nextAttempt_);
            continue;
        }
        if (lastFailure_ == NAV_INFO_ERR_NO_PERMISSION && Clock::now() < nextRefusalRetry_) {
            wake_.wait_until(lock, nextRefusalRetry_);
            continue;
        }
        lock.unlock();
        bool wanted = true;
        if (hooks_.wantsReconnect) {
            try {
                wanted = hooks_.wantsReconnect();
            } catch (...) {
                wanted = false;
            }
        }
        ServiceLease lease;
        if (wanted) {
            lease = Connect(true);
        }
        lock.lock();
        // A refusal is tried again too, with its longer back-off: the daemon
        // may reload a policy that accepts this identity.
        if (!wanted || lease.service != nullptr) {
            retryWanted_ = false;
        } else if (lease.failure == NAV_INFO_ERR_NO_PERMISSION) {
            nextRefusalRetry_ = Clock::now() + refusalBackoff_;
            refusalBackoff_ = std::min(refusalBackoff_ * 2, RefusalRetryBase() * BackoffRetrier::kMaxFactor);
        }
    }
}

void ServiceConnector::Shutdown()
{
    sptr<IRemoteObject> service;
    uint64_t generation = 0;
    std::thread thread;
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        if (stopping_) {
            return;
        }
        stopping_ = true;
        service = std::move(service_);
        generation = generation_;
        generation_ = 0;
        thread = std::move(retryThread_);
    }
    wake_.notify_all();
    turnFree_.notify_all();
    {
        // The owner may go once this returns: no onLost of a reader thread may still run.
        std::unique_lock<std::mutex> lock(stateMutex_);
        turnFree_.wait(lock, [this] { return lostHooksRunning_ == 0; });
    }
    if (thread.joinable()) {
        if (thread.get_id() == std::this_thread::get_id()) {
            thread.detach();
        } else {
            thread.join();
        }
    }
    if (service != nullptr) {
        CloseConnectionOf(service);
        // OnDied ignores a connection it no longer holds: settle it here.
        RunHook("onLost", hooks_.onLost, generation);
    }
}

} // namespace OHOS::NavigationInfoService
