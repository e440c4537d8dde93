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

namespace OHOS {
namespace {

using namespace IpcTest;

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

// The permission bits of a socket at path, or -1 when there is none.
int SocketMode(const std::string& path)
{
    struct stat st {};
    return lstat(path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode) ? static_cast<int>(st.st_mode & 07777) : -1;
}

// Connects and closes again; false when no server answered.
bool Answers(const std::string& path)
{
    sptr<IRemoteObject> root = IpcConnect(path);
    if (root != nullptr) {
        IpcConnectionOf(root)->Close();
    }
    return root != nullptr;
}

TEST(ServerSocket, FileModeIsRestrictiveByDefaultConfigurableAndRemovedOnStop)
{
    TempDir dir;
    const struct {
        int mode; // -1: not set
        int expected;
    } cases[] = {{-1, 0600}, {0660, 0660}, {0666, 0666}};
    const mode_t oldMask = umask(0); // the requested mode must not depend on the umask
    for (const auto& c : cases) {
        SCOPED_TRACE(c.expected);
        std::string path = dir.File("mode.sock");
        IpcServer server;
        IpcServerOptions options;
        if (c.mode >= 0) {
            options.socketMode = c.mode;
        }
        ASSERT_EQ(server.Start(path, MakeRoot(), options), IPC_OK);
        EXPECT_EQ(SocketMode(path), c.expected);
        server.Stop();
        EXPECT_EQ(SocketMode(path), -1) << "socket file left behind";
    }
    umask(oldMask);
    IpcServer server;
    IpcServerOptions options;
    options.socketMode = 04600;
    EXPECT_EQ(server.Start(dir.File("s.sock"), MakeRoot(), options), IPC_ERR_INVALID_DATA) << "beyond permission bits";
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
    ASSERT_NE(SocketMode(path), -1);
    IpcServer server;
    ASSERT_EQ(server.Start(path, MakeRoot()), IPC_OK);
    EXPECT_TRUE(Answers(path));
}

TEST(ServerSocket, LiveServerOrOtherFileAtThePathIsLeftAloneAndAServerStartsOnce)
{
    TempDir dir;
    std::string path = dir.File("live.sock");
    IpcServer first;
    ASSERT_EQ(first.Start(path, MakeRoot()), IPC_OK);
    EXPECT_EQ(first.Start(dir.File("b.sock"), MakeRoot()), IPC_ERR_INVALID_DATA) << "started twice";
    IpcServer second;
    EXPECT_EQ(second.Start(path, MakeRoot()), IPC_ERR_BUSY);
    second.Stop();
    EXPECT_NE(SocketMode(path), -1) << "a failed start removed the live server's socket";
    EXPECT_TRUE(Answers(path)) << "the first still answers";

    std::string plain = dir.File("plain");
    std::ofstream(plain) << "keep me";
    IpcServer third;
    EXPECT_EQ(third.Start(plain, MakeRoot()), IPC_ERR_INVALID_DATA);
    std::ifstream in(plain);
    std::string content;
    std::getline(in, content);
    EXPECT_EQ(content, "keep me");
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
    int fd = RawConnect(path);
    ASSERT_GE(fd, 0);
    std::vector<uint8_t> bytes = HelloFrame();
    for (uint64_t id = 1; id <= 8; ++id) {
        bytes = Join({bytes, Frame(IpcWire::FrameType::TRANSACTION, id, 0, kBig)});
    }
    ASSERT_TRUE(SendAll(fd, bytes));
    ASSERT_TRUE(WaitFor([&] { return server.GetConnectionCount() == 2; }));

    EXPECT_EQ(Send(good, 0), IPC_OK);
    EXPECT_TRUE(WaitFor([&] { return server.GetConnectionCount() == 1; }, 5000)) << "stalled peer kept";
    MessageParcel reply;
    EXPECT_EQ(Send(good, kBig, reply), IPC_OK);
    EXPECT_EQ(reply.GetDataSize(), kBigReply);
    close(fd);
    IpcConnectionOf(good)->Close();
}

} // namespace
} // namespace OHOS
