// Reports the events to a reader.
#ifndef APPLIST_TOOLS_TEXTREPORTER_H
#define APPLIST_TOOLS_TEXTREPORTER_H

#include <string>
#include <vector>

#include <monitor/Reporter.h>
#include <shared/Output.h>

namespace applistctl {

class TextReporter : public Reporter {
public:
    /** @param showsAll shows all items of a long list */
    TextReporter(Output& output, bool showsAll) : m_output(output), m_showsAll(showsAll) {}

    void Begin(const std::string& source) override;
    void Handshake(const HandshakeEvent& event) override;
    void Called(const RequestSeen& request) override;
    void Late(const RequestSeen& request, Microseconds waited) override;
    void Done(const RequestSeen& request) override;
    void Notified(const NotificationSeen& notification) override;
    void Malformed(Microseconds time, const std::string& text) override;
    void Cut(Microseconds time, const std::string& text) override;
    void End(const Summary& summary) override;

private:
    void Line(Microseconds time, const std::string& text, Output::Tone tone);
    void Problem(Microseconds time, const std::string& text);
    void ShowItems(const std::vector<ListedItem>& items);
    void Answered(const RequestSeen& request);
    void ShowHandshakes(const Summary& summary);
    void ShowRequests(const Summary& summary);
    void ShowNotifications(const Summary& summary);

    Output& m_output;
    bool m_showsAll;
};

} // namespace applistctl

#endif
