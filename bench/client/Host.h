// The parts of the library in the client process: the list through its public entry points, and an
// endpoint of the channel with its own id. The constructor waits for the partner.
#ifndef APPLIST_BENCH_CLIENT_HOST_H
#define APPLIST_BENCH_CLIENT_HOST_H

#include <string>
#include <vector>

#include <gio/gio.h>

#include <applist/AppListModel.h>
#include <applist/AppListProxy.h>
#include <applist/ItemChangeListener.h>
#include <ipc/javamw-dbus-remote.h>

#include "PlainItem.h"

inline namespace applist_bench {

using Item = PlainItem;

/** The channel alone: records its partner and counts notifications. */
class Endpoint : public JavaMWDbusRemote {
public:
    explicit Endpoint(const std::string& id) : JavaMWDbusRemote(id) {}
    ~Endpoint() override { StopHandlers(); }

    void HandleConnectionReady(bool ready, const std::string& partner) override {
        m_partner = ready ? partner : "";
    }
    void HandleNotification(std::vector<char>& /*data*/) override { ++m_received; }

    const std::string& Partner() const { return m_partner; }
    unsigned long Received() const { return m_received; }

private:
    std::string m_partner;
    unsigned long m_received = 0;
};

class Host : private ItemChangeListener {
public:
    /** Exits the program when no partner answers. */
    Host();

    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    AppListProxy& List() { return m_list; }
    /** Waits for an event of the partner, whose argument is the model. */
    AppListModel& Model();
    Endpoint& Channel() { return m_endpoint; }
    GDBusConnection* Connection() const { return m_connection; }
    const char* UniqueName() const { return g_dbus_connection_get_unique_name(m_connection); }

private:
    void OnItemChangeEvent(AppListModel* model) override { m_model = model; }

    // The list precedes the endpoint, so that its handshake also completes first.
    AppListProxy m_list;
    Endpoint m_endpoint;
    GDBusConnection* m_connection;
    AppListModel* m_model = nullptr;
};

} // namespace applist_bench

#endif
