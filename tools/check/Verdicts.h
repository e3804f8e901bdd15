// The lines of a check: one for each finding, with advice below a fault.
#ifndef APPLIST_TOOLS_VERDICTS_H
#define APPLIST_TOOLS_VERDICTS_H

#include <cstdlib>
#include <string>
#include <utility>

#include <gio/gio.h>

#include <shared/ExitStatus.h>
#include <shared/Output.h>
#include <shared/SystemBus.h>

namespace applistctl {

class Verdicts {
public:
    /** @param fault the word for a fault, like "MISSING" */
    Verdicts(Output& output, std::string fault) : m_output(output), m_fault(std::move(fault)) {}

    /** Ends the process in place of a line after the loss of this bus, which would be wrong. */
    void EndWithoutBus(GDBusConnection* connection) { m_connection = connection; }

    /** Ends the process also when the bus daemon has replied late: a fault may be of that time. */
    void RequireSteadyBus() {
        const gint64 start = g_get_monotonic_time();
        RequireBus();
        const gint64 milliseconds = (g_get_monotonic_time() - start) / 1000;
        if (milliseconds > LATE_MS) {
            m_output.Error("the bus daemon sent no reply for " + std::to_string(milliseconds) +
                           " ms, and a finding of this time may be wrong: check again");
            std::exit(EXIT_STATUS_NO_BUS);
        }
    }

    void Good(const std::string& what, const std::string& text) {
        RequireBus();
        m_output.Line(Padded("ok", 9) + Padded(what, 10) + text, Output::Tone::Sent);
    }

    /** A finding that is no fault. */
    void Note(const std::string& what, const std::string& text) {
        RequireBus();
        m_output.Line(Padded("note", 9) + Padded(what, 10) + text);
    }

    void Wrong(const std::string& what, const std::string& text, const std::string& advice) {
        Fault(m_fault, what, text, advice);
    }

    /** A fault with a word of its own. */
    void Fault(const std::string& word, const std::string& what, const std::string& text,
               const std::string& advice) {
        RequireSteadyBus();
        m_anyWrong = true;
        m_output.Line(Padded(word, 9) + Padded(what, 10) + text, Output::Tone::Problem);
        m_output.Line(Padded("", 19) + "-> " + advice);
    }

    bool AnyWrong() const { return m_anyWrong; }

private:
    static constexpr gint64 LATE_MS = 1000;

    void RequireBus() {
        const std::string loss =
            m_connection != nullptr ? SystemBus::DescribeLoss(m_connection) : "";
        if (!loss.empty()) {
            m_output.Error(loss);
            std::exit(EXIT_STATUS_NO_BUS);
        }
    }

    static std::string Padded(const std::string& text, std::size_t width) {
        return text + std::string(text.size() < width ? width - text.size() : 0, ' ');
    }

    Output& m_output;
    std::string m_fault;
    GDBusConnection* m_connection = nullptr;
    bool m_anyWrong = false;
};

} // namespace applistctl

#endif
