// Detects a bus daemon that is stopped while the monitor runs. Its connections stay open.
#ifndef APPLIST_TOOLS_DAEMONWATCH_H
#define APPLIST_TOOLS_DAEMONWATCH_H

#include <functional>
#include <string>

#include <gio/gio.h>

namespace applistctl {

class DaemonWatch {
public:
    using OnSilent = std::function<void(const std::string& text)>;

    /**
     * Calls the daemon every two seconds in the default main context.
     * @param onSilent called once for each silence, with its description
     */
    DaemonWatch(GDBusConnection* connection, OnSilent onSilent);
    ~DaemonWatch();

    DaemonWatch(const DaemonWatch&) = delete;
    DaemonWatch& operator=(const DaemonWatch&) = delete;

    /** Whether the last call has had no reply in time. */
    bool IsSilent() const { return m_isSilent; }

private:
    static gboolean OnTimer(void* user_data);
    static void OnReply(GObject* connection, GAsyncResult* result, void* user_data);

    void Call();
    void HandleReply(const GError* error);

    GDBusConnection* m_connection;
    OnSilent m_onSilent;
    GCancellable* m_cancellable = g_cancellable_new();
    guint m_timerId = 0;
    bool m_isSilent = false;
};

} // namespace applistctl

#endif
