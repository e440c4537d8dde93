// Cyclone DDS's own warnings and errors while the bridge runs, into the
// daemon's log at most once a second. Cyclone reports some refusals once per
// sample (a sample that does not deserialize, one over the size limit), so a
// participant flooding the network with garbage would otherwise have the
// daemon write a line per sample. The first message is logged at once; after
// that, one line a second carries the count of messages since the previous
// line and the last of them.
//
// Threads: the sink runs on Cyclone's threads, Flush on the bridge's; one
// instance at a time (Cyclone has one log sink per process).
#ifndef SERVICE_DAEMON_DDS_CYCLONE_LOG_H
#define SERVICE_DAEMON_DDS_CYCLONE_LOG_H

#include <mutex>
#include <string>

#include <dds/dds.h>

#include "rate_limited_count.h"

namespace OHOS::NavigationInfoService {

class CycloneLog {
public:
    CycloneLog();  // becomes Cyclone's log sink
    ~CycloneLog(); // gives the sink back to Cyclone's default (standard error)
    CycloneLog(const CycloneLog&) = delete;
    CycloneLog& operator=(const CycloneLog&) = delete;

    // Logs the messages counted since the last line, once their second has passed.
    void Flush();

private:
    static void Sink(void* self, const dds_log_data_t* data);
    void Report(uint64_t count);

    RateLimitedCount messages_;
    std::mutex mutex_; // guards last_
    std::string last_;
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_DAEMON_DDS_CYCLONE_LOG_H
