#include "daemon_options.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "access_policy_file.h"
#include "service_settings.h"

namespace OHOS::NavigationInfoService {
namespace {

constexpr const char* SOCKET_ENV = "NAVINFO_SERVICE_SOCKET";
constexpr size_t MAX_LISTENER_THREADS = 16;

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

} // namespace

std::string DefaultSocketPath(const EnvLookup& env, uid_t uid)
{
    if (const char* runtimeDir = NonEmpty(env("XDG_RUNTIME_DIR"))) {
        return std::string(runtimeDir) + "/navinfo-service.sock";
    }
    return "/tmp/navinfo-service-" + std::to_string(uid) + ".sock";
}

const char* DaemonUsage()
{
    return "usage: navinfo-service [--socket PATH] [--socket-mode OCTAL] [--policy FILE]\n"
           "                       [--request-timeout-ms N] [--threads N] [--help]\n"
           "  --socket PATH           socket to serve (env NAVINFO_SERVICE_SOCKET;\n"
           "                          default $XDG_RUNTIME_DIR/navinfo-service.sock or\n"
           "                          /tmp/navinfo-service-<uid>.sock)\n"
           "  --socket-mode OCTAL     permissions of the socket file (default 0600)\n"
           "  --policy FILE           access policy, see docs/access-policy.md (env\n"
           "                          NAVINFO_POLICY_FILE); without one every client is refused\n"
           "  --request-timeout-ms N  time-out of queries and commands (env\n"
           "                          NAVINFO_REQUEST_TIMEOUT_MS; default 10000)\n"
           "  --threads N             threads that call listeners (1..16, default 4)\n"
           "Log level: HILOG_LEVEL (debug, info, warn, error, fatal, off). Stops on SIGTERM or SIGINT.\n";
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
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--help" || name == "-h") {
            options.help = true;
            continue;
        }
        if (name != "--socket" && name != "--socket-mode" && name != "--policy" && name != "--request-timeout-ms" &&
            name != "--threads") {
            error = "unknown option " + name;
            return false;
        }
        if (i + 1 >= argc) {
            error = name + " needs a value";
            return false;
        }
        const char* value = argv[++i];
        long long number = 0;
        if (name == "--socket") {
            socket = NonEmpty(value);
            if (socket == nullptr) {
                error = "--socket needs a path";
                return false;
            }
        } else if (name == "--policy") {
            policy = NonEmpty(value);
            if (policy == nullptr) {
                error = "--policy needs a file";
                return false;
            }
        } else if (name == "--socket-mode") {
            if (!ParseNumber(value, 8, 0, 0777, number) || (number & 0600) != 0600) {
                error = "--socket-mode must be octal, at most 0777, and keep the owner's read and write";
                return false;
            }
            options.socketMode = static_cast<mode_t>(number);
        } else if (name == "--request-timeout-ms") {
            if (!ParseTimeout(value, options.requestTimeout)) {
                error = "--request-timeout-ms must be a positive number of milliseconds";
                return false;
            }
        } else {
            if (!ParseNumber(value, 10, 1, MAX_LISTENER_THREADS, number)) {
                error = "--threads must be between 1 and 16";
                return false;
            }
            options.listenerThreads = static_cast<size_t>(number);
        }
    }
    options.socketPath = socket != nullptr ? std::string(socket) : DefaultSocketPath(env, getuid());
    options.policyFile = policy != nullptr ? std::string(policy) : std::string();
    return true;
}

} // namespace OHOS::NavigationInfoService
