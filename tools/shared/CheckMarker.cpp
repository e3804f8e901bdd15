#include <shared/CheckMarker.h>

#include <ipc/HandshakeNames.h>
#include <shared/Endpoint.h>

namespace applistctl {

void CheckMarker::Send(GDBusConnection* connection) {
    g_dbus_connection_emit_signal(connection, g_dbus_connection_get_unique_name(connection),
                                  HandshakeNames::ObjectPath(ENDPOINT_ID).c_str(), INTERFACE,
                                  MEMBER, nullptr, nullptr);
}

} // namespace applistctl
