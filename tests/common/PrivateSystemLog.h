// A private system log at the real addresses: the journal's socket and /dev/log, in a child process
// with a private /run and /dev.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

inline namespace applist_test {

/** The two addresses of a log. A socket queues about ten lines until it is read. */
class PrivateSystemLog {
public:
    PrivateSystemLog() = default;
    ~PrivateSystemLog();

    PrivateSystemLog(const PrivateSystemLog&) = delete;
    PrivateSystemLog& operator=(const PrivateSystemLog&) = delete;

    void OpenJournal();
    void OpenSyslog();
    void CloseSyslog();

    /** The received entries, without a wait: a write to a local socket is complete on return. */
    std::vector<std::string> JournalEntries() const;
    std::vector<std::string> SyslogLines() const;

private:
    int m_journal = -1;
    int m_syslog = -1;
    bool m_madeFolder = false;
};

/** The first of the @p lines. The test fails unless it is the only one. */
std::string Only(const std::vector<std::string>& lines);

/** The value of one field of a journal entry, "" when it has none. */
std::string JournalField(const std::string& entry, const std::string& name);

/**
 * Runs @p body in the child. @p body fails by assertions of the test framework. The child forwards
 * their text. @return "" after success; a text with the prefix "skip: " on a machine that refuses
 * sockets at these addresses; otherwise the failure
 */
std::string InAChildWithItsOwnLog(void (*body)(PrivateSystemLog& log));

#define IN_A_CHILD_WITH_ITS_OWN_LOG(...)                                                           \
    do {                                                                                           \
        const std::string outcome = InAChildWithItsOwnLog(__VA_ARGS__);                            \
        if (outcome.rfind("skip: ", 0) == 0) {                                                     \
            GTEST_SKIP() << outcome;                                                               \
        }                                                                                          \
        EXPECT_EQ(outcome, "");                                                                    \
    } while (false)

/** A test that runs in such a child, with its log as "log". */
#define LOG_TEST(Suite, Name)                                                                      \
    void Suite##Name##InTheChild(PrivateSystemLog& log);                                           \
    TEST(Suite, Name) {                                                                            \
        IN_A_CHILD_WITH_ITS_OWN_LOG(Suite##Name##InTheChild);                                      \
    }                                                                                              \
    void Suite##Name##InTheChild([[maybe_unused]] PrivateSystemLog& log)

} // namespace applist_test
