// What the machine can do, measured in C++ for the benchmarks to compare
// against in the same run:
//  - a round trip of a 64-byte message between two processes over a
//    connected Unix stream socket (ping-pong);
//  - the start of a detached thread: from before its creation to its first
//    instruction.
// Prints one JSON line: p50 and p99 of each, in nanoseconds.
//
//   navinfo_bench_floors [SAMPLES]   (default 2000, after 200 warm-up rounds)
#include <pthread.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

namespace {

constexpr int WARM_UP = 200;
constexpr size_t MESSAGE_BYTES = 64;

using Clock = std::chrono::steady_clock;

long long Ns(Clock::duration d)
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(d).count();
}

bool Transfer(int fd, char* buffer, bool send)
{
    size_t done = 0;
    while (done < MESSAGE_BYTES) {
        ssize_t n = send ? write(fd, buffer + done, MESSAGE_BYTES - done) : read(fd, buffer + done, MESSAGE_BYTES - done);
        if (n <= 0) {
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

// Round trips to a child process that echoes every message.
std::vector<long long> SocketRoundTrips(int samples)
{
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) {
        return {};
    }
    char buffer[MESSAGE_BYTES] = {7};
    pid_t child = fork();
    if (child == 0) {
        close(fds[0]);
        while (Transfer(fds[1], buffer, false) && Transfer(fds[1], buffer, true)) {
        }
        _exit(0);
    }
    close(fds[1]);
    std::vector<long long> times;
    for (int i = 0; child > 0 && i < WARM_UP + samples; ++i) {
        auto start = Clock::now();
        if (!Transfer(fds[0], buffer, true) || !Transfer(fds[0], buffer, false)) {
            break;
        }
        if (i >= WARM_UP) {
            times.push_back(Ns(Clock::now() - start));
        }
    }
    close(fds[0]);
    if (child > 0) {
        waitpid(child, nullptr, 0);
    }
    return times;
}

// Starts of detached threads, each timed by the thread itself; the next one
// starts when the previous one has run.
std::vector<long long> ThreadStarts(int samples)
{
    std::mutex mutex;
    std::condition_variable ran;
    std::vector<long long> times;
    for (int i = 0; i < WARM_UP + samples; ++i) {
        bool done = false;
        long long elapsed = 0;
        auto start = Clock::now();
        std::thread([&, start] {
            long long ns = Ns(Clock::now() - start);
            std::lock_guard<std::mutex> lock(mutex);
            elapsed = ns;
            done = true;
            ran.notify_one();
        }).detach();
        std::unique_lock<std::mutex> lock(mutex);
        ran.wait(lock, [&] { return done; });
        if (i >= WARM_UP) {
            times.push_back(elapsed);
        }
    }
    return times;
}

long long Percentile(std::vector<long long> values, double p)
{
    if (values.empty()) {
        return -1;
    }
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, static_cast<size_t>(p * values.size()))];
}

} // namespace

int main(int argc, char** argv)
{
    int samples = argc > 1 ? std::max(1, std::atoi(argv[1])) : 2000;
    std::vector<long long> roundTrips = SocketRoundTrips(samples);
    std::vector<long long> starts = ThreadStarts(samples);
    std::printf("{\"samples\":%d,\"socketRoundTripNs\":{\"p50\":%lld,\"p99\":%lld},"
        "\"threadStartNs\":{\"p50\":%lld,\"p99\":%lld}}\n",
        samples, Percentile(roundTrips, 0.5), Percentile(roundTrips, 0.99), Percentile(starts, 0.5),
        Percentile(starts, 0.99));
    return roundTrips.empty() || starts.empty() ? 1 : 0;
}
