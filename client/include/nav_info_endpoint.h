// Which service the process's client talks to, and as whom.
//
// Chosen once, when the client is made (at the first call): the daemon at
// NAVINFO_SERVICE_SOCKET when that is set and not empty; the embedded
// service when it is set and empty; unset, the daemon when one listens at
// its default socket (DefaultDaemonSocketPath) and the embedded service
// otherwise. NavInfoClient::SetEndpoint, called before the client is made,
// takes the place of the environment for what it gives.
#ifndef CLIENT_NAV_INFO_ENDPOINT_H
#define CLIENT_NAV_INFO_ENDPOINT_H

#include <optional>
#include <string>

namespace OHOS::NavigationInfoService {

// What a caller asks for; an empty optional leaves it to the environment.
struct EndpointRequest {
    std::optional<std::string> socketPath; // "" asks for the embedded service
    std::optional<std::string> bundleName;
    std::optional<std::string> token;
};

// What the client uses.
struct EndpointChoice {
    std::string socketPath; // empty: the embedded service
    std::string bundleName;
    std::string token;   // never logged
    bool probed = false; // chosen by finding (or not finding) a daemon at the default socket
};

// Where navinfo-service listens unless told otherwise (the daemon's own
// default): $XDG_RUNTIME_DIR/navinfo-service.sock, else
// /tmp/navinfo-service-<uid>.sock.
std::string DefaultDaemonSocketPath();

// Whether something accepts connections at the Unix socket path now.
bool SomeoneListensAt(const std::string& socketPath) noexcept;

} // namespace OHOS::NavigationInfoService

#endif // CLIENT_NAV_INFO_ENDPOINT_H
