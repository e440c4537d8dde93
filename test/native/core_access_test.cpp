// The core's access checks for each operation, and its argument validation.
#include <gtest/gtest.h>

#include <functional>

#include "core_test_support.h"
#include "nav_info_errors.h"

namespace OHOS::NavigationInfoService {
namespace {

using namespace Testing;

const std::string NAV_BUNDLE = "com.nav";
const std::string CALLER_BUNDLE = "com.caller";

struct Fixture {
    std::shared_ptr<ManualExecutor> executor = std::make_shared<ManualExecutor>();
    std::shared_ptr<NavInfoServiceCore> core;
    sptr<RecordingCallback> callback = new RecordingCallback();
};

// A core where NAV_BUNDLE has published and registered its listener, and
// CALLER_BUNDLE gets the given rule.
Fixture MakeFixture(std::optional<BundleAccess> callerRule)
{
    std::map<std::string, BundleAccess> rules;
    rules[NAV_BUNDLE] = BundleAccess{false, true, {}, ""};
    if (callerRule) {
        rules[CALLER_BUNDLE] = *callerRule;
    }
    Fixture f;
    CoreOptions options;
    options.executor = f.executor;
    options.policy = std::make_shared<RuleAccessPolicy>(true, rules);
    f.core = NavInfoServiceCore::Create(options);
    CallerInfo nav = MakeCaller(NAV_BUNDLE, 7);
    EXPECT_EQ(f.core->UpdateNavigationStatus(nav, NavigationStatus{}), NAV_INFO_SUCCESS);
    EXPECT_EQ(f.core->RegisterSystemNavigationListener(nav, new HoldingSystemListener()), NAV_INFO_SUCCESS);
    return f;
}

struct OperationCase {
    const char* name;
    bool publisher; // needs only the permission; else needs a system application with it
    int32_t allowedResult;
    std::function<int32_t(Fixture&, const CallerInfo&)> call;
};

std::vector<OperationCase> Operations()
{
    return {
        {"UpdateNavigationStatus", true, NAV_INFO_SUCCESS,
            [](Fixture& f, const CallerInfo& c) { return f.core->UpdateNavigationStatus(c, {}); }},
        {"UpdateNavigationMetadata", true, NAV_INFO_SUCCESS,
            [](Fixture& f, const CallerInfo& c) { return f.core->UpdateNavigationMetadata(c, {}); }},
        {"RegisterSystemNavigationListener", true, NAV_INFO_SUCCESS,
            [](Fixture& f, const CallerInfo& c) {
                return f.core->RegisterSystemNavigationListener(c, new HoldingSystemListener());
            }},
        {"UnRegisterSystemNavigationListener", true, NAV_INFO_ERR_NOT_FOUND,
            [](Fixture& f, const CallerInfo& c) { return f.core->UnRegisterSystemNavigationListener(c); }},
        {"GetNavigationStatus", false, NAV_INFO_SUCCESS,
            [](Fixture& f, const CallerInfo& c) {
                NavigationStatus status;
                return f.core->GetNavigationStatus(c, NAV_BUNDLE, status);
            }},
        {"RegisterNavigationStatusListener", false, NAV_INFO_SUCCESS,
            [](Fixture& f, const CallerInfo& c) {
                return f.core->RegisterNavigationStatusListener(c, NAV_BUNDLE, new RecordingStatusListener());
            }},
        {"UnRegisterNavigationStatusListener", false, NAV_INFO_ERR_NOT_FOUND,
            [](Fixture& f, const CallerInfo& c) { return f.core->UnRegisterNavigationStatusListener(c, NAV_BUNDLE); }},
        {"RegisterNavigationMetadataListener", false, NAV_INFO_SUCCESS,
            [](Fixture& f, const CallerInfo& c) {
                return f.core->RegisterNavigationMetadataListener(c, NAV_BUNDLE, new RecordingMetadataListener());
            }},
        {"UnRegisterNavigationMetadataListener", false, NAV_INFO_ERR_NOT_FOUND,
            [](Fixture& f, const CallerInfo& c) {
                return f.core->UnRegisterNavigationMetadataListener(c, NAV_BUNDLE);
            }},
        {"QueryNavigationInfo", false, NAV_INFO_SUCCESS,
            [](Fixture& f, const CallerInfo& c) {
                return f.core->QueryNavigationInfo(c, NAV_BUNDLE, NAVIGATION_STATUS, {}, f.callback);
            }},
        {"SendNavigationCmd", false, NAV_INFO_SUCCESS,
            [](Fixture& f, const CallerInfo& c) {
                return f.core->SendNavigationCmd(c, NAV_BUNDLE, GO_HOME, {}, f.callback);
            }},
    };
}

struct PolicyCase {
    const char* name;
    std::optional<BundleAccess> rule;
    int32_t publisherResult; // when not allowed
    int32_t readerResult;    // when not allowed
    bool publisherAllowed;
    bool readerAllowed;
};

TEST(CoreAccessTest, EachOperationIsRefusedOrAllowedByThePolicy)
{
    const PolicyCase policies[] = {
        {"unlisted", std::nullopt, NAV_INFO_ERR_NO_PERMISSION, NAV_INFO_ERR_NOT_SYSTEM_APP, false, false},
        {"nothing", BundleAccess{false, false, {}, ""}, NAV_INFO_ERR_NO_PERMISSION, NAV_INFO_ERR_NOT_SYSTEM_APP,
            false, false},
        {"system app only", BundleAccess{true, false, {}, ""}, NAV_INFO_ERR_NO_PERMISSION, NAV_INFO_ERR_NO_PERMISSION,
            false, false},
        {"permission only", BundleAccess{false, true, {}, ""}, 0, NAV_INFO_ERR_NOT_SYSTEM_APP, true, false},
        {"both", BundleAccess{true, true, {}, ""}, 0, 0, true, true},
    };
    for (const auto& policy : policies) {
        for (const auto& op : Operations()) {
            Fixture f = MakeFixture(policy.rule);
            int32_t result = op.call(f, MakeCaller(CALLER_BUNDLE, 2));
            bool allowed = op.publisher ? policy.publisherAllowed : policy.readerAllowed;
            int32_t expected = allowed ? op.allowedResult : (op.publisher ? policy.publisherResult : policy.readerResult);
            EXPECT_EQ(result, expected) << op.name << " with policy " << policy.name;
        }
    }
}

TEST(CoreAccessTest, NoPolicyDeniesEverything)
{
    CoreOptions options;
    options.executor = std::make_shared<InlineExecutor>();
    auto core = NavInfoServiceCore::Create(options);
    CallerInfo caller = MakeCaller("com.any");
    NavigationStatus status;
    EXPECT_EQ(core->UpdateNavigationStatus(caller, {}), NAV_INFO_ERR_NO_PERMISSION);
    EXPECT_EQ(core->GetNavigationStatus(caller, "com.any", status), NAV_INFO_ERR_NOT_SYSTEM_APP);
}

TEST(CoreAccessTest, ReplacedPolicyAppliesToTheNextCall)
{
    CoreOptions options;
    options.executor = std::make_shared<InlineExecutor>();
    options.policy = RuleAccessPolicy::AllowAll();
    auto core = NavInfoServiceCore::Create(options);
    CallerInfo caller = MakeCaller("com.any");
    EXPECT_EQ(core->UpdateNavigationStatus(caller, {}), NAV_INFO_SUCCESS);
    core->SetAccessPolicy(RuleAccessPolicy::DenyAll());
    EXPECT_EQ(core->UpdateNavigationStatus(caller, {}), NAV_INFO_ERR_NO_PERMISSION);
    core->SetAccessPolicy(nullptr);
    EXPECT_EQ(core->UpdateNavigationStatus(caller, {}), NAV_INFO_ERR_NO_PERMISSION);
    core->SetAccessPolicy(RuleAccessPolicy::AllowAll());
    EXPECT_EQ(core->UpdateNavigationStatus(caller, {}), NAV_INFO_SUCCESS);
}

TEST(CoreAccessTest, RefusedRequestsAreNeverCalledBack)
{
    Fixture f = MakeFixture(BundleAccess{false, true, {}, ""}); // not a system application
    EXPECT_EQ(f.core->QueryNavigationInfo(MakeCaller(CALLER_BUNDLE, 2), NAV_BUNDLE, NAVIGATION_STATUS, {}, f.callback),
        NAV_INFO_ERR_NOT_SYSTEM_APP);
    f.executor->RunAll();
    EXPECT_EQ(f.callback->Count(), 0u);
    EXPECT_EQ(f.core->OutstandingRequestCount(), 0u);
}

class CoreValidationTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        CoreOptions options;
        options.executor = executor_;
        options.policy = RuleAccessPolicy::AllowAll();
        core_ = NavInfoServiceCore::Create(options);
        ASSERT_EQ(core_->RegisterSystemNavigationListener(nav_, listener_), NAV_INFO_SUCCESS);
    }
    std::shared_ptr<ManualExecutor> executor_ = std::make_shared<ManualExecutor>();
    std::shared_ptr<NavInfoServiceCore> core_;
    CallerInfo nav_ = MakeCaller("com.nav", 1);
    CallerInfo sys_ = MakeCaller("com.sys", 2);
    sptr<HoldingSystemListener> listener_ = new HoldingSystemListener();
    sptr<RecordingCallback> callback_ = new RecordingCallback();
};

TEST_F(CoreValidationTest, EmptyBundleNamesAreInvalid)
{
    CallerInfo nameless = MakeCaller("", 3);
    NavigationStatus status;
    EXPECT_EQ(core_->UpdateNavigationStatus(nameless, {}), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->UpdateNavigationMetadata(nameless, {}), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->RegisterSystemNavigationListener(nameless, new HoldingSystemListener()),
        NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->UnRegisterSystemNavigationListener(nameless), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->GetNavigationStatus(sys_, "", status), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->RegisterNavigationStatusListener(sys_, "", new RecordingStatusListener()),
        NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->UnRegisterNavigationStatusListener(sys_, ""), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->RegisterNavigationMetadataListener(sys_, "", new RecordingMetadataListener()),
        NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->UnRegisterNavigationMetadataListener(sys_, ""), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->QueryNavigationInfo(sys_, "", NAVIGATION_STATUS, {}, callback_), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->SendNavigationCmd(sys_, "", GO_HOME, {}, callback_), NAV_INFO_ERR_INVALID_PARAM);
}

TEST_F(CoreValidationTest, NullListenersAndCallbacksAreInvalid)
{
    EXPECT_EQ(core_->RegisterSystemNavigationListener(nav_, nullptr), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->RegisterNavigationStatusListener(sys_, "com.nav", nullptr), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->RegisterNavigationMetadataListener(sys_, "com.nav", nullptr), NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->QueryNavigationInfo(sys_, "com.nav", NAVIGATION_STATUS, {}, nullptr),
        NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->SendNavigationCmd(sys_, "com.nav", GO_HOME, {}, nullptr), NAV_INFO_ERR_INVALID_PARAM);
}

TEST_F(CoreValidationTest, KindsOutsideTheirRangeAreInvalidAndTheEdgesAccepted)
{
    EXPECT_EQ(core_->QueryNavigationInfo(sys_, "com.nav", static_cast<QueryType>(-1), {}, callback_),
        NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->QueryNavigationInfo(sys_, "com.nav", static_cast<QueryType>(QUERY_TYPE_COUNT), {}, callback_),
        NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->SendNavigationCmd(sys_, "com.nav", static_cast<CommandType>(-1), {}, callback_),
        NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->SendNavigationCmd(sys_, "com.nav", static_cast<CommandType>(COMMAND_TYPE_COUNT), {}, callback_),
        NAV_INFO_ERR_INVALID_PARAM);
    EXPECT_EQ(core_->QueryNavigationInfo(sys_, "com.nav", NAVIGATION_STATUS, {}, callback_), NAV_INFO_SUCCESS);
    EXPECT_EQ(core_->QueryNavigationInfo(sys_, "com.nav", NAVIGATION_METADATA, {}, callback_), NAV_INFO_SUCCESS);
    EXPECT_EQ(core_->SendNavigationCmd(sys_, "com.nav", START_NAVIGATION, {}, callback_), NAV_INFO_SUCCESS);
    EXPECT_EQ(core_->SendNavigationCmd(sys_, "com.nav", STOP_UPDATE_NAVIGATION_STATUS, {}, callback_),
        NAV_INFO_SUCCESS);
    executor_->RunAll();
    ASSERT_EQ(listener_->Count(), 4u) << "only the accepted requests reach the listener";
    EXPECT_EQ(listener_->requests[1].type, NAVIGATION_METADATA);
    EXPECT_EQ(listener_->requests[3].type, STOP_UPDATE_NAVIGATION_STATUS);
    EXPECT_FALSE(listener_->requests[3].isQuery);
}

TEST_F(CoreValidationTest, MissingThingsAreNotFound)
{
    NavigationStatus status;
    EXPECT_EQ(core_->GetNavigationStatus(sys_, "com.silent", status), NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(core_->QueryNavigationInfo(sys_, "com.silent", NAVIGATION_STATUS, {}, callback_),
        NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(core_->SendNavigationCmd(sys_, "com.silent", GO_HOME, {}, callback_), NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(core_->UnRegisterSystemNavigationListener(sys_), NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(core_->UnRegisterNavigationStatusListener(sys_, "com.nav"), NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(core_->UnRegisterNavigationMetadataListener(sys_, "com.nav"), NAV_INFO_ERR_NOT_FOUND);
    executor_->RunAll();
    EXPECT_EQ(callback_->Count(), 0u);
}

TEST_F(CoreValidationTest, UnregisteringTwiceIsNotFoundTheSecondTime)
{
    ASSERT_EQ(core_->RegisterNavigationStatusListener(sys_, "com.nav", new RecordingStatusListener()), 0);
    EXPECT_EQ(core_->UnRegisterNavigationStatusListener(sys_, "com.nav"), NAV_INFO_SUCCESS);
    EXPECT_EQ(core_->UnRegisterNavigationStatusListener(sys_, "com.nav"), NAV_INFO_ERR_NOT_FOUND);
    EXPECT_EQ(core_->UnRegisterSystemNavigationListener(nav_), NAV_INFO_SUCCESS);
    EXPECT_EQ(core_->UnRegisterSystemNavigationListener(nav_), NAV_INFO_ERR_NOT_FOUND);
}

TEST(NavInfoResultTextTest, KnownAndUnknownResults)
{
    EXPECT_STREQ(NavInfoResultText(0), "Success");
    EXPECT_STREQ(NavInfoResultText(1001), "Invalid argument");
    EXPECT_STREQ(NavInfoResultText(1002), "Service unavailable");
    EXPECT_STREQ(NavInfoResultText(1003), "Not found");
    EXPECT_STREQ(NavInfoResultText(1004), "Timed out");
    EXPECT_STREQ(NavInfoResultText(1005), "No Permission");
    EXPECT_STREQ(NavInfoResultText(1006), "Too many requests");
    EXPECT_STREQ(NavInfoResultText(1015), "Not System App");
    EXPECT_STREQ(NavInfoResultText(-1), "Unknown error");
    EXPECT_STREQ(NavInfoResultText(1007), "Unknown error");
}

} // namespace
} // namespace OHOS::NavigationInfoService
