// What a line of the library looks like when it reaches the platform's log.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <common/Log.h>

#include "CapturedLog.h"

namespace {

using testing::ElementsAre;

class Log : public testing::Test {
protected:
    void SetUp() override { CapturedLog::Clear(); }
};

void Log_Once(const char* name) {
    APPLIST_LOG_DEBUG("Hello %s", name);
}
constexpr int LOG_ONCE_LINE = __LINE__ - 2;

TEST_F(Log, SaysFileFunctionAndLineBeforeTheMessageAndEndsInALineFeed) {
    Log_Once("you");
    ASSERT_EQ(CapturedLog::Lines().size(), 1U);
    const std::string line = std::to_string(LOG_ONCE_LINE);
    EXPECT_EQ(CapturedLog::Lines()[0].text,
              "LogTest.cpp: Log_Once(" + line + ") > [Log_Once:" + line + "] Hello you\n");
}

TEST_F(Log, GoesToTheMainBufferUnderTheLibrarysTag) {
    Log_Once("you");
    ASSERT_EQ(CapturedLog::Lines().size(), 1U);
    EXPECT_EQ(CapturedLog::Lines()[0].bufferId, 0);
    EXPECT_EQ(CapturedLog::Lines()[0].tag, "applist");
}

TEST_F(Log, HasThreePriorities) {
    APPLIST_LOG_DEBUG("a");
    APPLIST_LOG_INFO("b");
    APPLIST_LOG_ERROR("c");
    std::vector<int> priorities;
    for (const CapturedLog::Line& line : CapturedLog::Lines()) {
        priorities.push_back(line.priority);
    }
    EXPECT_THAT(priorities, ElementsAre(3, 4, 6));
}

TEST_F(Log, TakesNamesFromOutsideAsArgumentsNeverAsFormats) {
    Log_Once("%s%n%d 100%");
    EXPECT_THAT(CapturedLog::Messages(), ElementsAre("DEBUG Hello %s%n%d 100%"));
}

TEST_F(Log, NamesAFileWithoutItsFolders) {
    static_assert(LogBaseName("/a/b/c.cpp")[0] == 'c');
    EXPECT_STREQ(LogBaseName("/a/b/c.cpp"), "c.cpp");
    EXPECT_STREQ(LogBaseName("c.cpp"), "c.cpp");
    EXPECT_STREQ(LogBaseName(""), "");
}

} // namespace
