// navinfo-service as a process under a service manager: the socket handed
// over by systemd-socket-activate, readiness, status, reload, watchdog and
// stopping notices read from a NOTIFY_SOCKET of the test, and SIGHUP
// reloading the policy with a valid and a broken file.
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "daemon_fixture.h"
#include "nav_info_errors.h"

namespace OHOS::NavigationInfoService::Testing {
namespace {

constexpr const char* ALLOW_BOTH = R"({"bundles": {
    "com.example.map": {"navigationPermission": true},
    "com.example.dash": {"systemApp": true, "navigationPermission": true}}})";
constexpr const char* DASH_NEEDS_TOKEN = R"({"bundles": {
    "com.example.map": {"navigationPermission": true},
    "com.example.dash": {"systemApp": true, "navigationPermission": true, "token": "t"}}})";

void WriteFile(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::trunc) << text;
}

std::string ReadFile(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// The receiving end of NOTIFY_SOCKET: a datagram socket in the test's folder.
class NotifyReceiver {
public:
    explicit NotifyReceiver(const std::string& path) : path_(path)
    {
        fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        struct sockaddr_un addr {};
        addr.sun_family = AF_UNIX;
        std::strncpy(addr.sun_path, path.c_str(), sizeof(addr.sun_path) - 1);
        bound_ = fd_ >= 0 && bind(fd_, reinterpret_cast<struct sockaddr*>(&addr), sizeof(addr)) == 0;
        struct timeval timeout {
            10, 0
        };
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    }
    ~NotifyReceiver() { close(fd_); }
    bool Bound() const { return bound_; }
    const std::string& Path() const { return path_; }

    // Reads notifications until one holds `state` as a whole line; returns
    // that notification, or "" after 10 s without one.
    std::string WaitFor(const std::string& state)
    {
        char buffer[4096];
        for (;;) {
            ssize_t n = recv(fd_, buffer, sizeof(buffer), 0);
            if (n <= 0) {
                return "";
            }
            std::string message(buffer, static_cast<size_t>(n));
            seen += message + "|";
            if (("\n" + message + "\n").find("\n" + state + "\n") != std::string::npos) {
                return message;
            }
        }
    }
    std::string seen; // every notification so far, each followed by '|'

private:
    const std::string path_;
    int fd_ = -1;
    bool bound_ = false;
};

// A child process with extra environment and stderr in a file, killed at
// the end if it is still running.
class Child {
public:
    Child(std::vector<std::string> args, std::vector<std::string> env, const std::string& stderrPath)
    {
        std::vector<char*> argv;
        argv.reserve(args.size() + 1);
        for (auto& arg : args) {
            argv.push_back(arg.data());
        }
        argv.push_back(nullptr);
        for (char** e = environ; *e != nullptr; ++e) {
            env.emplace_back(*e);
        }
        std::vector<char*> envp;
        envp.reserve(env.size() + 1);
        for (auto& entry : env) {
            envp.push_back(entry.data());
        }
        envp.push_back(nullptr);
        int err = open(stderrPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(err, STDERR_FILENO);
            int null = open("/dev/null", O_WRONLY);
            dup2(null, STDOUT_FILENO);
            execve(argv[0], argv.data(), envp.data());
            _exit(127);
        }
        close(err);
    }
    ~Child()
    {
        if (pid_ > 0 && Wait(0) == -1) {
            kill(pid_, SIGKILL);
            Wait(10000);
        }
    }
    void Signal(int signal) const { kill(pid_, signal); }
    // The exit status, or -1 while it runs after limitMs.
    int Wait(int limitMs)
    {
        if (status_ != -1) {
            return status_;
        }
        for (int waited = 0;; waited += 10) {
            int raw = 0;
            if (waitpid(pid_, &raw, WNOHANG) == pid_) {
                status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
                return status_;
            }
            if (waited >= limitMs) {
                return -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

private:
    pid_t pid_ = -1;
    int status_ = -1;
};

class DaemonProcessTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(notify_.Bound());
        WriteFile(policy_, ALLOW_BOTH);
    }
    std::unique_ptr<RemoteTransport> Client(const std::string& bundle, const std::string& socketPath)
    {
        ServiceEndpoint endpoint;
        endpoint.socketPath = socketPath;
        endpoint.bundleName = bundle;
        endpoint.connectTimeoutMs = 5000; // the first one waits for the daemon to start
        return std::make_unique<RemoteTransport>(std::move(endpoint));
    }

    IpcTest::TempDir dir_;
    NotifyReceiver notify_{dir_.File("notify.sock")};
    const std::string policy_ = dir_.File("policy.json");
    const std::string stderr_ = dir_.File("stderr.txt");
};

TEST_F(DaemonProcessTest, SocketActivationServesTheFirstClientAndTellsReadinessAndStopping)
{
    const std::string socketPath = dir_.File("activated.sock");
    Child daemon({"/usr/bin/systemd-socket-activate", "-l", socketPath, "-E", "NOTIFY_SOCKET=" + notify_.Path(),
                     NAVINFO_SERVICE_BINARY, "--policy", policy_},
        {}, stderr_);
    // The socket file exists from bind() on; the activator says so once it also listens.
    ASSERT_TRUE(WaitUntil([&] { return ReadFile(stderr_).find("Listening on") != std::string::npos; }))
        << ReadFile(stderr_);

    // The first connection starts the daemon, which serves it on the socket it is handed.
    auto sys = Client(DASH, socketPath);
    NavigationStatus status;
    EXPECT_EQ(sys->GetNavigationStatus(MAP, status), NAV_INFO_ERR_NOT_FOUND) << ReadFile(stderr_);
    std::string ready = notify_.WaitFor("READY=1");
    EXPECT_NE(ready.find("STATUS="), std::string::npos) << notify_.seen;

    daemon.Signal(SIGTERM);
    EXPECT_NE(notify_.WaitFor("STOPPING=1"), "") << notify_.seen;
    EXPECT_EQ(daemon.Wait(10000), 0) << ReadFile(stderr_);
    struct stat st {};
    EXPECT_EQ(stat(socketPath.c_str(), &st), 0) << "the socket belongs to whoever handed it over";
}

TEST_F(DaemonProcessTest, SighupAppliesAValidPolicyAndKeepsTheCurrentOneForABrokenFile)
{
    const std::string socketPath = dir_.File("reload.sock");
    Child daemon({NAVINFO_SERVICE_BINARY, "--socket=" + socketPath, "--policy=" + policy_},
        {"NOTIFY_SOCKET=" + notify_.Path(), "WATCHDOG_USEC=200000", "HILOG_LEVEL=error"}, stderr_);
    ASSERT_NE(notify_.WaitFor("READY=1"), "") << ReadFile(stderr_);
    EXPECT_NE(notify_.WaitFor("WATCHDOG=1"), "") << notify_.seen;

    auto nav = Client(MAP, socketPath);
    auto sys = Client(DASH, socketPath);
    NavigationStatus published;
    published.routeIndex = 3;
    ASSERT_EQ(nav->UpdateNavigationStatus(published), NAV_INFO_SUCCESS);
    const uint64_t generation = sys->ConnectionGeneration();
    NavigationStatus read;

    struct Reload {
        const char* policy;
        const char* line;  // the one line the reload adds to stderr
        int32_t sysResult; // what the system application's next call gets
    };
    const Reload reloads[] = {
        {"{ broken", "; keeping the current policy\n", NAV_INFO_SUCCESS},
        {DASH_NEEDS_TOKEN, " reloaded; 1 connection closed\n", NAV_INFO_ERR_NO_PERMISSION},
    };
    for (const Reload& reload : reloads) {
        const size_t before = ReadFile(stderr_).size();
        WriteFile(policy_, reload.policy);
        daemon.Signal(SIGHUP);
        ASSERT_NE(notify_.WaitFor("RELOADING=1"), "") << notify_.seen;
        ASSERT_NE(notify_.WaitFor("READY=1"), "") << notify_.seen;
        const std::string added = ReadFile(stderr_).substr(before);
        EXPECT_EQ(std::count(added.begin(), added.end(), '\n'), 1) << added;
        EXPECT_EQ(added.rfind("navinfo-service: policy " + policy_, 0), 0u) << added;
        EXPECT_NE(added.find(reload.line), std::string::npos) << added;
        // A call racing the client's own notice of a closed connection gets
        // 1002 once; the next ones get what the new policy says.
        int32_t result = NAV_INFO_ERR_SERVICE_UNAVAILABLE;
        WaitUntil([&] { return (result = sys->GetNavigationStatus(MAP, read)) != NAV_INFO_ERR_SERVICE_UNAVAILABLE; });
        EXPECT_EQ(result, reload.sysResult) << reload.policy;
    }
    // Nothing published was lost, and the refused client is let in again by the next policy.
    WriteFile(policy_, ALLOW_BOTH);
    daemon.Signal(SIGHUP);
    ASSERT_NE(notify_.WaitFor("READY=1"), "");
    ASSERT_TRUE(WaitUntil([&] { return sys->GetNavigationStatus(MAP, read) == NAV_INFO_SUCCESS; }));
    EXPECT_EQ(read.routeIndex, 3);
    EXPECT_GT(sys->ConnectionGeneration(), generation);
    EXPECT_EQ(nav->UpdateNavigationStatus(published), NAV_INFO_SUCCESS) << "the publisher was never disconnected";

    daemon.Signal(SIGTERM);
    EXPECT_EQ(daemon.Wait(10000), 0);
}

// A service manager that stops reading its notifications must not stop the
// daemon from taking its stop signal: the watchdog is fed from the thread
// that waits for signals.
TEST_F(DaemonProcessTest, AReceiverThatNeverReadsDoesNotHoldUpTheStop)
{
    const std::string socketPath = dir_.File("unread.sock");
    NotifyReceiver unread(dir_.File("unread-notify.sock"));
    ASSERT_TRUE(unread.Bound());
    Child daemon({NAVINFO_SERVICE_BINARY, "--socket=" + socketPath, "--policy=" + policy_},
        {"NOTIFY_SOCKET=" + unread.Path(), "WATCHDOG_USEC=2000", "HILOG_LEVEL=error"}, stderr_);
    // A watchdog notice every millisecond fills the receiver's queue within a second.
    auto sys = Client(DASH, socketPath);
    NavigationStatus status;
    ASSERT_TRUE(WaitUntil([&] { return sys->GetNavigationStatus(MAP, status) == NAV_INFO_ERR_NOT_FOUND; }))
        << ReadFile(stderr_);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(sys->GetNavigationStatus(MAP, status), NAV_INFO_ERR_NOT_FOUND) << "still serving";

    daemon.Signal(SIGTERM);
    EXPECT_EQ(daemon.Wait(10000), 0) << ReadFile(stderr_);
}

} // namespace
} // namespace OHOS::NavigationInfoService::Testing
