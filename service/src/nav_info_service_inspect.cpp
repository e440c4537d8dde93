// The core's part of a service snapshot. The small lists are copied under the
// lock, each cut at MAX_SNAPSHOT_ENTRIES so that a busy service cannot make
// the answer unbounded. The records (up to a megabyte each) are only
// referenced under the lock and copied after it is let go, at most
// maxSnapshotRecordBytes_ of them, so that a dump of a full store neither
// stalls the other clients nor doubles the service's memory.
#include <chrono>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "nav_info_errors.h"
#include "nav_info_service_core.h"
#include "parcel_sizer.h"
#include "record_marshalling.h"

namespace OHOS::NavigationInfoService {
namespace {

template <typename List, typename Entry>
void Append(List& list, Entry&& entry, bool& truncated)
{
    if (list.size() >= MAX_SNAPSHOT_ENTRIES) {
        truncated = true;
        return;
    }
    list.push_back(std::forward<Entry>(entry));
}

// What one record entry takes in the reply: the bundle name, the record and
// (metadata) its time. Unmeasurable (over any parcel): the largest size.
size_t EntryBytes(const std::string& bundle, const NavigationStatus& status)
{
    ParcelSizer sizer;
    return Marshalling::MeasureBoundedString(sizer, bundle) && Marshalling::MeasureNavigationStatus(sizer, status)
        ? sizer.GetDataSize()
        : std::numeric_limits<size_t>::max();
}

size_t EntryBytes(const std::string& bundle, const NavigationMetadata& metadata)
{
    ParcelSizer sizer;
    return Marshalling::MeasureBoundedString(sizer, bundle) &&
            Marshalling::MeasureNavigationMetadata(sizer, metadata) && sizer.WriteInt64(0)
        ? sizer.GetDataSize()
        : std::numeric_limits<size_t>::max();
}

// Takes bytes out of the budget; false (and nothing taken) when they do not fit.
bool Spend(size_t& budget, size_t bytes)
{
    if (bytes > budget) {
        return false;
    }
    budget -= bytes;
    return true;
}

} // namespace

int32_t NavInfoServiceCore::InspectService(const CallerInfo& caller, ServiceSnapshot& snapshot)
{
    int32_t result = CheckSystemApp(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    using namespace std::chrono;
    const auto now = steady_clock::now();
    ServiceSnapshot out;
    out.takenAt = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    // References to the stored records: they stay alive, unchanged, after
    // the lock is let go (a publish replaces the pointer, not the record).
    std::vector<std::pair<std::string, std::shared_ptr<const NavigationStatus>>> statuses;
    std::vector<std::pair<std::string, std::shared_ptr<const NavigationMetadata>>> metadata;
    std::vector<int64_t> metadataTimes;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ReleaseGoneLocked();
        for (const auto& [bundle, clients] : statusFollowers_) {
            for (const auto& entry : clients) {
                Append(out.follows, ServiceSnapshot::Follow{entry.first, bundle, ServiceSnapshot::FOLLOW_STATUS},
                    out.truncated);
            }
        }
        for (const auto& [bundle, clients] : metadataFollowers_) {
            for (const auto& entry : clients) {
                Append(out.follows, ServiceSnapshot::Follow{entry.first, bundle, ServiceSnapshot::FOLLOW_METADATA},
                    out.truncated);
            }
        }
        for (const auto& [bundle, entry] : systemListeners_) {
            Append(out.servers, ServiceSnapshot::Server{bundle, entry.clientId}, out.truncated);
        }
        for (const auto& [id, request] : pending_) {
            ServiceSnapshot::Request shown;
            shown.requestId = id;
            shown.requesterClientId = request.requesterClientId;
            shown.bundleName = request.bundleName;
            shown.kind = request.kind == RequestKind::QUERY ? ServiceSnapshot::REQUEST_QUERY
                                                            : ServiceSnapshot::REQUEST_COMMAND;
            shown.type = request.type;
            shown.ageMs = duration_cast<milliseconds>(now - request.acceptedAt).count();
            Append(out.requests, std::move(shown), out.truncated);
        }
        for (const auto& [bundle, status] : statuses_) {
            Append(statuses, std::make_pair(bundle, status), out.truncated);
        }
        for (const auto& [bundle, record] : metadata_) {
            auto time = metadataTimes_.find(bundle);
            if (metadata.size() < MAX_SNAPSHOT_ENTRIES) {
                metadataTimes.push_back(time == metadataTimes_.end() ? 0 : time->second);
            }
            Append(metadata, std::make_pair(bundle, record), out.truncated);
        }
        for (auto& entry : owners_.List()) {
            Append(out.owners, ServiceSnapshot::Owner{std::move(entry.bundleName), entry.clientId, entry.waiting},
                out.truncated);
        }
    }
    if (beforeSnapshotCopy_) {
        beforeSnapshotCopy_();
    }
    // The copies, outside the lock: records in bundle order, statuses first,
    // until the byte budget is spent.
    size_t budget = maxSnapshotRecordBytes_;
    for (const auto& [bundle, status] : statuses) {
        if (!Spend(budget, EntryBytes(bundle, *status))) {
            out.truncated = true;
            continue; // a smaller one further on may still fit
        }
        out.statuses.push_back(ServiceSnapshot::StatusRecord{bundle, *status});
    }
    for (size_t i = 0; i < metadata.size(); ++i) {
        if (!Spend(budget, EntryBytes(metadata[i].first, *metadata[i].second))) {
            out.truncated = true;
            continue;
        }
        out.metadata.push_back(
            ServiceSnapshot::MetadataRecord{metadata[i].first, *metadata[i].second, metadataTimes[i]});
    }
    snapshot = std::move(out);
    return NAV_INFO_SUCCESS;
}

} // namespace OHOS::NavigationInfoService
