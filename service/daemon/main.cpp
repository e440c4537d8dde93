// navinfo-service: the navigation information service as a daemon.
//
// Serves one Unix-domain socket until SIGTERM or SIGINT, then closes every
// connection, removes the socket file it made and exits 0. Once it listens
// it prints one line to stdout, "navinfo-service: listening on PATH", so
// that scripts can wait for it. SIGHUP reads the policy file again.
//
// Under systemd (service_manager.h): a socket handed over by socket
// activation is served as it is; READY=1 follows the listening line,
// STATUS= tells clients and registrations, RELOADING=1 and READY=1 frame a
// reload, STOPPING=1 starts the stop, and WATCHDOG=1 is sent at half the
// watchdog interval while the service answers.
//
// Exit status: 0 after a stop signal, --help or --version; 1 when it cannot
// start (socket busy or unusable, policy file invalid); 2 on bad usage.
//
// Threads: main blocks the signals it handles before any other thread
// exists, so that every thread inherits the mask and only the wait here
// receives them.
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <tuple>

#include "access_policy_file.h"
#include "daemon_console.h"
#include "daemon_options.h"
#include "daemon_service.h"
#include "ipc_errors.h"
#include "network_bridge.h"
#include "parent_watch.h"
#include "service_manager.h"

using namespace OHOS;
using namespace OHOS::NavigationInfoService;

namespace {

// How often the status line is refreshed under a service manager.
constexpr std::chrono::milliseconds STATUS_INTERVAL{1000};

bool SameBridge(const BridgePolicy* a, const BridgePolicy* b)
{
    auto fields = [](const BridgePolicy& p) {
        return std::tie(p.domain, p.partition, p.node, p.exports, p.imports, p.liveliness, p.insecure);
    };
    return a == nullptr || b == nullptr ? a == b : fields(*a) == fields(*b);
}

// bridge: the bridge section the daemon started with (null: none).
void ReloadPolicy(DaemonService& service, const std::string& policyFile, const BridgePolicy* bridge)
{
    ServiceManager::Notify("RELOADING=1");
    if (policyFile.empty()) {
        Say(stderr, Priority::WARNING, "SIGHUP: no policy file to read again (--policy or NAVINFO_POLICY_FILE)");
    } else {
        PolicyLoadResult loaded = LoadAccessPolicyFile(policyFile);
        if (!loaded.ok) {
            Say(stderr, Priority::ERROR, "policy %s; keeping the current policy", loaded.error.c_str());
        } else {
            size_t closed = service.ReloadPolicy(loaded.policy);
            service.Core().SetGoneRetention(loaded.goneRetention);
            if (!SameBridge(bridge, loaded.bridge.get())) {
                Say(stderr, Priority::WARNING, "the policy's bridge section changed: it applies from the next start");
            }
            Say(stderr, Priority::NOTICE, "policy %s reloaded; %zu connection%s closed", policyFile.c_str(), closed,
                closed == 1 ? "" : "s");
        }
    }
    ServiceManager::Notify("READY=1\nSTATUS=" + service.StatusText());
}

// Waits for a signal of set; 0 when the period passed first (period zero: no limit).
int WaitForSignal(const sigset_t& set, std::chrono::milliseconds period)
{
    for (;;) {
        int received = 0;
        if (period.count() <= 0) {
            if (sigwait(&set, &received) == 0) {
                return received;
            }
            continue;
        }
        struct timespec timeout {};
        timeout.tv_sec = static_cast<time_t>(period.count() / 1000);
        timeout.tv_nsec = static_cast<long>(period.count() % 1000) * 1000000L;
        received = sigtimedwait(&set, nullptr, &timeout);
        if (received > 0) {
            return received;
        }
        if (errno == EAGAIN) {
            return 0;
        }
    }
}

// Serves until a stop signal; returns it.
int Serve(DaemonService& service, const sigset_t& signals, const std::string& policyFile, const BridgePolicy* bridge)
{
    const auto watchdog = ServiceManager::WatchdogInterval();
    std::chrono::milliseconds period{0};
    if (ServiceManager::Supervised()) {
        period = STATUS_INTERVAL;
        if (watchdog.count() > 0) {
            period = std::min(period,
                std::max(std::chrono::milliseconds(1),
                    std::chrono::duration_cast<std::chrono::milliseconds>(watchdog / 2)));
        }
    }
    std::string status = service.StatusText();
    ServiceManager::Notify("READY=1\nSTATUS=" + status);
    for (;;) {
        int received = WaitForSignal(signals, period);
        if (received == SIGHUP) {
            ReloadPolicy(service, policyFile, bridge);
        } else if (received != 0) {
            return received;
        }
        // The status takes the server's and the core's locks: a service that
        // hangs in either stops feeding the watchdog.
        std::string now = service.StatusText();
        if (now != status && ServiceManager::Notify("STATUS=" + now)) {
            status = now; // a status that did not fit is sent again next period
        }
        if (watchdog.count() > 0) {
            ServiceManager::Notify("WATCHDOG=1");
        }
    }
}

int Run(int argc, char** argv)
{
    const pid_t parentAtStart = getppid(); // before anything else: the nearest to the fork
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    if (pthread_sigmask(SIG_BLOCK, &signals, nullptr) != 0) {
        Say(stderr, Priority::ERROR, "cannot block the signals it handles");
        return 1;
    }
    signal(SIGPIPE, SIG_IGN);

    DaemonOptions options;
    std::string error;
    if (!ParseDaemonOptions(
            argc, argv, [](const char* name) { return std::getenv(name); }, options, error)) {
        Say(stderr, Priority::ERROR, "%s (see navinfo-service --help)", error.c_str());
        return 2;
    }
    if (options.help) {
        std::fputs(DaemonUsage(), stdout);
        return 0;
    }
    if (options.version) {
        // The second line tells installers and people which build this is
        // (the npm package ships the daemon with and without the bridge).
        std::printf("navinfo-service %s\nDDS bridge: %s\n", DaemonVersion(),
            NetworkBridgeBuiltIn() ? "built in" : "not built in");
        return 0;
    }

    if (options.exitWithParent && !EndWithParent(parentAtStart)) {
        Say(stderr, Priority::ERROR, "--exit-with-parent: the process that started it has ended");
        return 1;
    }

    ServiceManager::ActivationSocket activation = ServiceManager::TakeActivationSocket();
    if (!activation.error.empty()) {
        Say(stderr, Priority::ERROR, "%s", activation.error.c_str());
        return 1;
    }

    std::shared_ptr<const BridgePolicy> bridgePolicy;
    DaemonConfig config;
    config.socketPath = options.socketPath;
    config.socketMode = options.socketMode;
    config.listenFd = activation.fd;
    config.requestTimeout = options.requestTimeout;
    config.listenerThreads = options.listenerThreads;
    if (options.policyFile.empty()) {
        Say(stderr, Priority::WARNING,
            "no policy file (--policy or NAVINFO_POLICY_FILE): every client will be refused");
    } else {
        PolicyLoadResult loaded = LoadAccessPolicyFile(options.policyFile);
        if (!loaded.ok) {
            // The error names the file and the reason.
            Say(stderr, Priority::ERROR, "policy %s", loaded.error.c_str());
            return 1;
        }
        config.policy = loaded.policy;
        config.goneRetention = loaded.goneRetention;
        bridgePolicy = loaded.bridge;
    }

    DaemonService service(std::move(config));
    if (service.Start() != IPC_OK) {
        Say(stderr, Priority::ERROR, "cannot listen on %s: %s", service.SocketPath().c_str(),
            service.StartError().c_str());
        return 1;
    }
    std::unique_ptr<NetworkBridge> bridge;
    if (bridgePolicy != nullptr) {
        std::string bridgeError;
        bridge = StartNetworkBridge(service, *bridgePolicy, bridgeError);
        if (bridge == nullptr && NetworkBridgeBuiltIn()) {
            Say(stderr, Priority::ERROR, "%s", bridgeError.c_str());
            return 1;
        }
        if (bridge == nullptr) {
            Say(stderr, Priority::WARNING, "the policy's bridge section is ignored: %s", bridgeError.c_str());
        }
    }
    Say(stdout, Priority::INFO, "listening on %s", service.SocketPath().c_str());

    int received = Serve(service, signals, options.policyFile, bridgePolicy.get());
    ServiceManager::Notify("STOPPING=1");
    bridge.reset(); // nothing comes from the other daemons while the service stops
    service.Stop();
    Say(stderr, Priority::INFO, "stopped (signal %d)", received);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return Run(argc, argv);
    } catch (const std::exception& e) {
        Say(stderr, Priority::ERROR, "%s", e.what());
    } catch (...) {
        Say(stderr, Priority::ERROR, "unexpected failure");
    }
    return 1;
}
