// The environment of a process that logs.
#include <algorithm>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Process.h"
#include "TemporaryFolder.h"

namespace {

using testing::HasSubstr, testing::IsEmpty;

const std::vector<std::string> ALL_LINES = {"APPLIST_LOG=stderr"};

TEST(LogOfAProcess, IsOnStandardErrorOnRequest) {
    Process process({APPLIST_TESTS_LOG_LINES}, {ALL_LINES, {}, false});
    ASSERT_EQ(process.WaitForExit(), 0);
    EXPECT_THAT(process.Errors(),
                HasSubstr(" debug: LogLines.cpp: main(10) > [main:10] Sending sync message"));
    EXPECT_THAT(process.Errors(), HasSubstr(" error: LogLines.cpp: main(12) > "));
    EXPECT_EQ(std::count(process.Errors().begin(), process.Errors().end(), '\n'), 3);
}

TEST(LogOfAProcess, HasTheLevelOfTheEnvironment) {
    Process process({APPLIST_TESTS_LOG_LINES},
                    {{"APPLIST_LOG=stderr", "APPLIST_LOG_LEVEL=error"}, {}, false});
    ASSERT_EQ(process.WaitForExit(), 0);
    EXPECT_THAT(process.Errors(), HasSubstr(" error: "));
    EXPECT_EQ(std::count(process.Errors().begin(), process.Errors().end(), '\n'), 1);
}

TEST(LogOfAProcess, IgnoresTheEnvironmentOfAnotherGroup) {
    const TemporaryFolder folder;
    const std::string program = folder.Path() + "/log-lines";
    std::filesystem::copy_file(APPLIST_TESTS_LOG_LINES, program);
    constexpr gid_t OTHER_GROUP = 65534;
    if (chown(program.c_str(), geteuid(), OTHER_GROUP) != 0 || chmod(program.c_str(), 02755) != 0) {
        GTEST_SKIP() << "only root gives a program to another group";
    }
    Process process({program}, {ALL_LINES, {}, false});
    ASSERT_EQ(process.WaitForExit(), 0);
    if (process.Output() != "raised privileges\n") {
        GTEST_SKIP() << "this file system raises no privileges";
    }
    EXPECT_THAT(process.Errors(), IsEmpty());
}

} // namespace
