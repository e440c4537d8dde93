// The daemon's own lines for its operator, apart from the log: one line
// each, "navinfo-service: " first. Under systemd, where the stream is the
// journal's (JOURNAL_STREAM), the line starts with its syslog priority.
//
// Threads: any thread; each line is written with one call.
#ifndef SERVICE_DAEMON_DAEMON_CONSOLE_H
#define SERVICE_DAEMON_DAEMON_CONSOLE_H

#include <cstdio>

namespace OHOS::NavigationInfoService {

// Syslog priorities of the lines.
enum class Priority { ERROR = 3, WARNING = 4, NOTICE = 5, INFO = 6 };

// Writes "navinfo-service: <printf of fmt>\n" to stream.
void Say(std::FILE* stream, Priority priority, const char* fmt, ...) __attribute__((format(printf, 3, 4)));

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_DAEMON_CONSOLE_H
