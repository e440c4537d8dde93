// The platform log call. Formats use printf conversions with an optional
// privacy marker: "%{public}s" prints the value, "%{private}s" prints
// "<private>". Messages below the current level are dropped before any
// formatting happens.
#ifndef PLATFORM_HILOG_LOG_H
#define PLATFORM_HILOG_LOG_H

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    LOG_APP = 0,
    LOG_INIT = 1,
    LOG_CORE = 3,
    LOG_KMSG = 4,
} LogType;

typedef enum {
    LOG_DEBUG = 3,
    LOG_INFO = 4,
    LOG_WARN = 5,
    LOG_ERROR = 6,
    LOG_FATAL = 7,
} LogLevel;

// Writes one line; returns the number of bytes of the message, or -1 when the
// message was filtered out or the arguments were unusable.
int HiLogPrint(LogType type, LogLevel level, unsigned int domain, const char* tag, const char* fmt, ...);

// True when a message of this level would be written.
int HiLogIsLoggable(unsigned int domain, const char* tag, LogLevel level);

#ifdef __cplusplus
}
#endif

#endif // PLATFORM_HILOG_LOG_H
