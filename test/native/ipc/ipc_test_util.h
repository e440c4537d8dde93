// Helpers of the transport tests: a temporary directory for sockets, a stub
// whose behaviour is a lambda, calls in one line, raw frames and sockets.
#ifndef TEST_NATIVE_IPC_IPC_TEST_UTIL_H
#define TEST_NATIVE_IPC_IPC_TEST_UTIL_H

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

#include "ipc_object_stub.h"
#include "ipc_wire.h"
#include "message_parcel.h"

namespace OHOS::IpcTest {

// A fresh directory under /tmp, removed with its contents at the end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    const std::string& Path() const { return path_; } // empty if it could not be made
    std::string File(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

class FnStub : public IPCObjectStub {
public:
    using Fn = std::function<int(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option)>;
    explicit FnStub(Fn fn, std::atomic<bool>* destroyed = nullptr) : fn_(std::move(fn)), destroyed_(destroyed) {}
    ~FnStub() override
    {
        if (destroyed_ != nullptr) {
            *destroyed_ = true;
        }
    }
    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override
    {
        return fn_(code, data, reply, option);
    }

private:
    Fn fn_;
    std::atomic<bool>* destroyed_;
};

using Fill = std::function<void(MessageParcel&)>;

// Sends code to target with the data that fill writes; the reply lands in reply.
inline int Send(const sptr<IRemoteObject>& target, uint32_t code, MessageParcel& reply, const Fill& fill = nullptr,
    MessageOption option = MessageOption())
{
    MessageParcel data;
    if (fill) {
        fill(data);
    }
    return target->SendRequest(code, data, reply, option);
}

inline int Send(const sptr<IRemoteObject>& target, uint32_t code, const Fill& fill = nullptr)
{
    MessageParcel reply;
    return Send(target, code, reply, fill);
}

// Polls condition every few milliseconds until it holds or timeoutMs passes.
inline bool WaitFor(const std::function<bool()>& condition, int timeoutMs = 3000)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

// A raw client socket connected to path, or -1.
int RawConnect(const std::string& path);
// Writes all of bytes to a raw socket.
bool SendAll(int fd, const std::vector<uint8_t>& bytes);
// True when the peer closes the raw socket within timeoutMs (reads until EOF).
bool PeerClosesWithin(int fd, int timeoutMs);
// Reads frames from a raw socket until count arrived, the peer closed or 3 s passed.
std::vector<IpcWire::Frame> ReadFrames(int fd, size_t count);

// What a raw client's HELLO got.
enum class HelloResult { ACCEPTED, REFUSED, NO_ANSWER, NO_CONNECTION, NOT_SWITCHED };
// Sends hello (the bytes of a HELLO frame) on a raw socket and reads the
// answer for up to timeoutMs. Only system calls: safe in a forked child.
HelloResult RawHello(int fd, const std::vector<uint8_t>& hello, int timeoutMs = 3000);
// RawHello from a child process that connects to path as uid/gid (the
// caller must be root). NOT_SWITCHED when the child could not become uid.
HelloResult HelloAsUid(const std::string& path, uid_t uid, gid_t gid, const std::vector<uint8_t>& hello);

// The bytes of frames.
std::vector<uint8_t> Frame(IpcWire::FrameType type, uint64_t id, uint32_t handle, uint32_t code,
    std::vector<uint8_t> payload = {}, const std::vector<IpcWire::WireObject>& objects = {});
std::vector<uint8_t> HelloFrame(const std::string& bundleName = "raw", const std::string& token = "");
std::vector<uint8_t> Join(const std::vector<std::vector<uint8_t>>& parts);

} // namespace OHOS::IpcTest

#endif // TEST_NATIVE_IPC_IPC_TEST_UTIL_H
