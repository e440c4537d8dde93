// navinfo-service: the navigation information service as a daemon.
//
// Serves one Unix-domain socket until SIGTERM or SIGINT, then closes every
// connection, removes the socket file and exits 0. Once it listens it prints
// one line to stdout, "navinfo-service: listening on PATH", so that scripts
// can wait for it. Exit status: 0 after a signal or --help, 1 when it cannot
// start (socket busy or unusable, policy file invalid), 2 on bad usage.
//
// Threads: main blocks the stop signals before any other thread exists, so
// that every thread inherits the mask and only sigwait here receives them.
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "access_policy_file.h"
#include "daemon_options.h"
#include "daemon_service.h"
#include "ipc_errors.h"

using namespace OHOS;
using namespace OHOS::NavigationInfoService;

namespace {

int Run(int argc, char** argv)
{
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    if (pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr) != 0) {
        std::fprintf(stderr, "navinfo-service: cannot block the stop signals\n");
        return 1;
    }
    signal(SIGPIPE, SIG_IGN);

    DaemonOptions options;
    std::string error;
    if (!ParseDaemonOptions(argc, argv, [](const char* name) { return std::getenv(name); }, options, error)) {
        std::fprintf(stderr, "navinfo-service: %s\n%s", error.c_str(), DaemonUsage());
        return 2;
    }
    if (options.help) {
        std::fputs(DaemonUsage(), stdout);
        return 0;
    }

    DaemonConfig config;
    config.socketPath = options.socketPath;
    config.socketMode = options.socketMode;
    config.requestTimeout = options.requestTimeout;
    config.listenerThreads = options.listenerThreads;
    if (options.policyFile.empty()) {
        std::fprintf(stderr, "navinfo-service: no policy file (--policy or NAVINFO_POLICY_FILE): "
                             "every client will be refused\n");
    } else {
        PolicyLoadResult loaded = LoadAccessPolicyFile(options.policyFile);
        if (!loaded.ok) {
            // One line: the error names the file and the reason.
            std::fprintf(stderr, "navinfo-service: policy %s\n", loaded.error.c_str());
            return 1;
        }
        config.policy = loaded.policy;
    }

    DaemonService service(std::move(config));
    int status = service.Start();
    if (status != IPC_OK) {
        std::fprintf(stderr, "navinfo-service: cannot listen on %s (%s)\n", service.SocketPath().c_str(),
            status == IPC_ERR_BUSY ? "another service answers there" : "socket unusable");
        return 1;
    }
    std::printf("navinfo-service: listening on %s\n", service.SocketPath().c_str());
    std::fflush(stdout);

    int received = 0;
    while (sigwait(&stopSignals, &received) != 0) {
    }
    service.Stop();
    std::fprintf(stderr, "navinfo-service: stopped (signal %d)\n", received);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return Run(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "navinfo-service: %s\n", e.what());
    } catch (...) {
        std::fprintf(stderr, "navinfo-service: unexpected failure\n");
    }
    return 1;
}
