// --exit-with-parent: the daemon ends when the process that started it
// ends, however it ends (SIGKILL included), so that a program that runs
// the daemon as its child leaves none behind.
#ifndef SERVICE_DAEMON_PARENT_WATCH_H
#define SERVICE_DAEMON_PARENT_WATCH_H

#include <sys/types.h>

namespace OHOS::NavigationInfoService {

// Asks the kernel for SIGTERM (the daemon's ordinary stop) when the parent
// ends. parentAtStart: getppid() read first thing in main. False when the
// parent has already ended (the daemon was handed to another process), or
// the kernel refuses.
//
// The kernel sends the signal when the thread that started the daemon
// ends: the parent must start it from a thread that lives as long as it
// does (Node.js's child_process does so from its main thread).
bool EndWithParent(pid_t parentAtStart);

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_PARENT_WATCH_H
