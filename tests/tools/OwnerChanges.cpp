#include "OwnerChanges.h"

#include "BusDaemon.h"
#include "MainLoop.h"

OwnerChanges::OwnerChanges(const PrivateBus& bus)
    : m_connection(bus.Connect()),
      m_subscription(g_dbus_connection_signal_subscribe(
          Connection(), "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
          "/org/freedesktop/DBus", nullptr, G_DBUS_SIGNAL_FLAGS_NONE, OnNameOwnerChanged, this,
          nullptr)) {
    BusDaemon::Ping(Connection()); // the match rule is in place
}

OwnerChanges::~OwnerChanges() {
    g_dbus_connection_signal_unsubscribe(Connection(), m_subscription);
    m_connection.reset();
    MainLoop::IterateUntilIdle();
}

std::string OwnerChanges::WaitForNewcomer(const std::string& suffix) {
    std::string name;
    do {
        name = WaitForRelease("org.morva.JavaMW.Applist" + suffix);
    } while (!name.empty() && !m_newcomers.insert(name).second);
    return name;
}

bool OwnerChanges::WaitForEnd(const std::string& uniqueName) {
    return WaitForRelease(uniqueName) == uniqueName;
}

std::string OwnerChanges::WaitForRelease(const std::string& name) {
    std::string owner;
    MainLoop::IterateUntil([&] {
        while (owner.empty() && m_searched < m_releases.size()) {
            const Release& release = m_releases[m_searched++];
            if (release.name == name) {
                owner = release.owner;
            }
        }
        return !owner.empty();
    });
    return owner;
}

void OwnerChanges::OnNameOwnerChanged(GDBusConnection* /*connection*/, const char* /*sender*/,
                                      const char* /*path*/, const char* /*interface*/,
                                      const char* /*signal*/, GVariant* parameters,
                                      void* user_data) {
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);
    if (*newOwner == '\0') {
        static_cast<OwnerChanges*>(user_data)->m_releases.push_back({name, oldOwner});
    }
}
