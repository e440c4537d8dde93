#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "hilog/log.h"
#include "hilog/log_control.h"
#include "hilog/log_rate_limit.h"
#include "rate_limited_count.h"

using namespace OHOS::HiviewDFX;

#define HILOG_TEST_WARN(fmt, ...) HiLogPrint(LOG_CORE, LOG_WARN, 1, "T", fmt, ##__VA_ARGS__)

namespace {

class HiLogTest : public testing::Test {
protected:
    void SetUp() override
    {
        SetLogLevel(LOG_DEBUG);
        SetLogSink([this](const LogRecord& record) { records.push_back(record); });
    }
    void TearDown() override
    {
        SetLogSink(nullptr);
        SetLogLevel(LOG_WARN);
    }
    std::vector<LogRecord> records;
};

TEST_F(HiLogTest, PrivacyMarkersAndConversions)
{
    HiLogPrint(LOG_CORE, LOG_INFO, 0xD005401, "NavInfoJsNapi", "[%{public}s:%{public}d]%{public}s# ret= %{public}d",
        "file.cpp", 42, "Func", -1005);
    HiLogPrint(LOG_CORE, LOG_INFO, 1, "T", "user %{private}s id %{public}u %s", "alice", 7u, "plain");
    HiLogPrint(LOG_CORE, LOG_INFO, 1, "T", "%{public}5.2f|%{public}-4d|%%|%{public}lld|%{public}x", 3.14159, 9,
        -5000000000LL, 255u);
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].message, "[file.cpp:42]Func# ret= -1005");
    EXPECT_EQ(records[0].domain, 0xD005401u);
    EXPECT_EQ(records[0].tag, "NavInfoJsNapi");
    EXPECT_EQ(records[0].type, LOG_CORE);
    EXPECT_EQ(records[1].message, "user <private> id 7 plain");
    EXPECT_EQ(records[2].message, " 3.14|9   |%|-5000000000|ff");
}

TEST_F(HiLogTest, LevelFiltersBeforeFormatting)
{
    SetLogLevel(LOG_WARN);
    EXPECT_EQ(HiLogPrint(LOG_CORE, LOG_INFO, 1, "T", "dropped %{public}s", "x"), -1);
    EXPECT_FALSE(HiLogIsLoggable(1, "T", LOG_INFO));
    EXPECT_TRUE(HiLogIsLoggable(1, "T", LOG_ERROR));
    HiLogPrint(LOG_CORE, LOG_WARN, 1, "T", "kept");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].level, LOG_WARN);
    SetLogLevel(LOG_FATAL + 1);
    EXPECT_EQ(HiLogPrint(LOG_CORE, LOG_FATAL, 1, "T", "off"), -1);
}

TEST_F(HiLogTest, MalformedFormatsWriteNothing)
{
    EXPECT_EQ(HiLogPrint(LOG_CORE, LOG_INFO, 1, "T", "%{public}", 1), -1);
    EXPECT_EQ(HiLogPrint(LOG_CORE, LOG_INFO, 1, "T", "%{public}q", 1), -1);
    EXPECT_EQ(HiLogPrint(LOG_CORE, LOG_INFO, 1, "T", nullptr), -1);
    HiLogPrint(LOG_CORE, LOG_INFO, 1, "T", "%s", static_cast<const char*>(nullptr));
    EXPECT_TRUE(records.size() == 1u && records[0].message == "(null)");
}

TEST(HiLogLineTest, LineCarriesTimePidTidLevelDomainAndTag)
{
    LogRecord record{LOG_CORE, LOG_ERROR, 0xD005401, "NavInfoJsNapi", "[a.cpp:1]F# boom"};
    std::string line = FormatLogLine(record, 1700000000123LL, 321, 654);
    EXPECT_NE(line.find(".123   321   654 E D005401/NavInfoJsNapi: [a.cpp:1]F# boom"), std::string::npos) << line;
    EXPECT_EQ(line.find('\n'), std::string::npos);
}

// Under systemd the output is the journal's stream when its device and inode
// are those JOURNAL_STREAM names: lines then start with the syslog priority
// and carry no time (the journal keeps it). A file stands in for the stream.
TEST(HiLogLineTest, TheJournalsStreamGetsPriorityPrefixesAndNoTime)
{
    char path[] = "/tmp/navinfo-journal-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    struct stat st {};
    ASSERT_EQ(fstat(fd, &st), 0);
    const std::string stream = std::to_string(st.st_dev) + ":" + std::to_string(st.st_ino);
    for (const char* value : {"", "12", "x:y", "1:2:3"}) {
        setenv("JOURNAL_STREAM", value, 1);
        EXPECT_FALSE(IsJournalStream(fd)) << value;
    }
    setenv("JOURNAL_STREAM", stream.c_str(), 1);
    EXPECT_TRUE(IsJournalStream(fd));
    EXPECT_FALSE(IsJournalStream(STDIN_FILENO));

    ASSERT_TRUE(SetLogOutput(path));
    const struct {
        LogLevel level;
        const char* prefix;
    } levels[] = {{LOG_DEBUG, "<7>"}, {LOG_INFO, "<6>"}, {LOG_WARN, "<4>"}, {LOG_ERROR, "<3>"}, {LOG_FATAL, "<2>"}};
    SetLogLevel(LOG_DEBUG);
    for (const auto& entry : levels) {
        HiLogPrint(LOG_CORE, entry.level, 0xD005401, "Tag", "n=%{public}d", 1);
    }
    SetLogLevel(LOG_WARN);
    ASSERT_TRUE(SetLogOutput("stderr"));
    unsetenv("JOURNAL_STREAM");
    char text[1024] = {};
    ssize_t n = pread(fd, text, sizeof(text) - 1, 0);
    close(fd);
    unlink(path);
    std::istringstream lines(std::string(text, n > 0 ? static_cast<size_t>(n) : 0));
    std::string line;
    for (const auto& entry : levels) {
        ASSERT_TRUE(std::getline(lines, line));
        EXPECT_EQ(line.rfind(entry.prefix, 0), 0u) << line;
        EXPECT_NE(line.find(" D005401/Tag: n=1"), std::string::npos) << line;
        EXPECT_EQ(line.find(':'), line.find("/Tag:") + 4) << "no time in " << line;
    }
}

// The one rate limiter of every repeated warning: counts of dropped records
// (Add(n)) and rate-limited log lines (Add(1) each) alike.
TEST(RateLimitedCountTest, OneReportPerIntervalCarriesEverythingCountedSince)
{
    using namespace std::chrono;
    OHOS::RateLimitedCount limit(milliseconds(1000));
    const OHOS::RateLimitedCount::Clock::time_point start{};
    const struct {
        int atMs;
        uint64_t counted;
        uint64_t reported; // 0: held back
    } steps[] = {
        {0, 1, 1},    // the first at once
        {1, 1, 0},    // a second one within the interval is held back
        {500, 5, 0},  // counts add up
        {999, 1, 0},  // still within the interval
        {1000, 1, 8}, // the next interval: everything held back, and this one
        {1500, 0, 0}, // asking only
        {1700, 2, 0},
        {2000, 0, 2}, // asking after the interval reports what was left over
        {2001, 0, 0}, // nothing left
        {5000, 3, 3},
        {6000, 1, 1},
    };
    for (const auto& step : steps) {
        EXPECT_EQ(limit.Add(step.counted, start + milliseconds(step.atMs)), step.reported) << step.atMs;
    }
    EXPECT_EQ(limit.Pending(), 0u);
    EXPECT_EQ(SuppressedNote(0), "");
    EXPECT_EQ(SuppressedNote(3), " (3 similar lines suppressed)");
}

TEST_F(HiLogTest, AFloodFromOneCallSiteWritesOneLine)
{
    for (int i = 0; i < 1000; ++i) {
        HILOG_RATE_LIMITED(HILOG_TEST_WARN, "refused %{public}d", i);
    }
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].message, "refused 0");
}

} // namespace
