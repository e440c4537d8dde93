// Status codes of the IPC layer. SendRequest returns either the status that
// the remote OnRemoteRequest returned or one of these transport failures.
#ifndef PLATFORM_IPC_IPC_ERRORS_H
#define PLATFORM_IPC_IPC_ERRORS_H

namespace OHOS {

enum IpcStatus : int {
    IPC_OK = 0,
    IPC_ERR_UNKNOWN_OBJECT = -2, // the target handle is not exported by the peer
    IPC_ERR_TOO_MANY = -7,       // a per-connection or per-parcel limit was reached
    IPC_ERR_NO_MEMORY = -12,
    IPC_ERR_PERMISSION = -13,          // the server refused the connection
    IPC_ERR_BUSY = -16,                // no room to queue the work now
    IPC_ERR_INVALID_DATA = -22,        // a parcel or argument that cannot be sent or used
    IPC_ERR_DEAD_OBJECT = -32,         // the connection is closed or was lost
    IPC_ERR_STUB_EXCEPTION = -71,      // the stub threw; the exception stayed in its process
    IPC_ERR_UNKNOWN_TRANSACTION = -74, // the stub does not know the code
    IPC_ERR_TIMED_OUT = -110,          // no reply within the wait time
    IPC_ERR_CONNECT = -111,            // the server socket could not be reached
};

} // namespace OHOS

#endif // PLATFORM_IPC_IPC_ERRORS_H
