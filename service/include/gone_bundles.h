// The bundles whose publisher is gone and whose records (the UNAVAILABLE
// status said for it) are still kept for readers, oldest first. The core
// forgets a gone bundle's records once it has been gone for the retention
// time, or when more than the cap of gone bundles are kept (the oldest go
// first), so that ever-new bundle names cannot make the service grow.
//
// Threads: none of its own; the core calls it under its mutex.
#ifndef SERVICE_GONE_BUNDLES_H
#define SERVICE_GONE_BUNDLES_H

#include <chrono>
#include <cstddef>
#include <iterator>
#include <list>
#include <string>
#include <unordered_map>
#include <vector>

namespace OHOS::NavigationInfoService {

class GoneBundles {
public:
    using Clock = std::chrono::steady_clock;

    // The publisher of bundle went at since. A bundle already listed keeps
    // its place and time: it has been gone since then.
    void Add(const std::string& bundle, Clock::time_point since);
    // The bundle is live again (a record was stored for it).
    void Remove(const std::string& bundle);
    // Takes out and returns the bundles to forget now: those gone for
    // retention or longer, then the oldest while more than cap are left.
    std::vector<std::string> TakeReleased(Clock::time_point now, std::chrono::milliseconds retention, size_t cap);
    size_t Size() const { return order_.size(); }
    void Clear();

private:
    struct Entry {
        std::string bundle;
        Clock::time_point since;
    };
    std::list<Entry> order_; // oldest first
    std::unordered_map<std::string, std::list<Entry>::iterator> byBundle_;
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_GONE_BUNDLES_H
