// The logging facility: buffer, priority, tag and prefix of a line.
#include <common/Log.h>

#include <string>

#include <gtest/gtest.h>

#include "CapturedLog.h"

namespace {

class Log : public testing::Test {
protected:
    Log() { CapturedLog::Clear(); }

    static CapturedLog::Line TheLine() {
        const auto lines = CapturedLog::Lines();
        EXPECT_EQ(lines.size(), 1u);
        return lines.empty() ? CapturedLog::Line{} : lines.back();
    }
};

int LogOneLine(const char* name) {
    APPLIST_LOG_DEBUG("Hello %s, %d times", name, 3);
    return __LINE__ - 1;
}

TEST_F(Log, PutsFileFunctionAndLineTwiceBeforeTheMessage) {
    const std::string line = std::to_string(LogOneLine("you"));
    EXPECT_EQ(TheLine().text, "LogTest.cpp: LogOneLine(" + line + ") > [LogOneLine:" + line +
                                  "] Hello you, 3 times\n");
}

TEST_F(Log, WritesToTheMainBufferWithTheTag) {
    LogOneLine("you");
    EXPECT_EQ(TheLine().bufferId, 0);
    EXPECT_EQ(TheLine().tag, "applist");
}

TEST_F(Log, HasThreePriorities) {
    APPLIST_LOG_DEBUG("debug");
    APPLIST_LOG_INFO("info");
    APPLIST_LOG_ERROR("error");
    const auto lines = CapturedLog::Lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].priority, 3);
    EXPECT_EQ(lines[1].priority, 4);
    EXPECT_EQ(lines[2].priority, 6);
    EXPECT_EQ(lines[1].message, "info");
}

TEST_F(Log, WritesPercentSignsOfANameUnchanged) {
    LogOneLine("100%s%n%d");
    EXPECT_EQ(TheLine().message, "Hello 100%s%n%d, 3 times");
}

TEST_F(Log, LeavesTheFoldersOutOfTheFilesName) {
    EXPECT_STREQ(LogBaseName("/home/you/src/ipc/IPCApplist.h"), "IPCApplist.h");
    EXPECT_STREQ(LogBaseName("src/main.cpp"), "main.cpp");
    EXPECT_STREQ(LogBaseName("main.cpp"), "main.cpp");
    EXPECT_STREQ(LogBaseName("folder/"), "");
    EXPECT_STREQ(LogBaseName(""), "");
}

} // namespace
