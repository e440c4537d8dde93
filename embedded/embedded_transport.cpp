// The transport to the service embedded in this process: each call goes to
// the process-wide core with the identity the transport was made with.
#include "embedded_service.h"
#include "nav_info_errors.h"
#include "nav_info_transport.h"

namespace OHOS::NavigationInfoService {
namespace {

class EmbeddedTransport : public NavInfoTransport {
public:
    explicit EmbeddedTransport(CallerInfo caller) : caller_(std::move(caller)) {}

    int32_t UpdateNavigationStatus(NavigationStatus status) override
    {
        return Core().UpdateNavigationStatus(caller_, std::move(status));
    }
    int32_t UpdateNavigationMetadata(NavigationMetadata metadata) override
    {
        return Core().UpdateNavigationMetadata(caller_, std::move(metadata));
    }
    int32_t RegisterSystemNavigationListener(sptr<ISystemNavigationListener> listener) override
    {
        return Core().RegisterSystemNavigationListener(caller_, std::move(listener));
    }
    int32_t UnRegisterSystemNavigationListener() override { return Core().UnRegisterSystemNavigationListener(caller_); }
    int32_t GetNavigationStatus(const std::string& bundleName, NavigationStatus& status) override
    {
        return Core().GetNavigationStatus(caller_, bundleName, status);
    }
    int32_t RegisterNavigationStatusListener(const std::string& bundleName,
        sptr<INavigationStatusListener> listener) override
    {
        return Core().RegisterNavigationStatusListener(caller_, bundleName, std::move(listener));
    }
    int32_t UnRegisterNavigationStatusListener(const std::string& bundleName) override
    {
        return Core().UnRegisterNavigationStatusListener(caller_, bundleName);
    }
    int32_t RegisterNavigationMetadataListener(const std::string& bundleName,
        sptr<INavigationMetadataListener> listener) override
    {
        return Core().RegisterNavigationMetadataListener(caller_, bundleName, std::move(listener));
    }
    int32_t UnRegisterNavigationMetadataListener(const std::string& bundleName) override
    {
        return Core().UnRegisterNavigationMetadataListener(caller_, bundleName);
    }
    int32_t QueryNavigationInfo(const std::string& bundleName, QueryType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) override
    {
        return Core().QueryNavigationInfo(caller_, bundleName, type, std::move(params), std::move(callback));
    }
    int32_t SendNavigationCmd(const std::string& bundleName, CommandType type, AAFwk::WantParams params,
        sptr<IMapCallback> callback) override
    {
        return Core().SendNavigationCmd(caller_, bundleName, type, std::move(params), std::move(callback));
    }
    // The core's view, with this process as the one client.
    int32_t RegisterRequestObserver(const std::string& bundleName, const sptr<IRequestObserver>& observer) override
    {
        return Core().RegisterRequestObserver(caller_, bundleName, observer);
    }
    int32_t UnRegisterRequestObserver(const std::string& bundleName) override
    {
        return Core().UnRegisterRequestObserver(caller_, bundleName);
    }
    int32_t InspectService(ServiceSnapshot& snapshot) override
    {
        int32_t result = Core().InspectService(caller_, snapshot);
        if (result == NAV_INFO_SUCCESS) {
            snapshot.clients.push_back({caller_.clientId, caller_.bundleName, caller_.pid, caller_.uid});
        }
        return result;
    }

private:
    // The service is created at the first call, not with the transport.
    static NavInfoServiceCore& Core() { return EmbeddedService::Instance().Core(); }

    const CallerInfo caller_;
};

} // namespace

std::unique_ptr<NavInfoTransport> CreateEmbeddedTransport()
{
    return CreateEmbeddedTransport(EmbeddedCallerFromEnvironment());
}

std::unique_ptr<NavInfoTransport> CreateEmbeddedTransport(CallerInfo caller)
{
    return std::make_unique<EmbeddedTransport>(std::move(caller));
}

} // namespace OHOS::NavigationInfoService
