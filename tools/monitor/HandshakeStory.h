// Follows the handshakes: who announced which step, who is bound, and which step is missing.
#ifndef APPLIST_TOOLS_HANDSHAKESTORY_H
#define APPLIST_TOOLS_HANDSHAKESTORY_H

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gio/gio.h>

#include <monitor/Events.h>

class HandshakeStory {
public:
    using OnEvent = std::function<void(const HandshakeEvent&)>;

    explicit HandshakeStory(OnEvent onEvent);

    /** The bus daemon's signal of that name. */
    void OwnerChanged(Microseconds time, const std::string& name, const std::string& oldOwner,
                      const std::string& newOwner);

    /** A call of RequestName, and the daemon's answer to it: an error's text, or else a code. */
    void NameAsked(const std::string& caller, guint32 serial, const std::string& name);
    void NameRefused(Microseconds time, const std::string& caller, guint32 serial,
                     const std::string& why);
    void NameAnswered(Microseconds time, const std::string& caller, guint32 serial, guint32 code);

    /** Two that talk are connected, also when nobody saw how, unless one is with another. */
    void Talked(Microseconds time, const std::string& host, const std::string& partner,
                Side sender);

    /** Tells what should have happened by now. */
    void Tick(Microseconds now);

    Side SideOf(const std::string& peer) const;

    /** How each host's handshake stands, in words. */
    std::vector<std::string> States() const;

private:
    struct HostState {
        std::string partner; ///< empty unless one of the two is bound
        std::string awaited; ///< the step that is to come next; empty for none
        std::string reason;  ///< the step that it answers
        Microseconds waitingSince = 0;
        Microseconds start = 0; ///< when both sides were there
        std::string startStep;
        Microseconds announced = 0; ///< with _CLIENT_SYN; 0 for not seen
        bool ready = false;
        bool told = false; ///< that it is missing
    };
    struct Holder {
        std::string owner;
        Microseconds since;
        bool told;
    };
    using Asked = std::pair<std::string, guint32>; // caller and serial

    void Step(Microseconds time, const std::string& step, const std::string& who);
    void OnClientSyn(Microseconds time, const std::string& host);
    void OnServiceSyn(Microseconds time, const std::string& partner);
    void OnClientSynAck(Microseconds time, const std::string& host);
    void OnServiceSynAck(Microseconds time, const std::string& partner);
    void OnClientAck(Microseconds time, const std::string& host);
    void OnServiceAck(Microseconds time, const std::string& partner);
    void Left(Microseconds time, const std::string& peer);

    void Await(HostState& host, const std::string& step, const std::string& reason,
               Microseconds time);
    void BecomeReady(Microseconds time, const std::string& host, const std::string& partner);
    std::string FirstWaitingHost() const;
    bool IsTaken(const std::string& partner, const std::string& host) const;
    bool IsBoundToAnother(const std::string& host, const std::string& partner) const;
    std::string Missing(const std::string& host, const HostState& state) const;
    void Tell(HandshakeEvent::Kind kind, Microseconds time, const std::string& who,
              const std::string& step, const std::string& text, Microseconds elapsed = 0);

    OnEvent m_onEvent;
    std::map<std::string, Side> m_sides;
    std::map<std::string, HostState> m_hosts;
    std::string m_newestPartner; // that has announced itself
    Microseconds m_partnerStart = 0;
    std::map<std::string, Holder> m_holders; // by step
    std::map<Asked, std::string> m_asked;
};

#endif
