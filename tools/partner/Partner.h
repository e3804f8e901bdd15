// The partner at work: publishes its object, serves the host's requests and sends it
// notifications.
#ifndef APPLIST_TOOLS_PARTNER_H
#define APPLIST_TOOLS_PARTNER_H

#include <functional>
#include <string>
#include <vector>

#include <gio/gio.h>

#include <applist/MessageIds.h>
#include <partner/PartnerList.h>
#include <partner/ServiceHandshake.h>
#include <shared/CommandInput.h>
#include <shared/Output.h>
#include <shared/Request.h>

/**
 * The host waits for the answer to every request, so each is answered before anything else is done,
 * and nothing here ever calls the host: what it has to be told, a notification tells it.
 */
class Partner {
public:
    /** @param onFailure called when there is no use in going on; the reason has been told */
    Partner(GDBusConnection* connection, Output& output, std::function<void()> onFailure);
    ~Partner();

    Partner(const Partner&) = delete;
    Partner& operator=(const Partner&) = delete;

    /** Publishes the object, and only then lets hosts know. */
    void Start();

    /** @param partner null for the texts alone */
    static std::vector<Command> CommandsFor(Partner* partner);

private:
    static void OnCall(GDBusConnection* connection, const char* sender, const char* path,
                       const char* interface, const char* method, GVariant* parameters,
                       GDBusMethodInvocation* invocation, void* user_data);
    static void OnSignal(GDBusConnection* connection, const char* sender, const char* path,
                         const char* interface, const char* signal, GVariant* parameters,
                         void* user_data);

    void OnBound(const std::string& host);
    void OnReady();
    void OnLost(const std::string& host);
    void ListenTo(const std::string& host);

    std::vector<char> Answer(const Request& request) const;
    void Carry(const Request& request);
    void Apply(const Request& request);
    void Show(const Request& request);
    void ShowSize();
    bool Notify(AppListNotification id, const std::string& meaning);

    bool List();
    bool Select(const std::string& number);
    bool Click(const std::string& number);
    bool Recreate();
    bool ParseNumber(const std::string& text, std::size_t& index);

    static const GDBusInterfaceVTable VTABLE;

    GDBusConnection* m_connection;
    Output& m_output;
    std::function<void()> m_onFailure;
    std::string m_path;
    guint m_registrationId = 0;
    guint m_signalSubscriptionId = 0;
    PartnerList m_list;
    ServiceHandshake m_handshake;
};

#endif
