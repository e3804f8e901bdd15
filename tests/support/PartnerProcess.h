// A partner process in the test's hands: led by lines, killed, stopped, continued and replaced.
#ifndef APPLIST_TESTS_PARTNERPROCESS_H
#define APPLIST_TESTS_PARTNERPROCESS_H

#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

/**
 * Dies with the test. It is on the bus, and has announced itself, when the constructor returns.
 * Start it on the main thread: it dies with the thread that starts it.
 */
class PartnerProcess {
public:
    explicit PartnerProcess(const std::vector<std::string>& options = {});
    ~PartnerProcess();

    PartnerProcess(const PartnerProcess&) = delete;
    PartnerProcess& operator=(const PartnerProcess&) = delete;

    /** Its unique bus name. */
    const std::string& Name() const { return m_name; }

    /** Sends a line and waits for its answer. @return the answer behind the command's word */
    std::string Ask(const std::string& line);

    /** The same without waiting; the answer is passed over later. */
    void Tell(const std::string& line);

    void Stop() const;
    void Continue() const;
    /** SIGKILL; returns when it is dead, also when it has been stopped. */
    void Kill();
    /** It leaves the bus and ends. @return its exit status */
    int Leave();
    /** Waits for its end. @return its exit status, 128 + N after signal N */
    int WaitForExit();

    /** The list and the selection that it has, each as the bytes of its records. */
    std::pair<std::string, std::string> List();
    /** The requests that it has had since the last call (with --keep-requests). */
    std::vector<std::string> Requests();

private:
    std::string ReadLine();
    void CloseInput();

    pid_t m_pid = -1;
    int m_input = -1;
    int m_output = -1;
    std::string m_unread;
    std::string m_name;
};

#endif
