#include "daemon_console.h"

#include <cstdarg>
#include <string>

#include "hilog/log_control.h"

namespace OHOS::NavigationInfoService {

void Say(std::FILE* stream, Priority priority, const char* fmt, ...)
{
    std::string line;
    if (HiviewDFX::IsJournalStream(fileno(stream))) {
        line = "<" + std::to_string(static_cast<int>(priority)) + ">";
    }
    line += "navinfo-service: ";
    char text[1024];
    va_list args;
    va_start(args, fmt);
    int n = std::vsnprintf(text, sizeof(text), fmt, args);
    va_end(args);
    if (n > 0) {
        line.append(text, static_cast<size_t>(n) < sizeof(text) ? static_cast<size_t>(n) : sizeof(text) - 1);
    }
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stream);
    std::fflush(stream);
}

} // namespace OHOS::NavigationInfoService
