// The records on their way to one follower registration (one follower, one
// bundle, one kind), oldest first, each numbered within the outbox's stream.
//
// One drain at a time takes what is pending and hands it to the listener.
// A follower that cannot keep up lets the outbox fill: at `capacity`
// pending records, the superseded ones are dropped and only the newest is
// kept, so that the follower gets the latest state next, and memory stays
// bounded. The caller counts and reports what was dropped.
//
// Threads: any thread; one mutex of its own (taken inside the core's lock).
#ifndef SERVICE_FOLLOWER_OUTBOX_H
#define SERVICE_FOLLOWER_OUTBOX_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "numbered_notifications.h"

namespace OHOS::NavigationInfoService {

// Records one follower may have pending before the superseded ones are dropped.
constexpr size_t DEFAULT_FOLLOWER_OUTBOX_CAPACITY = 1024;

template <typename Record>
class FollowerOutbox {
public:
    struct Item {
        std::shared_ptr<const Record> record;
        NotificationNumber number;
    };

    FollowerOutbox(std::string bundle, uint64_t stream, size_t capacity)
        : bundle_(std::move(bundle)),
          stream_(stream),
          capacity_(capacity == 0 ? 1 : capacity)
    {
    }

    const std::string& Bundle() const { return bundle_; }

    // Adds the newest record. `dropped` gets the number of superseded records
    // dropped to make room. True when no drain is scheduled: the caller must
    // schedule one (and call Unschedule if it cannot).
    bool Push(std::shared_ptr<const Record> record, uint64_t& dropped)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        dropped = 0;
        if (pending_.size() >= capacity_) {
            dropped = pending_.size();
            pending_.clear();
        }
        pending_.push_back({std::move(record), {stream_, ++lastSequence_}});
        if (scheduled_) {
            return false;
        }
        scheduled_ = true;
        return true;
    }

    // The drain: takes every pending record. False when there was none; the
    // drain is then over, and the next Push schedules a new one.
    bool Take(std::deque<Item>& items)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        items.clear();
        items.swap(pending_);
        scheduled_ = !items.empty();
        return scheduled_;
    }

    // Drops every pending record (their publisher is gone and its records
    // no longer hold); a drain already scheduled finds nothing.
    void Discard()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        pending_.clear();
    }

    // The drain the last Push asked for could not be scheduled.
    void Unschedule()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        scheduled_ = false;
    }

private:
    const std::string bundle_;
    const uint64_t stream_;
    const size_t capacity_;
    std::mutex mutex_; // guards every field below
    std::deque<Item> pending_;
    uint64_t lastSequence_ = 0;
    bool scheduled_ = false;
};

} // namespace OHOS::NavigationInfoService

#endif // SERVICE_FOLLOWER_OUTBOX_H
