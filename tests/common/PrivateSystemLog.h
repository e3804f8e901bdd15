// A system log of the test's own at the real addresses: the journal's socket and /dev/log, in a
// child process with a /run and a /dev that nobody else sees.
#ifndef APPLIST_TESTS_PRIVATESYSTEMLOG_H
#define APPLIST_TESTS_PRIVATESYSTEMLOG_H

#include <cstddef>
#include <string>
#include <vector>

inline namespace applist_test {

/** The two places where a log may listen. A socket takes ten lines or so before it is read. */
class PrivateSystemLog {
public:
    PrivateSystemLog() = default;
    ~PrivateSystemLog();

    PrivateSystemLog(const PrivateSystemLog&) = delete;
    PrivateSystemLog& operator=(const PrivateSystemLog&) = delete;

    void OpenJournal();
    void OpenSyslog();
    void CloseSyslog();

    /** What has come in so far, without waiting: writing to a local socket is done on return. */
    std::vector<std::string> JournalEntries() const;
    std::vector<std::string> SyslogLines() const;

private:
    int m_journal = -1;
    int m_syslog = -1;
    bool m_madeFolder = false;
};

/** The value of one field of a journal entry, "" when it has none. */
std::string JournalField(const std::string& entry, const std::string& name);

/**
 * Runs @p body in the child. @p body fails by the test framework's own means, whose text comes out
 * of the child, too. @return what there is to say: "" when it passed, a text that starts with
 * "skip: " when this machine lets nobody put sockets there, otherwise a failure.
 */
std::string InAChildWithItsOwnLog(void (*body)(PrivateSystemLog& log));

} // namespace applist_test

#endif
