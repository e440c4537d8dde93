// The floor of a delivery's processes, without a daemon's or a bridge's
// work: the same processes, sockets and waits as a status from a publisher
// to a follower through one daemon and through two bridged daemons, each
// process doing nothing but pass the message on.
//  - through one: publisher P -> daemon D -> follower F (Unix stream
//    sockets); D answers P as well, as a daemon answers the publish;
//  - bridged: P -> daemon A -> daemon B -> follower F: A passes it to B as
//    one datagram over loopback UDP (as the bridge sends one sample) and
//    answers P; B passes it to F.
// And the same for a query's round trip, from the asking follower R to the
// answering navigation process N and back:
//  - through one: R -> D -> N -> D -> R;
//  - bridged: R -> B -> (UDP) -> A -> N -> A -> (UDP) -> B -> R.
// Each process waits for input in poll and reads without blocking, as the
// daemon's and the client's readers do. P stamps the monotonic clock into
// the message, waits for D's or A's answer, and F tells P through a pipe
// what it measured when it read the message: from P's stamp to F's read. R
// times its round trip itself. The four paths take turns, one delivery at
// a time, PAUSE_US apart, so all are timed under the same placements of the
// processes on the CPUs.
// Prints one JSON line: p50 and p99 of each path in nanoseconds, and the
// p50s of what the second daemon adds.
//
//   navinfo_bench_relay_floor [SAMPLES [PAUSE_US]]   (default 2000 after 200 warm-up rounds, 200 us)
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "percentile.h"

namespace {

constexpr int WARM_UP = 200;
// About a status frame on the Unix sockets and a status sample on the wire.
constexpr size_t FRAME_BYTES = 64;
constexpr size_t DATAGRAM_BYTES = 248;
// The stamp that tells every process of a path to end.
constexpr long long STOP = -1;

long long NowNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

// Waits for input, then reads what is there without blocking; size bytes in
// all for a stream, one datagram otherwise. False at end or on error.
bool Receive(int fd, char* buffer, size_t size, bool stream)
{
    size_t done = 0;
    while (done < size) {
        pollfd pfd{fd, POLLIN, 0};
        if (poll(&pfd, 1, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        ssize_t n = recv(fd, buffer + done, size - done, MSG_DONTWAIT);
        if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        if (!stream) {
            return true;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

bool SendAll(int fd, const char* buffer, size_t size)
{
    size_t done = 0;
    while (done < size) {
        ssize_t n = send(fd, buffer + done, size - done, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

long long StampOf(const char* buffer)
{
    long long stamp = 0;
    std::memcpy(&stamp, buffer, sizeof(stamp));
    return stamp;
}

// A daemon: reads from the publisher's stream (or, for B, a datagram),
// passes the message on (a stream frame or a datagram to `to`), and answers
// the publisher when it came from one.
void Relay(int in, bool fromPublisher, int out, const sockaddr_in* to)
{
    char buffer[DATAGRAM_BYTES] = {};
    for (;;) {
        if (!Receive(in, buffer, fromPublisher ? FRAME_BYTES : DATAGRAM_BYTES, fromPublisher)) {
            return;
        }
        bool forwarded = to != nullptr ? sendto(out, buffer, DATAGRAM_BYTES, 0, reinterpret_cast<const sockaddr*>(to),
                                             sizeof(*to)) == static_cast<ssize_t>(DATAGRAM_BYTES)
                                       : SendAll(out, buffer, FRAME_BYTES);
        if (!forwarded || (fromPublisher && !SendAll(in, buffer, FRAME_BYTES)) || StampOf(buffer) == STOP) {
            return;
        }
    }
}

// The follower: tells the publisher how long each message took to reach it.
void Follower(int in, int report)
{
    char buffer[FRAME_BYTES] = {};
    while (Receive(in, buffer, FRAME_BYTES, true)) {
        long long stamp = StampOf(buffer);
        long long elapsed = stamp == STOP ? STOP : NowNs() - stamp;
        if (write(report, &elapsed, sizeof(elapsed)) != static_cast<ssize_t>(sizeof(elapsed)) || stamp == STOP) {
            return;
        }
    }
}

template <typename Body>
pid_t Start(Body body)
{
    pid_t pid = fork();
    if (pid == 0) {
        body();
        _exit(0);
    }
    return pid;
}

// What the publisher holds of one path: the stream to its daemon and the
// pipe its follower reports on.
struct Path {
    int daemon = -1;
    int reports = -1;
};

// One delivery along a path; its time, or -1 when the path broke.
long long Deliver(const Path& path, long long stamp)
{
    char buffer[FRAME_BYTES] = {};
    std::memcpy(buffer, &stamp, sizeof(stamp));
    long long elapsed = -1;
    if (!SendAll(path.daemon, buffer, FRAME_BYTES) || !Receive(path.daemon, buffer, FRAME_BYTES, true) ||
        read(path.reports, &elapsed, sizeof(elapsed)) != static_cast<ssize_t>(sizeof(elapsed))) {
        return -1;
    }
    return elapsed;
}

bool StreamPair(int fds[2])
{
    return socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0;
}

// The path through one daemon: P -> D -> F.
bool StartLocal(Path& path, std::vector<pid_t>& children)
{
    int toDaemon[2];
    int toFollower[2];
    int reports[2];
    if (!StreamPair(toDaemon) || !StreamPair(toFollower) || pipe(reports) != 0) {
        return false;
    }
    children.push_back(Start([&] { Relay(toDaemon[1], true, toFollower[0], nullptr); }));
    children.push_back(Start([&] { Follower(toFollower[1], reports[1]); }));
    path.daemon = toDaemon[0];
    path.reports = reports[0];
    return true;
}

// A UDP socket on loopback, bound to a port of its own.
int BoundDatagramSocket(sockaddr_in& address)
{
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    address = sockaddr_in{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return -1;
    }
    return fd;
}

// The bridged path: P -> A -> (UDP) -> B -> F.
bool StartBridged(Path& path, std::vector<pid_t>& children)
{
    int toA[2];
    int toFollower[2];
    int reports[2];
    sockaddr_in address{};
    int sender = socket(AF_INET, SOCK_DGRAM, 0);
    int receiver = BoundDatagramSocket(address);
    if (!StreamPair(toA) || !StreamPair(toFollower) || pipe(reports) != 0 || sender < 0 || receiver < 0) {
        return false;
    }
    children.push_back(Start([&] { Relay(toA[1], true, sender, &address); }));
    children.push_back(Start([&] { Relay(receiver, false, toFollower[0], nullptr); }));
    children.push_back(Start([&] { Follower(toFollower[1], reports[1]); }));
    path.daemon = toA[0];
    path.reports = reports[0];
    return true;
}

// One end of a daemon in a query's path: a Unix stream socket or a UDP
// socket connected to the other daemon.
struct End {
    int fd = -1;
    bool stream = true;
};

bool Pass(const End& to, const char* buffer)
{
    return to.stream ? SendAll(to.fd, buffer, FRAME_BYTES)
                     : send(to.fd, buffer, DATAGRAM_BYTES, 0) == static_cast<ssize_t>(DATAGRAM_BYTES);
}

// A daemon between the asking side (left) and the answering side (right):
// passes what comes from either to the other; ends once an answer carrying
// the stop has gone back left.
void Switch(End left, End right)
{
    char buffer[DATAGRAM_BYTES] = {};
    for (;;) {
        pollfd waits[2] = {{left.fd, POLLIN, 0}, {right.fd, POLLIN, 0}};
        if (poll(waits, 2, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return;
        }
        for (int side = 0; side < 2; ++side) {
            if (waits[side].revents == 0) {
                continue;
            }
            const End& from = side == 0 ? left : right;
            const End& to = side == 0 ? right : left;
            if (!Receive(from.fd, buffer, from.stream ? FRAME_BYTES : DATAGRAM_BYTES, from.stream) ||
                !Pass(to, buffer) || (side == 1 && StampOf(buffer) == STOP)) {
                return;
            }
        }
    }
}

// The navigation process: answers every question with itself.
void Answerer(int fd)
{
    char buffer[FRAME_BYTES] = {};
    while (Receive(fd, buffer, FRAME_BYTES, true) && SendAll(fd, buffer, FRAME_BYTES) && StampOf(buffer) != STOP) {
    }
}

// One question and its answer from R; the round trip's time, or -1.
long long Ask(int daemon, long long stamp)
{
    char buffer[FRAME_BYTES] = {};
    std::memcpy(buffer, &stamp, sizeof(stamp));
    long long start = NowNs();
    if (!SendAll(daemon, buffer, FRAME_BYTES) || !Receive(daemon, buffer, FRAME_BYTES, true)) {
        return -1;
    }
    return NowNs() - start;
}

// The query through one daemon: R -> D -> N and back. Returns R's end.
int StartLocalQuery(std::vector<pid_t>& children)
{
    int toDaemon[2];
    int toAnswerer[2];
    if (!StreamPair(toDaemon) || !StreamPair(toAnswerer)) {
        return -1;
    }
    children.push_back(Start([&] { Switch(End{toDaemon[1], true}, End{toAnswerer[0], true}); }));
    children.push_back(Start([&] { Answerer(toAnswerer[1]); }));
    return toDaemon[0];
}

// The bridged query: R -> B -> A -> N and back. Returns R's end.
int StartBridgedQuery(std::vector<pid_t>& children)
{
    int toB[2];
    int toAnswerer[2];
    sockaddr_in atA{};
    sockaddr_in atB{};
    int udpA = BoundDatagramSocket(atA);
    int udpB = BoundDatagramSocket(atB);
    if (!StreamPair(toB) || !StreamPair(toAnswerer) || udpA < 0 || udpB < 0 ||
        connect(udpA, reinterpret_cast<sockaddr*>(&atB), sizeof(atB)) != 0 ||
        connect(udpB, reinterpret_cast<sockaddr*>(&atA), sizeof(atA)) != 0) {
        return -1;
    }
    children.push_back(Start([&] { Switch(End{toB[1], true}, End{udpB, false}); }));
    children.push_back(Start([&] { Switch(End{udpA, false}, End{toAnswerer[0], true}); }));
    children.push_back(Start([&] { Answerer(toAnswerer[1]); }));
    return toB[0];
}

} // namespace

// p50 and p99 of a path, as JSON.
std::string Figures(const std::vector<long long>& times)
{
    char text[96];
    std::snprintf(text, sizeof(text), "{\"p50\":%lld,\"p99\":%lld}", Percentile(times, 0.5), Percentile(times, 0.99));
    return text;
}

int main(int argc, char** argv)
{
    int samples = argc > 1 ? std::max(1, std::atoi(argv[1])) : 2000;
    int pauseUs = argc > 2 ? std::max(0, std::atoi(argv[2])) : 200;
    Path local;
    Path bridged;
    std::vector<pid_t> children;
    if (!StartLocal(local, children) || !StartBridged(bridged, children)) {
        std::perror("navinfo_bench_relay_floor");
        return 1;
    }
    int localQuery = StartLocalQuery(children);
    int bridgedQuery = StartBridgedQuery(children);
    if (localQuery < 0 || bridgedQuery < 0) {
        std::perror("navinfo_bench_relay_floor");
        return 1;
    }
    // Status through one, bridged status, query through one, bridged query.
    std::vector<long long> times[4];
    bool broken = false;
    for (int i = 0; i < WARM_UP + samples && !broken; ++i) {
        long long took[4] = {};
        for (int path = 0; path < 4 && !broken; ++path) {
            switch (path) {
                case 0: took[path] = Deliver(local, NowNs()); break;
                case 1: took[path] = Deliver(bridged, NowNs()); break;
                case 2: took[path] = Ask(localQuery, 0); break;
                default: took[path] = Ask(bridgedQuery, 0); break;
            }
            broken = took[path] < 0;
            usleep(static_cast<useconds_t>(pauseUs));
        }
        for (int path = 0; path < 4 && i >= WARM_UP && !broken; ++path) {
            times[path].push_back(took[path]);
        }
    }
    Deliver(local, STOP);
    Deliver(bridged, STOP);
    Ask(localQuery, STOP);
    Ask(bridgedQuery, STOP);
    for (pid_t child : children) {
        waitpid(child, nullptr, 0);
    }
    if (broken) {
        std::fprintf(stderr, "navinfo_bench_relay_floor: a path broke\n");
        return 1;
    }
    std::printf("{\"samples\":%d,\"pauseUs\":%d,\"statusThroughOneNs\":%s,\"statusBridgedNs\":%s,"
                "\"queryThroughOneNs\":%s,\"queryBridgedNs\":%s,\"statusSecondDaemonAddsNs\":%lld,"
                "\"querySecondDaemonAddsNs\":%lld}\n",
        samples, pauseUs, Figures(times[0]).c_str(), Figures(times[1]).c_str(), Figures(times[2]).c_str(),
        Figures(times[3]).c_str(), Percentile(times[1], 0.5) - Percentile(times[0], 0.5),
        Percentile(times[3], 0.5) - Percentile(times[2], 0.5));
    return 0;
}
