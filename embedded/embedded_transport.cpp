// The transport to the service embedded in this process: each call goes to
// the process-wide core with this process's identity.
#include "embedded_service.h"
#include "nav_info_errors.h"
#include "nav_info_transport.h"

namespace OHOS::NavigationInfoService {
namespace {

class EmbeddedTransport : public NavInfoTransport {
public:
    int32_t UpdateNavigationStatus(NavigationStatus status) override
    {
        auto& service = EmbeddedService::Instance();
        return service.Core().UpdateNavigationStatus(service.Caller(), std::move(status));
    }
    int32_t UpdateNavigationMetadata(NavigationMetadata metadata) override
    {
        auto& service = EmbeddedService::Instance();
        return service.Core().UpdateNavigationMetadata(service.Caller(), std::move(metadata));
    }
    int32_t RegisterSystemNavigationListener(sptr<ISystemNavigationListener> listener) override
    {
        auto& service = EmbeddedService::Instance();
        return service.Core().RegisterSystemNavigationListener(service.Caller(), std::move(listener));
    }
    int32_t UnRegisterSystemNavigationListener() override
    {
        auto& service = EmbeddedService::Instance();
        return service.Core().UnRegisterSystemNavigationListener(service.Caller());
    }
    int32_t GetNavigationStatus(const std::string& bundleName, NavigationStatus& status) override
    {
        auto& service = EmbeddedService::Instance();
        return service.Core().GetNavigationStatus(service.Caller(), bundleName, status);
    }
    int32_t RegisterNavigationStatusListener(const std::string& bundleName,
        sptr<INavigationStatusListener> listener) override
    {
        auto& service = EmbeddedService::Instance();
        return service.Core().RegisterNavigationStatusListener(service.Caller(), bundleName, std::move(listener));
    }
    int32_t UnRegisterNavigationStatusListener(const std::string& bundleName) override
    {
        auto& service = EmbeddedService::Instance();
        return service.Core().UnRegisterNavigationStatusListener(service.Caller(), bundleName);
    }
    int32_t RegisterNavigationMetadataListener(const std::string& bundleName,
        sptr<INavigationMetadataListener> listener) override
    {
        auto& service = EmbeddedService::Instance();
        return service.Core().RegisterNavigationMetadataListener(service.Caller(), bundleName, std::move(listener));
    }
    int32_t UnRegisterNavigationMetadataListener(const std::string& bundleName) override
    {
        auto& service = EmbeddedService::Instance();
        return service.Core().UnRegisterNavigationMetadataListener(service.Caller(), bundleName);
    }
    int32_t QueryNavigationInfo(const std::string& bundleName, QueryType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) override
    {
        auto& service = EmbeddedService::Instance();
        return service.Core().QueryNavigationInfo(service.Caller(), bundleName, type, std::move(params),
            std::move(callback));
    }
    int32_t SendNavigationCmd(const std::string& bundleName, CommandType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) override
    {
        auto& service = EmbeddedService::Instance();
        return service.Core().SendNavigationCmd(service.Caller(), bundleName, type, std::move(params),
            std::move(callback));
    }
    // The core's view, with this process as the one client.
    int32_t InspectService(ServiceSnapshot& snapshot) override
    {
        auto& service = EmbeddedService::Instance();
        const CallerInfo caller = service.Caller();
        int32_t result = service.Core().InspectService(caller, snapshot);
        if (result == NAV_INFO_SUCCESS) {
            snapshot.clients.push_back({caller.clientId, caller.bundleName, caller.pid, caller.uid});
        }
        return result;
    }
};

} // namespace

std::unique_ptr<NavInfoTransport> CreateEmbeddedTransport()
{
    return std::make_unique<EmbeddedTransport>();
}

} // namespace OHOS::NavigationInfoService
