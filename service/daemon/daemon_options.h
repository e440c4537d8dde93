// The command line and environment of navinfo-service.
//
//   --socket PATH          socket path (else NAVINFO_SERVICE_SOCKET, else
//                          $XDG_RUNTIME_DIR/navinfo-service.sock, else
//                          /tmp/navinfo-service-<uid>.sock)
//   --socket-mode MODE     octal permissions of the socket file (default 0600)
//   --policy FILE          access policy (else NAVINFO_POLICY_FILE; with
//                          neither, every client is refused)
//   --request-timeout-ms N time-out of queries and commands (else
//                          NAVINFO_REQUEST_TIMEOUT_MS, else 10000)
//   --threads N            threads that call listeners (default 4, 1..16)
//   --help
//
// Threads: any thread; no shared state.
#ifndef SERVICE_DAEMON_DAEMON_OPTIONS_H
#define SERVICE_DAEMON_DAEMON_OPTIONS_H

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace OHOS::NavigationInfoService {

struct DaemonOptions {
    std::string socketPath;
    mode_t socketMode = 0600;
    std::string policyFile; // empty: no policy, every client refused
    std::chrono::milliseconds requestTimeout{10000};
    size_t listenerThreads = 4;
    bool help = false;
};

// Looks an environment variable up; null when unset.
using EnvLookup = std::function<const char*(const char* name)>;

// Fills options from argv (argv[0] is the program) and env. False with a
// one-line error for an unknown option, a missing or bad value.
bool ParseDaemonOptions(int argc, const char* const* argv, const EnvLookup& env, DaemonOptions& options,
    std::string& error);

// The socket path used when neither --socket nor NAVINFO_SERVICE_SOCKET is given.
std::string DefaultSocketPath(const EnvLookup& env, uid_t uid);

// The usage text, for --help and errors.
const char* DaemonUsage();

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_DAEMON_OPTIONS_H
