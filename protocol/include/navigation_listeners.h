// The listener and callback objects that the service calls. Each comes as an
// interface (what the service calls), a stub (which unpacks a request that
// arrived over IPC and calls the interface) and a base class for applications.
// Calls on these objects arrive on IPC threads of the client library.
#ifndef PROTOCOL_NAVIGATION_LISTENERS_H
#define PROTOCOL_NAVIGATION_LISTENERS_H

#include <string>

#include "iremote_broker.h"
#include "iremote_stub.h"
#include "navigation_info_data.h"
#include "numbered_notifications.h"

namespace OHOS {
class MessageParcel;
}

namespace OHOS::NavigationInfoService {

// Transaction codes of the listener and callback interfaces.
enum ListenerTransaction : uint32_t {
    ON_STATUS_CHANGED = 1,
    ON_METADATA_CHANGED = 2,
    ON_QUERY_NAVIGATION_INFO = 3,
    ON_RECEIVE_NAVIGATION_CMD = 4,
    MAP_CALLBACK = 5,
};

class INavigationStatusListener : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"OHOS.NavigationInfoService.INavigationStatusListener")
    virtual void OnStatusChanged(const NavigationStatus& status, const std::string& bundleName) = 0;
};

class INavigationMetadataListener : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"OHOS.NavigationInfoService.INavigationMetadataListener")
    virtual void OnMetadataChanged(const NavigationMetadata& metadata, const std::string& bundleName) = 0;
};

class IMapCallback : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"OHOS.NavigationInfoService.IMapCallback")
    virtual void Callback(ResultData data) = 0;
};

class ISystemNavigationListener : public IRemoteBroker {
public:
    DECLARE_INTERFACE_DESCRIPTOR(u"OHOS.NavigationInfoService.ISystemNavigationListener")
    virtual void OnQueryNavigationInfo(QueryType type, AAFwk::WantParams params, sptr<IMapCallback> callback) = 0;
    virtual void OnReceiveNavigationCmd(CommandType type, AAFwk::WantParams params, sptr<IMapCallback> callback) = 0;
};

class NavigationStatusListenerStub : public IRemoteStub<INavigationStatusListener> {
public:
    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;

private:
    NotificationGaps gaps_;
};

class NavigationMetadataListenerStub : public IRemoteStub<INavigationMetadataListener> {
public:
    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;

private:
    NotificationGaps gaps_;
};

class MapCallbackStub : public IRemoteStub<IMapCallback> {
public:
    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;
};

class SystemNavigationListenerStub : public IRemoteStub<ISystemNavigationListener> {
public:
    int OnRemoteRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption& option) override;
};

class NavigationStatusListener : public NavigationStatusListenerStub {
public:
    NavigationStatusListener();
    ~NavigationStatusListener() override;
};

class NavigationMetadataListener : public NavigationMetadataListenerStub {
public:
    NavigationMetadataListener();
    ~NavigationMetadataListener() override;
};

class MapCallback : public MapCallbackStub {
public:
    MapCallback();
    ~MapCallback() override;
};

class SystemNavigationListener : public SystemNavigationListenerStub {
public:
    SystemNavigationListener();
    ~SystemNavigationListener() override;
};

} // namespace OHOS::NavigationInfoService

#endif // PROTOCOL_NAVIGATION_LISTENERS_H
