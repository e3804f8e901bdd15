// The partner's connections: the partner connects, leaves the bus, and connects again under another
// unique name.
#ifndef APPLIST_TOOLS_PARTNERSESSION_H
#define APPLIST_TOOLS_PARTNERSESSION_H

#include <deque>
#include <functional>
#include <memory>

#include <partner/Faults.h>
#include <partner/Partner.h>
#include <shared/Output.h>
#include <shared/SystemBus.h>

namespace applistctl {

class PartnerSession {
public:
    /** @param onStop called with an exit status at a failure that ends the run */
    PartnerSession(Output& output, std::function<void(int status)> onStop);
    ~PartnerSession();

    PartnerSession(const PartnerSession&) = delete;
    PartnerSession& operator=(const PartnerSession&) = delete;

    /** Connects to the bus, with a new list. Without effect while the partner is connected. */
    void Start();

    /**
     * Connects for the first time. Without effect after a Start() or StartOnce().
     * @return false after a failure that ends the run, which is reported already
     */
    bool StartOnce();

    /** Handles the replies of the bus to all earlier calls, such as the refusal of a name. */
    void AwaitReplies();

    /** Leaves the bus without a notification. */
    void Vanish();

    bool HasStopped() const { return m_stopped; }

    /** @return null while the partner is not connected */
    applistctl::Partner* Partner() { return m_partner.get(); }
    applistctl::Faults& Faults() { return m_faults; }

    /** Keeps the requests of the hosts for Requests(), the oldest first. */
    void KeepRequests() { m_keepsRequests = true; }
    std::deque<Request>& Requests() { return m_requests; }

private:
    void Stop(int status);
    void Keep(const Request& request);
    static gboolean OnVanish(void* user_data);

    Output& m_output;
    std::function<void(int)> m_onStop;
    applistctl::Faults m_faults;
    bool m_started = false;
    bool m_stopped = false;
    bool m_keepsRequests = false;
    std::deque<Request> m_requests;
    guint m_vanishId = 0;
    std::unique_ptr<SystemBus> m_bus;
    std::unique_ptr<applistctl::Partner> m_partner;
};

} // namespace applistctl

#endif
