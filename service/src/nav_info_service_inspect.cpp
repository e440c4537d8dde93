// The core's part of a service snapshot: copied under the lock, each list
// cut at MAX_SNAPSHOT_ENTRIES so that a busy service cannot make the answer
// unbounded.
#include <chrono>

#include "nav_info_errors.h"
#include "nav_info_service_core.h"

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

} // namespace

int32_t NavInfoServiceCore::InspectService(const CallerInfo& caller, ServiceSnapshot& snapshot) const
{
    int32_t result = CheckSystemApp(caller);
    if (result != NAV_INFO_SUCCESS) {
        return result;
    }
    using namespace std::chrono;
    const auto now = steady_clock::now();
    ServiceSnapshot out;
    out.takenAt = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    std::lock_guard<std::mutex> lock(mutex_);
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
        Append(out.statuses, ServiceSnapshot::StatusRecord{bundle, *status}, out.truncated);
    }
    for (const auto& [bundle, metadata] : metadata_) {
        auto time = metadataTimes_.find(bundle);
        Append(out.metadata,
            ServiceSnapshot::MetadataRecord{bundle, *metadata, time == metadataTimes_.end() ? 0 : time->second},
            out.truncated);
    }
    for (auto& entry : owners_.List()) {
        Append(out.owners, ServiceSnapshot::Owner{std::move(entry.bundleName), entry.clientId, entry.waiting},
            out.truncated);
    }
    snapshot = std::move(out);
    return NAV_INFO_SUCCESS;
}

} // namespace OHOS::NavigationInfoService
