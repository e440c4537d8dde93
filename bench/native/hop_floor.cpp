// The cost of one more process on a path, as the DDS bridge adds one per
// crossing: a datagram over loopback UDP (as Cyclone sends one sample) to a
// process asleep in recvfrom, from the sender's stamp before sendto to the
// receiver's stamp after recvfrom returns. The sender stays on its CPU
// until the receiver has stamped, as a daemon does after its DDS write (it
// still answers its own client), so the receiver is woken on the other
// CPU or waits for this one: never the hand-over of a ping-pong, where the
// sender sleeps at once and the receiver takes its CPU (ddsperf's round
// trip). Between samples the sender sleeps PAUSE_US, and the receiver from
// its stamp to the next datagram: at the pace of the benchmark's deliveries
// (how long a CPU has idled can change how long it takes to wake: an idle
// virtual CPU may poll for a while before it halts).
// Prints one JSON line: p50 and p99 in nanoseconds.
//
//   navinfo_bench_hop_floor [SAMPLES [PAUSE_US]]   (default 2000 after 200 warm-up rounds, 200 us)
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

#include "percentile.h"

namespace {

constexpr int WARM_UP = 200;
// About a status sample on the wire.
constexpr size_t DATAGRAM_BYTES = 248;
// How long the sender waits for one stamp before it gives up the run.
constexpr long long GIVE_UP_NS = 1000LL * 1000 * 1000;

long long NowNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

// Written by the receiver, read by the sender: the sample received last and when.
struct Shared {
    std::atomic<long long> sample{-1};
    std::atomic<long long> stampNs{0};
};

[[noreturn]] void Receive(int fd, Shared* shared)
{
    char buffer[DATAGRAM_BYTES];
    for (;;) {
        long long sample = 0;
        ssize_t n = recvfrom(fd, buffer, sizeof(buffer), 0, nullptr, nullptr);
        long long stamp = NowNs();
        if (n < static_cast<ssize_t>(sizeof(sample))) {
            _exit(n == 0 ? 0 : 1);
        }
        std::copy(buffer, buffer + sizeof(sample), reinterpret_cast<char*>(&sample));
        if (sample < 0) {
            _exit(0);
        }
        shared->stampNs.store(stamp);
        shared->sample.store(sample);
    }
}

std::vector<long long> Hops(int samples, useconds_t pauseUs)
{
    void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        return {};
    }
    auto* shared = new (memory) Shared;
    int receiver = socket(AF_INET, SOCK_DGRAM, 0);
    int sender = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (receiver < 0 || sender < 0 || bind(receiver, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        getsockname(receiver, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return {};
    }
    pid_t child = fork();
    if (child == 0) {
        Receive(receiver, shared);
    }
    close(receiver);
    std::vector<long long> times;
    char datagram[DATAGRAM_BYTES] = {};
    for (long long i = 0; child > 0 && i < WARM_UP + samples; ++i) {
        std::copy(reinterpret_cast<const char*>(&i), reinterpret_cast<const char*>(&i) + sizeof(i), datagram);
        long long start = NowNs();
        if (sendto(sender, datagram, sizeof(datagram), 0, reinterpret_cast<sockaddr*>(&address), length) < 0) {
            break;
        }
        while (shared->sample.load() != i && NowNs() - start < GIVE_UP_NS) {
        }
        if (shared->sample.load() != i) {
            times.clear(); // a datagram lost on loopback: no figure rather than a wrong one
            break;
        }
        if (i >= WARM_UP) {
            times.push_back(shared->stampNs.load() - start);
        }
        usleep(pauseUs);
    }
    long long end = -1;
    std::copy(reinterpret_cast<const char*>(&end), reinterpret_cast<const char*>(&end) + sizeof(end), datagram);
    sendto(sender, datagram, sizeof(datagram), 0, reinterpret_cast<sockaddr*>(&address), length);
    close(sender);
    if (child > 0) {
        waitpid(child, nullptr, 0);
    }
    munmap(memory, sizeof(Shared));
    return times;
}

} // namespace

int main(int argc, char** argv)
{
    int samples = argc > 1 ? std::max(1, std::atoi(argv[1])) : 2000;
    auto pauseUs = static_cast<useconds_t>(argc > 2 ? std::max(0, std::atoi(argv[2])) : 200);
    std::vector<long long> hops = Hops(samples, pauseUs);
    std::printf("{\"samples\":%d,\"pauseUs\":%u,\"hopNs\":{\"p50\":%lld,\"p99\":%lld}}\n", samples, pauseUs,
        Percentile(hops, 0.5), Percentile(hops, 0.99));
    return hops.empty() ? 1 : 0;
}
