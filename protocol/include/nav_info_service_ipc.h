// The service interface of navinfo-service on the wire: its descriptor and
// one transaction code per NavInfoClient operation. The request and reply
// layouts are in docs/service-protocol.md; NavInfoServiceProxy (client) and
// NavInfoServiceStub (daemon) implement them.
#ifndef PROTOCOL_NAV_INFO_SERVICE_IPC_H
#define PROTOCOL_NAV_INFO_SERVICE_IPC_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace OHOS::NavigationInfoService {

// The interface token every service request starts with.
inline const std::u16string& NavInfoServiceDescriptor()
{
    static const std::u16string descriptor = u"OHOS.NavigationInfoService.INavInfoService";
    return descriptor;
}

// Longest bundle name the service takes, as an argument or as the caller's
// own name (beyond: NAV_INFO_ERR_INVALID_PARAM). The same as the longest name
// a client may claim when it connects to the daemon.
constexpr size_t MAX_BUNDLE_NAME_LENGTH = 256;

enum NavInfoServiceTransaction : uint32_t {
    SVC_UPDATE_NAVIGATION_STATUS = 1,
    SVC_UPDATE_NAVIGATION_METADATA = 2,
    SVC_REGISTER_SYSTEM_NAVIGATION_LISTENER = 3,
    SVC_UNREGISTER_SYSTEM_NAVIGATION_LISTENER = 4,
    SVC_GET_NAVIGATION_STATUS = 5,
    SVC_REGISTER_NAVIGATION_STATUS_LISTENER = 6,
    SVC_UNREGISTER_NAVIGATION_STATUS_LISTENER = 7,
    SVC_REGISTER_NAVIGATION_METADATA_LISTENER = 8,
    SVC_UNREGISTER_NAVIGATION_METADATA_LISTENER = 9,
    SVC_QUERY_NAVIGATION_INFO = 10,
    SVC_SEND_NAVIGATION_CMD = 11,
    // What the service holds (system applications only): reply ServiceSnapshot.
    SVC_INSPECT_SERVICE = 12,
    // A connection that owns its bundle hands the daemon its keep-alive
    // responder (optional object: IKeepAlive); reply: the result.
    SVC_REGISTER_KEEP_ALIVE = 13,
    // One-way: the answer to a keep-alive, uint64 sequence; no reply.
    SVC_KEEP_ALIVE_ANSWER = 14,
    // Observing the requests sent to a bundle (system applications only):
    // string bundle, optional object IRequestObserver; reply: the result.
    SVC_REGISTER_REQUEST_OBSERVER = 15,
    // string bundle; reply: the result.
    SVC_UNREGISTER_REQUEST_OBSERVER = 16,
};

// The client's keep-alive responder. The daemon sends it KEEP_ALIVE (one-way,
// uint64 sequence) while its connection owns a bundle; the client answers
// with SVC_KEEP_ALIVE_ANSWER from its IPC thread. Neither side ever waits
// for the other: a daemon that has heard nothing for the bundle's liveness
// time-out takes the process as frozen and closes the connection.
inline const std::u16string& KeepAliveDescriptor()
{
    static const std::u16string descriptor = u"OHOS.NavigationInfoService.IKeepAlive";
    return descriptor;
}
constexpr uint32_t KEEP_ALIVE = 6;

// An optional object argument: int32 1 and the object, or int32 0 for null,
// so that the service core (not the transport) decides what null means.
constexpr int32_t OBJECT_ABSENT = 0;
constexpr int32_t OBJECT_PRESENT = 1;

// A status or metadata publish, and a status or metadata listener
// registration, may end with an int32 of flags (absent: none); other bits
// are ignored. RESTORED: the client sends again, after reconnecting, what it
// held at an earlier daemon.
//  - A restored listener gets the record the daemon holds, if any, at once:
//    its publisher may have restored that record before the follower was back.
//  - A restored record is taken only when the daemon holds none of that
//    bundle: otherwise it holds the same one (the connection was merely
//    closed for silence) or a newer one.
enum class Replay : int32_t { NONE = 0, RESTORED = 1 };

} // namespace OHOS::NavigationInfoService

#endif // PROTOCOL_NAV_INFO_SERVICE_IPC_H
