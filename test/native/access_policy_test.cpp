// The access policy: rule answers, and reading the policy file.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

#include "access_policy.h"
#include "access_policy_file.h"

namespace OHOS::NavigationInfoService {
namespace {

CallerInfo Caller(const std::string& bundle)
{
    CallerInfo caller;
    caller.bundleName = bundle;
    return caller;
}

TEST(RuleAccessPolicyTest, ListedBundlesGetTheirRuleAndUnlistedFollowTheDefault)
{
    std::map<std::string, BundleAccess> bundles;
    bundles["com.sys"] = BundleAccess{true, true, {}, ""};
    bundles["com.map"] = BundleAccess{false, true, {}, ""};
    bundles["com.plain"] = BundleAccess{true, false, {}, ""};

    RuleAccessPolicy denying(true, bundles);
    EXPECT_TRUE(denying.IsSystemApp(Caller("com.sys")));
    EXPECT_TRUE(denying.HasNavigationPermission(Caller("com.sys")));
    EXPECT_FALSE(denying.IsSystemApp(Caller("com.map")));
    EXPECT_TRUE(denying.HasNavigationPermission(Caller("com.map")));
    EXPECT_TRUE(denying.IsSystemApp(Caller("com.plain")));
    EXPECT_FALSE(denying.HasNavigationPermission(Caller("com.plain")));
    EXPECT_FALSE(denying.IsSystemApp(Caller("com.other")));
    EXPECT_FALSE(denying.HasNavigationPermission(Caller("com.other")));

    RuleAccessPolicy allowing(false, bundles);
    EXPECT_TRUE(allowing.IsSystemApp(Caller("com.other")));
    EXPECT_TRUE(allowing.HasNavigationPermission(Caller("com.other")));
    EXPECT_FALSE(allowing.IsSystemApp(Caller("com.map"))) << "a listed rule wins over the default";
}

TEST(RuleAccessPolicyTest, AllowAllAndDenyAll)
{
    EXPECT_TRUE(RuleAccessPolicy::AllowAll()->IsSystemApp(Caller("x")));
    EXPECT_TRUE(RuleAccessPolicy::AllowAll()->HasNavigationPermission(Caller("x")));
    EXPECT_FALSE(RuleAccessPolicy::DenyAll()->IsSystemApp(Caller("x")));
    EXPECT_FALSE(RuleAccessPolicy::DenyAll()->HasNavigationPermission(Caller("x")));
}

TEST(RuleAccessPolicyTest, IdentityCheckUsesUidsAndToken)
{
    std::map<std::string, BundleAccess> bundles;
    bundles["com.uid"] = BundleAccess{true, true, {1000, 1001}, ""};
    bundles["com.token"] = BundleAccess{true, true, {}, "s3cret"};
    bundles["com.open"] = BundleAccess{true, true, {}, ""};
    RuleAccessPolicy policy(true, bundles);

    EXPECT_TRUE(policy.IdentityAllowed("com.uid", 1001, ""));
    EXPECT_FALSE(policy.IdentityAllowed("com.uid", 2000, ""));
    EXPECT_TRUE(policy.IdentityAllowed("com.token", 5, "s3cret"));
    EXPECT_FALSE(policy.IdentityAllowed("com.token", 5, "guess"));
    EXPECT_FALSE(policy.IdentityAllowed("com.token", 5, ""));
    EXPECT_TRUE(policy.IdentityAllowed("com.open", 77, "anything"));
    EXPECT_FALSE(policy.IdentityAllowed("com.unlisted", 0, ""));
    EXPECT_TRUE(RuleAccessPolicy(false, {}).IdentityAllowed("com.unlisted", 0, ""));
}

TEST(AccessPolicyFileTest, ParsesEveryField)
{
    PolicyLoadResult result = ParseAccessPolicy(R"({
        "version": 1,
        "defaultDeny": true,
        "bundles": {
            "com.example.map": { "systemApp": false, "navigationPermission": true, "uids": [1000, 20010], "token": "t" },
            "com.example.car": { "systemApp": true, "navigationPermission": true },
            "com.example.none": {}
        }
    })");
    ASSERT_TRUE(result.ok) << result.error;
    ASSERT_NE(result.policy, nullptr);
    EXPECT_TRUE(result.policy->DefaultDeny());
    const BundleAccess* map = result.policy->FindBundle("com.example.map");
    ASSERT_NE(map, nullptr);
    EXPECT_FALSE(map->systemApp);
    EXPECT_TRUE(map->navigationPermission);
    EXPECT_EQ(map->uids, (std::vector<int32_t>{1000, 20010}));
    EXPECT_EQ(map->token, "t");
    EXPECT_TRUE(result.policy->IsSystemApp(Caller("com.example.car")));
    EXPECT_FALSE(result.policy->HasNavigationPermission(Caller("com.example.none")));
    EXPECT_FALSE(result.policy->IsSystemApp(Caller("com.unlisted")));
}

TEST(AccessPolicyFileTest, DefaultsAreDenyingAndEmpty)
{
    PolicyLoadResult result = ParseAccessPolicy("{}");
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_TRUE(result.policy->DefaultDeny());
    EXPECT_TRUE(result.policy->Bundles().empty());

    result = ParseAccessPolicy(R"({"defaultDeny": false})");
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_TRUE(result.policy->IsSystemApp(Caller("anyone")));
}

TEST(AccessPolicyFileTest, MalformedTextDeniesEverythingWithAReason)
{
    const char* bad[] = {
        "",
        "{",
        "[]",
        "42",
        R"({"defaultDeny": "no"})",
        R"({"defaultDeny": false, "bundles": []})",
        R"({"defaultDeny": false, "bundles": {"": {}}})",
        R"({"defaultDeny": false, "bundles": {"a": true}})",
        R"({"defaultDeny": false, "bundles": {"a": {"systemApp": 1}}})",
        R"({"defaultDeny": false, "bundles": {"a": {"navigationPermision": true}}})",
        R"({"defaultDeny": false, "bundles": {"a": {"uids": "1000"}}})",
        R"({"defaultDeny": false, "bundles": {"a": {"uids": [-1]}}})",
        R"({"defaultDeny": false, "bundles": {"a": {"uids": [1.5]}}})",
        R"({"defaultDeny": false, "bundles": {"a": {"uids": [4294967296]}}})",
        R"({"defaultDeny": false, "bundles": {"a": {"token": 7}}})",
        R"({"defaultDeny": false, "version": 2})",
        R"({"defaultDeny": false, "extra": 1})",
    };
    for (const char* text : bad) {
        PolicyLoadResult result = ParseAccessPolicy(text);
        EXPECT_FALSE(result.ok) << text;
        EXPECT_FALSE(result.error.empty()) << text;
        ASSERT_NE(result.policy, nullptr) << text;
        EXPECT_FALSE(result.policy->IsSystemApp(Caller("anyone"))) << text;
        EXPECT_FALSE(result.policy->HasNavigationPermission(Caller("a"))) << text;
    }
}

class PolicyFileOnDiskTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/navinfo_policy_XXXXXX";
        int fd = mkstemp(name);
        ASSERT_GE(fd, 0);
        close(fd);
        path_ = name;
    }
    void TearDown() override
    {
        std::remove(path_.c_str());
        unsetenv(POLICY_FILE_ENV);
    }
    void Write(const std::string& text)
    {
        std::ofstream(path_) << text;
    }
    std::string path_;
};

TEST_F(PolicyFileOnDiskTest, GoodFileIsLoaded)
{
    Write(R"({"bundles": {"com.a": {"systemApp": true, "navigationPermission": true}}})");
    PolicyLoadResult result = LoadAccessPolicyFile(path_);
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_TRUE(result.policy->IsSystemApp(Caller("com.a")));
    EXPECT_FALSE(result.policy->IsSystemApp(Caller("com.b")));
}

TEST_F(PolicyFileOnDiskTest, MissingFileFailsNamingThePath)
{
    std::string missing = path_ + ".absent";
    PolicyLoadResult result = LoadAccessPolicyFile(missing);
    EXPECT_FALSE(result.ok);
    EXPECT_NE(result.error.find(missing), std::string::npos);
    EXPECT_FALSE(result.policy->HasNavigationPermission(Caller("com.a")));
}

TEST_F(PolicyFileOnDiskTest, EnvironmentChoosesThePolicy)
{
    unsetenv(POLICY_FILE_ENV);
    EXPECT_TRUE(AccessPolicyFromEnvironment()->IsSystemApp(Caller("anyone"))) << "no file: allow all";

    Write(R"({"bundles": {"com.a": {"systemApp": true}}})");
    setenv(POLICY_FILE_ENV, path_.c_str(), 1);
    auto policy = AccessPolicyFromEnvironment();
    ASSERT_NE(policy, nullptr);
    EXPECT_TRUE(policy->IsSystemApp(Caller("com.a")));
    EXPECT_FALSE(policy->IsSystemApp(Caller("anyone")));

    Write("{ not json");
    policy = AccessPolicyFromEnvironment();
    EXPECT_TRUE(policy == nullptr || !policy->IsSystemApp(Caller("com.a"))) << "malformed: deny all";

    setenv(POLICY_FILE_ENV, (path_ + ".absent").c_str(), 1);
    policy = AccessPolicyFromEnvironment();
    EXPECT_TRUE(policy == nullptr || !policy->IsSystemApp(Caller("com.a"))) << "missing: deny all";
}

} // namespace
} // namespace OHOS::NavigationInfoService
