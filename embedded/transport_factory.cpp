// Chooses this process's transport, and the transport of a service that
// cannot be reached.
#include <cstdlib>
#include <new>

#include "client_log.h"
#include "embedded_service.h"
#include "nav_info_errors.h"
#include "nav_info_transport.h"
#include "remote_transport.h"

namespace OHOS::NavigationInfoService {
namespace {

std::string EnvOr(const char* name, const char* fallback)
{
    const char* value = std::getenv(name);
    return value != nullptr ? std::string(value) : std::string(fallback);
}

class UnavailableTransport : public NavInfoTransport {
public:
    bool IsServiceConnected() const override { return false; }
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
    int32_t UnRegisterNavigationStatusListener(const std::string&) override { return NAV_INFO_ERR_SERVICE_UNAVAILABLE; }
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
    int32_t InspectService(ServiceSnapshot&) override { return NAV_INFO_ERR_SERVICE_UNAVAILABLE; }
};

} // namespace

std::unique_ptr<NavInfoTransport> CreateUnavailableTransport()
{
    return std::make_unique<UnavailableTransport>();
}

std::unique_ptr<NavInfoTransport> CreateNavInfoTransport(const EndpointRequest& request,
    EndpointChoice& chosen) noexcept
{
    try {
        chosen.bundleName = request.bundleName.value_or(EnvOr(BUNDLE_NAME_ENV, DEFAULT_BUNDLE_NAME));
        chosen.token = request.token.value_or(EnvOr(BUNDLE_TOKEN_ENV, ""));
        const char* socketEnv = std::getenv(SERVICE_SOCKET_ENV);
        if (request.socketPath) {
            chosen.socketPath = *request.socketPath;
        } else if (socketEnv != nullptr) {
            chosen.socketPath = socketEnv; // set and empty: the embedded service, by choice
        } else {
            // Neither says: the daemon if one runs where navinfo-service and
            // navinfo look by default, so that a newcomer's processes meet.
            std::string fallback = DefaultDaemonSocketPath();
            chosen.probed = true;
            if (SomeoneListensAt(fallback)) {
                chosen.socketPath = std::move(fallback);
            } else {
                CLIENT_LOGI("using the service embedded in this process (no daemon listens at %{public}s; set "
                            "%{public}s to choose)",
                    fallback.c_str(), SERVICE_SOCKET_ENV);
            }
        }
        if (chosen.socketPath.empty()) {
            if (!chosen.probed) {
                CLIENT_LOGI("using the service embedded in this process");
            }
            CallerInfo caller = EmbeddedCallerFromEnvironment();
            caller.bundleName = chosen.bundleName;
            return CreateEmbeddedTransport(std::move(caller));
        }
        ServiceEndpoint endpoint;
        endpoint.socketPath = chosen.socketPath;
        endpoint.bundleName = chosen.bundleName;
        endpoint.token = chosen.token;
        CLIENT_LOGI("using navinfo-service at %{public}s as %{public}s%{public}s", endpoint.socketPath.c_str(),
            endpoint.bundleName.c_str(), chosen.probed ? " (found at the default socket)" : "");
        return std::make_unique<RemoteTransport>(std::move(endpoint));
    } catch (const std::bad_alloc&) {
        CLIENT_LOGE("out of memory creating the transport");
        return nullptr;
    }
}

} // namespace OHOS::NavigationInfoService
