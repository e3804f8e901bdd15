#include <partner/VanishWatch.h>

#include <utility>

namespace applistctl {

VanishWatch::VanishWatch(GDBusConnection* connection, const std::string& uniqueName,
                         std::function<void()> onVanished, EarlierEnd earlierEnd)
    : m_onVanished(std::move(onVanished)),
      m_reports(earlierEnd == EarlierEnd::Report),
      m_id(g_bus_watch_name_on_connection(connection, uniqueName.c_str(),
                                          G_BUS_NAME_WATCHER_FLAGS_NONE, OnAppeared, OnVanished,
                                          this, nullptr)) {}

VanishWatch::~VanishWatch() {
    g_bus_unwatch_name(m_id);
}

void VanishWatch::OnAppeared(GDBusConnection* /*connection*/, const char* /*name*/,
                             const char* /*owner*/, void* user_data) {
    static_cast<VanishWatch*>(user_data)->m_reports = true;
}

void VanishWatch::OnVanished(GDBusConnection* connection, const char* /*name*/, void* user_data) {
    if (connection == nullptr) {
        return; // the connection to the bus is lost, which the session reports
    }
    auto* const self = static_cast<VanishWatch*>(user_data);
    if (self->m_reports) {
        const std::function<void()> onVanished = self->m_onVanished;
        onVanished();
    }
}

} // namespace applistctl
