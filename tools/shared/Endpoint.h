// The endpoint id in the names and the object path of the list.
#ifndef APPLIST_TOOLS_ENDPOINT_H
#define APPLIST_TOOLS_ENDPOINT_H

namespace applistctl {

constexpr const char* ENDPOINT_ID = "Applist";

/** The steps of the handshake, as ends of their names. */
constexpr const char* HANDSHAKE_STEPS[] = {"_SYN", "_SYN_ACK", "_ACK"};

} // namespace applistctl

#endif
