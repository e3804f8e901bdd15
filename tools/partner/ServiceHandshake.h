// The partner's half of the handshake: finds a host, and the next host after its loss.
//
// A step is announced by owning a name for a moment (NameAnnouncement). The others receive it as
// the NameOwnerChanged signal of the name's release, whose old owner is the announcer. An
// announcement has no addressee: every host on the bus receives it.
//
//     at start                   watch the three _CLIENT_ names, then announce _SERVICE_SYN
//     on _CLIENT_SYN             bind to the host, announce _SERVICE_SYN_ACK
//     on _CLIENT_ACK             the bound host is ready
//     on _CLIENT_SYN_ACK         bind to the host, announce _SERVICE_ACK: the host is ready
//     when the host vanishes     unbind, announce _SERVICE_SYN
//
// These rules alone leave pairs in which one side waits for ever, because each side may be
// replaced while the other side does not read its messages. Six duties repair such pairs:
//
//     answer the bound host      its _CLIENT_SYN_ACK is also answered
//     repeat while free          without a host: announce _SERVICE_SYN again
//     repeat while unasked       bound to a host that has made no request: announce _SERVICE_SYN
//                                again. A bound host drops it, a host that is not bound answers it.
//     repeat a refused answer    announce again while another process owns the name
//     remember other hosts       while a host is bound: another host that announces _CLIENT_SYN_ACK
//                                or _CLIENT_ACK drops _SERVICE_SYN. Bind to that host when the
//                                bound one vanishes.
//     bind on _CLIENT_ACK        without a host: its sender is the host, and it is ready
//
// One timer repeats while free and while unasked, for the same reason: only a request of a host
// proves that the host is bound to this partner.
//
// **Crossed start.** When both sides announce SYN at the same instant, each binds to the other on
// the other's SYN. The host then drops the partner's _SERVICE_SYN_ACK, because it is bound already.
// So _CLIENT_SYN_ACK is answered with _SERVICE_ACK also by a partner that is bound to that host.
#ifndef APPLIST_TOOLS_SERVICEHANDSHAKE_H
#define APPLIST_TOOLS_SERVICEHANDSHAKE_H

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gio/gio.h>

#include <partner/Faults.h>
#include <partner/VanishWatch.h>
#include <shared/NameAnnouncement.h>
#include <shared/Output.h>
#include <shared/PeerProcess.h>
#include <shared/Timer.h>

namespace applistctl {

class ServiceHandshake {
public:
    /**
     * The time before the first repeated _SERVICE_SYN: many round trips, so that a handshake under
     * way ends first, and short for a user in front of an empty list.
     */
    static constexpr guint FIRST_SYN_PERIOD_MS = 1000;

    /**
     * The time doubles with each further _SERVICE_SYN, up to this value. A host with an empty list
     * makes no request, and each repeated announcement wakes the host.
     */
    static constexpr guint LONGEST_SYN_PERIOD_MS = 32000;

    struct Events {
        std::function<void(const std::string& host)> onBound; ///< requests may come from now on
        /** Notifications may be sent. Called for each handshake, also with the same host. */
        std::function<void()> onReady;
        /** @param wasReady whether the handshake with this host was complete */
        std::function<void(const std::string& host, bool wasReady)> onLost;
        std::function<void()> onRefused; ///< the bus policy refuses a name, permanently
    };

    ServiceHandshake(GDBusConnection* connection, Output& output, const Faults& faults,
                     Events events);
    ~ServiceHandshake();

    ServiceHandshake(const ServiceHandshake&) = delete;
    ServiceHandshake& operator=(const ServiceHandshake&) = delete;

    void Start();

    /** The bound host's unique name, or empty. */
    const std::string& Host() const { return m_host; }
    bool IsReady() const { return m_isReady; }

    /** "the host :1.7", or "the check :1.7" after a handshake with "applistctl check" */
    std::string DescribeRole(const std::string& host) const;

    /** A request of the bound host proves that the host is bound to this partner. */
    void OnHostRequest();

private:
    enum class Step { Syn, SynAck, Ack };

    struct OtherHost {
        std::string name;
        std::unique_ptr<VanishWatch> watch;
    };

    static const char* SuffixOf(Step step);
    static void OnNameOwnerChanged(GDBusConnection* connection, const char* sender,
                                   const char* path, const char* interface, const char* signal,
                                   GVariant* parameters, void* user_data);
    void ShowProcess(const std::string& host);
    void OnHostStep(Step step, const std::string& host);
    void OnHostSyn(const std::string& host);
    void OnHostSynAck(const std::string& host);
    void OnHostAck(const std::string& host);
    void OnHostVanished();

    void Bind(const std::string& host);
    void Unbind();
    void BecomeReady();

    void OnOtherHostStep(Step step, const std::string& host);
    void ForgetOtherHost(const std::string& host);

    void StartSynTimer();
    void RepeatSyn();

    void AnnounceAck();
    void AnnounceSyn(const std::string& meaning);
    void Announce(Step step, const std::string& meaning, const std::function<void()>& onDone);

    GDBusConnection* m_connection;
    Output& m_output;
    const Faults& m_faults;
    Events m_events;
    NameAnnouncement m_announcement;
    std::vector<guint> m_subscriptionIds;
    ProcessNames m_processes;
    std::set<std::string> m_checks; ///< the unique names of "applistctl check"
    std::string m_host;
    std::unique_ptr<VanishWatch> m_hostWatch;
    bool m_isReady = false;
    bool m_hostHasRequested = false;     ///< since it was bound
    bool m_wasBound = false;             ///< since the start
    bool m_isCrossed = false;            ///< the first binding, by _CLIENT_SYN
    std::vector<OtherHost> m_otherHosts; ///< with another binding, the latest last
    Timer m_synTimer;
    guint m_synPeriodMs = FIRST_SYN_PERIOD_MS;
};

} // namespace applistctl

#endif
