// Chooses this process's transport, and the transport of a service that
// cannot be reached.
#include <cstdlib>
#include <new>

#include "client_log.h"
#include "nav_info_errors.h"
#include "nav_info_transport.h"

namespace OHOS::NavigationInfoService {
namespace {

class UnavailableTransport : public NavInfoTransport {
public:
    int32_t UpdateNavigationStatus(NavigationStatus) override { return NAV_INFO_ERR_SERVICE_UNAVAILABLE; }
    int32_t UpdateNavigationMetadata(NavigationMetadata) override { return NAV_INFO_ERR_SERVICE_UNAVAILABLE; }
    int32_t RegisterSystemNavigationListener(sptr<ISystemNavigationListener>) override
    {
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
    int32_t UnRegisterSystemNavigationListener() override { return NAV_INFO_ERR_SERVICE_UNAVAILABLE; }
    int32_t GetNavigationStatus(const std::string&, NavigationStatus&) override
    {
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
    int32_t RegisterNavigationStatusListener(const std::string&, sptr<INavigationStatusListener>) override
    {
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
    int32_t UnRegisterNavigationStatusListener(const std::string&) override
    {
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
    int32_t RegisterNavigationMetadataListener(const std::string&, sptr<INavigationMetadataListener>) override
    {
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
    int32_t UnRegisterNavigationMetadataListener(const std::string&) override
    {
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
    int32_t QueryNavigationInfo(const std::string&, QueryType, AAFwk::WantParams, sptr<IMapCallback>) override
    {
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
    int32_t SendNavigationCmd(const std::string&, CommandType, AAFwk::WantParams, sptr<IMapCallback>) override
    {
        return NAV_INFO_ERR_SERVICE_UNAVAILABLE;
    }
};

} // namespace

std::unique_ptr<NavInfoTransport> CreateUnavailableTransport()
{
    return std::make_unique<UnavailableTransport>();
}

std::unique_ptr<NavInfoTransport> CreateNavInfoTransport() noexcept
{
    try {
        const char* socketPath = std::getenv(SERVICE_SOCKET_ENV);
        if (socketPath != nullptr && *socketPath != '\0') {
            // The remote transport goes here once it exists.
            CLIENT_LOGE("%{public}s=%{public}s: this build has no remote transport; the service is unavailable",
                SERVICE_SOCKET_ENV, socketPath);
            return CreateUnavailableTransport();
        }
        return CreateEmbeddedTransport();
    } catch (const std::bad_alloc&) {
        CLIENT_LOGE("out of memory creating the transport");
        return nullptr;
    }
}

} // namespace OHOS::NavigationInfoService
