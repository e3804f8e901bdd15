#include <check/DelayedSignals.h>

#include <initializer_list>

#include <sys/signalfd.h>
#include <unistd.h>

namespace applistctl {

DelayedSignals::DelayedSignals() {
    sigemptyset(&m_delayed);
    for (const int number : {SIGINT, SIGTERM}) {
        // A shell may start the program with an ignored signal, which pends when it is blocked.
        struct sigaction action = {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
            sigaddset(&m_delayed, number);
        }
    }
    pthread_sigmask(SIG_BLOCK, &m_delayed, &m_before);
    m_descriptor = signalfd(-1, &m_delayed, SFD_CLOEXEC);
}

DelayedSignals::~DelayedSignals() {
    close(m_descriptor);
    Admit();
}

bool DelayedSignals::IsPending() const {
    sigset_t pending;
    sigpending(&pending);
    for (const int number : {SIGINT, SIGTERM}) {
        if (sigismember(&m_delayed, number) == 1 && sigismember(&pending, number) == 1) {
            return true;
        }
    }
    return false;
}

void DelayedSignals::Admit() const {
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

} // namespace applistctl
