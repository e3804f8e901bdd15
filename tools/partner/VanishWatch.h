// Reports that a connection has left the bus, or was never there.
#ifndef APPLIST_TOOLS_VANISHWATCH_H
#define APPLIST_TOOLS_VANISHWATCH_H

#include <functional>
#include <string>

#include <gio/gio.h>

namespace applistctl {

class VanishWatch {
public:
    /** @param onVanished called once, from the main context; it may delete the watch */
    VanishWatch(GDBusConnection* connection, const std::string& uniqueName,
                std::function<void()> onVanished);
    ~VanishWatch();

    VanishWatch(const VanishWatch&) = delete;
    VanishWatch& operator=(const VanishWatch&) = delete;

private:
    static void OnVanished(GDBusConnection* connection, const char* name, void* user_data);

    std::function<void()> m_onVanished;
    guint m_id;
};

} // namespace applistctl

#endif
