// NavInfoClient: the process's one client. Each operation is counted and
// recorded for the test hooks, returns a forced result if a test set one,
// and otherwise goes to the transport. No exception leaves this file: a
// failure inside (memory exhausted) is logged and answered
// NAV_INFO_ERR_SERVICE_UNAVAILABLE.
#include "nav_info_client.h"

#include <cstdlib>
#include <exception>

#include "client_log.h"
#include "nav_info_transport.h"
#include "test_hook_state.h"

namespace OHOS::NavigationInfoService {

using TestHooks::Operation;
using TestHooks::RequestRecord;

class NavInfoClientAccess {
public:
    static NavInfoClient* Create()
    {
        auto* client = new NavInfoClient();
        client->IncStrongRef(nullptr); // a reference that is never released: the client lives as long as the process
        return client;
    }
};

namespace {

template <typename Body>
int32_t Guarded(const char* operation, Body&& body) noexcept
{
    try {
        return body();
    } catch (const std::exception& e) {
        CLIENT_LOGE("%{public}s failed: %{public}s", operation, e.what());
    } catch (...) {
        CLIENT_LOGE("%{public}s failed", operation);
    }
    return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
}

RequestRecord Record(std::string bundleName, int32_t type = -1, const AAFwk::WantParams* params = nullptr)
{
    RequestRecord record;
    record.bundleName = std::move(bundleName);
    record.type = type;
    if (params != nullptr) {
        record.params = *params;
    }
    return record;
}

} // namespace

sptr<NavInfoClient> NavInfoClient::GetClientInstance()
{
    static NavInfoClient* const instance = [] {
        try {
            return NavInfoClientAccess::Create();
        } catch (...) {
            // Nothing can work without memory for one small object; returning
            // null would break the promise of this function.
            CLIENT_LOGE("out of memory creating the navigation information client");
            std::abort();
        }
    }();
    return instance;
}

NavInfoClient::NavInfoClient() : transport_(CreateNavInfoTransport()) {}

NavInfoClient::~NavInfoClient() = default;

bool NavInfoClient::IsServiceConnected() const noexcept
{
    return transport_ != nullptr && transport_->IsServiceConnected();
}

int32_t NavInfoClient::UpdateNavigationStatus(NavigationStatus status)
{
    return Guarded(__func__, [&] {
        if (auto forced = TestHookState::Instance().OnStatusCall(status)) {
            return *forced;
        }
        return transport_ ? transport_->UpdateNavigationStatus(std::move(status)) : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    });
}

int32_t NavInfoClient::UpdateNavigationMetadata(NavigationMetadata metadata)
{
    return Guarded(__func__, [&] {
        if (auto forced = TestHookState::Instance().OnMetadataCall(metadata)) {
            return *forced;
        }
        return transport_ ? transport_->UpdateNavigationMetadata(std::move(metadata))
                          : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    });
}

int32_t NavInfoClient::RegisterSystemNavigationListener(sptr<SystemNavigationListener> listener)
{
    return Guarded(__func__, [&] {
        auto& hooks = TestHookState::Instance();
        auto forced = hooks.OnCall(Operation::REGISTER_SYSTEM_NAVIGATION_LISTENER, Record(""));
        int32_t result = forced ? *forced
            : transport_        ? transport_->RegisterSystemNavigationListener(listener)
                                : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
        if (result == NAV_INFO_SUCCESS && listener != nullptr) {
            hooks.TrackSystemListener(listener);
        }
        return result;
    });
}

int32_t NavInfoClient::UnRegisterSystemNavigationListener()
{
    return Guarded(__func__, [&] {
        auto& hooks = TestHookState::Instance();
        auto forced = hooks.OnCall(Operation::UNREGISTER_SYSTEM_NAVIGATION_LISTENER, Record(""));
        int32_t result = forced ? *forced
            : transport_        ? transport_->UnRegisterSystemNavigationListener()
                                : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
        if (result == NAV_INFO_SUCCESS) {
            hooks.TrackSystemListener(nullptr);
        }
        return result;
    });
}

int32_t NavInfoClient::GetNavigationStatus(std::string bundleName, NavigationStatus& status)
{
    return Guarded(__func__, [&] {
        if (auto forced = TestHookState::Instance().OnCall(Operation::GET_NAVIGATION_STATUS, Record(bundleName))) {
            return *forced;
        }
        return transport_ ? transport_->GetNavigationStatus(bundleName, status) : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    });
}

int32_t NavInfoClient::RegisterNavigationStatusListener(std::string bundleName,
    sptr<NavigationStatusListener> listener)
{
    return Guarded(__func__, [&] {
        auto& hooks = TestHookState::Instance();
        auto forced = hooks.OnCall(Operation::REGISTER_NAVIGATION_STATUS_LISTENER, Record(bundleName));
        int32_t result = forced ? *forced
            : transport_        ? transport_->RegisterNavigationStatusListener(bundleName, listener)
                                : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
        if (result == NAV_INFO_SUCCESS && listener != nullptr) {
            hooks.TrackStatusListener(bundleName, listener);
        }
        return result;
    });
}

int32_t NavInfoClient::UnRegisterNavigationStatusListener(std::string bundleName)
{
    return Guarded(__func__, [&] {
        auto& hooks = TestHookState::Instance();
        auto forced = hooks.OnCall(Operation::UNREGISTER_NAVIGATION_STATUS_LISTENER, Record(bundleName));
        int32_t result = forced ? *forced
            : transport_        ? transport_->UnRegisterNavigationStatusListener(bundleName)
                                : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
        if (result == NAV_INFO_SUCCESS) {
            hooks.TrackStatusListener(bundleName, nullptr);
        }
        return result;
    });
}

int32_t NavInfoClient::RegisterNavigationMetadataListener(std::string bundleName,
    sptr<NavigationMetadataListener> listener)
{
    return Guarded(__func__, [&] {
        auto& hooks = TestHookState::Instance();
        auto forced = hooks.OnCall(Operation::REGISTER_NAVIGATION_METADATA_LISTENER, Record(bundleName));
        int32_t result = forced ? *forced
            : transport_        ? transport_->RegisterNavigationMetadataListener(bundleName, listener)
                                : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
        if (result == NAV_INFO_SUCCESS && listener != nullptr) {
            hooks.TrackMetadataListener(bundleName, listener);
        }
        return result;
    });
}

int32_t NavInfoClient::UnRegisterNavigationMetadataListener(std::string bundleName)
{
    return Guarded(__func__, [&] {
        auto& hooks = TestHookState::Instance();
        auto forced = hooks.OnCall(Operation::UNREGISTER_NAVIGATION_METADATA_LISTENER, Record(bundleName));
        int32_t result = forced ? *forced
            : transport_        ? transport_->UnRegisterNavigationMetadataListener(bundleName)
                                : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
        if (result == NAV_INFO_SUCCESS) {
            hooks.TrackMetadataListener(bundleName, nullptr);
        }
        return result;
    });
}

int32_t NavInfoClient::QueryNavigationInfo(std::string bundleName, QueryType type, AAFwk::WantParams params,
    sptr<MapCallback> callback)
{
    return Guarded(__func__, [&] {
        if (auto forced = TestHookState::Instance().OnCall(Operation::QUERY_NAVIGATION_INFO,
                Record(bundleName, static_cast<int32_t>(type), &params), callback)) {
            return *forced;
        }
        return transport_ ? transport_->QueryNavigationInfo(bundleName, type, std::move(params), callback)
                          : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    });
}

int32_t NavInfoClient::SendNavigationCmd(std::string bundleName, CommandType type, AAFwk::WantParams params,
    sptr<MapCallback> callback)
{
    return Guarded(__func__, [&] {
        if (auto forced = TestHookState::Instance().OnCall(Operation::SEND_NAVIGATION_CMD,
                Record(bundleName, static_cast<int32_t>(type), &params), callback)) {
            return *forced;
        }
        return transport_ ? transport_->SendNavigationCmd(bundleName, type, std::move(params), callback)
                          : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    });
}

int32_t NavInfoClient::InspectService(ServiceSnapshot& snapshot)
{
    return Guarded(__func__, [&] {
        return transport_ ? transport_->InspectService(snapshot) : NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    });
}

} // namespace OHOS::NavigationInfoService
