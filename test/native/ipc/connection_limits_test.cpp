// What one peer may hold of a server: its uid's share of the connections,
// how long it may leave a frame unfinished, and how long it may stay silent
// while holding nothing. (Another uid getting in while one uid holds its
// whole share is shown through the daemon, in daemon_admission_test.cpp.)
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <future>

#include "hilog/log_control.h"
#include "transport_fixture.h"

namespace OHOS {
namespace {

using namespace IpcTest;
using IpcWire::FrameType;
using Clock = std::chrono::steady_clock;
using ConnectionLimitsTest = TransportFixture;

// Counts log lines that contain a text, while it lives.
class LogCounter {
public:
    explicit LogCounter(std::string text) : text_(std::move(text))
    {
        HiviewDFX::SetLogSink([this](const HiviewDFX::LogRecord& record) {
            if (record.message.find(text_) != std::string::npos) {
                std::lock_guard<std::mutex> lock(mutex_);
                lines_.push_back(record.message);
            }
        });
    }
    ~LogCounter() { HiviewDFX::SetLogSink(nullptr); }
    std::vector<std::string> Lines()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return lines_;
    }

private:
    const std::string text_;
    std::mutex mutex_;
    std::vector<std::string> lines_;
};

long long MillisSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

TEST_F(ConnectionLimitsTest, AUidsShareCountsFromAcceptIsFreedOnCloseAndItsRefusalsAreLoggedOnceASecond)
{
    IpcServerOptions options;
    options.maxConnectionsPerUid = 3;
    options.handshakeTimeoutMs = 10000;
    StartServer(std::move(options));
    std::vector<int> held;
    for (int i = 0; i < 2; ++i) {
        held.push_back(RawConnect(path_));
        ASSERT_EQ(RawHello(held.back(), HelloFrame()), HelloResult::ACCEPTED);
    }
    held.push_back(RawConnect(path_)); // never says HELLO: counts all the same
    ASSERT_TRUE(WaitFor([&] { return server_.GetConnectionCount() == 3; }));

    LogCounter refusals("refused: too many connections of this uid");
    for (int i = 0; i < 20; ++i) {
        int fd = RawConnect(path_);
        ASSERT_GE(fd, 0);
        EXPECT_EQ(RawHello(fd, HelloFrame()), HelloResult::NO_ANSWER) << "attempt " << i;
        close(fd);
    }
    std::vector<std::string> lines = refusals.Lines();
    EXPECT_GE(lines.size(), 1u);
    EXPECT_LE(lines.size(), 2u) << "20 refusals in well under two seconds";

    close(held.back()); // the silent one goes
    held.pop_back();
    ASSERT_TRUE(WaitFor([&] { return server_.GetConnectionCount() == 2; }));
    held.push_back(RawConnect(path_));
    EXPECT_EQ(RawHello(held.back(), HelloFrame()), HelloResult::ACCEPTED) << "its place is free again";
    for (int fd : held) {
        close(fd);
    }
}

TEST_F(ConnectionLimitsTest, AFrameLeftUnfinishedIsDroppedAfterTheReadTimeOut)
{
    constexpr int kFrameTimeoutMs = 300;
    IpcServerOptions options;
    options.frameTimeoutMs = kFrameTimeoutMs;
    StartServer(std::move(options));
    const std::vector<uint8_t> ping = Frame(FrameType::TRANSACTION, 1, 0, ECHO, std::vector<uint8_t>(4096, 0));
    const struct {
        const char* name;
        size_t firstPart; // bytes sent at once
        int pauseMs;      // then, after this pause, the rest (-1: never)
        bool closed;
        size_t dripBytes; // or: then this many bytes after each pause, for 3 time-outs
    } cases[] = {
        {"half a header, then nothing", kFrameHeaderSize / 2, -1, true, 0},
        {"the header and half the payload, then nothing", kFrameHeaderSize + 2048, -1, true, 0},
        {"the rest comes in time", kFrameHeaderSize + 2048, kFrameTimeoutMs / 3, false, 0},
        // Each chunk comes well within the time-out, the frame never: the
        // time-out counts from the frame's first bytes, not from the last chunk.
        {"the rest drips in, 4 bytes at a time", kFrameHeaderSize, kFrameTimeoutMs / 6, true, 4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        int fd = RawConnect(path_);
        ASSERT_EQ(RawHello(fd, HelloFrame()), HelloResult::ACCEPTED);
        const auto start = Clock::now();
        ASSERT_TRUE(SendAll(fd, std::vector<uint8_t>(ping.begin(), ping.begin() + c.firstPart)));
        if (c.dripBytes > 0) {
            size_t sent = c.firstPart;
            bool closed = false;
            while (!closed && MillisSince(start) < 3 * kFrameTimeoutMs) {
                ASSERT_LT(sent + c.dripBytes, ping.size()) << "the frame must stay unfinished";
                const auto from = ping.begin() + static_cast<std::ptrdiff_t>(sent);
                SendAll(fd, std::vector<uint8_t>(from, from + static_cast<std::ptrdiff_t>(c.dripBytes)));
                sent += c.dripBytes;
                closed = PeerClosesWithin(fd, c.pauseMs);
            }
            EXPECT_TRUE(closed) << "closed while the bytes still came";
        } else if (c.pauseMs >= 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(c.pauseMs));
            ASSERT_TRUE(SendAll(fd, std::vector<uint8_t>(ping.begin() + c.firstPart, ping.end())));
            std::vector<IpcWire::Frame> reply = ReadFrames(fd, 1);
            ASSERT_EQ(reply.size(), 1u);
            EXPECT_EQ(reply[0].header.transactionId, 1u) << "served";
        }
        EXPECT_EQ(PeerClosesWithin(fd, 3 * kFrameTimeoutMs), c.closed);
        if (c.closed) {
            EXPECT_GE(MillisSince(start), kFrameTimeoutMs * 9 / 10) << "closed by the time-out, not at once";
        }
        close(fd);
    }
    EXPECT_TRUE(WaitFor([&] { return server_.GetConnectionCount() == 0; }));
}

TEST_F(ConnectionLimitsTest, ASilentConnectionIsClosedOnlyWhenItHoldsNothing)
{
    constexpr int kIdleMs = 200;
    IpcServerOptions options;
    options.idleTimeoutMs = kIdleMs;
    StartServer(std::move(options));
    sptr<IRemoteObject> callback = new FnStub(
        [](uint32_t, MessageParcel&, MessageParcel&, MessageOption&) { return 0; });
    std::future<int> blocked;
    const struct {
        const char* name;
        std::function<void(const sptr<IRemoteObject>& root)> act; // runs for 4 idle periods
        bool closed;
    } cases[] = {
        {"holds nothing, says nothing", [](const sptr<IRemoteObject>&) {}, true},
        {"holds nothing, calls now and then",
            [](const sptr<IRemoteObject>& root) {
                for (int i = 0; i < 8; ++i) {
                    EXPECT_EQ(Ping(root), IPC_OK);
                    std::this_thread::sleep_for(std::chrono::milliseconds(kIdleMs / 2));
                }
            },
            false},
        {"the server keeps an object of the client",
            [&](const sptr<IRemoteObject>& root) {
                EXPECT_EQ(Send(root, KEEP, [&](MessageParcel& p) { p.WriteRemoteObject(callback); }), IPC_OK);
            },
            false},
        {"a call of the client is in progress",
            [&](const sptr<IRemoteObject>& root) {
                blocked = std::async(std::launch::async, [root] {
                    MessageParcel reply;
                    return Send(root, BLOCK, reply);
                });
                EXPECT_TRUE(WaitBlocked());
            },
            false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        sptr<IRemoteObject> root = Connect();
        ASSERT_NE(root, nullptr);
        const auto start = Clock::now();
        c.act(root);
        std::this_thread::sleep_for(std::chrono::milliseconds(std::max(0LL, 4 * kIdleMs - MillisSince(start))));
        EXPECT_EQ(!IpcConnectionOf(root)->IsAlive(), c.closed);
        if (!c.closed) {
            EXPECT_EQ(Ping(root), IPC_OK);
        }
        if (blocked.valid()) {
            Unblock();
            EXPECT_EQ(blocked.get(), IPC_OK);
        }
        IpcConnectionOf(root)->Close();
        std::vector<sptr<IRemoteObject>> dropped; // released outside the lock
        std::lock_guard<std::mutex> lock(mutex_);
        dropped.swap(kept_);
    }
}

} // namespace
} // namespace OHOS
