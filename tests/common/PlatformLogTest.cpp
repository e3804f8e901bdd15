// The default platform log on real sockets: the journal's, and /dev/log where no journal answers.
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <common/PlatformLog.h>

#include "CountedMalloc.h"
#include "LogRoom.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;

using Texts = std::vector<std::string>;

#define RUN_IN_LOG_ROOM(name, work)                                                                \
    const auto name##Result = LogRoom::Run(work);                                                  \
    if (!name##Result) {                                                                           \
        GTEST_SKIP() << "this machine permits no mount namespace of the test's own";               \
    }                                                                                              \
    const Texts name = *name##Result

// The journal's native protocol: "FIELD=value\n", or "FIELD\n", the value's size as a 64-bit
// little-endian integer, the value and "\n" for values with a line feed in them.
std::map<std::string, std::string> Fields(const std::string& datagram) {
    std::map<std::string, std::string> fields;
    for (std::size_t at = 0; at < datagram.size();) {
        const std::size_t end = datagram.find('\n', at);
        const std::size_t equals = datagram.find('=', at);
        if (equals < end) {
            fields[datagram.substr(at, equals - at)] =
                datagram.substr(equals + 1, end - equals - 1);
            at = end + 1;
        } else {
            std::uint64_t size = 0;
            for (unsigned i = 0; i < 8; ++i) {
                size |= std::uint64_t{static_cast<unsigned char>(datagram[end + 1 + i])} << 8 * i;
            }
            fields[datagram.substr(at, end - at)] = datagram.substr(end + 9, size);
            at = end + 9 + size + 1;
        }
    }
    return fields;
}

TEST(PlatformLog, SendsALineToTheJournalWithItsFields) {
    RUN_IN_LOG_ROOM(datagrams, [] {
        const LogSocket journal(LogRoom::JOURNAL);
        PlatformLogPrint(0, 3, "applist", "Hello %s %d\n", "you", 7);
        return journal.Datagrams();
    });
    ASSERT_THAT(datagrams, SizeIs(1));
    EXPECT_THAT(Fields(datagrams[0]),
                UnorderedElementsAre(Pair("MESSAGE", "Hello you 7\n"), Pair("PRIORITY", "7"),
                                     Pair("SYSLOG_IDENTIFIER", "applist"),
                                     Pair("LOG_BUFFER", "0")));
}

TEST(PlatformLog, TurnsThePrioritiesOfTheLibraryIntoThoseOfTheJournal) {
    RUN_IN_LOG_ROOM(datagrams, [] {
        const LogSocket journal(LogRoom::JOURNAL);
        for (const int priority : {3, 4, 6}) {
            PlatformLogPrint(0, priority, "applist", "line\n");
        }
        return journal.Datagrams();
    });
    Texts priorities;
    for (const std::string& datagram : datagrams) {
        priorities.push_back(Fields(datagram)["PRIORITY"]);
    }
    EXPECT_THAT(priorities, ElementsAre("7", "6", "3"));
}

TEST(PlatformLog, SendsTagAndTextToSyslogWhereNoJournalAnswers) {
    RUN_IN_LOG_ROOM(datagrams, [] {
        const LogSocket syslogSocket(LogRoom::SYSLOG);
        for (const int priority : {3, 4, 6}) {
            PlatformLogPrint(0, priority, "applist", "Hello %s\n", "you");
        }
        return syslogSocket.Datagrams();
    });
    ASSERT_THAT(datagrams, SizeIs(3));
    // "<facility user (1) * 8 + severity>date host-ident: text"
    EXPECT_THAT(datagrams[0], StartsWith("<15>"));
    EXPECT_THAT(datagrams[1], StartsWith("<14>"));
    EXPECT_THAT(datagrams[2], StartsWith("<11>"));
    EXPECT_THAT(datagrams, testing::Each(HasSubstr(": applist: Hello you")));
}

TEST(PlatformLog, LeavesTheSyslogIdentToTheHost) {
    RUN_IN_LOG_ROOM(datagrams, [] {
        const LogSocket syslogSocket(LogRoom::SYSLOG);
        PlatformLogPrint(0, 3, "applist", "Hello\n");
        return syslogSocket.Datagrams();
    });
    ASSERT_THAT(datagrams, SizeIs(1));
    EXPECT_THAT(datagrams[0], HasSubstr("platform_log_test: applist: Hello"));
}

TEST(PlatformLog, TellsTheJournalAloneWhenBothListen) {
    RUN_IN_LOG_ROOM(datagrams, [] {
        const LogSocket journal(LogRoom::JOURNAL);
        const LogSocket syslogSocket(LogRoom::SYSLOG);
        PlatformLogPrint(0, 3, "applist", "Hello\n");
        Texts counts;
        counts.push_back(std::to_string(journal.Datagrams().size()));
        counts.push_back(std::to_string(syslogSocket.Datagrams().size()));
        return counts;
    });
    EXPECT_THAT(datagrams, ElementsAre("1", "0"));
}

TEST(PlatformLog, GoesOnWithoutAnyLogAndFindsSyslogAtOnceWhenItComes) {
    RUN_IN_LOG_ROOM(datagrams, [] {
        PlatformLogPrint(0, 3, "applist", "nobody hears this\n");
        PlatformLogPrint(0, 3, "applist", "nor this\n");
        const LogSocket syslogSocket(LogRoom::SYSLOG);
        PlatformLogPrint(0, 3, "applist", "heard\n");
        return syslogSocket.Datagrams();
    });
    ASSERT_THAT(datagrams, SizeIs(1));
    EXPECT_THAT(datagrams[0], HasSubstr("applist: heard"));
}

TEST(PlatformLog, FindsAJournalThatComesLater) {
    RUN_IN_LOG_ROOM(datagrams, [] {
        PlatformLogPrint(0, 3, "applist", "nobody hears this\n");
        const LogSocket journal(LogRoom::JOURNAL);
        Texts received;
        // The journal is asked again after a while; 20 s is far more.
        for (int i = 0; i < 20000 && received.empty(); ++i) {
            PlatformLogPrint(0, 3, "applist", "heard\n");
            received = journal.Datagrams();
            usleep(1000);
        }
        return received;
    });
    ASSERT_THAT(datagrams, SizeIs(1));
    EXPECT_EQ(Fields(datagrams[0])["MESSAGE"], "heard\n");
}

TEST(PlatformLog, CutsALineThatIsTooLongInsteadOfLosingIt) {
    const std::string name(100000, 'x');
    RUN_IN_LOG_ROOM(datagrams, [&] {
        const LogSocket journal(LogRoom::JOURNAL);
        PlatformLogPrint(0, 3, "applist", "name: %s\n", name.c_str());
        return journal.Datagrams();
    });
    ASSERT_THAT(datagrams, SizeIs(1));
    EXPECT_EQ(Fields(datagrams[0])["MESSAGE"], "name: " + std::string(4095 - 6, 'x'));
}

TEST(PlatformLog, KeepsBytesThatAreNoText) {
    RUN_IN_LOG_ROOM(datagrams, [] {
        const LogSocket journal(LogRoom::JOURNAL);
        PlatformLogPrint(0, 3, "applist", "name: %s\n", "\xff\xfe%d\x01");
        return journal.Datagrams();
    });
    ASSERT_THAT(datagrams, SizeIs(1));
    EXPECT_EQ(Fields(datagrams[0])["MESSAGE"], "name: \xff\xfe%d\x01\n");
}

TEST(PlatformLog, AllocatesNothingForAnOrdinaryLine) {
    if (!CountedMalloc::COUNTS) {
        GTEST_SKIP() << "the checker has put its own malloc in place";
    }
    RUN_IN_LOG_ROOM(allocations, [] {
        const LogSocket journal(LogRoom::JOURNAL);
        PlatformLogPrint(0, 3, "applist", "the first line opens the socket\n");
        const long before = CountedMalloc::Count();
        PlatformLogPrint(0, 3, "applist", "Sending sync message with %d bytes\n", 41);
        return Texts{std::to_string(CountedMalloc::Count() - before)};
    });
    EXPECT_THAT(allocations, ElementsAre("0"));
}

} // namespace
