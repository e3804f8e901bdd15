// The partner: publishes the communication object, serves the requests of the host, and sends
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
#include <partner/ReplySender.h>
#include <partner/ServiceHandshake.h>
#include <shared/Output.h>
#include <shared/Request.h>
#include <shared/Timer.h>

namespace applistctl {

/**
 * The host blocks until the reply to each request. The partner therefore replies before any other
 * work, and never calls the host: events reach the host as notifications.
 */
class Partner {
public:
    struct Events {
        std::function<void()> onFailure; ///< the run ends; the reason has been reported
        std::function<void(const Request&)> onRequest; ///< each request, also a malformed one
        std::function<void()> onVanish; ///< the partner leaves the bus, after the callback returns
    };

    Partner(GDBusConnection* connection, Output& output, Faults& faults, Events events);
    ~Partner();

    Partner(const Partner&) = delete;
    Partner& operator=(const Partner&) = delete;

    /** Publishes the object, and then starts the handshake. */
    void Start();

    bool IsConnected() const { return m_handshake.IsReady(); }
    const PartnerList& List() const { return m_list; }

    // Commands of the user; false after a report of the failure.
    bool ShowList();
    bool Select(const std::string& item);
    bool Click(const std::string& item);
    bool Remove(const std::string& item);
    bool Change();
    bool ChangeItem(const std::string& item);
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
    void OnLost(const std::string& host, bool wasReady);
    void SubscribeTo(const std::string& host);

    std::vector<char> Answer(const Request& request) const;
    void Process(const Request& request);
    void Apply(const Request& request);
    void AddItems(const std::vector<ListedItem>& items);
    void Remove(const ListedItem& item);
    void Modify(const ListedItem& oldItem, const ListedItem& newItem);
    bool IsSelected(const ListedItem& item) const;
    void Show(const Request& request);
    void ShowSize();
    bool AskForTheList();
    bool Notify(AppListNotification id, const std::string& meaning);
    bool IsOmitted(AppListNotification id) const; ///< by a fault

    bool FindItem(const std::string& text, std::size_t& index);

    static const GDBusInterfaceVTable VTABLE;

    GDBusConnection* m_connection;
    Output& m_output;
    Faults& m_faults;
    Events m_events;
    ReplySender m_replies;
    std::string m_path;
    guint m_registrationId = 0;
    guint m_signalSubscriptionId = 0;
    PartnerList m_list;
    bool m_awaitsWholeList = false; ///< notification 4 has been sent
    Timer m_secondCreated;          ///< of Fault::CreatedTwice
    ServiceHandshake m_handshake;
};

} // namespace applistctl

#endif
