// Who shows what the monitor tells. There is one for readers and one for programs.
#ifndef APPLIST_TOOLS_NARRATOR_H
#define APPLIST_TOOLS_NARRATOR_H

#include <string>

#include <monitor/Events.h>
#include <monitor/Summary.h>

class Narrator {
public:
    Narrator() = default;
    virtual ~Narrator() = default;

    Narrator(const Narrator&) = delete;
    Narrator& operator=(const Narrator&) = delete;

    /** @param source "watching the system bus" */
    virtual void Begin(const std::string& source) = 0;
    virtual void Handshake(const HandshakeEvent& event) = 0;

    virtual void Called(const Exchange& exchange) = 0;
    virtual void Late(const Exchange& exchange, Microseconds waited) = 0;
    /** Answered, or not any more: its reply is final. */
    virtual void Done(const Exchange& exchange) = 0;

    virtual void Notified(const NotificationSeen& notification) = 0;

    /** What cannot be told as one of the above. */
    virtual void Malformed(Microseconds time, const std::string& text) = 0;

    virtual void End(const Summary& summary) = 0;
};

#endif
