// Recognising the journal: systemd connects a service's stdout and stderr to
// the journal and names that stream in JOURNAL_STREAM ("device:inode").
// Lines written there begin with a "<N>" syslog priority (sd-daemon.h
// style), and the journal keeps time and pid itself.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

#include "hilog/log_control.h"

namespace OHOS::HiviewDFX {

bool IsJournalStream(int fd)
{
    const char* stream = std::getenv("JOURNAL_STREAM");
    if (stream == nullptr || fd < 0) {
        return false;
    }
    unsigned long long device = 0;
    unsigned long long inode = 0;
    char rest = '\0';
    if (std::sscanf(stream, "%llu:%llu%c", &device, &inode, &rest) != 2) {
        return false;
    }
    struct stat st {};
    return fstat(fd, &st) == 0 && static_cast<unsigned long long>(st.st_dev) == device &&
        static_cast<unsigned long long>(st.st_ino) == inode;
}

int JournalPriority(int level)
{
    switch (level) {
        case LOG_DEBUG: return 7;
        case LOG_INFO: return 6;
        case LOG_WARN: return 4;
        case LOG_ERROR: return 3;
        case LOG_FATAL: return 2;
        default: return 5;
    }
}

} // namespace OHOS::HiviewDFX
