// libFuzzer target for a live connection: the handshake parser and the frame
// handling (transactions, one-way calls, replies, releases and the object
// tables) of one end of a socket pair, fed with the input as the peer's bytes.
//
// The first byte picks the set-up: bit 0 the role (server or client), bit 1
// whether a valid handshake comes first so that the rest reaches the frames
// of an open connection. Then the peer's side is shut for writing, its
// answers are drained until the connection closes, and the connection is
// closed and released. ASan and UBSan catch memory and arithmetic faults; a
// connection that never ends hangs and is reported by -timeout.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ipc_connection.h"
#include "ipc_errors.h"
#include "ipc_object_stub.h"
#include "ipc_thread_pool.h"
#include "ipc_wire.h"
#include "message_parcel.h"
#include "parcel.h"

namespace {

using namespace OHOS;

// The server's root: answers with data, hands objects back, makes new ones.
class FuzzRoot : public IPCObjectStub {
public:
    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption&) override
    {
        switch (code % 3) {
            case 0: {
                std::string text;
                data.ReadString(text);
                return reply.WriteString(text) ? IPC_OK : IPC_ERR_NO_MEMORY;
            }
            case 1: {
                sptr<IRemoteObject> object = data.ReadRemoteObject();
                return object != nullptr && reply.WriteRemoteObject(object) ? IPC_OK : IPC_ERR_INVALID_DATA;
            }
            default: return reply.WriteRemoteObject(new FuzzRoot()) ? IPC_OK : IPC_ERR_NO_MEMORY;
        }
    }
};

std::vector<uint8_t> FrameBytes(IpcWire::FrameType type, uint32_t code, const Parcel& payload)
{
    IpcWire::FrameHeader header;
    header.type = type;
    header.code = code;
    std::vector<uint8_t> out;
    IpcWire::EncodeFrame(header, payload.GetData(), payload.GetDataSize(), {}, out);
    return out;
}

std::vector<uint8_t> Handshake(IpcConnection::Role role)
{
    Parcel hello;
    if (role == IpcConnection::Role::SERVER) {
        hello.WriteString("com.example.fuzz");
        hello.WriteString("");
        return FrameBytes(IpcWire::FrameType::HELLO, 0, hello);
    }
    return FrameBytes(IpcWire::FrameType::HELLO_ACK, 0, hello);
}

// Writes bytes to fd while reading (and dropping) what comes back, then
// shuts the writing side and reads until the other end has closed.
void Exchange(int fd, const std::vector<uint8_t>& bytes)
{
    size_t sent = 0;
    bool writing = true;
    uint8_t sink[64 * 1024];
    for (;;) {
        if (writing && sent == bytes.size()) {
            shutdown(fd, SHUT_WR);
            writing = false;
        }
        struct pollfd pfd {
            fd, static_cast<short>(POLLIN | (writing ? POLLOUT : 0)), 0
        };
        if (poll(&pfd, 1, 10000) <= 0) {
            return; // the connection stopped reading and never closed: -timeout reports it
        }
        if ((pfd.revents & POLLOUT) != 0) {
            ssize_t n = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (n > 0) {
                sent += static_cast<size_t>(n);
            } else if (n < 0 && errno != EAGAIN && errno != EINTR) {
                writing = false; // the connection closed first
                shutdown(fd, SHUT_WR);
            }
        }
        if ((pfd.revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
            ssize_t n = recv(fd, sink, sizeof(sink), MSG_DONTWAIT);
            if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) {
                return;
            }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::shared_ptr<IpcThreadPool> pool = IpcThreadPool::Create(2, "fuzz");
    static const sptr<IRemoteObject> root = new FuzzRoot();
    if (size == 0 || pool == nullptr) {
        return 0;
    }
    const uint8_t setup = data[0];
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
        return 0;
    }
    IpcConnection::Options options;
    options.role = (setup & 1) != 0 ? IpcConnection::Role::CLIENT : IpcConnection::Role::SERVER;
    options.pool = pool;
    options.sendTimeoutMs = 200;
    if (options.role == IpcConnection::Role::SERVER) {
        options.root = root;
        options.authenticator = [](IpcConnection&, const IpcHelloInfo& hello) {
            return hello.bundleName.empty() ? IPC_ERR_PERMISSION : IPC_OK;
        };
    }
    std::vector<uint8_t> bytes;
    if ((setup & 2) != 0) {
        bytes = Handshake(options.role);
    }
    bytes.insert(bytes.end(), data + 1, data + size);
    std::shared_ptr<IpcConnection> connection = IpcConnection::Create(fds[0], std::move(options));
    if (connection != nullptr) {
        Exchange(fds[1], bytes);
        connection->Close();
    }
    close(fds[1]);
    return 0;
}
