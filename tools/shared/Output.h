// The output of a verb: one event per line, in colour on a terminal, flushed after each line.
#ifndef APPLIST_TOOLS_OUTPUT_H
#define APPLIST_TOOLS_OUTPUT_H

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include <glib.h>

namespace applistctl {

/**
 * The process exits with EXIT_STATUS_FAILED as soon as a line cannot be written, or nothing reads
 * the pipe of standard output any more. A closed pipe has no message, as in other tools.
 */
class Output {
public:
    /** The kind of event, for the colour. */
    enum class Tone { Plain, Received, Sent, State, Problem };

    /** @param program the start of each line on standard error */
    explicit Output(std::string program);
    ~Output();

    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /** Prints one line, with \xNN for control characters, folded at the width of a terminal. */
    void Line(const std::string& text, Tone tone = Tone::Plain);
    void Received(const std::string& text) { Line("<- " + text, Tone::Received); }
    void Sent(const std::string& text) { Line("-> " + text, Tone::Sent); }
    void State(const std::string& text) { Line(text, Tone::State); }

    /** Prints the lines of a help text. On a terminal, its paragraphs have the terminal's width. */
    void Help(const std::string& text);

    /** Prints lines for a file or a program as they are. */
    void Verbatim(const std::string& text) { Write(text); }

    /** An unexpected event; the program continues. */
    void Problem(const std::string& text) { Line("!! " + text, Tone::Problem); }

    /** The place of the following errors, like "script:3"; empty for none. */
    void SetPlace(const std::string& place) { m_place = place.empty() ? "" : place + ": "; }

    /** Reports a failed command on standard error. */
    void Error(const std::string& text) const { WriteError(m_place + text); }

    /** Reports on standard error an event that no command has caused, such as the end of the bus.
     */
    void Failure(const std::string& text) const { WriteError(text); }

    /** Ends the process if nothing reads standard output. For code without a main loop. */
    void EndWithoutReader() const;

    /** The stream of the lines, or null. Standard output itself may be a pipe of this process. */
    std::FILE* Stream() const { return m_stream.get(); }
    bool IsTerminal() const { return m_isTerminal; }

    /** Calls @p before and @p after around each output, for a prompt on the same terminal. */
    void SetAround(std::function<void()> before, std::function<void()> after) {
        m_before = std::move(before);
        m_after = std::move(after);
    }

private:
    static gboolean OnClosed(gint fd, GIOCondition condition, gpointer user_data);
    void Write(const std::string& text);
    void WriteError(const std::string& text) const;
    [[noreturn]] void End(int error) const;

    std::string m_program;
    std::string m_place;
    std::shared_ptr<std::FILE> m_stream; // standard output may be a pipe later
    bool m_isTerminal;
    bool m_colour;
    guint m_closedId = 0;
    std::function<void()> m_before;
    std::function<void()> m_after;
};

} // namespace applistctl

#endif
