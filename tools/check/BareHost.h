// A host without the library, on a connection of its own: takes each step when it is told to, also
// steps that the library would not take.
#ifndef APPLIST_TOOLS_BAREHOST_H
#define APPLIST_TOOLS_BAREHOST_H

#include <memory>
#include <string>
#include <vector>

#include <gio/gio.h>

#include <check/Traffic.h>
#include <shared/ItemListing.h>
#include <shared/NameAnnouncement.h>
#include <shared/SystemBus.h>

class BareHost {
public:
    /** Joins the bus, publishes the object and watches the partner's three names. */
    BareHost();
    ~BareHost();

    BareHost(const BareHost&) = delete;
    BareHost& operator=(const BareHost&) = delete;

    /** @return why it is not on the bus, or nothing */
    const std::string& Problem() const { return m_problem; }
    std::string UniqueName() const;
    GDBusConnection* Connection() const { return m_bus.Connection(); }
    Traffic& Seen() { return *m_traffic; }

    /** Announces a step of the host ("_SYN", ...). @return what the bus says against it */
    std::string Announce(const std::string& suffix);

    /** The two halves of an announcement. */
    std::string OwnName(const std::string& suffix);
    void ReleaseName(const std::string& suffix);

    /** From here on announcements count as new. */
    void ClearSteps() { m_steps.clear(); }

    /** Waits for a new announcement of the partner, who is the one to ask from then on. */
    bool WaitForStep(const std::string& suffix, double seconds);
    bool HasSeen(const std::string& suffix) const;
    const std::string& Partner() const { return m_partner; }

    /** From here on it does the handshake by itself, as the library does. */
    void FollowHandshake() { m_follows = true; }
    bool IsReady() const { return m_isReady; }

    /** Asks the partner. An answer that does not come within @p seconds is a problem too. */
    SentRequest SendRequest(std::int32_t id, const std::vector<ListedItem>& items, double seconds);

    /** Asks anybody on the bus, also itself. */
    SentRequest SendRequestTo(const std::string& receiver, std::int32_t id,
                              const std::vector<ListedItem>& items, double seconds);

    /** Sends ourselves a notification. */
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
    std::string CallBus(const char* method, GVariant* parameters);

    SystemBus m_bus;
    std::string m_problem;
    std::unique_ptr<Traffic> m_traffic;
    std::unique_ptr<NameAnnouncement> m_announcement;
    std::vector<guint> m_subscriptionIds;
    guint m_registrationId = 0;
    std::vector<std::string> m_steps;
    std::string m_partner;
    bool m_follows = false;
    bool m_isBound = false;
    bool m_isReady = false;
};

#endif
