// The lines that a verb shows: one event a line, in colour on a terminal, at once also in a pipe.
#ifndef APPLIST_TOOLS_OUTPUT_H
#define APPLIST_TOOLS_OUTPUT_H

#include <ostream>
#include <string>

class Output {
public:
    /** Who did it, for the colour. */
    enum class Tone { Plain, Received, Sent, State, Problem };

    /** @param program starts the lines on standard error */
    explicit Output(std::string program);

    void Line(const std::string& text, Tone tone = Tone::Plain);
    void Received(const std::string& text) { Line("<- " + text, Tone::Received); }
    void Sent(const std::string& text) { Line("-> " + text, Tone::Sent); }
    void State(const std::string& text) { Line(text, Tone::State); }

    /** An event that should not have come; the program goes on. */
    void Problem(const std::string& text) { Line("!! " + text, Tone::Problem); }

    /** Where the errors from here on belong, like "script:3"; empty for nowhere. */
    void SetPlace(const std::string& place) { m_place = place.empty() ? "" : place + ": "; }

    /** What the user asked for failed: to standard error. */
    void Error(const std::string& text) const;

private:
    std::string m_program;
    std::string m_place;
    std::ostream m_stream; // std::cout may be led elsewhere meanwhile
    bool m_colour;
};

#endif
