// A host without the library, on a private connection. Each step is a call, including steps that
// the library never performs.
#ifndef APPLIST_TOOLS_BAREHOST_H
#define APPLIST_TOOLS_BAREHOST_H

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gio/gio.h>

#include <check/Traffic.h>
#include <shared/ItemListing.h>
#include <shared/NameAnnouncement.h>
#include <shared/SystemBus.h>

namespace applistctl {

class BareHost {
public:
    /** Connects, registers the object and watches the three names of the partner. */
    BareHost();
    ~BareHost();

    BareHost(const BareHost&) = delete;
    BareHost& operator=(const BareHost&) = delete;

    /** @return the reason without a connection; empty with one */
    const std::string& Problem() const { return m_problem; }
    std::string UniqueName() const;
    GDBusConnection* Connection() const { return m_bus.Connection(); }
    Traffic& Seen() { return *m_traffic; }

    /** Announces a step of the host ("_SYN", ...). @return the error of the bus, or an empty text
     */
    std::string Announce(const std::string& suffix);

    /** The two halves of an announcement. */
    std::string OwnName(const std::string& suffix);
    void ReleaseName(const std::string& suffix);

    /**
     * Owns a name of the partner's until it is released.
     * @return the error text of the bus: on a device the policy refuses the name
     */
    std::string OwnPartnersName(const std::string& suffix);
    void ReleasePartnersName(const std::string& suffix);

    /** Discards the announcements so far. */
    void ClearSteps() { m_steps.clear(); }

    /** Waits for an announcement. Its sender becomes the partner. */
    bool WaitForStep(const std::string& suffix, double seconds);
    bool HasSeen(const std::string& suffix) const;
    const std::string& Partner() const { return m_partner; }

    /** Whether a partner has announced an answer, _SERVICE_SYN_ACK or _SERVICE_ACK. */
    bool WasAnswered() const { return m_wasAnswered; }

    /** Adds a partner of an earlier host to the known ones. */
    void Remember(const std::string& partner) { m_partners.insert(partner); }

    /**
     * Forgets the known partners, before a deliberate restart, and ignores their later steps. At
     * the end of such a partner, the bus releases each name that the partner still owns.
     */
    void ForgetPartners();

    /** Whether a known partner has left the bus. */
    bool HasLostPartner() const;

    bool IsOnBus(const std::string& uniqueName) const { return !OwnerOf(uniqueName).empty(); }

    /** @return the unique name of the process that owns a name of the partner; empty for none */
    std::string OwnerOfPartnersName(const std::string& suffix) const;

    /** Whether a partner owns the name, except a forgotten partner. */
    bool IsPartnersNameKept(const std::string& suffix) const;

    /** Answers announcements from now on, as the library does. */
    void FollowHandshake() { m_follows = true; }
    bool IsReady() const { return m_isReady; }

    /** Sends a request to the partner. A reply later than @p seconds is a problem of the request.
     */
    SentRequest SendRequest(std::int32_t id, const std::vector<ListedItem>& items, double seconds);

    /** Sends any bytes to the partner. */
    SentRequest SendBytes(const std::vector<char>& message, double seconds);

    /** Sends a request to any unique name, including its own. */
    SentRequest SendRequestTo(const std::string& receiver, std::int32_t id,
                              const std::vector<ListedItem>& items, double seconds);

    /** Sends a notification to its own unique name. */
    void NotifySelf();

    bool WaitForNotification(std::int32_t id, std::size_t count, double seconds);

private:
    static const GDBusInterfaceVTable VTABLE;

    static void OnCall(GDBusConnection* connection, const char* sender, const char* path,
                       const char* interface, const char* method, GVariant* parameters,
                       GDBusMethodInvocation* invocation, void* user_data);
    static void OnNameOwnerChanged(GDBusConnection* connection, const char* sender,
                                   const char* path, const char* interface, const char* signal,
                                   GVariant* parameters, void* user_data);
    void OnStep(const std::string& suffix, const std::string& partner);
    SentRequest Send(const std::string& receiver, const std::vector<char>& message, double seconds);
    std::string RequestName(const std::string& name);
    void ReleaseFullName(const std::string& name);
    std::string OwnerOf(const std::string& name) const;
    std::string CallBus(const char* method, GVariant* parameters);

    SystemBus m_bus;
    std::string m_problem;
    std::unique_ptr<Traffic> m_traffic;
    std::vector<guint> m_subscriptionIds;
    guint m_registrationId = 0;
    std::vector<std::string> m_steps;
    std::string m_partner;
    std::set<std::string> m_partners; ///< each sender of a step
    std::set<std::string> m_formerPartners;
    bool m_wasAnswered = false;
    bool m_follows = false;
    bool m_isBound = false;
    bool m_isReady = false;
};

} // namespace applistctl

#endif
