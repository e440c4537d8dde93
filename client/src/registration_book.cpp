#include "registration_book.h"

#include "client_log.h"
#include "nav_info_errors.h"
#include "nav_info_service_proxy.h"

namespace OHOS::NavigationInfoService {
namespace {

// True when the entry should stay in the book after this replay result.
bool Keep(int32_t result, const char* kind, const std::string& bundleName)
{
    if (result == NAV_INFO_SUCCESS || result == NAV_INFO_ERR_SERVICE_UNAVAILABLE) {
        return true;
    }
    CLIENT_LOGW("%{public}s listener for \"%{public}s\" not restored: %{public}d; dropped", kind,
        bundleName.c_str(), result);
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

} // namespace

size_t RegistrationBook::Replay(NavInfoServiceProxy& service)
{
    size_t restored = 0;
    if (systemListener != nullptr) {
        int32_t result = service.RegisterSystemNavigationListener(systemListener);
        restored += result == NAV_INFO_SUCCESS ? 1 : 0;
        if (!Keep(result, "system navigation", "")) {
            systemListener = nullptr;
        }
    }
    restored += ReplayFollowers(statusListeners, "status", [&](const std::string& bundle, const auto& listener) {
        return service.RegisterNavigationStatusListener(bundle, listener);
    });
    restored += ReplayFollowers(metadataListeners, "metadata", [&](const std::string& bundle, const auto& listener) {
        return service.RegisterNavigationMetadataListener(bundle, listener);
    });
    return restored;
}

} // namespace OHOS::NavigationInfoService
