// Helpers of the transport tests: a temporary directory for sockets, a stub
// whose behaviour is a lambda, and waiting with a deadline.
#ifndef TEST_NATIVE_IPC_IPC_TEST_UTIL_H
#define TEST_NATIVE_IPC_IPC_TEST_UTIL_H

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "ipc_object_stub.h"
#include "message_parcel.h"

namespace OHOS::IpcTest {

// A fresh directory under /tmp, removed with its contents at the end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    const std::string& Path() const { return path_; }
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
// True when the peer closes the raw socket within timeoutMs (reads until EOF).
bool PeerClosesWithin(int fd, int timeoutMs);
// The bytes of a HELLO frame.
std::vector<uint8_t> HelloFrame(const std::string& bundleName = "raw", const std::string& token = "");

} // namespace OHOS::IpcTest

#endif // TEST_NATIVE_IPC_IPC_TEST_UTIL_H
