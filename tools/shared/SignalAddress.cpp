#include <shared/SignalAddress.h>

#include <ipc/HandshakeNames.h>
#include <ipc/javamw-dbus-remote.h>
#include <shared/Endpoint.h>

namespace applistctl {

std::string AddressProblem(const std::string& path, const std::string& interface) {
    const std::string object = HandshakeNames::ObjectPath(ENDPOINT_ID);
    if (path != object) {
        return "its object path is " + path + ", not " + object;
    }
    const std::string channel = JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE;
    return interface == channel ? "" : "its interface is " + interface + ", not " + channel;
}

} // namespace applistctl
