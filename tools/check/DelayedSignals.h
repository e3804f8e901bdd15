// Delays Ctrl-C and SIGTERM, so that a check reports its findings before the signal ends the
// program.
#ifndef APPLIST_TOOLS_DELAYEDSIGNALS_H
#define APPLIST_TOOLS_DELAYEDSIGNALS_H

#include <csignal>

namespace applistctl {

/** Blocks both signals. The destructor admits them, and a pending signal ends the program. */
class DelayedSignals {
public:
    DelayedSignals();
    ~DelayedSignals();

    DelayedSignals(const DelayedSignals&) = delete;
    DelayedSignals& operator=(const DelayedSignals&) = delete;

    bool IsPending() const;

    /** Readable while a signal is pending; negative without a free descriptor. */
    int Descriptor() const { return m_descriptor; }

    /** Admits the signals in a forked child. */
    void Admit() const;

private:
    sigset_t m_delayed = {};
    sigset_t m_before = {};
    int m_descriptor;
};

} // namespace applistctl

#endif
