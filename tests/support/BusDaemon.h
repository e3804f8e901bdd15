// Calls to the bus daemon itself.
#pragma once

#include <cstdint>
#include <string>

#include <gio/gio.h>
#include <sys/types.h>

namespace BusDaemon {

/** Calls @p method, consumes the parameters, and waits. @return whether the bus replied */
bool Call(GDBusConnection* connection, const char* method, GVariant* parameters);

/**
 * Waits for an empty reply of the daemon. The daemon has then handled all earlier messages of the
 * connection, and all its earlier messages to the connection have arrived.
 */
void Ping(GDBusConnection* connection);

/** Without queueing. @return the daemon's code: 1 owned, 3 another owns it, 4 owned already. */
std::uint32_t RequestName(GDBusConnection* connection, const std::string& name);

/** @return whether the daemon replied. */
bool ReleaseName(GDBusConnection* connection, const std::string& name);

/** @return whether the credentials of the connection contain the groups of its process. */
bool ReportsGroups(GDBusConnection* connection);

/** @return the daemon's process, or 0. */
pid_t Process(GDBusConnection* connection);

} // namespace BusDaemon
