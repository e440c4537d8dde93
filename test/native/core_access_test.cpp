// The core's access checks for each operation, and its argument validation.
#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "core_test_support.h"
#include "nav_info_errors.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;

const std::string NAV_BUNDLE = "com.nav";
const std::string CALLER_BUNDLE = "com.caller";
const std::string EMPTY_NAME;

struct Fixture {
    std::shared_ptr<ManualExecutor> executor = std::make_shared<ManualExecutor>();
    std::shared_ptr<NavInfoServiceCore> core;
    sptr<RecordingCallback> callback = new RecordingCallback();
    sptr<HoldingSystemListener> listener = new HoldingSystemListener();
};

// A core where NAV_BUNDLE has published and registered its listener.
Fixture MakeFixture(std::shared_ptr<const AccessPolicy> policy)
{
    Fixture f;
    f.core = MakeCore(f.executor, std::move(policy));
    CallerInfo nav = MakeCaller(NAV_BUNDLE, 7);
    EXPECT_EQ(f.core->UpdateNavigationStatus(nav, NavigationStatus{}), NAV_INFO_SUCCESS);
    EXPECT_EQ(f.core->RegisterSystemNavigationListener(nav, f.listener), NAV_INFO_SUCCESS);
    return f;
}

// NAV_BUNDLE gets the permission; CALLER_BUNDLE gets the given rule.
Fixture MakeFixture(std::optional<BundleAccess> callerRule)
{
    std::map<std::string, BundleAccess> rules;
    rules[NAV_BUNDLE] = BundleAccess{false, true, {}, ""};
    if (callerRule) {
        rules[CALLER_BUNDLE] = *callerRule;
    }
    return MakeFixture(std::make_shared<RuleAccessPolicy>(true, rules));
}

struct OperationCase {
    const char* name;
    bool publisher;              // needs only the permission; else needs a system application with it
    int32_t allowedResult;       // for an allowed caller, about NAV_BUNDLE
    int32_t unknownTargetResult; // readers only: about a bundle that never published
    // Publishers act as the caller; readers act on target.
    std::function<int32_t(Fixture&, const CallerInfo&, const std::string& target)> call;
};

const std::vector<OperationCase>& Operations()
{
    static const std::vector<OperationCase> operations = {
        {"UpdateNavigationStatus", true, NAV_INFO_SUCCESS, 0,
            [](Fixture& f, const CallerInfo& c, const std::string&) { return f.core->UpdateNavigationStatus(c, {}); }},
        {"UpdateNavigationMetadata", true, NAV_INFO_SUCCESS, 0,
            [](Fixture& f, const CallerInfo& c, const std::string&) {
                return f.core->UpdateNavigationMetadata(c, {});
            }},
        {"RegisterSystemNavigationListener", true, NAV_INFO_SUCCESS, 0,
            [](Fixture& f, const CallerInfo& c, const std::string&) {
                return f.core->RegisterSystemNavigationListener(c, new HoldingSystemListener());
            }},
        {"UnRegisterSystemNavigationListener", true, NAV_INFO_ERR_NOT_FOUND, 0,
            [](Fixture& f, const CallerInfo& c, const std::string&) {
                return f.core->UnRegisterSystemNavigationListener(c);
            }},
        {"GetNavigationStatus", false, NAV_INFO_SUCCESS, NAV_INFO_ERR_NOT_FOUND,
            [](Fixture& f, const CallerInfo& c, const std::string& target) {
                NavigationStatus status;
                return f.core->GetNavigationStatus(c, target, status);
            }},
        {"RegisterNavigationStatusListener", false, NAV_INFO_SUCCESS, NAV_INFO_SUCCESS,
            [](Fixture& f, const CallerInfo& c, const std::string& target) {
                return f.core->RegisterNavigationStatusListener(c, target, new RecordingStatusListener());
            }},
        {"UnRegisterNavigationStatusListener", false, NAV_INFO_ERR_NOT_FOUND, NAV_INFO_ERR_NOT_FOUND,
            [](Fixture& f, const CallerInfo& c, const std::string& target) {
                return f.core->UnRegisterNavigationStatusListener(c, target);
            }},
        {"RegisterNavigationMetadataListener", false, NAV_INFO_SUCCESS, NAV_INFO_SUCCESS,
            [](Fixture& f, const CallerInfo& c, const std::string& target) {
                return f.core->RegisterNavigationMetadataListener(c, target, new RecordingMetadataListener());
            }},
        {"UnRegisterNavigationMetadataListener", false, NAV_INFO_ERR_NOT_FOUND, NAV_INFO_ERR_NOT_FOUND,
            [](Fixture& f, const CallerInfo& c, const std::string& target) {
                return f.core->UnRegisterNavigationMetadataListener(c, target);
            }},
        {"QueryNavigationInfo", false, NAV_INFO_SUCCESS, NAV_INFO_ERR_NOT_FOUND,
            [](Fixture& f, const CallerInfo& c, const std::string& target) {
                return f.core->QueryNavigationInfo(c, target, NAVIGATION_STATUS, {}, f.callback);
            }},
        {"SendNavigationCmd", false, NAV_INFO_SUCCESS, NAV_INFO_ERR_NOT_FOUND,
            [](Fixture& f, const CallerInfo& c, const std::string& target) {
                return f.core->SendNavigationCmd(c, target, GO_HOME, {}, f.callback);
            }},
    };
    return operations;
}

TEST(CoreAccessTest, EachOperationIsRefusedOrAllowedByThePolicy)
{
    struct PolicyCase {
        const char* name;
        std::optional<BundleAccess> rule;
        int32_t publisherResult; // 0: allowed
        int32_t readerResult;    // 0: allowed
    } policies[] = {
        {"unlisted", std::nullopt, NAV_INFO_ERR_NO_PERMISSION, NAV_INFO_ERR_NOT_SYSTEM_APP},
        {"nothing", BundleAccess{false, false, {}, ""}, NAV_INFO_ERR_NO_PERMISSION, NAV_INFO_ERR_NOT_SYSTEM_APP},
        {"system app only", BundleAccess{true, false, {}, ""}, NAV_INFO_ERR_NO_PERMISSION, NAV_INFO_ERR_NO_PERMISSION},
        {"permission only", BundleAccess{false, true, {}, ""}, 0, NAV_INFO_ERR_NOT_SYSTEM_APP},
        {"both", BundleAccess{true, true, {}, ""}, 0, 0},
    };
    for (const auto& policy : policies) {
        for (const auto& op : Operations()) {
            Fixture f = MakeFixture(policy.rule);
            int32_t refusal = op.publisher ? policy.publisherResult : policy.readerResult;
            EXPECT_EQ(op.call(f, MakeCaller(CALLER_BUNDLE, 2), NAV_BUNDLE), refusal != 0 ? refusal : op.allowedResult)
                << op.name << " with policy " << policy.name;
            f.executor->RunAll();
            EXPECT_EQ(f.callback->Count(), 0u) << "a refused request is never called back";
            if (refusal != 0) {
                EXPECT_EQ(f.listener->Count(), 0u) << op.name;
                EXPECT_EQ(f.core->OutstandingRequestCount(), 0u);
            }
        }
    }
}

TEST(CoreAccessTest, InspectionNeedsASystemAppAndShowsWhatTheCoreHolds)
{
    const std::pair<BundleAccess, int32_t> refusals[] = {
        {BundleAccess{false, true, {}, ""}, NAV_INFO_ERR_NOT_SYSTEM_APP},
        {BundleAccess{true, false, {}, ""}, NAV_INFO_ERR_NO_PERMISSION},
    };
    for (const auto& [rule, result] : refusals) {
        Fixture f = MakeFixture(rule);
        ServiceSnapshot snapshot;
        snapshot.takenAt = -1;
        EXPECT_EQ(f.core->InspectService(MakeCaller(CALLER_BUNDLE, 2), snapshot), result);
        EXPECT_EQ(snapshot.takenAt, -1) << "nothing is written on a refusal";
    }
    Fixture f = MakeFixture(BundleAccess{true, true, {}, ""});
    CallerInfo caller = MakeCaller(CALLER_BUNDLE, 2);
    ASSERT_EQ(f.core->RegisterNavigationMetadataListener(caller, NAV_BUNDLE, new RecordingMetadataListener()), 0);
    ASSERT_EQ(f.core->SendNavigationCmd(caller, NAV_BUNDLE, CHANGE_THEME, {}, f.callback), 0);
    ServiceSnapshot snapshot;
    ASSERT_EQ(f.core->InspectService(caller, snapshot), NAV_INFO_SUCCESS);
    EXPECT_GT(snapshot.takenAt, 0);
    EXPECT_TRUE(snapshot.clients.empty()) << "the transport adds the clients";
    ASSERT_EQ(snapshot.follows.size(), 1u);
    EXPECT_EQ(snapshot.follows[0].clientId, 2u);
    EXPECT_EQ(snapshot.follows[0].kind, ServiceSnapshot::FOLLOW_METADATA);
    ASSERT_EQ(snapshot.servers.size(), 1u);
    EXPECT_EQ(snapshot.servers[0].bundleName, NAV_BUNDLE);
    EXPECT_EQ(snapshot.servers[0].clientId, 7u);
    ASSERT_EQ(snapshot.requests.size(), 1u);
    EXPECT_EQ(snapshot.requests[0].requesterClientId, 2u);
    EXPECT_EQ(snapshot.requests[0].bundleName, NAV_BUNDLE);
    EXPECT_EQ(snapshot.requests[0].kind, ServiceSnapshot::REQUEST_COMMAND);
    EXPECT_EQ(snapshot.requests[0].type, CHANGE_THEME);
    ASSERT_EQ(snapshot.statuses.size(), 1u);
    EXPECT_GT(snapshot.statuses[0].status.updateTime, 0);
    EXPECT_TRUE(snapshot.metadata.empty());
    EXPECT_FALSE(snapshot.truncated);
}

TEST(CoreAccessTest, MissingOrReplacedPolicy)
{
    CallerInfo caller = MakeCaller("com.any");
    NavigationStatus status;
    auto core = MakeCore(std::make_shared<InlineExecutor>(), nullptr);
    EXPECT_EQ(core->UpdateNavigationStatus(caller, {}), NAV_INFO_ERR_NO_PERMISSION) << "no policy denies everything";
    EXPECT_EQ(core->GetNavigationStatus(caller, "com.any", status), NAV_INFO_ERR_NOT_SYSTEM_APP);
    core->SetAccessPolicy(RuleAccessPolicy::AllowAll());
    EXPECT_EQ(core->UpdateNavigationStatus(caller, {}), NAV_INFO_SUCCESS);
    core->SetAccessPolicy(RuleAccessPolicy::DenyAll());
    EXPECT_EQ(core->UpdateNavigationStatus(caller, {}), NAV_INFO_ERR_NO_PERMISSION);
    core->SetAccessPolicy(RuleAccessPolicy::AllowAll());
    core->SetAccessPolicy(nullptr);
    EXPECT_EQ(core->UpdateNavigationStatus(caller, {}), NAV_INFO_ERR_NO_PERMISSION);
}

TEST(CoreValidationTest, EmptyOrOverlongBundleNamesAreInvalidAndUnknownOnesNotFound)
{
    const std::string longest(MAX_BUNDLE_NAME_LENGTH, 'b');
    const std::string tooLong(MAX_BUNDLE_NAME_LENGTH + 1, 'b');
    for (const auto& op : Operations()) {
        for (const std::string* bad : {&EMPTY_NAME, &tooLong}) {
            Fixture f = MakeFixture(RuleAccessPolicy::AllowAll());
            // Publishers act as themselves: their own name is the one checked.
            CallerInfo caller = MakeCaller(op.publisher ? *bad : "com.sys", 2);
            EXPECT_EQ(op.call(f, caller, *bad), NAV_INFO_ERR_INVALID_PARAM) << op.name << " " << bad->size();
            if (!op.publisher) {
                EXPECT_EQ(op.call(f, caller, longest), op.unknownTargetResult) << op.name;
            } else {
                EXPECT_NE(op.call(f, MakeCaller(longest, 2), ""), NAV_INFO_ERR_INVALID_PARAM) << op.name;
            }
            f.executor->RunAll();
            EXPECT_EQ(f.callback->Count(), 0u);
            EXPECT_EQ(f.listener->Count(), 0u);
        }
    }
}

TEST(CoreValidationTest, AClientFollowsAtMostItsShareOfBundles)
{
    CoreOptions options;
    options.executor = std::make_shared<InlineExecutor>();
    options.policy = RuleAccessPolicy::AllowAll();
    options.maxFollowsPerClient = 4;
    auto core = NavInfoServiceCore::Create(options);
    const CallerInfo one = MakeCaller("com.one", 1);
    sptr<RecordingStatusListener> status = new RecordingStatusListener();
    sptr<RecordingMetadataListener> metadata = new RecordingMetadataListener();
    auto followStatus = [&](const CallerInfo& c, const std::string& b) {
        return core->RegisterNavigationStatusListener(c, b, status);
    };
    auto followMetadata = [&](const CallerInfo& c, const std::string& b) {
        return core->RegisterNavigationMetadataListener(c, b, metadata);
    };
    const struct {
        const char* step;
        std::function<int32_t()> call;
        int32_t expected;
    } steps[] = {
        {"status a", [&] { return followStatus(one, "a"); }, NAV_INFO_SUCCESS},
        {"status b", [&] { return followStatus(one, "b"); }, NAV_INFO_SUCCESS},
        {"metadata a", [&] { return followMetadata(one, "a"); }, NAV_INFO_SUCCESS},
        {"metadata b: both kinds count", [&] { return followMetadata(one, "b"); }, NAV_INFO_SUCCESS},
        {"status c: over the share", [&] { return followStatus(one, "c"); }, NAV_INFO_ERR_TOO_MANY_REQUESTS},
        {"metadata c: over the share", [&] { return followMetadata(one, "c"); }, NAV_INFO_ERR_TOO_MANY_REQUESTS},
        {"status a again: a replacement", [&] { return followStatus(one, "a"); }, NAV_INFO_SUCCESS},
        {"another client has its own share", [&] { return followStatus(MakeCaller("com.two", 2), "c"); },
            NAV_INFO_SUCCESS},
        {"unfollowing frees a place", [&] { return core->UnRegisterNavigationStatusListener(one, "b"); },
            NAV_INFO_SUCCESS},
        {"status c now", [&] { return followStatus(one, "c"); }, NAV_INFO_SUCCESS},
        {"full again", [&] { return followStatus(one, "d"); }, NAV_INFO_ERR_TOO_MANY_REQUESTS},
        {"the client goes",
            [&] {
                core->OnClientGone(1);
                return 0;
            },
            0},
        {"a new connection of that id starts empty", [&] { return followStatus(one, "d"); }, NAV_INFO_SUCCESS},
    };
    for (const auto& step : steps) {
        EXPECT_EQ(step.call(), step.expected) << step.step;
    }
    ASSERT_EQ(core->UpdateNavigationStatus(MakeCaller("c", 9), {}), NAV_INFO_SUCCESS);
    ASSERT_EQ(core->UpdateNavigationStatus(MakeCaller("d", 9), {}), NAV_INFO_SUCCESS);
    EXPECT_EQ(status->Count(), 2u) << "the followers of c (client 2) and d (client 1) were told";
}

TEST(CoreValidationTest, NullListenersAndCallbacksAreInvalid)
{
    Fixture f = MakeFixture(RuleAccessPolicy::AllowAll());
    CallerInfo sys = MakeCaller("com.sys", 2);
    EXPECT_EQ(f.core->RegisterSystemNavigationListener(MakeCaller(NAV_BUNDLE, 7), nullptr), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(f.core->RegisterNavigationStatusListener(sys, NAV_BUNDLE, nullptr), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(f.core->RegisterNavigationMetadataListener(sys, NAV_BUNDLE, nullptr), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(f.core->QueryNavigationInfo(sys, NAV_BUNDLE, NAVIGATION_STATUS, {}, nullptr), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(f.core->SendNavigationCmd(sys, NAV_BUNDLE, GO_HOME, {}, nullptr), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(f.core->OutstandingRequestCount(), 0u);
}

TEST(CoreValidationTest, KindsOutsideTheirRangeAreInvalidAndTheEdgesAccepted)
{
    Fixture f = MakeFixture(RuleAccessPolicy::AllowAll());
    CallerInfo sys = MakeCaller("com.sys", 2);
    auto query = [&](int32_t type) {
        return f.core->QueryNavigationInfo(sys, NAV_BUNDLE, static_cast<QueryType>(type), {}, f.callback);
    };
    auto command = [&](int32_t type) {
        return f.core->SendNavigationCmd(sys, NAV_BUNDLE, static_cast<CommandType>(type), {}, f.callback);
    };
    for (int32_t bad : {-1, QUERY_TYPE_COUNT}) {
        EXPECT_EQ(query(bad), NAV_INFO_ERR_INVALID_PARAM) << bad;
    }
    for (int32_t bad : {-1, COMMAND_TYPE_COUNT}) {
        EXPECT_EQ(command(bad), NAV_INFO_ERR_INVALID_PARAM) << bad;
    }
    EXPECT_EQ(query(NAVIGATION_STATUS), NAV_INFO_SUCCESS);
    EXPECT_EQ(query(NAVIGATION_METADATA), NAV_INFO_SUCCESS);
    EXPECT_EQ(command(START_NAVIGATION), NAV_INFO_SUCCESS);
    EXPECT_EQ(command(STOP_UPDATE_NAVIGATION_STATUS), NAV_INFO_SUCCESS);
    f.executor->RunAll();
    ASSERT_EQ(f.listener->Count(), 4u) << "only the accepted requests reach the listener";
    EXPECT_EQ(f.listener->requests[1].type, NAVIGATION_METADATA);
    EXPECT_EQ(f.listener->requests[3].type, STOP_UPDATE_NAVIGATION_STATUS);
    EXPECT_FALSE(f.listener->requests[3].isQuery);
}

TEST(NavInfoResultTextTest, KnownAndUnknownResults)
{
    const std::pair<int32_t, const char*> texts[] = {{0, "Success"}, {1001, "Invalid argument"},
        {1002, "Service unavailable"}, {1003, "Not found"}, {1004, "Timed out"}, {1005, "No Permission"},
        {1006, "Too many requests"}, {1015, "Not System App"}, {-1, "Unknown error"}, {1007, "Unknown error"}};
    for (const auto& [code, text] : texts) {
        EXPECT_STREQ(NavInfoResultText(code), text) << code;
    }
}

} // namespace
} // namespace OHOS::NavigationInfoService
