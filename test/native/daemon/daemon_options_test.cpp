// navinfo-service's command line and environment.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "daemon_options.h"

namespace OHOS::NavigationInfoService {
namespace {

struct Parsed {
    bool ok;
    DaemonOptions options;
    std::string error;
};

Parsed Parse(std::vector<const char*> args, std::map<std::string, std::string> env = {})
{
    args.insert(args.begin(), "navinfo-service");
    Parsed parsed;
    EnvLookup lookup = [&env](const char* name) -> const char* {
        auto found = env.find(name);
        return found == env.end() ? nullptr : found->second.c_str();
    };
    parsed.ok = ParseDaemonOptions(static_cast<int>(args.size()), args.data(), lookup, parsed.options, parsed.error);
    return parsed;
}

TEST(DaemonOptions, DefaultsWithoutArgumentsOrEnvironment)
{
    Parsed parsed = Parse({});
    ASSERT_TRUE(parsed.ok) << parsed.error;
    EXPECT_EQ(parsed.options.socketPath, "/tmp/navinfo-service-" + std::to_string(getuid()) + ".sock");
    EXPECT_EQ(parsed.options.socketMode, 0600u);
    EXPECT_TRUE(parsed.options.policyFile.empty());
    EXPECT_EQ(parsed.options.requestTimeout.count(), 10000);
    EXPECT_FALSE(parsed.options.help);
    EXPECT_FALSE(parsed.options.exitWithParent);
}

TEST(DaemonOptions, EnvironmentFillsInAndArgumentsWin)
{
    const std::map<std::string, std::string> env = {{"NAVINFO_SERVICE_SOCKET", "/env/s.sock"},
        {"NAVINFO_POLICY_FILE", "/env/p.json"}, {"NAVINFO_REQUEST_TIMEOUT_MS", "2500"},
        {"XDG_RUNTIME_DIR", "/run/user/7"}};
    Parsed fromEnv = Parse({}, env);
    ASSERT_TRUE(fromEnv.ok) << fromEnv.error;
    EXPECT_EQ(fromEnv.options.socketPath, "/env/s.sock");
    EXPECT_EQ(fromEnv.options.policyFile, "/env/p.json");
    EXPECT_EQ(fromEnv.options.requestTimeout.count(), 2500);

    Parsed fromArgs = Parse({"--socket=/arg/s.sock", "-p", "/arg/p.json", "--request-timeout-ms", "40",
                                "--socket-mode=0660", "--threads", "2", "--exit-with-parent"},
        env);
    ASSERT_TRUE(fromArgs.ok) << fromArgs.error;
    EXPECT_EQ(fromArgs.options.socketPath, "/arg/s.sock");
    EXPECT_EQ(fromArgs.options.policyFile, "/arg/p.json");
    EXPECT_EQ(fromArgs.options.requestTimeout.count(), 40);
    EXPECT_EQ(fromArgs.options.socketMode, 0660u);
    EXPECT_EQ(fromArgs.options.listenerThreads, 2u);
    EXPECT_TRUE(fromArgs.options.exitWithParent);

    Parsed runtimeDir = Parse({}, {{"XDG_RUNTIME_DIR", "/run/user/7"}, {"NAVINFO_SERVICE_SOCKET", ""}});
    ASSERT_TRUE(runtimeDir.ok);
    EXPECT_EQ(runtimeDir.options.socketPath, "/run/user/7/navinfo-service.sock");
}

TEST(DaemonOptions, BadUsageIsRefusedWithAReason)
{
    const std::vector<std::vector<const char*>> bad = {
        {"--sock", "/x"},
        {"--socket"},
        {"--socket", ""},
        {"--socket-mode", "999"},
        {"--socket-mode", "0644x"},
        {"--socket-mode", "0400"}, // the owner could not connect
        {"--socket-mode", "01777"},
        {"--request-timeout-ms", "0"},
        {"--request-timeout-ms", "-5"},
        {"--request-timeout-ms", "10s"},
        {"--threads", "0"},
        {"--threads", "17"},
        {"--policy", ""},
        {"--socket="},
        {"-x"},
        {"stray"},
        {"--help", "stray"},
        {"--exit-with-parent=yes"},
    };
    for (const auto& args : bad) {
        Parsed parsed = Parse(args);
        EXPECT_FALSE(parsed.ok) << args[0];
        EXPECT_FALSE(parsed.error.empty()) << args[0];
    }
    Parsed badEnv = Parse({}, {{"NAVINFO_REQUEST_TIMEOUT_MS", "soon"}});
    EXPECT_FALSE(badEnv.ok);
}

TEST(DaemonOptions, HelpAndVersionAreRecognisedInTheirShortAndLongForms)
{
    for (const char* help : {"--help", "-h"}) {
        Parsed parsed = Parse({help});
        ASSERT_TRUE(parsed.ok) << help;
        EXPECT_TRUE(parsed.options.help) << help;
    }
    for (const char* version : {"--version", "-v", "-V"}) {
        Parsed parsed = Parse({version});
        ASSERT_TRUE(parsed.ok) << version;
        EXPECT_TRUE(parsed.options.version) << version;
    }
    // Parsing starts afresh each time (getopt keeps global state).
    EXPECT_EQ(Parse({"-s", "/a.sock"}).options.socketPath, "/a.sock");
    EXPECT_EQ(Parse({"-s", "/b.sock"}).options.socketPath, "/b.sock");
}

} // namespace
} // namespace OHOS::NavigationInfoService
