// A running applistctl, with its input and its output in the test's hands.
#ifndef APPLIST_TESTS_TOOLPROCESS_H
#define APPLIST_TESTS_TOOLPROCESS_H

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

/** Dies with the test. All waiting iterates the test's main context. */
class ToolProcess {
public:
    /**
     * @param environment "NAME=VALUE", on top of the test's own and of LC_ALL=C
     * @param prepare called in the new process before the tool takes it over
     */
    explicit ToolProcess(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment = {},
                         const std::function<void()>& prepare = {});
    ~ToolProcess();

    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    /** Writes one line to its standard input. */
    void Send(const std::string& line) { SendBytes(line + "\n"); }
    void SendBytes(const std::string& bytes);
    void CloseInput();
    void Kill(int signal);

    /** Takes what it has printed so far, without waiting. */
    const std::string& Output();
    const std::string& Errors();

    /** Waits for @p text on standard output, behind what was found before. */
    bool WaitFor(const std::string& text);
    bool WaitForError(const std::string& text);

    /** Sends "list". @return what it shows: from the line "list: ..." to "selection: ..." */
    std::string List();

    /** @return its exit status, 128 + N for a death by signal N, -1 when it goes on */
    int WaitForExit();

private:
    struct Stream {
        int fd = -1;
        std::string text;
        std::size_t searched = 0;
        bool Drain();
        bool WaitFor(const std::string& wanted);
    };

    pid_t m_pid = -1;
    int m_input = -1;
    Stream m_output;
    Stream m_errors;
};

#endif
