#include "PrivateSystemLog.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef APPLIST_TESTS_COVERAGE
extern "C" void __gcov_dump();
#endif

namespace {

constexpr const char* JOURNAL = "/run/systemd/journal/socket";
constexpr const char* JOURNAL_FOLDER = "/run/systemd/journal";
constexpr const char* SYSLOG = "/dev/log";
constexpr int NO_PLACE = 77;

int Listen(const char* path) {
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof(address.sun_path) - 1);
    if (bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        ADD_FAILURE() << "cannot listen at " << path << ": " << std::strerror(errno);
    }
    return socket;
}

// A datagram, or a descriptor: clients of the journal send long entries by a descriptor.
bool Receive(int socket, std::string& text) {
    std::vector<char> buffer(1 << 20);
    iovec part = {buffer.data(), buffer.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    const ssize_t size = recvmsg(socket, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (size < 0) {
        return false;
    }
    text.assign(buffer.data(), static_cast<std::size_t>(size));
    return true;
}

std::vector<std::string> ReceiveAll(int socket) {
    std::vector<std::string> all;
    std::string text;
    while (socket >= 0 && Receive(socket, text)) {
        all.push_back(text);
    }
    return all;
}

void WriteFile(const char* path, const std::string& text) {
    std::ofstream(path) << text;
}

// An ordinary user needs a user namespace with a mapped identity, and otherwise creates no file.
bool EnterUserNamespace() {
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return false;
    }
    WriteFile("/proc/self/setgroups", "deny");
    WriteFile("/proc/self/uid_map", "0 " + user + " 1");
    WriteFile("/proc/self/gid_map", "0 " + group + " 1");
    return true;
}

bool EnterNamespaces() {
    if (unshare(CLONE_NEWNS) != 0 && !EnterUserNamespace()) {
        return false;
    }
    return mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("none", "/run", "tmpfs", 0, nullptr) == 0 &&
           mount("none", "/dev", "tmpfs", 0, nullptr) == 0;
}

// Without namespaces, root may use the real addresses if no other process uses them. One test at a
// time: the lock ends with the process.
bool UseTheRealPaths() {
    if (geteuid() != 0) {
        return false;
    }
    const int lock = open("/run/lock/applist-log-test", O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    return lock >= 0 && flock(lock, LOCK_EX) == 0 && access(JOURNAL, F_OK) != 0 &&
           access(SYSLOG, F_OK) != 0;
}

[[noreturn]] void RunInChild(void (*body)(PrivateSystemLog& log)) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (!EnterNamespaces() && !UseTheRealPaths()) {
        _exit(NO_PLACE);
    }
    {
        PrivateSystemLog log;
        body(log);
    }
    std::fflush(nullptr);
#ifdef APPLIST_TESTS_COVERAGE
    __gcov_dump(); // _exit does not write the counters
#endif
    _exit(testing::Test::HasFailure() ? 1 : 0);
}

} // namespace

PrivateSystemLog::~PrivateSystemLog() {
    if (m_journal >= 0) {
        close(m_journal);
        unlink(JOURNAL);
        if (m_madeFolder) {
            rmdir(JOURNAL_FOLDER);
        }
    }
    CloseSyslog();
}

void PrivateSystemLog::OpenJournal() {
    mkdir("/run/systemd", 0755);
    m_madeFolder = mkdir(JOURNAL_FOLDER, 0755) == 0;
    m_journal = Listen(JOURNAL);
}

void PrivateSystemLog::OpenSyslog() {
    m_syslog = Listen(SYSLOG);
}

void PrivateSystemLog::CloseSyslog() {
    if (m_syslog >= 0) {
        close(m_syslog);
        unlink(SYSLOG);
        m_syslog = -1;
    }
}

std::vector<std::string> PrivateSystemLog::JournalEntries() const {
    return ReceiveAll(m_journal);
}

std::vector<std::string> PrivateSystemLog::SyslogLines() const {
    return ReceiveAll(m_syslog);
}

// An entry is a row of fields: "NAME=value\n", or, for a value with a line feed in it, "NAME\n",
// the length in eight bytes, least significant first, the value and "\n".
std::string applist_test::Only(const std::vector<std::string>& lines) {
    EXPECT_EQ(lines.size(), 1U);
    return lines.empty() ? "" : lines.front();
}

std::string applist_test::JournalField(const std::string& entry, const std::string& name) {
    std::size_t at = 0;
    while (at < entry.size()) {
        const std::size_t nameEnd = entry.find_first_of("=\n", at);
        if (nameEnd == std::string::npos) {
            break;
        }
        const std::string field = entry.substr(at, nameEnd - at);
        std::size_t start = nameEnd + 1;
        std::size_t size = 0;
        if (entry[nameEnd] == '=') {
            size = entry.find('\n', start) - start;
        } else {
            for (unsigned i = 0; i < 8; ++i) {
                size |= std::size_t{static_cast<unsigned char>(entry.at(start + i))} << (8 * i);
            }
            start += 8;
        }
        if (field == name) {
            return entry.substr(start, size);
        }
        at = start + size + 1;
    }
    return "";
}

std::string applist_test::InAChildWithItsOwnLog(void (*body)(PrivateSystemLog& log)) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        RunInChild(body);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        return "no child process";
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == NO_PLACE) {
        return "skip: neither mount namespaces nor free places for a log's sockets";
    }
    if (WIFSIGNALED(status)) {
        return "killed by signal " + std::to_string(WTERMSIG(status));
    }
    return WEXITSTATUS(status) == 0 ? "" : "failed, see above";
}
