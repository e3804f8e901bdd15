// The bus names of the handshake and the path of the communication object, all built from an
// endpoint id. With the id "Applist" the endpoint announces org.morva.JavaMW.Applist_CLIENT_SYN,
// _CLIENT_SYN_ACK and _CLIENT_ACK, and its partner the same names with _SERVICE.
//
// The functions check nothing. The bus accepts names of at most 255 bytes; their elements consist
// of letters, digits, '_' and '-' and start with no digit. Paths have no '-' (D-Bus protocol, valid
// names).
#ifndef APPLIST_IPC_HANDSHAKENAMES_H
#define APPLIST_IPC_HANDSHAKENAMES_H

#include <string>

#include <ipc/javamw-dbus-remote.h>

namespace HandshakeNames {

/** The common start of all handshake names of one endpoint id. */
inline std::string BaseName(const std::string& id) {
    return std::string(JavaMWDbusRemote::JAVAMW_DBUS_PREFIX) + "." + id;
}

/** A name that the endpoint announces and its partner watches. */
inline std::string EndpointName(const std::string& id, const std::string& suffix) {
    return BaseName(id) + JavaMWDbusRemote::BROADCAST_PREFIX + suffix;
}

/** A name that the partner announces and the endpoint watches. */
inline std::string PartnerName(const std::string& id, const std::string& suffix) {
    return BaseName(id) + JavaMWDbusRemote::LISTEN_PREFIX + suffix;
}

/** The path at which both sides register their communication object. */
inline std::string ObjectPath(const std::string& id) {
    return std::string(JavaMWDbusRemote::JAVAMW_DBUS_OBJ_NAME) + "/" + id;
}

} // namespace HandshakeNames

#endif
