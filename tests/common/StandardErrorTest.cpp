// APPLIST_LOG=stderr: lines on standard error, which may be full, closed, a terminal, a file or a
// socket.
#include <common/Log.h>
#include <common/StandardError.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "CancelledThread.h"
#include "CapturedStandardError.h"
#include "PrivateSystemLog.h"

namespace {

using testing::HasSubstr, testing::IsEmpty, testing::MatchesRegex, testing::Not, testing::SizeIs;

// By the clock of the lines: the clock of time(2) may be some milliseconds late.
time_t PresentSecond() {
    return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

// A line that blocks ends the child with SIGALRM.
void UseStandardError() {
    constexpr unsigned PATIENCE_S = 60;
    alarm(PATIENCE_S);
    setenv("APPLIST_LOG", "stderr", 1);
}

// After the head and the prefix.
std::string Message(const std::string& line) {
    return line.substr(line.rfind("] ") + 2);
}

LOG_TEST(LineOnStandardError, HasTimeTagProcessAndPriority) {
    UseStandardError();
    const CapturedStandardError standardError;
    APPLIST_LOG_DEBUG("Hello %s", "you");
    APPLIST_LOG_INFO("info");
    APPLIST_LOG_ERROR("error");
    const auto lines = standardError.Lines();
    ASSERT_THAT(lines, SizeIs(3));
    const std::string time = "[0-9]+-[0-9]+-[0-9]+T[0-9]+:[0-9]+:[0-9]+\\.[0-9]{6}Z ";
    const std::string tag = "applist\\[" + std::to_string(getpid()) + "\\] ";
    const std::string origin = "StandardErrorTest.cpp: .*\\([0-9]+\\) > \\[.*:[0-9]+\\] ";
    EXPECT_THAT(lines[0], MatchesRegex(time + tag + "debug: " + origin + "Hello you\n"));
    EXPECT_THAT(lines[1], MatchesRegex(time + tag + "info: " + origin + "info\n"));
    EXPECT_THAT(lines[2], MatchesRegex(time + tag + "error: " + origin + "error\n"));
}

LOG_TEST(LineOnStandardError, HasTheTimeOfTheLine) {
    UseStandardError();
    setenv("TZ", "Asia/Tokyo", 1);
    const CapturedStandardError standardError;
    const time_t before = PresentSecond();
    APPLIST_LOG_DEBUG("line");
    const time_t after = PresentSecond();
    const std::string line = Only(standardError.Lines());
    tm parts = {};
    ASSERT_NE(strptime(line.c_str(), "%Y-%m-%dT%H:%M:%S", &parts), nullptr);
    EXPECT_GE(timegm(&parts), before);
    EXPECT_LE(timegm(&parts), after);
}

LOG_TEST(LineOnStandardError, IsTheLogsAsWell) {
    UseStandardError();
    log.OpenJournal();
    const CapturedStandardError standardError;
    APPLIST_LOG_DEBUG("line");
    EXPECT_THAT(standardError.Lines(), SizeIs(1));
    EXPECT_THAT(log.JournalEntries(), SizeIs(1));
}

LOG_TEST(LineOnStandardError, IsWrittenEachTimeWithoutALog) {
    UseStandardError();
    const CapturedStandardError standardError;
    APPLIST_LOG_DEBUG("first");
    APPLIST_LOG_DEBUG("second");
    EXPECT_THAT(standardError.Lines(), SizeIs(2));
}

LOG_TEST(LineOnStandardError, IsWrittenOnRequestOnly) {
    setenv("APPLIST_LOG", "", 1);
    const CapturedStandardError standardError;
    APPLIST_LOG_ERROR("line");
    EXPECT_THAT(standardError.Lines(), IsEmpty());
}

LOG_TEST(LineOnStandardError, HasTheLevel) {
    UseStandardError();
    setenv("APPLIST_LOG_LEVEL", "info", 1);
    const CapturedStandardError standardError;
    APPLIST_LOG_DEBUG("debug");
    APPLIST_LOG_INFO("info");
    const std::string line = Only(standardError.Lines());
    EXPECT_EQ(Message(line), "info\n");
}

LOG_TEST(LineOnStandardError, OfAnyLengthFitsAPipeInOnePiece) {
    UseStandardError();
    const CapturedStandardError standardError;
    APPLIST_LOG_DEBUG("%s", std::string(10000, 'n').c_str());
    const std::string line = Only(standardError.Lines());
    EXPECT_EQ(line.size(), 4096u);
    EXPECT_EQ(line.substr(4096 - 7), "nnn...\n");
}

LOG_TEST(LineOnStandardError, IsOneWrite) {
    UseStandardError();
    int ends[2];
    // Keeps the writes apart.
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    const int keptStandardError = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    dup2(ends[1], STDERR_FILENO);
    APPLIST_LOG_DEBUG("first");
    APPLIST_LOG_DEBUG("second");
    dup2(keptStandardError, STDERR_FILENO);
    char text[4096] = {};
    ASSERT_GT(recv(ends[0], text, sizeof(text) - 1, MSG_DONTWAIT), 0);
    EXPECT_EQ(Message(text), "first\n");
}

LOG_TEST(LineOnStandardError, DoesNotControlTheTerminal) {
    UseStandardError();
    log.OpenJournal();
    const CapturedStandardError standardError;
    // Only the second C2 begins a control character.
    APPLIST_LOG_DEBUG("name %s", "a\x1b[2J\nb\x7f \xc2\xa9 \xc2\x9b");
    const std::string line = Only(standardError.Lines());
    EXPECT_THAT(line, HasSubstr("name a?[2J?b? \xc2\xa9 ??\n"));
    EXPECT_THAT(log.JournalEntries().at(0), HasSubstr("name a\x1b[2J\nb\x7f \xc2\xa9 \xc2\x9b"));
}

LOG_TEST(LineOnStandardError, IsFinishedByAThreadThatIsCancelled) {
    const CapturedStandardError standardError;
    EXPECT_TRUE(FinishesBeforeItsCancellation(
        [] { StandardError::WriteLine(LOG_PRIORITY_ERROR, LOG_TAG, "line\n"); }));
    EXPECT_THAT(standardError.Lines(), SizeIs(1));
}

// Standard error that accepts no line

LOG_TEST(FullPipeAsStandardError, LosesTheLineAndBlocksNoHost) {
    UseStandardError();
    const CapturedStandardError standardError;
    standardError.Fill();
    APPLIST_LOG_ERROR("lost");
    EXPECT_EQ(fcntl(STDERR_FILENO, F_GETFL) & O_NONBLOCK, 0) << "the host's own descriptor";
    for (const std::string& line : standardError.Lines()) {
        EXPECT_THAT(line, Not(HasSubstr("lost")));
    }
    APPLIST_LOG_ERROR("received");
    EXPECT_THAT(standardError.Lines(), SizeIs(1));
}

LOG_TEST(FullPipeAsStandardError, BlocksNoHostWithoutProc) {
    UseStandardError();
    if (mount("none", "/proc", "tmpfs", 0, nullptr) != 0) {
        return;
    }
    const CapturedStandardError standardError;
    APPLIST_LOG_ERROR("received");
    EXPECT_THAT(standardError.Lines(), SizeIs(1));
    standardError.Fill();
    APPLIST_LOG_ERROR("lost");
    for (const std::string& line : standardError.Lines()) {
        EXPECT_THAT(line, Not(HasSubstr("lost")));
    }
}

// The private /dev has no terminals. @return the side of the user, -1 without terminals here
int OpenTerminal() {
    if (mount("none", "/dev", "devpts", 0, "newinstance,ptmxmode=0666") != 0) {
        return -1;
    }
    const int terminal = open("/dev/ptmx", O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(unlockpt(terminal), 0);
    return terminal;
}

LOG_TEST(TerminalAsStandardError, BlocksNoHostWhileTheTerminalIsNotRead) {
    UseStandardError();
    const int terminal = OpenTerminal();
    if (terminal < 0) {
        return;
    }
    const int keptStandardError = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    dup2(open("/dev/0", O_RDWR | O_NOCTTY | O_CLOEXEC), STDERR_FILENO);
    constexpr int LINES = 2000; // a terminal keeps a few kilobytes
    for (int i = 0; i < LINES; ++i) {
        APPLIST_LOG_ERROR("line %d", i);
    }
    dup2(keptStandardError, STDERR_FILENO);
    char text[4096] = {};
    ASSERT_GT(read(terminal, text, sizeof(text) - 1), 0);
    EXPECT_THAT(text, HasSubstr("] line 0\r\n"));
}

// "stty tostop": the terminal stops background processes that write.
void StopBackgroundProcesses(int terminal) {
    termios mode = {};
    tcgetattr(terminal, &mode);
    mode.c_lflag |= TOSTOP;
    tcsetattr(terminal, TCSANOW, &mode);
}

LOG_TEST(TerminalAsStandardError, DoesNotStopAHostInTheBackground) {
    UseStandardError();
    if (OpenTerminal() < 0) {
        return;
    }
    setsid();
    const int controlling = open("/dev/0", O_RDWR | O_CLOEXEC);
    ASSERT_EQ(tcgetpgrp(controlling), getpid());
    StopBackgroundProcesses(controlling);
    const pid_t host = fork();
    if (host == 0) {
        setpgid(0, 0);
        dup2(controlling, STDERR_FILENO);
        APPLIST_LOG_ERROR("line");
        _exit(0);
    }
    int status = 0;
    waitpid(host, &status, WUNTRACED);
    EXPECT_TRUE(WIFEXITED(status)) << "stopped by signal " << WSTOPSIG(status);
    kill(host, SIGKILL);
}

LOG_TEST(SocketAsStandardError, ReceivesLinesAndBlocksNoHostWhileTheSocketIsFull) {
    UseStandardError();
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const int keptStandardError = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    constexpr int LINES = 5000;
    for (int i = 0; i < LINES; ++i) {
        APPLIST_LOG_ERROR("line %d", i);
    }
    char text[4096] = {};
    EXPECT_GT(read(ends[0], text, sizeof(text) - 1), 0);
    close(ends[0]);
    APPLIST_LOG_ERROR("without a reader");
    dup2(keptStandardError, STDERR_FILENO);
    EXPECT_THAT(text, HasSubstr("] line 0\n"));
}

LOG_TEST(ClosedPipeAsStandardError, RaisesNoSignal) {
    UseStandardError();
    std::signal(SIGPIPE, SIG_DFL);
    CapturedStandardError standardError;
    standardError.CloseReader();
    APPLIST_LOG_ERROR("lost");
    if (mount("none", "/proc", "tmpfs", 0, nullptr) == 0) {
        APPLIST_LOG_ERROR("lost, too");
    }
}

LOG_TEST(LineOnStandardError, LeavesSignalsOfTheHostPending) {
    UseStandardError();
    sigset_t pipeSignal;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);
    raise(SIGPIPE);
    CapturedStandardError standardError;
    APPLIST_LOG_ERROR("line");
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 1);
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGPIPE), 1);
    EXPECT_EQ(sigismember(&blocked, SIGXFSZ), 0);
    EXPECT_EQ(sigismember(&blocked, SIGTTOU), 0);
}

LOG_TEST(FileAsStandardError, KeepsAllLines) {
    UseStandardError();
    const int keptStandardError = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    dup2(open("/run/errors", O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
    APPLIST_LOG_ERROR("first");
    APPLIST_LOG_ERROR("second");
    dup2(keptStandardError, STDERR_FILENO);
    std::ifstream file("/run/errors");
    std::string first;
    std::string second;
    std::getline(file, first);
    std::getline(file, second);
    unlink("/run/errors");
    EXPECT_EQ(Message(first), "first");
    EXPECT_EQ(Message(second), "second");
}

LOG_TEST(FileAsStandardError, OfTheLargestSizeRaisesNoSignal) {
    UseStandardError();
    const int keptStandardError = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    const int file = open("/run/errors", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    dup2(file, STDERR_FILENO);
    APPLIST_LOG_ERROR("first");
    const off_t size = lseek(file, 0, SEEK_END);
    EXPECT_GT(size, 0);
    const rlimit limit = {static_cast<rlim_t>(size), RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
    APPLIST_LOG_ERROR("second");
    EXPECT_EQ(lseek(file, 0, SEEK_END), size);
    const rlimit unlimited = {RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &unlimited);
    dup2(keptStandardError, STDERR_FILENO);
    unlink("/run/errors");
}

LOG_TEST(ClosedStandardError, LosesTheLineAndNothingElse) {
    UseStandardError();
    log.OpenJournal();
    const int keptStandardError = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    close(STDERR_FILENO);
    APPLIST_LOG_ERROR("line");
    dup2(keptStandardError, STDERR_FILENO);
    EXPECT_THAT(log.JournalEntries(), SizeIs(1));
}

} // namespace
