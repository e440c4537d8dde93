// The client's answer to the daemon's keep-alive (nav_info_service_ipc.h):
// one responder per connection, handed to the daemon once the connection
// owns its bundle. Each KEEP_ALIVE is answered at once, on the IPC thread
// that received it, with a one-way SVC_KEEP_ALIVE_ANSWER of the same number:
// no application code runs and nothing waits, so a busy JavaScript thread
// never delays the answer; only a process whose IPC threads stop (SIGSTOP, a
// wedged process) leaves it unanswered.
//
// Threads: OnRemoteRequest on the connection's IPC threads.
#ifndef CLIENT_KEEP_ALIVE_RESPONDER_H
#define CLIENT_KEEP_ALIVE_RESPONDER_H

#include "ipc_object_stub.h"
#include "refbase.h"

namespace OHOS::NavigationInfoService {

class KeepAliveResponder : public IPCObjectStub {
public:
    // service: the daemon's root object on the same connection. Held weakly:
    // the connection's exports hold this responder.
    explicit KeepAliveResponder(const sptr<IRemoteObject>& service);

    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;

private:
    const wptr<IRemoteObject> service_;
};

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_KEEP_ALIVE_RESPONDER_H
