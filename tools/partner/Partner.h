// The partner at work: publishes its object, serves the host's requests and sends it
// notifications.
#ifndef APPLIST_TOOLS_PARTNER_H
#define APPLIST_TOOLS_PARTNER_H

#include <functional>
#include <string>
#include <vector>

#include <gio/gio.h>

#include <applist/MessageIds.h>
#include <partner/Faults.h>
#include <partner/PartnerList.h>
#include <partner/Replier.h>
#include <partner/ServiceHandshake.h>
#include <shared/Output.h>
#include <shared/Request.h>

/**
 * The host waits for the answer to every request, so each is answered before anything else is done,
 * and nothing here ever calls the host: what it has to be told, a notification tells it.
 */
class Partner {
public:
    struct Events {
        std::function<void()> onFailure; ///< no use in going on; the reason has been told
        std::function<void(const Request&)> onRequest; ///< what the host asks, also if malformed
        std::function<void()> onVanish; ///< the partner is to leave the bus, but not from in here
    };

    Partner(GDBusConnection* connection, Output& output, Faults& faults, Events events);
    ~Partner();

    Partner(const Partner&) = delete;
    Partner& operator=(const Partner&) = delete;

    /** Publishes the object, and only then lets hosts know. */
    void Start();

    bool IsConnected() const { return m_handshake.IsReady(); }
    const PartnerList& List() const { return m_list; }

    // What the partner's user does; false when it cannot be done, which has been told.
    bool ShowList();
    bool Select(const std::string& number);
    bool Click(const std::string& number);
    bool Change();
    bool Recreate();

private:
    static void OnCall(GDBusConnection* connection, const char* sender, const char* path,
                       const char* interface, const char* method, GVariant* parameters,
                       GDBusMethodInvocation* invocation, void* user_data);
    static void OnSignal(GDBusConnection* connection, const char* sender, const char* path,
                         const char* interface, const char* signal, GVariant* parameters,
                         void* user_data);

    bool RegisterObject(GError** error);
    void OnBound(const std::string& host);
    void OnReady();
    void OnLost(const std::string& host);
    void ListenTo(const std::string& host);

    std::vector<char> Answer(const Request& request) const;
    void Carry(const Request& request);
    void Apply(const Request& request);
    void AddItems(const std::vector<ListedItem>& items);
    void Show(const Request& request);
    void ShowSize();
    bool AskForTheList();
    bool Notify(AppListNotification id, const std::string& meaning);

    bool ParseNumber(const std::string& text, std::size_t& index);

    static const GDBusInterfaceVTable VTABLE;

    GDBusConnection* m_connection;
    Output& m_output;
    Faults& m_faults;
    Events m_events;
    Replier m_replier;
    std::string m_path;
    guint m_registrationId = 0;
    guint m_signalSubscriptionId = 0;
    PartnerList m_list;
    bool m_awaitsWholeList = false; ///< notification 4 has been sent
    ServiceHandshake m_handshake;
};

#endif
