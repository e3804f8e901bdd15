// Reports that a connection has left the bus, or was never there.
#ifndef APPLIST_TOOLS_VANISHWATCH_H
#define APPLIST_TOOLS_VANISHWATCH_H

#include <functional>
#include <string>

#include <gio/gio.h>

namespace applistctl {

class VanishWatch {
public:
    /** EarlierEnd::Ignore ignores an end before the watch: a fault of the partner. */
    enum class EarlierEnd { Report, Ignore };

    /** @param onVanished called once, from the main context; it may delete the watch */
    VanishWatch(GDBusConnection* connection, const std::string& uniqueName,
                std::function<void()> onVanished, EarlierEnd earlierEnd = EarlierEnd::Report);
    ~VanishWatch();

    VanishWatch(const VanishWatch&) = delete;
    VanishWatch& operator=(const VanishWatch&) = delete;

private:
    static void OnAppeared(GDBusConnection* connection, const char* name, const char* owner,
                           void* user_data);
    static void OnVanished(GDBusConnection* connection, const char* name, void* user_data);

    std::function<void()> m_onVanished;
    bool m_reports; ///< an end from now on
    guint m_id;
};

} // namespace applistctl

#endif
