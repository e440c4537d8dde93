#include "service_inspector.h"

#include <vector>

#include "js_values.h"
#include "nav_info_client.h"
#include "record_values.h"

namespace NavInfoCompanion {
namespace {

using OHOS::NavigationInfoService::NavInfoClient;
using OHOS::NavigationInfoService::ServiceSnapshot;

// Ids and times are far below 2^53: exact as JavaScript numbers.
napi_value MakeNumber(napi_env env, double value)
{
    return MakeDouble(env, value);
}

template <typename T, typename Convert>
napi_value ListToJs(napi_env env, const std::vector<T>& list, Convert convert)
{
    napi_value out = nullptr;
    napi_create_array_with_length(env, list.size(), &out);
    for (size_t i = 0; i < list.size(); ++i) {
        napi_value entry = NewObject(env);
        convert(entry, list[i]);
        napi_set_element(env, out, static_cast<uint32_t>(i), entry);
    }
    return out;
}

napi_value SnapshotToJs(napi_env env, const ServiceSnapshot& snapshot)
{
    napi_value out = NewObject(env);
    SetNamed(env, out, "takenAt", MakeNumber(env, static_cast<double>(snapshot.takenAt)));
    SetNamed(env, out, "truncated", MakeBool(env, snapshot.truncated));
    SetNamed(env, out, "clients", ListToJs(env, snapshot.clients, [&](napi_value o, const ServiceSnapshot::Client& c) {
        SetNamed(env, o, "clientId", MakeNumber(env, static_cast<double>(c.clientId)));
        SetNamed(env, o, "bundleName", MakeString(env, c.bundleName));
        SetNamed(env, o, "pid", MakeInt32(env, c.pid));
        SetNamed(env, o, "uid", MakeInt32(env, c.uid));
    }));
    SetNamed(env, out, "follows", ListToJs(env, snapshot.follows, [&](napi_value o, const ServiceSnapshot::Follow& f) {
        SetNamed(env, o, "clientId", MakeNumber(env, static_cast<double>(f.clientId)));
        SetNamed(env, o, "bundleName", MakeString(env, f.bundleName));
        SetNamed(env, o, "kind", MakeString(env, f.kind == ServiceSnapshot::FOLLOW_STATUS ? "status" : "metadata"));
    }));
    SetNamed(env, out, "servers", ListToJs(env, snapshot.servers, [&](napi_value o, const ServiceSnapshot::Server& s) {
        SetNamed(env, o, "bundleName", MakeString(env, s.bundleName));
        SetNamed(env, o, "clientId", MakeNumber(env, static_cast<double>(s.clientId)));
    }));
    SetNamed(env, out, "requests",
        ListToJs(env, snapshot.requests, [&](napi_value o, const ServiceSnapshot::Request& r) {
            SetNamed(env, o, "requestId", MakeNumber(env, static_cast<double>(r.requestId)));
            SetNamed(env, o, "requesterClientId", MakeNumber(env, static_cast<double>(r.requesterClientId)));
            SetNamed(env, o, "bundleName", MakeString(env, r.bundleName));
            SetNamed(env, o, "kind", MakeString(env, r.kind == ServiceSnapshot::REQUEST_QUERY ? "query" : "command"));
            SetNamed(env, o, "type", MakeInt32(env, r.type));
            SetNamed(env, o, "ageMs", MakeNumber(env, static_cast<double>(r.ageMs)));
        }));
    SetNamed(env, out, "statuses",
        ListToJs(env, snapshot.statuses, [&](napi_value o, const ServiceSnapshot::StatusRecord& r) {
            SetNamed(env, o, "bundleName", MakeString(env, r.bundleName));
            SetNamed(env, o, "status", StatusToJs(env, r.status));
            SetNamed(env, o, "updateTime", MakeNumber(env, static_cast<double>(r.status.updateTime)));
        }));
    SetNamed(env, out, "metadata",
        ListToJs(env, snapshot.metadata, [&](napi_value o, const ServiceSnapshot::MetadataRecord& r) {
            SetNamed(env, o, "bundleName", MakeString(env, r.bundleName));
            SetNamed(env, o, "metadata", MetadataToJs(env, r.metadata));
            SetNamed(env, o, "updateTime", MakeNumber(env, static_cast<double>(r.updateTime)));
        }));
    SetNamed(env, out, "owners", ListToJs(env, snapshot.owners, [&](napi_value o, const ServiceSnapshot::Owner& w) {
        SetNamed(env, o, "bundleName", MakeString(env, w.bundleName));
        SetNamed(env, o, "clientId", MakeNumber(env, static_cast<double>(w.clientId)));
        SetNamed(env, o, "waiting", MakeBool(env, w.waiting));
    }));
    return out;
}

} // namespace

napi_value JsInspectService(napi_env env, napi_callback_info)
{
    return Guarded(env, [&]() -> napi_value {
        ServiceSnapshot snapshot;
        int32_t result = NavInfoClient::GetClientInstance()->InspectService(snapshot);
        napi_value out = NewObject(env);
        SetNamed(env, out, "result", MakeInt32(env, result));
        if (result == OHOS::NavigationInfoService::NAV_INFO_SUCCESS) {
            SetNamed(env, out, "snapshot", SnapshotToJs(env, snapshot));
        }
        return out;
    });
}

} // namespace NavInfoCompanion
