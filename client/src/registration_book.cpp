#include "registration_book.h"

#include "client_log.h"
#include "nav_info_errors.h"
#include "nav_info_service_proxy.h"

namespace OHOS::NavigationInfoService {
namespace {

// True when the entry should stay in the book after this replay result.
bool Keep(int32_t result, const char* kind, const std::string& bundleName)
{
    if (KeptForReplay(result)) {
        return true;
    }
    CLIENT_LOGW("%{public}s for \"%{public}s\" not restored: %{public}d; dropped", kind, bundleName.c_str(), result);
    return false;
}

template <typename Register>
size_t ReplayFollowers(std::map<std::string, sptr<IRemoteObject>>& listeners, const char* kind, Register&& reg)
{
    size_t restored = 0;
    for (auto it = listeners.begin(); it != listeners.end();) {
        int32_t result = reg(it->first, it->second);
        restored += result == NAV_INFO_SUCCESS ? 1 : 0;
        it = Keep(result, kind, it->first) ? std::next(it) : listeners.erase(it);
    }
    return restored;
}

template <typename Record, typename Publish>
size_t ReplayRecord(std::optional<Record>& record, const char* kind, Publish&& publish)
{
    if (!record) {
        return 0;
    }
    int32_t result = publish(*record);
    if (!Keep(result, kind, "")) {
        record.reset();
    }
    return result == NAV_INFO_SUCCESS ? 1 : 0;
}

} // namespace

bool KeptForReplay(int32_t result)
{
    return result == NAV_INFO_SUCCESS || result == NAV_INFO_ERR_SERVICE_UNAVAILABLE;
}

size_t RegistrationBook::Replay(NavInfoServiceProxy& service)
{
    size_t restored = 0;
    if (systemListener != nullptr) {
        int32_t result = service.RegisterSystemNavigationListener(systemListener);
        restored += result == NAV_INFO_SUCCESS ? 1 : 0;
        if (!Keep(result, "system navigation listener", "")) {
            systemListener = nullptr;
        }
    }
    restored += ReplayFollowers(statusListeners, "status listener",
        [&](const std::string& bundle, const auto& listener) {
            return service.RegisterNavigationStatusListener(bundle, listener, Replay::RESTORED);
        });
    restored += ReplayFollowers(metadataListeners, "metadata listener",
        [&](const std::string& bundle, const auto& listener) {
            return service.RegisterNavigationMetadataListener(bundle, listener, Replay::RESTORED);
        });
    restored += ReplayRecord(status, "status", [&](const NavigationStatus& record) {
        return service.UpdateNavigationStatus(record, Replay::RESTORED);
    });
    restored += ReplayRecord(metadata, "metadata", [&](const NavigationMetadata& record) {
        return service.UpdateNavigationMetadata(record, Replay::RESTORED);
    });
    return restored;
}

} // namespace OHOS::NavigationInfoService
