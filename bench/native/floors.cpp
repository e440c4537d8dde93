// What the machine can do, measured in C++ for the benchmarks to compare
// against in the same run:
//  - a round trip of a 64-byte message between two processes over a
//    connected Unix stream socket (ping-pong);
//  - the start of a detached thread: from before its creation to its first
//    instruction;
//  - detached threads started per second while up to 64 run at a time (the
//    ceiling of anything that starts one thread per call, such as the
//    hand-off of a request, with 64 calls in flight).
// Prints one JSON line: p50 and p99 of each, in nanoseconds, and the rate.
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
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "percentile.h"

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
        ssize_t n = send ? write(fd, buffer + done, MESSAGE_BYTES - done)
                         : read(fd, buffer + done, MESSAGE_BYTES - done);
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

// What a detached thread shares with the thread that waits for it. Each
// holds it by a shared pointer: a detached thread may still be inside the
// unlock of the mutex when the waiter, woken, has already gone on.
struct Rendezvous {
    std::mutex mutex;
    std::condition_variable changed;
    bool done = false;
    long long elapsed = 0;
    int alive = 0;
};

// Starts of detached threads, each timed by the thread itself; the next one
// starts when the previous one has run.
std::vector<long long> ThreadStarts(int samples)
{
    std::vector<long long> times;
    for (int i = 0; i < WARM_UP + samples; ++i) {
        auto shared = std::make_shared<Rendezvous>();
        auto start = Clock::now();
        std::thread([shared, start] {
            long long ns = Ns(Clock::now() - start);
            std::lock_guard<std::mutex> lock(shared->mutex);
            shared->elapsed = ns;
            shared->done = true;
            shared->changed.notify_one();
        }).detach();
        std::unique_lock<std::mutex> lock(shared->mutex);
        shared->changed.wait(lock, [&] { return shared->done; });
        if (i >= WARM_UP) {
            times.push_back(shared->elapsed);
        }
    }
    return times;
}

// Detached threads that do nothing but count themselves, kept at most
// IN_FLIGHT alive: starts per second.
long long ThreadStartsPerSecond(int starts)
{
    constexpr int IN_FLIGHT = 64;
    auto shared = std::make_shared<Rendezvous>();
    auto begin = Clock::now();
    for (int i = 0; i < starts; ++i) {
        std::unique_lock<std::mutex> lock(shared->mutex);
        shared->changed.wait(lock, [&] { return shared->alive < IN_FLIGHT; });
        ++shared->alive;
        lock.unlock();
        std::thread([shared] {
            std::lock_guard<std::mutex> done(shared->mutex);
            --shared->alive;
            shared->changed.notify_all();
        }).detach();
    }
    std::unique_lock<std::mutex> lock(shared->mutex);
    shared->changed.wait(lock, [&] { return shared->alive == 0; });
    long long ns = Ns(Clock::now() - begin);
    return ns > 0 ? static_cast<long long>(starts * 1e9 / static_cast<double>(ns)) : -1;
}

} // namespace

int main(int argc, char** argv)
{
    int samples = argc > 1 ? std::max(1, std::atoi(argv[1])) : 2000;
    std::vector<long long> roundTrips = SocketRoundTrips(samples);
    std::vector<long long> starts = ThreadStarts(samples);
    long long startsPerSecond = ThreadStartsPerSecond(10 * samples);
    std::printf("{\"samples\":%d,\"socketRoundTripNs\":{\"p50\":%lld,\"p99\":%lld},"
                "\"threadStartNs\":{\"p50\":%lld,\"p99\":%lld},\"threadStartsPerSecond\":%lld}\n",
        samples, Percentile(roundTrips, 0.5), Percentile(roundTrips, 0.99), Percentile(starts, 0.5),
        Percentile(starts, 0.99), startsPerSecond);
    return roundTrips.empty() || starts.empty() ? 1 : 0;
}
