// The text of an errno value, as strerror gives it, for code that may run on
// several threads at once: glibc's strerror may write into one buffer shared
// by every thread, strerror_r into the caller's.
#ifndef PLATFORM_UTILS_ERRNO_TEXT_H
#define PLATFORM_UTILS_ERRNO_TEXT_H

#include <cstring>
#include <string>

namespace OHOS {

inline std::string ErrnoText(int error)
{
    char buffer[256];
    // The GNU strerror_r (what g++ and clang++ declare on glibc): it returns
    // the text, in buffer or in a static string.
    return strerror_r(error, buffer, sizeof(buffer));
}

} // namespace OHOS

#endif // PLATFORM_UTILS_ERRNO_TEXT_H
