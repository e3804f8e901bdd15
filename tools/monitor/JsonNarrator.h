// Tells the story to a program: one JSON object a line.
#ifndef APPLIST_TOOLS_JSONNARRATOR_H
#define APPLIST_TOOLS_JSONNARRATOR_H

#include <string>

#include <monitor/Narrator.h>
#include <shared/Output.h>

/** A request is told when it is done, and once more, as "late", when that takes long. */
class JsonNarrator : public Narrator {
public:
    explicit JsonNarrator(Output& output) : m_output(output) {}

    void Begin(const std::string& source) override;
    void Handshake(const HandshakeEvent& event) override;
    void Called(const Exchange& /*exchange*/) override {}
    void Late(const Exchange& exchange, Microseconds waited) override;
    void Done(const Exchange& exchange) override;
    void Notified(const NotificationSeen& notification) override;
    void Malformed(Microseconds time, const std::string& text) override;
    void End(const Summary& summary) override;

private:
    Output& m_output;
};

#endif
