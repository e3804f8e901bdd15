// Marks the connection of a check, so that a monitor does not count the check as a host.
#ifndef APPLIST_TOOLS_CHECKMARKER_H
#define APPLIST_TOOLS_CHECKMARKER_H

#include <gio/gio.h>

namespace applistctl::CheckMarker {

constexpr const char* INTERFACE = "org.morva.applistctl";
constexpr const char* MEMBER = "Check";

/**
 * Sends a signal from @p connection to itself, on the path of the communication object. A bus
 * policy allows such a signal, and no other process except a monitor receives it.
 */
void Send(GDBusConnection* connection);

} // namespace applistctl::CheckMarker

#endif
