#include "registration_book.h"

#include "client_log.h"
#include "nav_info_errors.h"
#include "nav_info_service_proxy.h"

namespace OHOS::NavigationInfoService {
namespace {

const char* KindText(RegistrationKind kind)
{
    switch (kind) {
        case RegistrationKind::STATUS_LISTENER: return "status listener";
        case RegistrationKind::METADATA_LISTENER: return "metadata listener";
        case RegistrationKind::REQUEST_OBSERVER: return "request observer";
        default: return "system navigation listener";
    }
}

// Records the result of registering entry again; tells a change of its
// refusal. False when the entry is to be dropped.
bool Settle(BookedListener& entry, int32_t result, RegistrationKind kind, const std::string& bundleName,
    const RegistrationBook::ChangeCallback& changed)
{
    if (!BookedAfter(result)) {
        CLIENT_LOGW("%{public}s for \"%{public}s\" not restored: %{public}d; dropped", KindText(kind),
            bundleName.c_str(), result);
        return false;
    }
    if (result == NAV_INFO_ERR_SERVICE_UNAVAILABLE) {
        return true; // no answer: the state stays as it was
    }
    bool refused = IsRefusal(result);
    if (refused != entry.refused) {
        entry.refused = refused;
        if (refused) {
            CLIENT_LOGW("%{public}s for \"%{public}s\" refused (%{public}d): tried again with back-off", KindText(kind),
                bundleName.c_str(), result);
        } else {
            CLIENT_LOGW("%{public}s for \"%{public}s\" taken again after a refusal", KindText(kind),
                bundleName.c_str());
        }
        if (changed) {
            changed(refused ? ServiceEventKind::REFUSED : ServiceEventKind::RESUMED, kind, bundleName, result);
        }
    }
    return true;
}

template <typename Register>
size_t RegisterFollowers(std::map<std::string, BookedListener>& listeners, RegistrationKind kind, bool refusedOnly,
    const RegistrationBook::ChangeCallback& changed, Register&& reg)
{
    size_t taken = 0;
    for (auto it = listeners.begin(); it != listeners.end();) {
        if (refusedOnly && !it->second.refused) {
            ++it;
            continue;
        }
        int32_t result = reg(it->first, it->second.listener);
        taken += result == NAV_INFO_SUCCESS ? 1 : 0;
        it = Settle(it->second, result, kind, it->first, changed) ? std::next(it) : listeners.erase(it);
    }
    return taken;
}

template <typename Record, typename Publish>
size_t ReplayRecord(std::optional<Record>& record, const char* kind, Publish&& publish)
{
    if (!record) {
        return 0;
    }
    int32_t result = publish(*record);
    if (!KeptForReplay(result)) {
        CLIENT_LOGW("%{public}s not restored: %{public}d; dropped", kind, result);
        record.reset();
    }
    return result == NAV_INFO_SUCCESS ? 1 : 0;
}

size_t RegisterAll(RegistrationBook& book, NavInfoServiceProxy& service, bool refusedOnly,
    const RegistrationBook::ChangeCallback& changed)
{
    size_t taken = 0;
    // Marked restored on a retry too: the follower then gets at once the
    // record the daemon holds, which it missed while refused.
    const Replay mark = Replay::RESTORED;
    BookedListener& system = book.systemListener;
    if (system.listener != nullptr && (!refusedOnly || system.refused)) {
        int32_t result = service.RegisterSystemNavigationListener(system.listener);
        taken += result == NAV_INFO_SUCCESS ? 1 : 0;
        if (!Settle(system, result, RegistrationKind::SYSTEM_LISTENER, "", changed)) {
            system = BookedListener{};
        }
    }
    taken += RegisterFollowers(book.statusListeners, RegistrationKind::STATUS_LISTENER, refusedOnly, changed,
        [&](const std::string& bundle, const auto& listener) {
            return service.RegisterNavigationStatusListener(bundle, listener, mark);
        });
    taken += RegisterFollowers(book.metadataListeners, RegistrationKind::METADATA_LISTENER, refusedOnly, changed,
        [&](const std::string& bundle, const auto& listener) {
            return service.RegisterNavigationMetadataListener(bundle, listener, mark);
        });
    taken += RegisterFollowers(book.requestObservers, RegistrationKind::REQUEST_OBSERVER, refusedOnly, changed,
        [&](const std::string& bundle, const auto& observer) {
            return service.RegisterRequestObserver(bundle, observer);
        });
    return taken;
}

} // namespace

bool KeptForReplay(int32_t result)
{
    return result == NAV_INFO_SUCCESS || result == NAV_INFO_ERR_SERVICE_UNAVAILABLE;
}

bool IsRefusal(int32_t result)
{
    return result == NAV_INFO_ERR_NO_PERMISSION || result == NAV_INFO_ERR_NOT_SYSTEM_APP;
}

bool BookedAfter(int32_t result)
{
    return KeptForReplay(result) || IsRefusal(result);
}

bool RegistrationBook::HasRefused() const
{
    auto anyRefused = [](const std::map<std::string, BookedListener>& listeners) {
        for (const auto& entry : listeners) {
            if (entry.second.refused) {
                return true;
            }
        }
        return false;
    };
    return (systemListener.listener != nullptr && systemListener.refused) || anyRefused(statusListeners) ||
        anyRefused(metadataListeners) || anyRefused(requestObservers);
}

size_t RegistrationBook::Replay(NavInfoServiceProxy& service, const ChangeCallback& changed)
{
    size_t restored = RegisterAll(*this, service, false, changed);
    restored += ReplayRecord(status, "status",
        [&](const NavigationStatus& record) { return service.UpdateNavigationStatus(record, Replay::RESTORED); });
    restored += ReplayRecord(metadata, "metadata",
        [&](const NavigationMetadata& record) { return service.UpdateNavigationMetadata(record, Replay::RESTORED); });
    return restored;
}

size_t RegistrationBook::RetryRefused(NavInfoServiceProxy& service, const ChangeCallback& changed)
{
    return RegisterAll(*this, service, true, changed);
}

} // namespace OHOS::NavigationInfoService
