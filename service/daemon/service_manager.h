// What navinfo-service exchanges with the service manager (systemd) when it
// runs under one: the listening socket of socket activation (libsystemd),
// readiness, status, reload and stopping notices, and the watchdog (a
// datagram to NOTIFY_SOCKET that never waits). Without a service manager (no LISTEN_FDS, no NOTIFY_SOCKET)
// every function is a no-op and the daemon behaves as a plain program.
//
// Threads: TakeActivationSocket once, from main, before other threads exist
// (it edits the environment); the rest from any thread.
#ifndef SERVICE_DAEMON_SERVICE_MANAGER_H
#define SERVICE_DAEMON_SERVICE_MANAGER_H

#include <chrono>
#include <string>

namespace OHOS::NavigationInfoService::ServiceManager {

struct ActivationSocket {
    bool activated = false; // sockets were handed over (LISTEN_FDS for this process)
    int fd = -1;            // the listening Unix stream socket, when usable
    std::string error;      // why the handed-over sockets cannot be served; empty when usable
};

// The one listening Unix stream socket handed over by socket activation.
// Unsets LISTEN_FDS and LISTEN_PID, so that no child inherits them.
ActivationSocket TakeActivationSocket();

// Sends a notification ("READY=1", "STATUS=...", "RELOADING=1",
// "STOPPING=1", "WATCHDOG=1", several separated by newlines). False when
// there is nobody to tell or the receiver's queue is full; it never blocks.
bool Notify(const std::string& state);

// True when notifications have a receiver (NOTIFY_SOCKET is set).
bool Supervised();

// How often the watchdog expects WATCHDOG=1 (WatchdogSec=); zero when it is off.
std::chrono::microseconds WatchdogInterval();

} // namespace OHOS::NavigationInfoService::ServiceManager

#endif // SERVICE_DAEMON_SERVICE_MANAGER_H
