// Which lines are written: the level from the environment and the host's mask, with real sockets.
#include <common/Log.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include "CapturedStandardError.h"
#include "PrivateSystemLog.h"

namespace {

// Readers of the environment wait until as many have arrived.
std::atomic<int> g_awaitedReaders{0};

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" {
char* __real_secure_getenv(const char* name);
char* __wrap_secure_getenv(const char* name);

char* __wrap_secure_getenv(const char* name) {
    if (g_awaitedReaders > 0) {
        --g_awaitedReaders;
        while (g_awaitedReaders > 0) {
            std::this_thread::yield();
        }
    }
    return __real_secure_getenv(name);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using testing::ElementsAre, testing::HasSubstr, testing::SizeIs;

constexpr const char* ERROR = "3";
constexpr const char* INFO = "6";
constexpr const char* DEBUG = "7";

void LogOneOfEach() {
    APPLIST_LOG_DEBUG("debug");
    APPLIST_LOG_INFO("info");
    APPLIST_LOG_ERROR("error");
}

std::vector<std::string> Severities(const PrivateSystemLog& log) {
    std::vector<std::string> severities;
    for (const std::string& entry : log.JournalEntries()) {
        severities.push_back(JournalField(entry, "PRIORITY"));
    }
    return severities;
}

// The library reads the mask once per tick of this clock.
void WaitForTheNextTick() {
    const auto now = [] {
        timespec time = {};
        clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
        return time.tv_nsec;
    };
    const long before = now();
    while (now() == before) {
        std::this_thread::yield();
    }
}

// The level

LOG_TEST(LogLevel, IsEveryLineByDefault) {
    log.OpenJournal();
    LogOneOfEach();
    EXPECT_THAT(Severities(log), ElementsAre(DEBUG, INFO, ERROR));
}

LOG_TEST(LogLevel, OfAnEmptyVariableIsEveryLine) {
    setenv("APPLIST_LOG_LEVEL", "", 1);
    log.OpenJournal();
    LogOneOfEach();
    EXPECT_THAT(Severities(log), ElementsAre(DEBUG, INFO, ERROR));
}

LOG_TEST(LogLevel, OfErrorIsErrors) {
    setenv("APPLIST_LOG_LEVEL", "error", 1);
    log.OpenJournal();
    LogOneOfEach();
    EXPECT_THAT(Severities(log), ElementsAre(ERROR));
}

LOG_TEST(LogLevel, OfInfoIsErrorsAndInformation) {
    setenv("APPLIST_LOG_LEVEL", "info", 1);
    log.OpenJournal();
    LogOneOfEach();
    EXPECT_THAT(Severities(log), ElementsAre(INFO, ERROR));
}

LOG_TEST(LogLevel, OfDebugOutranksTheMaskOfTheHost) {
    setenv("APPLIST_LOG_LEVEL", "debug", 1);
    setlogmask(LOG_UPTO(LOG_ERR));
    log.OpenJournal();
    LogOneOfEach();
    EXPECT_THAT(Severities(log), ElementsAre(DEBUG, INFO, ERROR));
}

LOG_TEST(LogLevel, IsReadOnce) {
    setenv("APPLIST_LOG_LEVEL", "error", 1);
    log.OpenJournal();
    LogOneOfEach();
    setenv("APPLIST_LOG_LEVEL", "debug", 1);
    LogOneOfEach();
    EXPECT_THAT(Severities(log), ElementsAre(ERROR, ERROR));
}

int Count(int& calls) {
    return ++calls;
}

LOG_TEST(LogLevel, LeavesArgumentsOfALineBelowItAlone) {
    setenv("APPLIST_LOG_LEVEL", "info", 1);
    log.OpenJournal();
    int calls = 0;
    APPLIST_LOG_DEBUG("number %d", Count(calls));
    EXPECT_EQ(calls, 0);
    APPLIST_LOG_INFO("number %d", Count(calls));
    EXPECT_EQ(calls, 1);
}

// The mask of the host

LOG_TEST(HostsLogMask, AppliesToTheFirstLine) {
    setlogmask(LOG_UPTO(LOG_ERR));
    log.OpenJournal();
    LogOneOfEach();
    EXPECT_THAT(Severities(log), ElementsAre(ERROR));
}

LOG_TEST(HostsLogMask, MayNameSinglePriorities) {
    setlogmask(LOG_MASK(LOG_INFO));
    log.OpenJournal();
    LogOneOfEach();
    EXPECT_THAT(Severities(log), ElementsAre(INFO));
}

LOG_TEST(HostsLogMask, MayChangeFromOneTickToTheNext) {
    log.OpenJournal();
    LogOneOfEach();
    EXPECT_THAT(Severities(log), SizeIs(3));
    setlogmask(LOG_UPTO(LOG_INFO));
    WaitForTheNextTick();
    LogOneOfEach();
    EXPECT_THAT(Severities(log), ElementsAre(INFO, ERROR));
    setlogmask(LOG_UPTO(LOG_DEBUG));
    WaitForTheNextTick();
    LogOneOfEach();
    EXPECT_THAT(Severities(log), SizeIs(3));
}

LOG_TEST(HostsLogMask, StaysAsTheHostHasSetIt) {
    log.OpenJournal();
    setlogmask(LOG_UPTO(LOG_NOTICE));
    LogOneOfEach();
    EXPECT_EQ(setlogmask(0), LOG_UPTO(LOG_NOTICE));
}

// Unknown values

LOG_TEST(UnknownLogLevel, IsReportedOnceAndIsEveryLine) {
    setenv("APPLIST_LOG_LEVEL", "verbose%s", 1);
    log.OpenJournal();
    const CapturedStandardError standardError;
    LogOneOfEach();
    LogOneOfEach();
    const auto entries = log.JournalEntries();
    ASSERT_THAT(entries, SizeIs(7));
    EXPECT_THAT(JournalField(entries[0], "MESSAGE"),
                HasSubstr("] Environment variable APPLIST_LOG_LEVEL has the unknown value "
                          "'verbose%s'\n"));
    EXPECT_EQ(JournalField(entries[0], "PRIORITY"), ERROR);
    const std::string line = Only(standardError.Lines());
    EXPECT_THAT(line, HasSubstr("APPLIST_LOG_LEVEL has the unknown value"));
}

LOG_TEST(UnknownLog, IsReportedOnceAlsoOnStandardError) {
    setenv("APPLIST_LOG", "STDERR", 1);
    log.OpenJournal();
    const CapturedStandardError standardError;
    LogOneOfEach();
    EXPECT_THAT(Severities(log), ElementsAre(ERROR, DEBUG, INFO, ERROR));
    const std::string line = Only(standardError.Lines());
    EXPECT_THAT(line,
                HasSubstr("] Environment variable APPLIST_LOG has the unknown value 'STDERR'"));
}

LOG_TEST(UnknownLog, IsReportedOnceByTwoThreadsThatReadItAtOnce) {
    setenv("APPLIST_LOG", "STDERR", 1);
    const CapturedStandardError standardError;
    g_awaitedReaders = 2;
    std::thread other([] { LogSettings::Includes(LOG_PRIORITY_DEBUG); });
    LogSettings::Includes(LOG_PRIORITY_DEBUG);
    other.join();
    EXPECT_THAT(standardError.Lines(), SizeIs(1));
}

} // namespace
