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

// {IsSystemApp, HasNavigationPermission} for the bundle.
std::pair<bool, bool> Rights(const AccessPolicy& policy, const std::string& bundle)
{
    return {policy.IsSystemApp(Caller(bundle)), policy.HasNavigationPermission(Caller(bundle))};
}

using Expected = std::pair<bool, bool>;

TEST(RuleAccessPolicyTest, ListedBundlesGetTheirRuleAndUnlistedFollowTheDefault)
{
    std::map<std::string, BundleAccess> bundles;
    bundles["com.sys"] = BundleAccess{true, true, {}, ""};
    bundles["com.map"] = BundleAccess{false, true, {}, ""};
    bundles["com.plain"] = BundleAccess{true, false, {}, ""};
    RuleAccessPolicy denying(true, bundles);
    RuleAccessPolicy allowing(false, bundles);
    EXPECT_EQ(Rights(denying, "com.sys"), Expected(true, true));
    EXPECT_EQ(Rights(denying, "com.map"), Expected(false, true));
    EXPECT_EQ(Rights(denying, "com.plain"), Expected(true, false));
    EXPECT_EQ(Rights(denying, "com.other"), Expected(false, false));
    EXPECT_EQ(Rights(allowing, "com.other"), Expected(true, true));
    EXPECT_EQ(Rights(allowing, "com.map"), Expected(false, true)) << "a listed rule wins over the default";
    EXPECT_EQ(Rights(*RuleAccessPolicy::AllowAll(), "x"), Expected(true, true));
    EXPECT_EQ(Rights(*RuleAccessPolicy::DenyAll(), "x"), Expected(false, false));
}

TEST(RuleAccessPolicyTest, IdentityCheckUsesUidsAndToken)
{
    std::map<std::string, BundleAccess> bundles;
    bundles["com.uid"] = BundleAccess{true, true, {1000, 1001}, ""};
    bundles["com.token"] = BundleAccess{true, true, {}, "s3cret"};
    bundles["com.open"] = BundleAccess{true, true, {}, ""};
    RuleAccessPolicy policy(true, bundles);
    const struct {
        const char* bundle;
        int32_t uid;
        const char* token;
        bool allowed;
    } cases[] = {
        {"com.uid", 1001, "", true}, {"com.uid", 2000, "", false}, {"com.token", 5, "s3cret", true},
        {"com.token", 5, "guess", false}, {"com.token", 5, "", false}, {"com.open", 77, "anything", true},
        {"com.unlisted", 0, "", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(policy.IdentityAllowed(c.bundle, c.uid, c.token), c.allowed) << c.bundle << " " << c.uid;
    }
    EXPECT_TRUE(RuleAccessPolicy(false, {}).IdentityAllowed("com.unlisted", 0, ""));
}

TEST(AccessPolicyFileTest, ParsesEveryFieldWithDenyingEmptyDefaults)
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
    EXPECT_TRUE(result.policy->DefaultDeny());
    const BundleAccess* map = result.policy->FindBundle("com.example.map");
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(Rights(*result.policy, "com.example.map"), Expected(false, true));
    EXPECT_EQ(map->uids, (std::vector<int32_t>{1000, 20010}));
    EXPECT_EQ(map->token, "t");
    EXPECT_EQ(Rights(*result.policy, "com.example.car"), Expected(true, true));
    EXPECT_EQ(Rights(*result.policy, "com.example.none"), Expected(false, false));
    EXPECT_EQ(Rights(*result.policy, "com.unlisted"), Expected(false, false));

    result = ParseAccessPolicy("{}");
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_TRUE(result.policy->DefaultDeny());
    EXPECT_TRUE(result.policy->Bundles().empty());
    result = ParseAccessPolicy(R"({"defaultDeny": false})");
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_EQ(Rights(*result.policy, "anyone"), Expected(true, true));
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
        EXPECT_EQ(Rights(*result.policy, "anyone"), Expected(false, false)) << text;
        EXPECT_EQ(Rights(*result.policy, "a"), Expected(false, false)) << text;
    }
}

TEST(AccessPolicyFileTest, FileOnDiskAndTheEnvironmentChooseThePolicy)
{
    char name[] = "/tmp/navinfo_policy_XXXXXX";
    int fd = mkstemp(name);
    ASSERT_GE(fd, 0);
    close(fd);
    const std::string path = name;
    const std::string missing = path + ".absent";
    auto write = [&](const std::string& text) { std::ofstream(path) << text; };

    unsetenv(POLICY_FILE_ENV);
    EXPECT_TRUE(AccessPolicyFromEnvironment()->IsSystemApp(Caller("anyone"))) << "no file: allow all";

    write(R"({"bundles": {"com.a": {"systemApp": true, "navigationPermission": true}}})");
    PolicyLoadResult result = LoadAccessPolicyFile(path);
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_EQ(Rights(*result.policy, "com.a"), Expected(true, true));
    EXPECT_EQ(Rights(*result.policy, "com.b"), Expected(false, false));
    setenv(POLICY_FILE_ENV, path.c_str(), 1);
    auto policy = AccessPolicyFromEnvironment();
    ASSERT_NE(policy, nullptr);
    EXPECT_TRUE(policy->IsSystemApp(Caller("com.a")));
    EXPECT_FALSE(policy->IsSystemApp(Caller("anyone")));

    result = LoadAccessPolicyFile(missing);
    EXPECT_FALSE(result.ok);
    EXPECT_NE(result.error.find(missing), std::string::npos) << "the reason names the path";
    EXPECT_FALSE(result.policy->HasNavigationPermission(Caller("com.a")));

    write("{ not json");
    policy = AccessPolicyFromEnvironment();
    EXPECT_TRUE(policy == nullptr || !policy->IsSystemApp(Caller("com.a"))) << "malformed: deny all";
    setenv(POLICY_FILE_ENV, missing.c_str(), 1);
    policy = AccessPolicyFromEnvironment();
    EXPECT_TRUE(policy == nullptr || !policy->IsSystemApp(Caller("com.a"))) << "missing: deny all";
    unsetenv(POLICY_FILE_ENV);
    std::remove(path.c_str());
}

} // namespace
} // namespace OHOS::NavigationInfoService
