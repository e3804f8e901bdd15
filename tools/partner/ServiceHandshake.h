// The partner's half of the handshake: finds one host and keeps to it.
//
// A step is announced by owning a name for a moment (NameAnnouncement) and seen as the
// NameOwnerChanged signal of its release, whose old owner is the announcer. The partner's duties:
//
//     at start                 watch the three _CLIENT_ names, then announce _SERVICE_SYN
//     on _CLIENT_SYN           bind to the host, announce _SERVICE_SYN_ACK
//     on _CLIENT_ACK           the host is ready
//     on _CLIENT_SYN_ACK       bind to the host, announce _SERVICE_ACK: the host is ready
//     when the host vanishes   forget it
//
// **Crossed start.** When both sides announce SYN at the same instant, each binds to the other on
// the other's SYN. The host then drops our _SERVICE_SYN_ACK, because it is bound already. A partner
// that dropped its _CLIENT_SYN_ACK in the same way would wait for ever, and so would the host; so
// _CLIENT_SYN_ACK is answered with _SERVICE_ACK also when we are bound to that same host.
#ifndef APPLIST_TOOLS_SERVICEHANDSHAKE_H
#define APPLIST_TOOLS_SERVICEHANDSHAKE_H

#include <functional>
#include <string>

#include <gio/gio.h>

#include <partner/Faults.h>
#include <shared/NameAnnouncement.h>
#include <shared/Output.h>

class ServiceHandshake {
public:
    struct Events {
        std::function<void(const std::string& host)> onBound; ///< requests may come from now on
        std::function<void(const std::string& host)> onReady; ///< and notifications may be sent
        std::function<void(const std::string& host)> onLost;
        std::function<void()> onRefused; ///< the bus policy refuses a name: no use in going on
    };

    ServiceHandshake(GDBusConnection* connection, Output& output, const Faults& faults,
                     Events events);
    ~ServiceHandshake();

    ServiceHandshake(const ServiceHandshake&) = delete;
    ServiceHandshake& operator=(const ServiceHandshake&) = delete;

    void Start();

    /** The bound host's unique name, or empty. */
    const std::string& Host() const { return m_host; }
    bool IsReady() const { return m_ready; }

private:
    using Step = void (ServiceHandshake::*)(const std::string& host);

    static void OnNameOwnerChanged(GDBusConnection* connection, const char* sender,
                                   const char* path, const char* interface, const char* signal,
                                   GVariant* parameters, void* user_data);
    static void OnHostVanished(GDBusConnection* connection, const char* name, void* user_data);
    void OnHostSyn(const std::string& host);
    void OnHostSynAck(const std::string& host);
    void OnHostAck(const std::string& host);

    void AnnounceSyn(const std::string& meaning);
    bool Bind(const std::string& host, const char* step);
    void Unbind();
    void BecomeReady();
    void Announce(const char* suffix, const std::string& meaning,
                  const std::function<void()>& onDone);

    GDBusConnection* m_connection;
    Output& m_output;
    const Faults& m_faults;
    Events m_events;
    NameAnnouncement m_announcement;
    guint m_subscriptionIds[3] = {};
    std::string m_host;
    guint m_hostWatchId = 0;
    bool m_ready = false;
};

#endif
