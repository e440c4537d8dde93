#include "embedded_service.h"

#include <cstdlib>
#include <unistd.h>

#include "access_policy_file.h"
#include "ipc_threads.h"
#include "listener_proxies.h"
#include "service_settings.h"

namespace OHOS::NavigationInfoService {
namespace {

CoreOptions EmbeddedCoreOptions()
{
    CoreOptions options;
    options.executor = IpcThreads();
    PolicyLoadResult policy = PolicyFromEnvironment();
    options.policy = std::move(policy.policy);
    options.goneRetention = policy.goneRetention;
    options.requestTimeout = RequestTimeoutFromEnvironment();
    // The same records as through the daemon: none that could not reach a follower there.
    options.limits = {StatusNotificationFits, MetadataNotificationFits};
    return options;
}

std::string BundleNameFromEnvironment()
{
    const char* name = std::getenv(BUNDLE_NAME_ENV);
    return name != nullptr ? std::string(name) : std::string(DEFAULT_BUNDLE_NAME);
}

} // namespace

EmbeddedService& EmbeddedService::Instance()
{
    static EmbeddedService* const instance = new EmbeddedService(); // leaked: see the header
    return *instance;
}

EmbeddedService::EmbeddedService() : core_(NavInfoServiceCore::Create(EmbeddedCoreOptions())) {}

CallerInfo EmbeddedCallerFromEnvironment()
{
    CallerInfo caller;
    caller.bundleName = BundleNameFromEnvironment();
    caller.pid = static_cast<int32_t>(getpid());
    caller.uid = static_cast<int32_t>(getuid());
    caller.clientId = EMBEDDED_CLIENT_ID;
    return caller;
}

} // namespace OHOS::NavigationInfoService
