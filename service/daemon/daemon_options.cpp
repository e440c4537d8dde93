#include "daemon_options.h"

#include <getopt.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "access_policy_file.h"
#include "service_settings.h"

#ifndef NAVINFO_VERSION
#define NAVINFO_VERSION "unknown"
#endif

namespace OHOS::NavigationInfoService {
namespace {

constexpr const char* SOCKET_ENV = "NAVINFO_SERVICE_SOCKET";
constexpr size_t MAX_LISTENER_THREADS = 16;

// Values of the long options that have no short form.
enum LongOnly { OPT_SOCKET_MODE = 256, OPT_REQUEST_TIMEOUT, OPT_THREADS, OPT_EXIT_WITH_PARENT };

const struct option LONG_OPTIONS[] = {
    {"socket", required_argument, nullptr, 's'},
    {"policy", required_argument, nullptr, 'p'},
    {"socket-mode", required_argument, nullptr, OPT_SOCKET_MODE},
    {"request-timeout-ms", required_argument, nullptr, OPT_REQUEST_TIMEOUT},
    {"threads", required_argument, nullptr, OPT_THREADS},
    {"exit-with-parent", no_argument, nullptr, OPT_EXIT_WITH_PARENT},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};
// '+': stop at the first argument that is no option (none is expected);
// ':': a missing value is reported as ':' instead of by getopt itself.
constexpr const char* SHORT_OPTIONS = "+:s:p:hvV";

const char* NonEmpty(const char* value)
{
    return value != nullptr && *value != '\0' ? value : nullptr;
}

// A whole number in [min, max] written in base; false otherwise.
bool ParseNumber(const char* text, int base, long long min, long long max, long long& value)
{
    if (text == nullptr || *text == '\0') {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    value = std::strtoll(text, &end, base);
    return errno == 0 && end != text && *end == '\0' && value >= min && value <= max;
}

bool ParseTimeout(const char* text, std::chrono::milliseconds& timeout)
{
    long long value = 0;
    if (!ParseNumber(text, 10, 1, 24LL * 3600 * 1000, value)) {
        return false;
    }
    timeout = std::chrono::milliseconds(value);
    return true;
}

// How the user wrote the option that getopt_long just complained about:
// argv[index] is the argument it was reading.
std::string OffendingOption(const char* const* argv, int argc, int index, int shortOption)
{
    std::string written = index < argc ? argv[index] : "";
    if (written.rfind("--", 0) == 0) {
        return written.substr(0, written.find('='));
    }
    return std::string("-") + static_cast<char>(shortOption);
}

} // namespace

std::string DefaultSocketPath(const EnvLookup& env, uid_t uid)
{
    if (const char* runtimeDir = NonEmpty(env("XDG_RUNTIME_DIR"))) {
        return std::string(runtimeDir) + "/navinfo-service.sock";
    }
    return "/tmp/navinfo-service-" + std::to_string(uid) + ".sock";
}

const char* DaemonVersion()
{
    return NAVINFO_VERSION;
}

const char* DaemonUsage()
{
    return "Usage: navinfo-service [OPTION]...\n"
           "The navigation information service: applications reach it over a Unix-domain socket.\n"
           "\n"
           "  -s, --socket=PATH          socket to serve (default: NAVINFO_SERVICE_SOCKET, else\n"
           "                             $XDG_RUNTIME_DIR/navinfo-service.sock, else\n"
           "                             /tmp/navinfo-service-<uid>.sock); ignored when the\n"
           "                             service manager hands over the socket\n"
           "      --socket-mode=OCTAL    permissions of the socket file (default 0600)\n"
           "  -p, --policy=FILE          access policy, see docs/access-policy.md (default:\n"
           "                             NAVINFO_POLICY_FILE); without one every client is refused\n"
           "      --request-timeout-ms=N time-out of queries and commands (default:\n"
           "                             NAVINFO_REQUEST_TIMEOUT_MS, else 10000)\n"
           "      --threads=N            threads that call listeners (1..16, default 4)\n"
           "      --exit-with-parent     stop (as on SIGTERM) when the process that started it\n"
           "                             ends, however it ends; refuses to start when that\n"
           "                             process has ended already\n"
           "  -h, --help                 print this help and exit\n"
           "  -v, -V, --version          print the version and whether the DDS bridge is built\n"
           "                             in, and exit\n"
           "\n"
           "Environment:\n"
           "  NAVINFO_SERVICE_SOCKET      socket path, when --socket is not given\n"
           "  NAVINFO_POLICY_FILE         policy file, when --policy is not given\n"
           "  NAVINFO_REQUEST_TIMEOUT_MS  request time-out, when --request-timeout-ms is not given\n"
           "  XDG_RUNTIME_DIR             folder of the default socket\n"
           "  HILOG_LEVEL                 log level: debug, info, warn, error, fatal, off (default warn)\n"
           "  HILOG_OUTPUT                where log lines go: stderr, stdout, none or a file (default stderr)\n"
           "  LISTEN_FDS, LISTEN_PID      set by systemd: serve the socket it hands over\n"
           "  NOTIFY_SOCKET               set by systemd: readiness, status and stopping are reported there\n"
           "  WATCHDOG_USEC, WATCHDOG_PID set by systemd: the watchdog is fed at half that interval\n"
           "  JOURNAL_STREAM              set by systemd: log lines carry journal priorities, no time\n"
           "\n"
           "Signals: SIGTERM and SIGINT stop the service; SIGHUP reads the policy file again\n"
           "(an invalid file keeps the current policy).\n";
}

bool ParseDaemonOptions(int argc, const char* const* argv, const EnvLookup& env, DaemonOptions& options,
    std::string& error)
{
    options = DaemonOptions();
    const char* socket = NonEmpty(env(SOCKET_ENV));
    const char* policy = NonEmpty(env(POLICY_FILE_ENV));
    const char* timeout = NonEmpty(env(REQUEST_TIMEOUT_ENV));
    if (timeout != nullptr && !ParseTimeout(timeout, options.requestTimeout)) {
        error = std::string(REQUEST_TIMEOUT_ENV) + " must be a positive number of milliseconds";
        return false;
    }
    // getopt_long may reorder the pointers, never the strings: work on a copy.
    std::vector<char*> args;
    args.reserve(static_cast<size_t>(argc) + 1);
    for (int i = 0; i < argc; ++i) {
        args.push_back(const_cast<char*>(argv[i]));
    }
    args.push_back(nullptr);
    opterr = 0;
    optind = 0; // 0, not 1: glibc then starts a fresh scan
    for (;;) {
        const int current = optind == 0 ? 1 : optind;
        // NOLINTNEXTLINE(concurrency-mt-unsafe): options are parsed once, before any thread starts
        const int option = getopt_long(argc, args.data(), SHORT_OPTIONS, LONG_OPTIONS, nullptr);
        if (option == -1) {
            break;
        }
        const char* value = optarg;
        long long number = 0;
        switch (option) {
            case 'h': options.help = true; break;
            case 'v':
            case 'V': options.version = true; break;
            case 's':
                socket = NonEmpty(value);
                if (socket == nullptr) {
                    error = "--socket needs a path";
                    return false;
                }
                break;
            case 'p':
                policy = NonEmpty(value);
                if (policy == nullptr) {
                    error = "--policy needs a file";
                    return false;
                }
                break;
            case OPT_SOCKET_MODE:
                if (!ParseNumber(value, 8, 0, 0777, number) || (number & 0600) != 0600) {
                    error = "--socket-mode must be octal, at most 0777, and keep the owner's read and write";
                    return false;
                }
                options.socketMode = static_cast<mode_t>(number);
                break;
            case OPT_REQUEST_TIMEOUT:
                if (!ParseTimeout(value, options.requestTimeout)) {
                    error = "--request-timeout-ms must be a positive number of milliseconds";
                    return false;
                }
                break;
            case OPT_THREADS:
                if (!ParseNumber(value, 10, 1, MAX_LISTENER_THREADS, number)) {
                    error = "--threads must be between 1 and 16";
                    return false;
                }
                options.listenerThreads = static_cast<size_t>(number);
                break;
            case OPT_EXIT_WITH_PARENT: options.exitWithParent = true; break;
            case ':':
                error = "option " + OffendingOption(args.data(), argc, current, optopt) + " needs a value";
                return false;
            default: error = "unknown option " + OffendingOption(args.data(), argc, current, optopt); return false;
        }
    }
    if (optind < argc) {
        error = std::string("unexpected argument ") + args[optind];
        return false;
    }
    options.socketPath = socket != nullptr ? std::string(socket) : DefaultSocketPath(env, getuid());
    options.policyFile = policy != nullptr ? std::string(policy) : std::string();
    return true;
}

} // namespace OHOS::NavigationInfoService
