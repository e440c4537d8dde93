// What the navinfo-service daemon keeps of publishers that are gone, and what
// a dump costs the other clients. Runs the daemon program (policy
// `defaultDeny: false`, so that any bundle name may publish) and then:
//  1. BUNDLES ever-new bundle names (default 3000), one connection each, one
//     after the other: each publishes about 1 MB of records (a status of
//     ~640 KB and metadata of ~380 KB) and closes its connection. Prints the
//     daemon's RSS (VmRSS) and peak (VmHWM) after the last one went. With
//     SAY_UNAVAILABLE=1 each publisher's large status says UNAVAILABLE
//     itself before it goes (the service then keeps no status of its own).
//  2. A full store: LIVE publishers (default 48; one uid may hold 64
//     connections) that keep about 1 MB of records each, beside the gone
//     bundles of step 1. One client reads a small status in a loop, first
//     alone, then while another client dumps the service (InspectService) in
//     a loop; prints p50/p99/max of those reads in microseconds, and the dump's
//     own time and how many records it carried.
// Prints one JSON line.
//
//   navinfo_bench_release [DAEMON_BINARY]
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "percentile.h"
#include "remote_transport.h"

using namespace OHOS::NavigationInfoService;

namespace {

using Clock = std::chrono::steady_clock;

size_t EnvCount(const char* name, size_t fallback)
{
    const char* text = std::getenv(name);
    return text != nullptr && std::atoll(text) > 0 ? static_cast<size_t>(std::atoll(text)) : fallback;
}

// A /proc/<pid>/status field in kB, as MiB.
double ProcStatusMiB(pid_t pid, const std::string& field)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind(field + ":", 0) == 0) {
            return std::atof(line.c_str() + field.size() + 1) / 1024.0;
        }
    }
    return -1;
}

NavigationStatus LargeStatus(int32_t routeIndex, int32_t state = 1)
{
    NavigationStatus status;
    status.status = state;
    status.routeIndex = routeIndex;
    status.customData = std::string(60000, 'c');
    for (int i = 0; i < 1000; ++i) {
        status.passPoint.push_back(Location{std::string(560, static_cast<char>('a' + i % 26)), 1, 13.4, 52.5, 34.0});
    }
    return status;
}

NavigationMetadata LargeMetadata()
{
    NavigationMetadata metadata;
    metadata.currentRoadName = std::string(60000, 'r');
    metadata.nextRoadName = std::string(60000, 'n');
    metadata.intersectionView.assign(65000, 7);
    metadata.trafficLane.assign(65000, 3);
    return metadata;
}

std::unique_ptr<RemoteTransport> Client(const std::string& socket, const std::string& bundle)
{
    ServiceEndpoint endpoint;
    endpoint.socketPath = socket;
    endpoint.bundleName = bundle;
    return std::make_unique<RemoteTransport>(std::move(endpoint));
}

// Microseconds of each of count reads of bundle.
std::vector<long long> TimeReads(RemoteTransport& reader, const std::string& bundle, size_t count)
{
    std::vector<long long> times;
    NavigationStatus status;
    for (size_t i = 0; i < count; ++i) {
        auto start = Clock::now();
        reader.GetNavigationStatus(bundle, status);
        times.push_back(std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count());
    }
    return times;
}

pid_t StartDaemon(const std::string& binary, const std::string& dir, const std::string& socket)
{
    const std::string policy = dir + "/policy.json";
    std::ofstream(policy) << R"({"version": 1, "defaultDeny": false})";
    // Built before the fork: the child only calls execve.
    std::vector<std::string> environment{"HILOG_LEVEL=error"};
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (std::string(*entry).rfind("HILOG_LEVEL=", 0) != 0) {
            environment.emplace_back(*entry);
        }
    }
    std::vector<char*> envp;
    envp.reserve(environment.size() + 1);
    for (auto& entry : environment) {
        envp.push_back(entry.data());
    }
    envp.push_back(nullptr);
    std::vector<std::string> args{binary, "--socket", socket, "--policy", policy};
    std::vector<char*> argv;
    argv.reserve(args.size() + 1);
    for (auto& arg : args) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        execve(binary.c_str(), argv.data(), envp.data());
        _exit(127);
    }
    for (int i = 0; i < 500; ++i) { // up to 5 s for the socket to appear
        struct stat st {};
        if (stat(socket.c_str(), &st) == 0) {
            return pid;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return -1;
}

} // namespace

int main(int argc, char** argv)
{
#ifdef NAVINFO_SERVICE_BINARY
    std::string binary = argc > 1 ? argv[1] : NAVINFO_SERVICE_BINARY;
#else
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s DAEMON_BINARY\n", argv[0]);
        return 2;
    }
    std::string binary = argv[1];
#endif
    const size_t bundles = EnvCount("BUNDLES", 3000);
    const size_t live = EnvCount("LIVE", 48);
    char dirTemplate[] = "/tmp/navinfo-bench-release-XXXXXX";
    if (mkdtemp(dirTemplate) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    const std::string dir = dirTemplate;
    const std::string socket = dir + "/navinfo.sock";
    pid_t daemon = StartDaemon(binary, dir, socket);
    if (daemon < 0) {
        std::fprintf(stderr, "the daemon did not start\n");
        return 1;
    }
    const double rssAtStart = ProcStatusMiB(daemon, "VmRSS");

    // 1. Ever-new bundles that publish and go.
    const bool sayUnavailable = EnvCount("SAY_UNAVAILABLE", 0) != 0;
    const NavigationStatus status = LargeStatus(1, sayUnavailable ? MAP_STATUS_UNAVAILABLE : 1);
    const NavigationMetadata metadata = LargeMetadata();
    size_t refused = 0;
    auto goneStart = Clock::now();
    for (size_t i = 0; i < bundles; ++i) {
        auto publisher = Client(socket, "bench.gone." + std::to_string(i));
        refused += publisher->UpdateNavigationStatus(status) != 0 ? 1 : 0;
        refused += publisher->UpdateNavigationMetadata(metadata) != 0 ? 1 : 0;
    } // each connection closes here: its bundle is gone
    const double goneSeconds = std::chrono::duration<double>(Clock::now() - goneStart).count();
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // the last closes reach the daemon
    const double rssAfterGone = ProcStatusMiB(daemon, "VmRSS");
    const double peakAfterGone = ProcStatusMiB(daemon, "VmHWM");

    // 2. A full store, read while it is dumped.
    std::vector<std::unique_ptr<RemoteTransport>> publishers;
    for (size_t i = 0; i < live; ++i) {
        publishers.push_back(Client(socket, "bench.live." + std::to_string(i)));
        refused += publishers.back()->UpdateNavigationStatus(LargeStatus(static_cast<int32_t>(i))) != 0 ? 1 : 0;
        refused += publishers.back()->UpdateNavigationMetadata(metadata) != 0 ? 1 : 0;
    }
    auto small = Client(socket, "bench.small");
    NavigationStatus smallStatus;
    smallStatus.status = 1;
    refused += small->UpdateNavigationStatus(smallStatus) != 0 ? 1 : 0;
    auto reader = Client(socket, "bench.reader");
    TimeReads(*reader, "bench.small", 200); // warm up
    const auto alone = TimeReads(*reader, "bench.small", 3000);

    auto dumper = Client(socket, "bench.dump");
    std::atomic<bool> dumping{true};
    std::vector<long long> dumpTimes;
    size_t dumpRecords = 0;
    bool dumpTruncated = false;
    std::thread dumps([&] {
        while (dumping.load()) {
            ServiceSnapshot snapshot;
            auto start = Clock::now();
            if (dumper->InspectService(snapshot) != 0) {
                continue;
            }
            dumpTimes.push_back(std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count());
            dumpRecords = snapshot.statuses.size() + snapshot.metadata.size();
            dumpTruncated = snapshot.truncated;
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const auto duringDump = TimeReads(*reader, "bench.small", 3000);
    dumping = false;
    dumps.join();
    const double rssFull = ProcStatusMiB(daemon, "VmRSS");
    const double peakFull = ProcStatusMiB(daemon, "VmHWM");

    dumper.reset();
    reader.reset();
    small.reset();
    publishers.clear();
    kill(daemon, SIGTERM);
    waitpid(daemon, nullptr, 0);
    std::remove((dir + "/policy.json").c_str());
    rmdir(dir.c_str());

    std::printf(
        "{\"benchmark\":\"release\",\"saidUnavailable\":%s,\"goneBundles\":%zu,\"refused\":%zu,\"goneSeconds\":%.1f,"
        "\"rssAtStartMiB\":%.1f,\"rssAfterGoneMiB\":%.1f,\"peakAfterGoneMiB\":%.1f,"
        "\"liveBundles\":%zu,\"rssFullStoreMiB\":%.1f,\"peakFullStoreMiB\":%.1f,"
        "\"readAloneUs\":{\"p50\":%lld,\"p99\":%lld,\"max\":%lld},"
        "\"readDuringDumpUs\":{\"p50\":%lld,\"p99\":%lld,\"max\":%lld},"
        "\"dumps\":%zu,\"dumpUs\":{\"p50\":%lld,\"p99\":%lld},\"dumpRecords\":%zu,\"dumpTruncated\":%s}\n",
        sayUnavailable ? "true" : "false", bundles, refused, goneSeconds, rssAtStart, rssAfterGone, peakAfterGone, live,
        rssFull, peakFull, Percentile(alone, 0.5), Percentile(alone, 0.99), Percentile(alone, 1.0),
        Percentile(duringDump, 0.5), Percentile(duringDump, 0.99), Percentile(duringDump, 1.0), dumpTimes.size(),
        Percentile(dumpTimes, 0.5), Percentile(dumpTimes, 0.99), dumpRecords, dumpTruncated ? "true" : "false");
    return 0;
}
