// The output of a verb: one event per line, in colour on a terminal, flushed after each line.
#ifndef APPLIST_TOOLS_OUTPUT_H
#define APPLIST_TOOLS_OUTPUT_H

#include <cstdio>
#include <memory>
#include <string>

namespace applistctl {

class Output {
public:
    /** The kind of event, for the colour. */
    enum class Tone { Plain, Received, Sent, State, Problem };

    /** @param program the start of each line on standard error */
    explicit Output(std::string program);

    void Line(const std::string& text, Tone tone = Tone::Plain);
    void Received(const std::string& text) { Line("<- " + text, Tone::Received); }
    void Sent(const std::string& text) { Line("-> " + text, Tone::Sent); }
    void State(const std::string& text) { Line(text, Tone::State); }

    /** An unexpected event; the program continues. */
    void Problem(const std::string& text) { Line("!! " + text, Tone::Problem); }

    /** The place of the following errors, like "script:3"; empty for none. */
    void SetPlace(const std::string& place) { m_place = place.empty() ? "" : place + ": "; }

    /** Reports a failed command on standard error. */
    void Error(const std::string& text) const;

private:
    std::string m_program;
    std::string m_place;
    std::shared_ptr<std::FILE> m_stream; // standard output may be a pipe later
    bool m_colour;
};

} // namespace applistctl

#endif
