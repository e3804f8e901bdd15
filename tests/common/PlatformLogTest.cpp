// The platform's log as it is shipped, against real sockets: the journal, syslog where there is no
// journal, and neither.
#include <common/ErrorIds.h>
#include <common/Log.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include "AllocationCount.h"
#include "CancelledThread.h"
#include "PrivateSystemLog.h"

namespace {

using testing::Each, testing::HasSubstr, testing::IsEmpty, testing::Not, testing::SizeIs;

constexpr int BUFFER = 0;
constexpr int DEBUG = 3;
constexpr int INFO = 4;
constexpr int ERROR = 6;
constexpr const char* TAG = "applist";

std::string IdOf(const std::string& format) {
    for (const ErrorId& error : ERROR_IDS) {
        if (format == error.format) {
            return error.id;
        }
    }
    ADD_FAILURE() << "no id for " << format;
    return "";
}

// The journal

LOG_TEST(Journal, ReceivesALineWithItsFields) {
    log.OpenJournal();
    log.OpenSyslog();
    PlatformLogPrint(2, DEBUG, "a-tag", "Hello %s, %d times%s", "you", 3, "\n");
    const std::string entry = Only(log.JournalEntries());
    EXPECT_EQ(JournalField(entry, "MESSAGE"), "Hello you, 3 times\n");
    EXPECT_EQ(JournalField(entry, "PRIORITY"), "7");
    EXPECT_EQ(JournalField(entry, "SYSLOG_IDENTIFIER"), "a-tag");
    EXPECT_EQ(JournalField(entry, "LOG_BUFFER"), "2");
    EXPECT_THAT(log.SyslogLines(), IsEmpty());
}

LOG_TEST(Journal, ReceivesTheSeverityOfThePriority) {
    log.OpenJournal();
    for (const int priority : {DEBUG, INFO, ERROR}) {
        PlatformLogPrint(BUFFER, priority, TAG, "line\n");
    }
    const auto entries = log.JournalEntries();
    ASSERT_THAT(entries, SizeIs(3));
    EXPECT_EQ(JournalField(entries[0], "PRIORITY"), "7");
    EXPECT_EQ(JournalField(entries[1], "PRIORITY"), "6");
    EXPECT_EQ(JournalField(entries[2], "PRIORITY"), "3");
}

LOG_TEST(Journal, ReceivesALongLineCutWithAMarkAtItsEnd) {
    log.OpenJournal();
    const std::string name(3 * 1024 * 1024, 'n');
    PlatformLogPrint(BUFFER, DEBUG, TAG, "before %s after\n", name.c_str());
    const std::string entry = Only(log.JournalEntries());
    const std::string message = JournalField(entry, "MESSAGE");
    EXPECT_EQ(message.substr(0, 10), "before nnn");
    EXPECT_EQ(message.size(), 4095u);
    EXPECT_EQ(message.substr(4095 - 7), "nnn...\n");
    EXPECT_EQ(JournalField(entry, "PRIORITY"), "7");
}

LOG_TEST(Journal, ReceivesTheLongestLineWhole) {
    log.OpenJournal();
    const std::string line = std::string(4094, 'n') + "\n";
    PlatformLogPrint(BUFFER, DEBUG, TAG, "%s", line.c_str());
    const std::string entry = Only(log.JournalEntries());
    EXPECT_EQ(JournalField(entry, "MESSAGE"), line);
}

LOG_TEST(Journal, ReceivesALongLineCutBetweenTwoCharacters) {
    log.OpenJournal();
    std::string name;
    while (name.size() < 5000) {
        name += "\xf0\x9f\x98\x80";
    }
    for (const char* start : {"", "1", "12", "123"}) {
        PlatformLogPrint(BUFFER, DEBUG, TAG, "%s%s\n", start, name.c_str());
    }
    const auto entries = log.JournalEntries();
    ASSERT_THAT(entries, SizeIs(4));
    for (const auto& entry : entries) {
        const std::string message = JournalField(entry, "MESSAGE");
        EXPECT_GE(message.size(), 4092u);
        EXPECT_EQ(message.substr(message.size() - 8), "\xf0\x9f\x98\x80...\n");
    }
}

LOG_TEST(Journal, ReceivesThePercentSignsOfANameUnchanged) {
    log.OpenJournal();
    PlatformLogPrint(BUFFER, DEBUG, TAG, "name %s\n", "100%s%n%d%");
    const std::string entry = Only(log.JournalEntries());
    EXPECT_EQ(JournalField(entry, "MESSAGE"), "name 100%s%n%d%\n");
}

LOG_TEST(Journal, ReceivesBytesThatAreNotUtf8) {
    log.OpenJournal();
    PlatformLogPrint(BUFFER, DEBUG, TAG, "name %s\n", "a\xff\n=b");
    const std::string entry = Only(log.JournalEntries());
    EXPECT_EQ(JournalField(entry, "MESSAGE"), "name a\xff\n=b\n");
    EXPECT_EQ(JournalField(entry, "SYSLOG_IDENTIFIER"), "applist");
}

TEST(Journal, CostsNoAllocationForAnOrdinaryLine) {
    if (!AllocationCount::IsPossible()) {
        GTEST_SKIP() << "allocations cannot be counted under a sanitizer";
    }
    IN_A_CHILD_WITH_ITS_OWN_LOG([](PrivateSystemLog& log) {
        log.OpenJournal();
        PlatformLogPrint(BUFFER, DEBUG, TAG, "the first line opens the journal\n");
        const long before = AllocationCount::Now();
        for (int i = 0; i < 5; ++i) {
            PlatformLogPrint(BUFFER, DEBUG, TAG, "ordinary line %d of %s\n", i, "the library");
        }
        EXPECT_EQ(AllocationCount::Now() - before, 0);
        EXPECT_THAT(log.JournalEntries(), SizeIs(6));
    });
}

// The origin of a line, which only the journal keeps

LOG_TEST(Journal, ReceivesTheOriginOfALine) {
    log.OpenJournal();
    const std::string line = std::to_string(__LINE__ + 1);
    APPLIST_LOG_DEBUG("Sending sync message with %d bytes", 41);
    const std::string entry = Only(log.JournalEntries());
    EXPECT_EQ(JournalField(entry, "CODE_FILE"), "PlatformLogTest.cpp");
    EXPECT_EQ(JournalField(entry, "CODE_LINE"), line);
    EXPECT_EQ(JournalField(entry, "CODE_FUNC"), __func__);
    const std::string function = __func__;
    EXPECT_EQ(JournalField(entry, "MESSAGE"), "PlatformLogTest.cpp: " + function + "(" + line +
                                                  ") > [" + function + ":" + line +
                                                  "] Sending sync message with 41 bytes\n");
}

LOG_TEST(Journal, ReceivesNoOriginOfALineWithoutPrefix) {
    log.OpenJournal();
    PlatformLogPrint(BUFFER, ERROR, TAG, "Connection not set.%s", "\n");
    const std::string entry = Only(log.JournalEntries());
    EXPECT_THAT(entry, Not(HasSubstr("CODE_")));
    EXPECT_THAT(entry, Not(HasSubstr("MESSAGE_ID")));
}

LOG_TEST(Journal, ReceivesTheIdOfEachError) {
    log.OpenJournal();
    APPLIST_LOG_ERROR("Connection not set.");
    APPLIST_LOG_ERROR("Exception in %s", "cb_SignalCall");
    APPLIST_LOG_ERROR("Exception in %s: %s", "cb_SignalCall", "what");
    const auto entries = log.JournalEntries();
    ASSERT_THAT(entries, SizeIs(3));
    EXPECT_EQ(JournalField(entries[0], "MESSAGE_ID"), IdOf("Connection not set."));
    EXPECT_EQ(JournalField(entries[1], "MESSAGE_ID"), IdOf("Exception in %s"));
    EXPECT_EQ(JournalField(entries[2], "MESSAGE_ID"), IdOf("Exception in %s: %s"));
}

LOG_TEST(Journal, ReceivesNoIdOfAnotherLine) {
    log.OpenJournal();
    APPLIST_LOG_DEBUG("Connection not set.");
    APPLIST_LOG_INFO("Connection not set.");
    APPLIST_LOG_ERROR("Connection not set. Or is it?");
    const auto entries = log.JournalEntries();
    EXPECT_THAT(entries, SizeIs(3));
    EXPECT_THAT(entries, Each(Not(HasSubstr("MESSAGE_ID"))));
}

// Syslog

LOG_TEST(Syslog, ReceivesTagAndTextWithoutAJournal) {
    log.OpenSyslog();
    PlatformLogPrint(BUFFER, DEBUG, "a-tag", "Hello %s, %d times%s", "you", 3, "\n");
    const std::string line = Only(log.SyslogLines());
    EXPECT_THAT(line, HasSubstr(": a-tag: Hello you, 3 times"));
}

LOG_TEST(Syslog, ReceivesTheSeverityOfThePriority) {
    log.OpenSyslog();
    for (const int priority : {DEBUG, INFO, ERROR}) {
        PlatformLogPrint(BUFFER, priority, TAG, "line\n");
    }
    const auto lines = log.SyslogLines();
    ASSERT_THAT(lines, SizeIs(3));
    // The facility is the C library's default, user (1), times eight, plus the severity.
    EXPECT_EQ(lines[0].substr(0, 4), "<15>");
    EXPECT_EQ(lines[1].substr(0, 4), "<14>");
    EXPECT_EQ(lines[2].substr(0, 4), "<11>");
}

// Without a call of openlog, the C library writes the name of the program.
LOG_TEST(Syslog, LeavesTheIdentOfTheHostUnchanged) {
    log.OpenSyslog();
    PlatformLogPrint(BUFFER, DEBUG, TAG, "line\n");
    const std::string line = Only(log.SyslogLines());
    EXPECT_THAT(line, HasSubstr(std::string(" ") + program_invocation_short_name + ": applist: "));
}

LOG_TEST(Syslog, ReceivesALongLineCutWithAMarkAtItsEnd) {
    log.OpenSyslog();
    const std::string name(3 * 1024 * 1024, 'n');
    PlatformLogPrint(BUFFER, DEBUG, TAG, "before %s after\n", name.c_str());
    const std::string line = Only(log.SyslogLines());
    EXPECT_THAT(line, HasSubstr(": applist: before nnn"));
    EXPECT_THAT(line, HasSubstr("nnn..."));
    EXPECT_LT(line.size(), 5000u);
}

LOG_TEST(Syslog, ReceivesThePercentSignsOfANameUnchanged) {
    log.OpenSyslog();
    PlatformLogPrint(BUFFER, DEBUG, "t%s", "name %s\n", "100%s%n%d");
    const std::string line = Only(log.SyslogLines());
    EXPECT_THAT(line, HasSubstr(": t%s: name 100%s%n%d"));
}

// The allocations of the C library's syslog(3) are not counted: the library adds none.
TEST(Syslog, CostsTheLibraryNoAllocation) {
    if (!AllocationCount::IsPossible()) {
        GTEST_SKIP() << "allocations cannot be counted under a sanitizer";
    }
    IN_A_CHILD_WITH_ITS_OWN_LOG([](PrivateSystemLog& log) {
        log.OpenSyslog();
        PlatformLogPrint(BUFFER, DEBUG, TAG, "the first line opens the log\n");
        long before = AllocationCount::Now();
        syslog(7, "%s: %s", TAG, "ordinary line 1 of the library\n");
        const long ofSyslog = AllocationCount::Now() - before;
        before = AllocationCount::Now();
        PlatformLogPrint(BUFFER, DEBUG, TAG, "ordinary line %d of %s\n", 1, "the library");
        EXPECT_EQ(AllocationCount::Now() - before, ofSyslog);
        EXPECT_THAT(log.SyslogLines(), SizeIs(3));
    });
}

// Neither

LOG_TEST(MissingLog, LosesOnlyTheLine) {
    for (int i = 0; i < 100; ++i) {
        PlatformLogPrint(BUFFER, ERROR, TAG, "line %d\n", i);
    }
}

// Repeats a line until @p read returns lines.
template <class Read>
auto WrittenUntilReceived(Read read) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    std::vector<std::string> received;
    while (received.empty() && std::chrono::steady_clock::now() < deadline) {
        PlatformLogPrint(BUFFER, DEBUG, TAG, "received\n");
        received = read();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return received;
}

LOG_TEST(MissingLog, IsReplacedSoonAfterSyslogStarts) {
    PlatformLogPrint(BUFFER, DEBUG, TAG, "lost\n");
    log.OpenSyslog();
    const std::string line = Only(WrittenUntilReceived([&] { return log.SyslogLines(); }));
    EXPECT_THAT(line, HasSubstr(": applist: received"));
}

LOG_TEST(MissingLog, IsReplacedSoonAfterTheJournalStarts) {
    PlatformLogPrint(BUFFER, DEBUG, TAG, "lost\n");
    log.OpenJournal();
    const std::string entry = Only(WrittenUntilReceived([&] { return log.JournalEntries(); }));
    EXPECT_EQ(JournalField(entry, "MESSAGE"), "received\n");
}

LOG_TEST(MissingLog, IsRetriedAtOnceForAnError) {
    PlatformLogPrint(BUFFER, DEBUG, TAG, "lost\n");
    log.OpenSyslog();
    PlatformLogPrint(BUFFER, ERROR, TAG, "received\n");
    EXPECT_THAT(log.SyslogLines(), SizeIs(1));
}

LOG_TEST(MissingLog, IsRetriedAtOnceForInformation) {
    PlatformLogPrint(BUFFER, DEBUG, TAG, "lost\n");
    log.OpenSyslog();
    PlatformLogPrint(BUFFER, INFO, TAG, "received\n");
    EXPECT_THAT(log.SyslogLines(), SizeIs(1));
}

LOG_TEST(MissingLog, IsDetectedAgainWhenSyslogStops) {
    log.OpenSyslog();
    PlatformLogPrint(BUFFER, DEBUG, TAG, "received\n");
    EXPECT_THAT(log.SyslogLines(), SizeIs(1));
    log.CloseSyslog();
    PlatformLogPrint(BUFFER, DEBUG, TAG, "lost\n");
    log.OpenSyslog();
    EXPECT_THAT(WrittenUntilReceived([&] { return log.SyslogLines(); }), SizeIs(1));
}

// A thread that is cancelled

LOG_TEST(Log, FinishesALineOfAThreadThatIsCancelled) {
    log.OpenSyslog();
    EXPECT_TRUE(
        FinishesBeforeItsCancellation([] { PlatformLogPrint(BUFFER, ERROR, TAG, "line\n"); }));
}

} // namespace
