// Restores the state of the terminal at each end of the process.
#ifndef APPLIST_TOOLS_TERMINALGUARD_H
#define APPLIST_TOOLS_TERMINALGUARD_H

namespace applistctl {

/**
 * Saves the state of the terminal on standard input, and restores it in the destructor, at
 * std::exit, and at a signal that ends or stops the process. The signal then has its default
 * effect, at once: the main loop may be inside a request of 25 seconds. One guard at a time.
 */
class TerminalGuard {
public:
    /**
     * @param pipe read at the end and copied to @p copy, for lines of a crash; -1 for none
     */
    TerminalGuard(int pipe, int copy);
    ~TerminalGuard();

    TerminalGuard(const TerminalGuard&) = delete;
    TerminalGuard& operator=(const TerminalGuard&) = delete;

    /** Whether the process was stopped since the last call: other programs wrote to the terminal.
     */
    static bool TakeStop();
};

} // namespace applistctl

#endif
