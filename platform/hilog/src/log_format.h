// Expansion of a log format with privacy markers against a va_list.
#ifndef PLATFORM_HILOG_LOG_FORMAT_H
#define PLATFORM_HILOG_LOG_FORMAT_H

#include <cstdarg>
#include <string>

namespace OHOS::HiviewDFX {

// Expands fmt; returns false (leaving out partly expanded) on a conversion it
// cannot read safely, in which case the caller writes nothing.
bool ExpandLogFormat(const char* fmt, va_list args, std::string& out);

} // namespace OHOS::HiviewDFX

#endif // PLATFORM_HILOG_LOG_FORMAT_H
