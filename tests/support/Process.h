// A child process of a test, whose input and output the test controls.
#pragma once

#include <chrono>
#include <csignal>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <gio/gio.h>

#include "Owners.h"

inline namespace applist_test {

/** Killed with the thread that starts it, and by the destructor. */
class Process {
public:
    struct Setup {
        /** "NAME=VALUE", besides the test's own variables and LC_ALL=C.UTF-8. */
        std::vector<std::string> environment;
        /** Called in the child before the program starts. */
        std::function<void()> prepare;
        /** Standard error is the test's own instead of being kept for Errors. */
        bool sharesErrors = false;
    };

    /** @param words the program, which is looked up in PATH, and its arguments */
    explicit Process(const std::vector<std::string>& words) : Process(words, Setup{}) {}
    Process(const std::vector<std::string>& words, const Setup& setup);
    ~Process();

    /** The process id in digits, empty once the process has ended. */
    std::string Id() const;

    /** Writes one line to the standard input, or bytes as they are. */
    void Send(const std::string& line) { SendBytes(line + "\n"); }
    void SendBytes(const std::string& bytes);
    void CloseInput();
    void Kill(int signal);

    /** SIGSTOP; returns when the process has stopped. */
    void Stop();
    /** Waits without iterating until something else has stopped the process. */
    void WaitForStop() const;
    void Continue() { Kill(SIGCONT); }

    /** The output of the process so far, without waiting. */
    const std::string& Output();
    const std::string& Errors();

    /** Iterates the main context until @p text is written after the text of the last WaitFor. */
    bool WaitFor(const std::string& text) { return m_output.WaitFor(text); }
    bool WaitForError(const std::string& text) { return m_errors.WaitFor(text); }

    /** Waits for the next line of standard output without iterating. Throws when none comes. */
    std::string ReadLine();

    /** Iterates the main context. @return the exit status, 128 + N after signal N, -1 if it runs */
    int WaitForExit(std::chrono::seconds limit = std::chrono::seconds(20));
    int Interrupt();  ///< SIGINT, then the same
    int EndOfInput(); ///< closes the standard input, then the same
    /** The same without iterating and without a time limit. */
    int WaitForExitWithoutIterating();

protected:
    /** A pipe of the process, and the text that was read from it. */
    struct Stream {
        GInputStream* pipe = nullptr;
        std::string text;
        std::size_t searched = 0;

        bool Drain();
        bool Find(const std::string& wanted);
        bool WaitFor(const std::string& wanted);
    };

    Stream m_output;
    Stream m_errors;

private:
    ObjectOwner<GSubprocess> m_process;
};

} // namespace applist_test
