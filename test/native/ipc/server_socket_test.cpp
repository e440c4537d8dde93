// The server's socket file (permissions, stale and live sockets at the path,
// removal on stop) and its protection against peers that stop reading.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <fstream>

#include "ipc_client.h"
#include "ipc_errors.h"
#include "ipc_server.h"
#include "ipc_test_util.h"
#include "ipc_wire.h"

namespace OHOS {
namespace {

using IpcTest::FnStub;
using IpcTest::TempDir;
using IpcTest::WaitFor;

constexpr uint32_t kBig = 1;
constexpr size_t kBigReply = 256 * 1024;

sptr<IRemoteObject> MakeRoot()
{
    return new FnStub([](uint32_t code, MessageParcel&, MessageParcel& reply, MessageOption&) {
        if (code == kBig) {
            std::vector<uint8_t> block(kBigReply, 0x5A);
            reply.WriteBuffer(block.data(), block.size());
        }
        return IPC_OK;
    });
}

mode_t ModeOf(const std::string& path)
{
    struct stat st {};
    return lstat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

bool IsSocket(const std::string& path)
{
    struct stat st {};
    return lstat(path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode);
}

TEST(ServerSocket, FileModeIsRestrictiveByDefaultAndConfigurable)
{
    TempDir dir;
    struct Case {
        bool setMode;
        mode_t mode;
        mode_t expected;
    } cases[] = {{false, 0, 0600}, {true, 0660, 0660}, {true, 0666, 0666}};
    const mode_t oldMask = umask(0); // the requested mode must not depend on the umask
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected);
        std::string path = dir.File("mode.sock");
        IpcServer server;
        IpcServerOptions options;
        if (c.setMode) {
            options.socketMode = c.mode;
        }
        ASSERT_EQ(server.Start(path, MakeRoot(), options), IPC_OK);
        EXPECT_TRUE(IsSocket(path));
        EXPECT_EQ(ModeOf(path), c.expected);
        server.Stop();
        EXPECT_FALSE(IsSocket(path)) << "socket file left behind";
    }
    umask(oldMask);
}

TEST(ServerSocket, RefusesModesBeyondPermissionBits)
{
    TempDir dir;
    IpcServer server;
    IpcServerOptions options;
    options.socketMode = 04600;
    EXPECT_EQ(server.Start(dir.File("s.sock"), MakeRoot(), options), IPC_ERR_INVALID_DATA);
}

TEST(ServerSocket, StaleSocketIsReplaced)
{
    TempDir dir;
    std::string path = dir.File("stale.sock");
    // A socket file whose owner is gone: bound, never unlinked.
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    struct sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof(addr.sun_path) - 1);
    ASSERT_EQ(bind(fd, reinterpret_cast<struct sockaddr*>(&addr), sizeof(addr)), 0);
    close(fd);
    ASSERT_TRUE(IsSocket(path));

    IpcServer server;
    ASSERT_EQ(server.Start(path, MakeRoot()), IPC_OK);
    sptr<IRemoteObject> root = IpcConnect(path);
    ASSERT_NE(root, nullptr);
    IpcConnectionOf(root)->Close();
}

TEST(ServerSocket, LiveServerOrOtherFileAtThePathIsLeftAlone)
{
    TempDir dir;
    std::string path = dir.File("live.sock");
    IpcServer first;
    ASSERT_EQ(first.Start(path, MakeRoot()), IPC_OK);
    IpcServer second;
    EXPECT_EQ(second.Start(path, MakeRoot()), IPC_ERR_BUSY);
    sptr<IRemoteObject> root = IpcConnect(path); // the first still answers
    ASSERT_NE(root, nullptr);
    IpcConnectionOf(root)->Close();
    second.Stop();
    EXPECT_TRUE(IsSocket(path)) << "a failed start removed the live server's socket";

    std::string plain = dir.File("plain");
    std::ofstream(plain) << "keep me";
    IpcServer third;
    EXPECT_EQ(third.Start(plain, MakeRoot()), IPC_ERR_INVALID_DATA);
    std::ifstream in(plain);
    std::string content;
    std::getline(in, content);
    EXPECT_EQ(content, "keep me");
}

TEST(ServerSocket, StartTwiceIsRefused)
{
    TempDir dir;
    IpcServer server;
    ASSERT_EQ(server.Start(dir.File("a.sock"), MakeRoot()), IPC_OK);
    EXPECT_EQ(server.Start(dir.File("b.sock"), MakeRoot()), IPC_ERR_INVALID_DATA);
}

TEST(ServerSocket, PeerThatNeverReadsIsCutOffWhileOthersGoOn)
{
    TempDir dir;
    std::string path = dir.File("slow.sock");
    IpcServer server;
    IpcServerOptions options;
    options.sendTimeoutMs = 200;
    ASSERT_EQ(server.Start(path, MakeRoot(), options), IPC_OK);
    sptr<IRemoteObject> good = IpcConnect(path);
    ASSERT_NE(good, nullptr);

    // A raw peer asks for large replies and never reads them.
    int fd = IpcTest::RawConnect(path);
    ASSERT_GE(fd, 0);
    std::vector<uint8_t> bytes = IpcTest::HelloFrame();
    for (uint64_t id = 1; id <= 8; ++id) {
        IpcWire::FrameHeader h;
        h.type = IpcWire::FrameType::TRANSACTION;
        h.transactionId = id;
        h.code = kBig;
        std::vector<uint8_t> frame;
        ASSERT_TRUE(IpcWire::EncodeFrame(h, nullptr, 0, {}, frame));
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    ASSERT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    ASSERT_TRUE(WaitFor([&] { return server.GetConnectionCount() == 2; }));

    MessageParcel data;
    MessageParcel reply;
    MessageOption option;
    EXPECT_EQ(good->SendRequest(0, data, reply, option), IPC_OK);
    EXPECT_TRUE(WaitFor([&] { return server.GetConnectionCount() == 1; }, 5000)) << "stalled peer kept";
    EXPECT_EQ(good->SendRequest(kBig, data, reply, option), IPC_OK);
    EXPECT_EQ(reply.GetDataSize(), kBigReply);
    close(fd);
    IpcConnectionOf(good)->Close();
}

} // namespace
} // namespace OHOS
