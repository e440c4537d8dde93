// The command line and environment of navinfo-service (GNU style, getopt_long:
// "--socket PATH" and "--socket=PATH" alike; see DaemonUsage for the list).
//
// Threads: ParseDaemonOptions uses getopt_long's global state, so one
// thread at a time; the rest from any thread.
#ifndef SERVICE_DAEMON_DAEMON_OPTIONS_H
#define SERVICE_DAEMON_DAEMON_OPTIONS_H

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace OHOS::NavigationInfoService {

struct DaemonOptions {
    std::string socketPath; // not used when the service manager hands over the socket
    mode_t socketMode = 0600;
    std::string policyFile; // empty: no policy, every client refused
    std::chrono::milliseconds requestTimeout{10000};
    size_t listenerThreads = 4;
    bool exitWithParent = false; // stop when the process that started it ends
    bool help = false;
    bool version = false;
};

// Looks an environment variable up; null when unset.
using EnvLookup = std::function<const char*(const char* name)>;

// Fills options from argv (argv[0] is the program) and env. False with a
// one-line error (without the program name) for an unknown option, a
// missing or bad value, or an argument that is no option.
bool ParseDaemonOptions(int argc, const char* const* argv, const EnvLookup& env, DaemonOptions& options,
    std::string& error);

// The socket path used when neither --socket nor NAVINFO_SERVICE_SOCKET is given.
std::string DefaultSocketPath(const EnvLookup& env, uid_t uid);

// The text of --help: every option and every environment variable read.
const char* DaemonUsage();
// The version of the package this daemon was built from.
const char* DaemonVersion();

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_DAEMON_OPTIONS_H
