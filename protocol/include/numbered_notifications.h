// Numbered status and metadata notifications. The service numbers the
// records it sends to each follower registration (one stream per follower,
// bundle and kind: 1, 2, 3, ...). A follower in another process is reached
// through a listener proxy that carries the number with the record, so the
// follower's side can tell how many records were dropped on the way because
// it could not keep up (superseded by newer ones), and say so in its log.
#ifndef PROTOCOL_NUMBERED_NOTIFICATIONS_H
#define PROTOCOL_NUMBERED_NOTIFICATIONS_H

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "navigation_info_data.h"
#include "rate_limited_count.h"

namespace OHOS::NavigationInfoService {

struct NotificationNumber {
    uint64_t stream = 0;   // 0: not numbered
    uint64_t sequence = 0; // from 1 within the stream
};

// Implemented by the listener proxies; the service core calls these instead
// of the listener's own method when a follower offers them.
class NumberedStatusListener {
public:
    virtual ~NumberedStatusListener() = default;
    virtual void OnNumberedStatusChanged(const NavigationStatus& status, const std::string& bundleName,
        NotificationNumber number) = 0;
};

class NumberedMetadataListener {
public:
    virtual ~NumberedMetadataListener() = default;
    virtual void OnNumberedMetadataChanged(const NavigationMetadata& metadata, const std::string& bundleName,
        NotificationNumber number) = 0;
};

// The follower's side: counts the records missing between the numbers that
// arrive, per stream, and logs them, at most once a second with a count.
// Threads: any thread.
class NotificationGaps {
public:
    // A record of kind ("status", "metadata") of bundle arrived with number.
    // Returns how many records of its stream were dropped just before it.
    uint64_t Arrived(const char* kind, const std::string& bundleName, NotificationNumber number);

private:
    // A listener follows few streams at a time; the oldest are forgotten.
    static constexpr size_t MAX_STREAMS = 16;

    std::mutex mutex_;                          // guards every field below
    std::map<uint64_t, uint64_t> lastSequence_; // stream -> last sequence seen
    RateLimitedCount dropped_;
    uint64_t droppedTotal_ = 0;
};

} // namespace OHOS::NavigationInfoService

#endif // PROTOCOL_NUMBERED_NOTIFICATIONS_H
