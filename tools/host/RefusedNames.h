// Reports the handshake names that the bus policy refuses to the library, which writes them to the
// log alone.
#ifndef APPLIST_TOOLS_REFUSEDNAMES_H
#define APPLIST_TOOLS_REFUSEDNAMES_H

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gio/gio.h>

namespace applistctl {

/** Reads the messages of a connection. Exists as long as the process: its filter stays. */
class RefusedNames {
public:
    /** @param onRefused called in the main loop, once for a name until the bus grants it */
    using OnRefused = std::function<void(const std::string& name, const std::string& reason)>;

    static RefusedNames& Watch(GDBusConnection* connection, OnRefused onRefused);

    /** Reports the refusals that the main loop has not reported yet. */
    void Report();

    /** Whether the bus refuses a name that it has not granted since. */
    bool IsAnyRefused();

private:
    explicit RefusedNames(OnRefused onRefused) : m_onRefused(std::move(onRefused)) {}

    static GDBusMessage* OnMessage(GDBusConnection* connection, GDBusMessage* message,
                                   gboolean incoming, gpointer user_data);
    static gboolean OnQueued(gpointer user_data);
    void OnCall(GDBusMessage* message);
    void OnAnswer(GDBusMessage* message);

    OnRefused m_onRefused;
    std::mutex m_mutex;
    std::map<guint32, std::string> m_requested; ///< the name by the serial of its request
    std::set<std::string> m_refused;
    std::vector<std::pair<std::string, std::string>> m_queue;
};

} // namespace applistctl

#endif
