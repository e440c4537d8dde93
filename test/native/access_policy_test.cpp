// The access policy: rule answers, and reading the policy file.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <sys/stat.h>
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

TEST(RuleAccessPolicyTest, RemoteRequestersAreJudgedByTheirOwnRulesNeverByALocalBundle)
{
    std::map<std::string, BundleAccess> bundles;
    bundles["nodeB/com.voice"] = BundleAccess{true, true, {}, ""}; // a local name that looks remote
    bundles["com.voice"] = BundleAccess{true, true, {}, ""};
    std::map<std::string, BundleAccess> remote;
    remote["nodeB/com.cluster"] = BundleAccess{true, true, {}, ""};
    remote["nodeB/com.voice"] = BundleAccess{false, false, {}, ""};
    remote["nodeC/com.map"] = BundleAccess{true, false, {}, ""};
    const struct {
        bool defaultDeny;
        const char* name;
        bool remote;
        Expected rights;
    } cases[] = {
        {true, "nodeB/com.cluster", true, {true, true}},
        {true, "nodeB/com.voice", true, {false, false}},
        {true, "nodeC/com.map", true, {true, false}},
        {true, "nodeB/com.voice", false, {true, true}}, // the local rule of that name
        {true, "com.voice", true, {false, false}},      // a local bundle's rule never applies
        {true, "nodeA/com.cluster", true, {false, false}},
        {false, "nodeA/com.cluster", true, {true, true}}, // unlisted: as an unlisted bundle
        {false, "nodeB/com.voice", true, {false, false}},
    };
    for (const auto& c : cases) {
        RuleAccessPolicy policy(c.defaultDeny, bundles, remote);
        CallerInfo caller = Caller(c.name);
        caller.remote = c.remote;
        EXPECT_EQ(Expected(policy.IsSystemApp(caller), policy.HasNavigationPermission(caller)), c.rights)
            << c.name << (c.remote ? " remote" : " local") << (c.defaultDeny ? " defaultDeny" : "");
    }
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
        {"com.uid", 1001, "", true},
        {"com.uid", 2000, "", false},
        {"com.token", 5, "s3cret", true},
        {"com.token", 5, "guess", false},
        {"com.token", 5, "", false},
        {"com.open", 77, "anything", true},
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
            "com.example.map": { "systemApp": false, "navigationPermission": true, "uids": [1000, 20010], "token": "t",
                                 "livenessTimeoutMs": 1500 },
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
    EXPECT_EQ(result.policy->LivenessTimeout("com.example.map"), std::chrono::milliseconds(1500));
    EXPECT_EQ(result.policy->LivenessTimeout("com.example.car"), DEFAULT_LIVENESS_TIMEOUT);
    EXPECT_EQ(result.policy->LivenessTimeout("com.unlisted"), DEFAULT_LIVENESS_TIMEOUT);
    EXPECT_EQ(Rights(*result.policy, "com.example.car"), Expected(true, true));
    EXPECT_EQ(Rights(*result.policy, "com.example.none"), Expected(false, false));
    EXPECT_EQ(Rights(*result.policy, "com.unlisted"), Expected(false, false));

    EXPECT_EQ(result.bridge, nullptr) << "no bridge section, no bridge";

    result = ParseAccessPolicy(R"({"bridge": {"domain": 7, "partition": "car", "node": "head-unit",
        "export": ["com.example.map"], "import": ["com.example.map2"], "livelinessMs": 800, "insecure": true}})");
    ASSERT_TRUE(result.ok) << result.error;
    ASSERT_NE(result.bridge, nullptr);
    EXPECT_EQ(std::make_tuple(result.bridge->domain, result.bridge->partition, result.bridge->node,
                  result.bridge->exports, result.bridge->imports, result.bridge->liveliness.count(),
                  result.bridge->insecure),
        std::make_tuple(7u, std::string("car"), std::string("head-unit"), std::vector<std::string>{"com.example.map"},
            std::vector<std::string>{"com.example.map2"}, int64_t{800}, true));
    EXPECT_FALSE(ParseAccessPolicy(R"({"bridge": {}})").bridge->insecure) << "secure unless the policy says so";

    result = ParseAccessPolicy(R"({"remoteRequesters": {"nodeB/com.example.cluster": {"systemApp": true,
        "navigationPermission": true}, "nodeB/com.example.voice": {"systemApp": true}}})");
    ASSERT_TRUE(result.ok) << result.error;
    CallerInfo remote = Caller("nodeB/com.example.voice");
    remote.remote = true;
    EXPECT_EQ(Expected(result.policy->IsSystemApp(remote), result.policy->HasNavigationPermission(remote)),
        Expected(true, false));
    remote.bundleName = "nodeB/com.example.cluster";
    EXPECT_EQ(Expected(result.policy->IsSystemApp(remote), result.policy->HasNavigationPermission(remote)),
        Expected(true, true));
    EXPECT_EQ(Rights(*result.policy, "nodeB/com.example.cluster"), Expected(false, false)) << "not a local rule";

    result = ParseAccessPolicy(R"({"goneRetentionSeconds": 90})");
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_EQ(result.goneRetention.count(), 90000);

    result = ParseAccessPolicy("{}");
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_TRUE(result.policy->DefaultDeny());
    EXPECT_TRUE(result.policy->Bundles().empty());
    EXPECT_EQ(result.goneRetention, DEFAULT_GONE_RETENTION);
    result = ParseAccessPolicy(R"({"defaultDeny": false})");
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_EQ(Rights(*result.policy, "anyone"), Expected(true, true));
}

std::string Nested(size_t depth)
{
    return R"({"bundles": {"a": {"uids": )" + std::string(depth, '[') + std::string(depth, ']') + "}}}";
}

TEST(AccessPolicyFileTest, MalformedTextDeniesEverythingWithAOneLineReason)
{
    const std::string hostileName = "evil\\n" + std::string(100000, 'n');
    const struct {
        std::string text;
        const char* reason; // a piece of the error
    } bad[] = {
        {"", "not valid JSON"},
        {"{", "not valid JSON"},
        {"[]", "must be a JSON object"},
        {"42", "must be a JSON object"},
        {R"({"defaultDeny": "no"})", "\"defaultDeny\" must be true or false"},
        {R"({"defaultDeny": false, "bundles": []})", "\"bundles\" must be an object"},
        {R"({"defaultDeny": false, "bundles": {"": {}}})", "empty bundle name"},
        {R"({"defaultDeny": false, "bundles": {"a": true}})", "must be an object"},
        {R"({"defaultDeny": false, "bundles": {"a": {"systemApp": 1}}})", "\"systemApp\" must be true or false"},
        {R"({"defaultDeny": false, "bundles": {"a": {"navigationPermision": true}}})", "unknown key"},
        {R"({"defaultDeny": false, "bundles": {"a": {"uids": "1000"}}})", "must be an array"},
        {R"({"defaultDeny": false, "bundles": {"a": {"uids": [-1]}}})", "not a user id: -1"},
        {R"({"defaultDeny": false, "bundles": {"a": {"uids": [1.5]}}})", "not a user id"},
        {R"({"defaultDeny": false, "bundles": {"a": {"uids": [4294967296]}}})", "not a user id"},
        {R"({"defaultDeny": false, "bundles": {"a": {"uids": [[1]]}}})", "not a user id: an array"},
        {R"({"defaultDeny": false, "bundles": {"a": {"token": 7}}})", "\"token\" must be a string"},
        {R"({"bundles": {"a": {"livenessTimeoutMs": "3000"}}})", "\"livenessTimeoutMs\" must be an integer"},
        {R"({"bundles": {"a": {"livenessTimeoutMs": 2.5}}})", "\"livenessTimeoutMs\" must be an integer"},
        {R"({"bundles": {"a": {"livenessTimeoutMs": 99}}})", "from 100 to 600000"},
        {R"({"bundles": {"a": {"livenessTimeoutMs": 600001}}})", "from 100 to 600000"},
        {R"({"bundles": {"a": {"livenessTimeoutMs": 18446744073709551615}}})", "from 100 to 600000"},
        {R"({"defaultDeny": false, "version": 2})", "\"version\" must be 1"},
        {R"({"defaultDeny": false, "extra": 1})", "unknown key \"extra\""},
        // A key given twice is refused by name: with "last one wins" a second
        // entry of a bundle without its token would open it to anyone.
        {R"({"defaultDeny": true, "defaultDeny": false})", "the key \"defaultDeny\" appears twice"},
        {R"({"bundles": {"a": {"token": "t"}, "a": {}}})", "the key \"a\" appears twice in \"bundles\""},
        {R"({"bundles": {"a": {"token": "t", "token": ""}}})", "the key \"token\" appears twice in \"a\""},
        {Nested(MAX_POLICY_DEPTH - 3), "not a user id: an array"}, // 8 levels: parsed, then refused
        {Nested(MAX_POLICY_DEPTH - 2), "nested deeper than 8 levels"},
        {Nested(100000), "nested deeper than 8 levels"},
        {std::string(MAX_POLICY_FILE_BYTES + 1, ' '), "larger than 1048576 bytes"},
        {R"({"bundles": {")" + hostileName + R"(": 1}})", "bundles[\"evil\\x0annnn"},
        {R"({")" + hostileName + R"(": 1})", "unknown key \"evil\\x0a"},
        {"{\"a\" 1 " + hostileName, "not valid JSON"},
        {R"({"goneRetentionSeconds": 0})", "\"goneRetentionSeconds\" must be an integer from 1 to 86400"},
        {R"({"goneRetentionSeconds": 86401})", "\"goneRetentionSeconds\" must be an integer from 1 to 86400"},
        {R"({"goneRetentionSeconds": 1.5})", "not 1.5"},
        {R"({"goneRetentionSeconds": "600"})", "not a string"},
        {R"({"bridge": []})", "\"bridge\" must be an object"},
        {R"({"bridge": {"domian": 1}})", "bridge: unknown key"},
        {R"({"bridge": {"domain": 231}})", "\"domain\" must be an integer from 0 to 230"},
        {R"({"bridge": {"partition": "car*"}})", "without wildcards"},
        {R"({"bridge": {"livelinessMs": 5}})", "\"livelinessMs\" must be an integer from 100"},
        {R"({"bridge": {"insecure": "yes"}})", "\"insecure\" must be true or false"},
        {R"({"bridge": {"export": ["a", ""]}})", "not a bundle name"},
        {R"({"bridge": {"export": ["a"], "import": ["a"]}})", "\"import\" lists a bundle that the bridge"},
        {R"({"bridge": {"import": ["b", "b"]}})", "\"import\" lists a bundle that the bridge"},
        {R"({"bridge": {"node": "car/head"}})", "\"node\" must be a name of 1 to 256 bytes without '/'"},
        {R"({"remoteRequesters": []})", "\"remoteRequesters\" must be an object keyed by \"node/bundle\""},
        {R"({"remoteRequesters": {"com.example.cluster": {}}})", "remoteRequesters[\"com.example.cluster\"]: must be"},
        {R"({"remoteRequesters": {"/com.example.cluster": {}}})", "must be \"node/bundle\""},
        {R"({"remoteRequesters": {"nodeB/": {}}})", "must be \"node/bundle\""},
        {R"({"remoteRequesters": {"nodeB/a": true}})", "remoteRequesters[\"nodeB/a\"]: must be an object"},
        {R"({"remoteRequesters": {"nodeB/a": {"token": "t"}}})", "unknown key \"token\""},
        {R"({"remoteRequesters": {"nodeB/a": {"systemApp": 1}}})", "\"systemApp\" must be true or false"},
        {R"({"remoteRequesters": {"nodeB/a": {}, "nodeB/a": {"systemApp": true}}})", "appears twice"},
    };
    for (const auto& c : bad) {
        SCOPED_TRACE(testing::Message() << "case " << (&c - bad) << ": " << c.reason);
        PolicyLoadResult result = ParseAccessPolicy(c.text);
        EXPECT_FALSE(result.ok);
        EXPECT_NE(result.error.find(c.reason), std::string::npos) << result.error;
        EXPECT_EQ(result.error.find('\n'), std::string::npos) << "one line";
        EXPECT_LE(result.error.size(), 300u) << "no hostile value copied whole";
        ASSERT_NE(result.policy, nullptr);
        EXPECT_EQ(Rights(*result.policy, "anyone"), Expected(false, false));
        EXPECT_EQ(Rights(*result.policy, "a"), Expected(false, false));
    }
    EXPECT_EQ(ParseAccessPolicy(R"({"bundles": {"a": {}, "b": {"uids": [1, 1]}}})").ok, true)
        << "the same key in two objects, or a value twice in a list, is fine";
}

TEST(AccessPolicyFileTest, OnlyARegularFileOfBoundedSizeIsRead)
{
    char name[] = "/tmp/navinfo_policy_dir_XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    const std::string dir = name;
    const std::string fifo = dir + "/fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string huge = dir + "/huge.json"; // sparse: costs no disk
    std::ofstream(huge).close();
    ASSERT_EQ(truncate(huge.c_str(), 300LL * 1024 * 1024), 0);
    const std::string good = dir + "/good.json";
    std::ofstream(good) << R"({"bundles": {"com.a": {"systemApp": true}}})";
    const std::string link = dir + "/link.json";
    ASSERT_EQ(symlink(good.c_str(), link.c_str()), 0);
    const struct {
        std::string path;
        const char* reason; // null: read
    } cases[] = {
        {fifo, "not a regular file"},        // would block the start forever
        {"/dev/zero", "not a regular file"}, // would never end
        {dir, "not a regular file"},
        {huge, "larger than 1048576 bytes"},
        {dir + "/absent.json", "cannot open"},
        {link, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        PolicyLoadResult result = LoadAccessPolicyFile(c.path);
        EXPECT_EQ(result.ok, c.reason == nullptr) << result.error;
        if (c.reason != nullptr) {
            EXPECT_EQ(result.error.rfind(c.path + ": ", 0), 0u) << result.error;
            EXPECT_NE(result.error.find(c.reason), std::string::npos) << result.error;
        }
    }
    std::filesystem::remove_all(dir);
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
