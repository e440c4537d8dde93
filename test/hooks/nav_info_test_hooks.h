// Test-only control of the client library, linked into the test addon and
// the native tests, never into what ships.
//
// Lets tests force what the client returns, see what it was given, change
// this process's identity and policy in the embedded service, and call the
// listeners and callbacks this process registered as the service would (on
// the client library's IPC threads). The client is watched through a
// RecordingTransport (recording_transport.h) put in front of its own transport
// with NavInfoClient::WrapTransport. Every function may be called from any
// thread at any time and never throws.
#ifndef TEST_HOOKS_NAV_INFO_TEST_HOOKS_H
#define TEST_HOOKS_NAV_INFO_TEST_HOOKS_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "navigation_info_data.h"

namespace OHOS::NavigationInfoService::TestHooks {

// The operations of NavInfoClient; names are the method names with a lower
// case first letter, e.g. "updateNavigationStatus".
enum class Operation : int32_t {
    UPDATE_NAVIGATION_STATUS,
    UPDATE_NAVIGATION_METADATA,
    REGISTER_SYSTEM_NAVIGATION_LISTENER,
    UNREGISTER_SYSTEM_NAVIGATION_LISTENER,
    GET_NAVIGATION_STATUS,
    REGISTER_NAVIGATION_STATUS_LISTENER,
    UNREGISTER_NAVIGATION_STATUS_LISTENER,
    REGISTER_NAVIGATION_METADATA_LISTENER,
    UNREGISTER_NAVIGATION_METADATA_LISTENER,
    QUERY_NAVIGATION_INFO,
    SEND_NAVIGATION_CMD,
    COUNT,
};

const char* OperationName(Operation op) noexcept;
// False for an unknown name.
bool OperationFromName(const std::string& name, Operation& op) noexcept;

// Puts the recording transport in front of the client's transport (creating
// the client if there is none yet), once per process: from then on the
// client's calls are counted and recorded (arguments, listeners). Every other
// hook does it too; until then nothing is recorded.
void Enable() noexcept;

// From now on the client returns result for op without reaching the service
// (any value, -1 included). A forced GetNavigationStatus leaves its output as
// it was. Calls are still counted and recorded.
void ForceResult(Operation op, int32_t result) noexcept;
void ClearForcedResults() noexcept;

// Calls of op since the last ResetCounts().
uint64_t CallCount(Operation op) noexcept;
// Zeroes the counts and forgets the recorded arguments and callbacks.
void ResetCounts() noexcept;

// What the client was last given.
struct RequestRecord {
    std::string bundleName; // the bundle argument; empty for operations without one
    int32_t type = -1;      // the query or command kind; -1 for other operations
    AAFwk::WantParams params;
};
bool LastStatus(NavigationStatus& status) noexcept;             // false: never called
bool LastMetadata(NavigationMetadata& metadata) noexcept;       // false: never called
bool LastRequest(Operation op, RequestRecord& record) noexcept; // false: op never called

// This process's identity and access in the embedded service
// (embedded_test_control.cpp, which links the service core). From
// SetBundleName on, the client calls the embedded service as bundleName,
// whichever transport it used before.
void SetBundleName(const std::string& bundleName) noexcept;
struct BundlePolicy {
    bool systemApp = false;
    bool navigationPermission = false;
};
// Listed bundles get their rule; every other bundle is denied everything.
void SetPolicy(const std::map<std::string, BundlePolicy>& bundles) noexcept;
void SetPolicyAllowAll() noexcept;
// Time-out of queries and commands made from now on (negative counts as 0).
void SetRequestTimeoutMs(int64_t milliseconds) noexcept;
// Empties the embedded service (records, followers, listeners; outstanding
// requests are answered NOT_FOUND) and forgets the listeners tracked below
// and the recorded answers. Identity, policy, time-out, forcings and counts stay.
void ResetService() noexcept;

// Calls, on an IPC thread, the status (metadata) listener this process
// registered for bundleName with a successful result (forced or not) and has
// not unregistered since. Returns how many listeners were called (0 or 1).
size_t FireStatusChanged(const std::string& bundleName, const NavigationStatus& status) noexcept;
size_t FireMetadataChanged(const std::string& bundleName, const NavigationMetadata& metadata) noexcept;

// Calls, on an IPC thread, this process's registered system navigation
// listener with a callback that records the answers. Returns the request id
// its answers are recorded under, or -1 when no listener is registered. The
// kind is passed as given, even out of range.
int64_t FireQuery(int32_t type, const AAFwk::WantParams& params) noexcept;
int64_t FireCommand(int32_t type, const AAFwk::WantParams& params) noexcept;

struct RecordedAnswer {
    int64_t id = 0; // what FireQuery/FireCommand returned
    ResultData data;
};
// Every answer recorded since the last call, in arrival order (all of them:
// a listener that answers twice shows twice).
std::vector<RecordedAnswer> TakeAnswers() noexcept;

// Calls the callback the client was last given by op (QUERY_NAVIGATION_INFO
// or SEND_NAVIGATION_CMD) twice in a row on one IPC thread, with first and
// then second. False when there is none.
bool CallLastCallbackTwice(Operation op, const ResultData& first, const ResultData& second) noexcept;

} // namespace OHOS::NavigationInfoService::TestHooks

#endif // TEST_HOOKS_NAV_INFO_TEST_HOOKS_H
