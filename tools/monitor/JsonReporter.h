// Reports the events to a program: one JSON object a line.
#ifndef APPLIST_TOOLS_JSONREPORTER_H
#define APPLIST_TOOLS_JSONREPORTER_H

#include <string>

#include <monitor/Reporter.h>
#include <shared/Output.h>

namespace applistctl {

/** Reports a request when it is done, and also as "late" when that takes long. */
class JsonReporter : public Reporter {
public:
    explicit JsonReporter(Output& output) : m_output(output) {}

    void Begin(const std::string& source) override;
    void Handshake(const HandshakeEvent& event) override;
    void Called(const RequestSeen& /*request*/) override {}
    void Late(const RequestSeen& request, Microseconds waited) override;
    void Done(const RequestSeen& request) override;
    void Notified(const NotificationSeen& notification) override;
    void Malformed(Microseconds time, const std::string& text) override;
    void Cut(Microseconds time, const std::string& text) override;
    void End(const Summary& summary) override;

private:
    Output& m_output;
};

} // namespace applistctl

#endif
