// The partner as a process that a test controls: it executes commands, and is killed, stopped,
// continued and replaced.
#pragma once

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "Process.h"

inline namespace applist_test {

/**
 * It is on the bus, and has announced itself, when the constructor returns. Start it on the main
 * thread: it is killed with the thread that starts it. Nothing here iterates a main context.
 */
class PartnerProcess {
public:
    explicit PartnerProcess(const std::vector<std::string>& options = {});

    /** Its unique bus name. */
    const std::string& Name() const { return m_name; }

    /** Sends a line and waits for its answer. @return the answer after the command's word */
    std::string Ask(const std::string& line);

    /** The same without waiting; the answer is skipped later. */
    void SendCommand(const std::string& line) { m_process.Send(line); }

    void Stop() { m_process.Stop(); }
    void Continue() { m_process.Kill(SIGCONT); }
    /** SIGKILL; returns when the process has ended, also when it has been stopped. */
    void Kill();
    /** It leaves the bus and ends. @return its exit status */
    int Leave();
    /** Waits for its end. @return its exit status, 128 + N after signal N */
    int WaitForExit() { return m_process.WaitForExitWithoutIterating(); }

    /** The list and the selection of the partner, each as the bytes of its records. */
    std::pair<std::string, std::string> List();
    /** The requests that it has received since the last call (with --keep-requests). */
    std::vector<std::string> Requests();

private:
    Process m_process;
    std::string m_name;
};

} // namespace applist_test
