#include <shared/TerminalGuard.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <iterator>

#include <termios.h>
#include <unistd.h>

#include <shared/Foreground.h>

namespace applistctl {

namespace {

constexpr int ENDING_SIGNALS[] = {SIGHUP,  SIGINT, SIGQUIT, SIGTERM, SIGABRT,
                                  SIGSEGV, SIGBUS, SIGFPE,  SIGILL,  SIGTRAP};

// Read by signal handlers. Everything that these functions call is safe in a handler.
struct {
    volatile std::sig_atomic_t wasStopped = 0;
    termios terminal = {};
    int pipe = -1;
    int copy = -1;
    bool isUsed = false;
} g_saved;
struct sigaction g_earlier[std::size(ENDING_SIGNALS)];
struct sigaction g_earlierStop;

void CopyPipe() {
    char bytes[1024];
    ssize_t size = 0;
    while (g_saved.pipe >= 0 && (size = read(g_saved.pipe, bytes, sizeof(bytes))) > 0) {
        [[maybe_unused]] const ssize_t written =
            write(g_saved.copy, bytes, static_cast<std::size_t>(size));
    }
}

// Leaves the edited line on the screen.
void Restore() {
    termios current = {};
    if (IsInForeground() && tcgetattr(STDIN_FILENO, &current) == 0) {
        tcsetattr(STDIN_FILENO, TCSANOW, &g_saved.terminal);
        if ((current.c_lflag & ICANON) == 0) {
            [[maybe_unused]] const ssize_t written = write(STDIN_FILENO, "\n", 1);
        }
    }
    CopyPipe();
}

// std::exit destroys no guard on a stack.
void OnExit() {
    if (g_saved.isUsed) {
        Restore();
    }
}

// The handler is reset by now, and the signal is not blocked.
void OnEndingSignal(int signal) {
    Restore();
    raise(signal);
}

// The shell shows its prompt while the process is stopped. SIGWINCH shows the edited line again,
// except after "bg": the terminal is the shell's then.
void OnStopSignal(int /*signal*/) {
    const int error = errno;
    const bool wasInForeground = IsInForeground();
    termios current = {};
    tcgetattr(STDIN_FILENO, &current);
    Restore();
    raise(SIGSTOP);
    g_saved.wasStopped = 1;
    if (wasInForeground && IsInForeground()) {
        tcsetattr(STDIN_FILENO, TCSANOW, &current);
    }
    raise(SIGWINCH);
    errno = error;
}

void Handle(int signal, void (*handler)(int), int flags, struct sigaction& earlier) {
    sigaction(signal, nullptr, &earlier);
    if (earlier.sa_handler == SIG_IGN) { // by nohup
        return;
    }
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(signal, &action, nullptr);
}

} // namespace

TerminalGuard::TerminalGuard(int pipe, int copy) {
    tcgetattr(STDIN_FILENO, &g_saved.terminal);
    g_saved.pipe = pipe;
    g_saved.copy = copy;
    g_saved.isUsed = true;
    [[maybe_unused]] static const int registered = std::atexit(OnExit);
    for (std::size_t i = 0; i < std::size(ENDING_SIGNALS); ++i) {
        Handle(ENDING_SIGNALS[i], OnEndingSignal, static_cast<int>(SA_RESETHAND) | SA_NODEFER,
               g_earlier[i]);
    }
    Handle(SIGTSTP, OnStopSignal, SA_RESTART, g_earlierStop);
}

TerminalGuard::~TerminalGuard() {
    g_saved.isUsed = false;
    for (std::size_t i = 0; i < std::size(ENDING_SIGNALS); ++i) {
        sigaction(ENDING_SIGNALS[i], &g_earlier[i], nullptr);
    }
    sigaction(SIGTSTP, &g_earlierStop, nullptr);
    if (IsInForeground()) {
        tcsetattr(STDIN_FILENO, TCSADRAIN, &g_saved.terminal);
    }
}

bool TerminalGuard::TakeStop() {
    const bool wasStopped = g_saved.wasStopped != 0;
    g_saved.wasStopped = 0;
    return wasStopped;
}

} // namespace applistctl
