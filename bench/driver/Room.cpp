// Runs a command where the system log is what we say: absent, a sink that reads and drops every
// line, a journal daemon of the room's own, or the machine's own journal. The first three are made
// with a mount namespace whose /run is empty, so nothing of the machine's is touched.
//
//   applist_bench_room none|sink|journald|host [--sink-core N] [--report FILE] -- COMMAND...
//
// Exits with the command's status, or with 77 and a reason when this machine can't give the room.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Cores.h"
#include "ResultFile.h"

namespace {

constexpr const char* JOURNAL_SOCKET = "/run/systemd/journal/socket";
constexpr const char* SYSLOG_SOCKET = "/dev/log";
constexpr const char* NOTIFY_SOCKET = "/run/notify";
constexpr const char* JOURNALD = "/lib/systemd/systemd-journald";
constexpr int UNAVAILABLE = 77;
// What systemd sets at boot; the kernel's own 10 would make writers wait for the reader.
constexpr int QUEUE_LENGTH = 512;

struct Room {
    std::string log;
    int sinkCore = -1; ///< -1: wherever the scheduler puts it
    std::string report;
    std::vector<char*> command;
};

// Filled by the sink, read by the room after the command: proof that the lines arrived.
struct SinkCount {
    unsigned long datagrams = 0;
    int queueLength = 0;
};

[[noreturn]] void Unavailable(const std::string& reason) {
    std::fprintf(stderr, "%s\n", reason.c_str());
    std::exit(UNAVAILABLE);
}

sockaddr_un AddressOf(const char* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof(address.sun_path) - 1);
    return address;
}

bool Answers(const char* path) {
    const sockaddr_un address = AddressOf(path);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool connected =
        connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    close(fd);
    return connected;
}

void WriteFile(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

int ReadNumber(const std::string& path) {
    int number = 0;
    std::ifstream(path) >> number;
    return number;
}

int BindDatagram(const char* path) {
    const sockaddr_un address = AddressOf(path);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        Unavailable(std::string("cannot bind ") + path + ": " + std::strerror(errno));
    }
    return fd;
}

// Returns false when the machine forbids it.
bool EnterEmptyRun() {
    const uid_t uid = getuid();
    const gid_t gid = getgid();
    if (unshare(uid == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0) {
        return false;
    }
    if (uid != 0) {
        WriteFile("/proc/self/setgroups", "deny");
        WriteFile("/proc/self/uid_map", std::to_string(uid) + " " + std::to_string(uid) + " 1");
        WriteFile("/proc/self/gid_map", std::to_string(gid) + " " + std::to_string(gid) + " 1");
    }
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/run", "tmpfs", 0, nullptr) != 0) {
        return false;
    }
    // A log daemon that listens outside /run.
    if (Answers(SYSLOG_SOCKET)) {
        mount("/dev/null", SYSLOG_SOCKET, nullptr, MS_BIND, nullptr);
    }
    return true;
}

// No namespaces: the machine's own paths will do if nothing is there.
void UseRealPaths(const Room& room) {
    if (Answers(JOURNAL_SOCKET) || Answers(SYSLOG_SOCKET)) {
        Unavailable("namespaces are not permitted and a log daemon listens here");
    }
    if (room.log != "none" && getuid() != 0) {
        Unavailable("namespaces are not permitted and the log's path is root's");
    }
    if (room.log == "journald") {
        Unavailable("namespaces are not permitted: no journal of our own");
    }
}

constexpr const char* JOURNAL_FOLDER = "/run/systemd/journal";
bool madeJournalFolder = false;

void MakeJournalFolder() {
    mkdir("/run/systemd", 0755);
    madeJournalFolder = mkdir(JOURNAL_FOLDER, 0755) == 0;
}

// What the room sends to the sink when the command has ended; no log line is that short.
constexpr char SINK_END = 'e';

// Fetches its lines in rounds instead of being woken by each: waking a process on another core is
// the machine's work (in a virtual machine much of it), not the writer's. What that adds is in the
// figures with a real journal. Short enough for the queue to hold what is written meanwhile.
constexpr useconds_t SINK_PERIOD_US = 500;

// Reads all there is. Returns false at the end of it all.
bool Drain(int fd, unsigned long& datagrams) {
    char buffer[65536];
    for (ssize_t size = 0; (size = recv(fd, buffer, sizeof(buffer), MSG_DONTWAIT)) >= 0;) {
        if (size == 1 && buffer[0] == SINK_END) {
            return false;
        }
        ++datagrams;
    }
    return true;
}

// Reads and drops until told to end, then says through @p pipe how much that was.
[[noreturn]] void RunSink(const Room& room, int pipe) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (room.sinkCore >= 0) {
        Cores::PinTo(room.sinkCore);
    }
    SinkCount count;
    // The length is a network namespace's, so the machine's own stays as it is.
    if (unshare(CLONE_NEWNET) == 0) {
        WriteFile("/proc/sys/net/unix/max_dgram_qlen", std::to_string(QUEUE_LENGTH));
    }
    count.queueLength = ReadNumber("/proc/sys/net/unix/max_dgram_qlen");
    const int fd = BindDatagram(JOURNAL_SOCKET);
    bool told = write(pipe, "", 1) == 1;
    while (told && Drain(fd, count.datagrams)) {
        usleep(SINK_PERIOD_US);
    }
    told = write(pipe, &count, sizeof(count)) == sizeof(count);
    unlink(JOURNAL_SOCKET);
    _exit(told ? 0 : 1);
}

void TellSinkToEnd() {
    const sockaddr_un address = AddressOf(JOURNAL_SOCKET);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sendto(fd, &SINK_END, 1, 0, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    close(fd);
}

struct Listener {
    pid_t pid = -1;
    int pipe = -1;
};

Listener StartSink(const Room& room) {
    MakeJournalFolder();
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        Unavailable("no pipe");
    }
    const pid_t pid = fork();
    if (pid == 0) {
        close(ends[0]);
        RunSink(room, ends[1]);
    }
    close(ends[1]);
    char ready = 0;
    if (read(ends[0], &ready, 1) != 1) {
        std::exit(UNAVAILABLE); // the sink has said why
    }
    return {pid, ends[0]};
}

// A real journal daemon, which keeps what it gets in the room's own memory and drops nothing.
Listener StartJournald(const Room& room) {
    if (access(JOURNALD, X_OK) != 0) {
        Unavailable(std::string("there is no ") + JOURNALD);
    }
    MakeJournalFolder();
    mkdir("/run/systemd/journald.conf.d", 0755);
    WriteFile("/run/systemd/journald.conf.d/bench.conf",
              "[Journal]\nStorage=volatile\nRateLimitIntervalSec=0\nRateLimitBurst=0\n"
              "ReadKMsg=no\nAudit=no\nForwardToSyslog=no\nForwardToKMsg=no\n"
              "ForwardToConsole=no\nForwardToWall=no\nMaxLevelStore=debug\n");
    const int notify = BindDatagram(NOTIFY_SOCKET);
    const timeval patience{10, 0};
    setsockopt(notify, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (room.sinkCore >= 0) {
            Cores::PinTo(room.sinkCore);
        }
        setenv("NOTIFY_SOCKET", NOTIFY_SOCKET, 1);
        const int quiet = open("/dev/null", O_WRONLY);
        dup2(quiet, STDERR_FILENO);
        execl(JOURNALD, JOURNALD, nullptr);
        _exit(127);
    }
    std::string state;
    char buffer[4096];
    while (state.find("READY=1") == std::string::npos) {
        const ssize_t size = recv(notify, buffer, sizeof(buffer), 0);
        if (size < 0) {
            kill(pid, SIGKILL);
            Unavailable("a journal daemon of our own does not start here");
        }
        state.assign(buffer, static_cast<std::size_t>(size));
    }
    // Stays open: the daemon goes on telling how it does.
    return {pid, -1};
}

int RunCommand(Room& room) {
    room.command.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execvp(room.command[0], room.command.data());
        std::perror(room.command[0]);
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void StopListener(const Listener& listener, const Room& room) {
    if (listener.pid <= 0) {
        return;
    }
    if (listener.pipe >= 0) {
        TellSinkToEnd();
    } else {
        kill(listener.pid, SIGKILL);
    }
    SinkCount count;
    const bool counted =
        listener.pipe >= 0 && read(listener.pipe, &count, sizeof(count)) == sizeof(count);
    waitpid(listener.pid, nullptr, 0);
    if (madeJournalFolder) {
        rmdir(JOURNAL_FOLDER); // it may be the machine's own /run
    }
    if (counted && !room.report.empty()) {
        Result("sink")
            .Text("log", room.log)
            .Number("lines", static_cast<double>(count.datagrams))
            .Number("queue_length", count.queueLength)
            .Number("core", room.sinkCore)
            .Write(room.report);
    }
}

Listener Furnish(const Room& room) {
    if (room.log == "host") {
        if (!Answers(JOURNAL_SOCKET)) {
            Unavailable("no journal listens on this machine");
        }
        return {};
    }
    if (!EnterEmptyRun()) {
        UseRealPaths(room);
    }
    Listener listener;
    if (room.log == "sink") {
        listener = StartSink(room);
    } else if (room.log == "journald") {
        listener = StartJournald(room);
    }
    const bool wanted = room.log != "none";
    if (Answers(JOURNAL_SOCKET) != wanted || Answers(SYSLOG_SOCKET)) {
        Unavailable("the room's log is not what was asked for");
    }
    return listener;
}

Room Parse(int argc, char** argv) {
    Room room;
    int at = 1;
    room.log = argc > at ? argv[at++] : "";
    for (; at + 1 < argc && std::strcmp(argv[at], "--") != 0; at += 2) {
        const std::string option = argv[at];
        if (option == "--sink-core") {
            room.sinkCore = std::atoi(argv[at + 1]);
        } else if (option == "--report") {
            room.report = argv[at + 1];
        }
    }
    for (++at; at < argc; ++at) {
        room.command.push_back(argv[at]);
    }
    const bool known =
        room.log == "none" || room.log == "sink" || room.log == "journald" || room.log == "host";
    if (!known || room.command.empty()) {
        std::fputs("Usage: applist_bench_room none|sink|journald|host [--sink-core N] "
                   "[--report FILE] -- COMMAND...\n",
                   stderr);
        std::exit(2);
    }
    return room;
}

} // namespace

int main(int argc, char** argv) {
    Room room = Parse(argc, argv);
    const Listener listener = Furnish(room);
    const int status = RunCommand(room);
    StopListener(listener, room);
    return status;
}
