#include <partner/VanishWatch.h>

#include <utility>

namespace applistctl {

VanishWatch::VanishWatch(GDBusConnection* connection, const std::string& uniqueName,
                         std::function<void()> onVanished)
    : m_onVanished(std::move(onVanished)),
      m_id(g_bus_watch_name_on_connection(connection, uniqueName.c_str(),
                                          G_BUS_NAME_WATCHER_FLAGS_NONE, nullptr, OnVanished, this,
                                          nullptr)) {}

VanishWatch::~VanishWatch() {
    g_bus_unwatch_name(m_id);
}

void VanishWatch::OnVanished(GDBusConnection* connection, const char* /*name*/, void* user_data) {
    if (connection == nullptr) {
        return; // the connection to the bus is lost, which the session reports
    }
    const std::function<void()> onVanished = static_cast<VanishWatch*>(user_data)->m_onVanished;
    onVanished();
}

} // namespace applistctl
