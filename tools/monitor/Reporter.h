// Shows the events of the monitor. One implementation is for readers and one for programs.
#ifndef APPLIST_TOOLS_REPORTER_H
#define APPLIST_TOOLS_REPORTER_H

#include <string>

#include <monitor/Events.h>
#include <monitor/Summary.h>

namespace applistctl {

class Reporter {
public:
    Reporter() = default;
    virtual ~Reporter() = default;

    Reporter(const Reporter&) = delete;
    Reporter& operator=(const Reporter&) = delete;

    /** @param source "watching the system bus" */
    virtual void Begin(const std::string& source) = 0;
    virtual void Handshake(const HandshakeEvent& event) = 0;

    virtual void Called(const RequestSeen& request) = 0;
    virtual void Late(const RequestSeen& request, Microseconds waited) = 0;
    /** The reply to the request has arrived, or will not arrive any more. */
    virtual void Done(const RequestSeen& request) = 0;

    virtual void Notified(const NotificationSeen& notification) = 0;

    /** A message that is none of the above. */
    virtual void Malformed(Microseconds time, const std::string& text) = 0;

    /** A message whose header the capture does not contain. */
    virtual void Cut(Microseconds time, const std::string& text) = 0;

    virtual void End(const Summary& summary) = 0;
};

} // namespace applistctl

#endif
