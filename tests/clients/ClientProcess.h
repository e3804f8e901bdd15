// A command-line client of D-Bus: gdbus, busctl, dbus-send or dbus-monitor.
#ifndef APPLIST_TESTS_CLIENTPROCESS_H
#define APPLIST_TESTS_CLIENTPROCESS_H

#include <string>
#include <vector>

#include <glib.h>

/** Dies with the test. All waiting iterates the test's main context. */
class ClientProcess {
public:
    struct Result {
        int exitStatus; ///< 128 + N for a death by signal N, -1 when it does not end
        std::string output;
        std::string errors;
    };

    /** @param words the program and its arguments */
    explicit ClientProcess(std::vector<std::string> words);
    ~ClientProcess();

    ClientProcess(const ClientProcess&) = delete;
    ClientProcess& operator=(const ClientProcess&) = delete;

    static bool IsInstalled(const std::string& program);

    /** @return whether @p text came on standard output, or on standard error. */
    bool WaitFor(const std::string& text);
    bool WaitForError(const std::string& text);

    /** Ends a client that goes on by itself. @return what it printed. */
    std::string Stop();

    Result WaitForExit();

private:
    void Drain();

    GPid m_pid = 0;
    int m_outputFd = -1;
    int m_errorsFd = -1;
    std::string m_output;
    std::string m_errors;
};

/** Skips the test, saying so, on a machine without the client. */
#define APPLIST_NEEDS_CLIENT(program)                                                              \
    if (!ClientProcess::IsInstalled(program)) {                                                    \
        GTEST_SKIP() << (program) << " is not installed: scripts/install-packages test";           \
    }

#endif
