// The names that the programs of the benchmark agree on, without a word from the library: the bare
// client and the partner must not link it.
#pragma once

namespace Names {

constexpr const char* BUS = "org.freedesktop.DBus";
constexpr const char* BUS_PATH = "/org/freedesktop/DBus";

constexpr const char* INTERFACE = "org.morva.javamw.DbusCommunication";
constexpr const char* METHOD = "Send";
constexpr const char* SIGNAL = "SendSignal";
constexpr const char* XML =
    "<node><interface name='org.morva.javamw.DbusCommunication'><method name='Send'>"
    "<arg type='ay' name='data' direction='in'/><arg type='ay' name='response' direction='out'/>"
    "</method></interface></node>";

// The two endpoints of the client: the list's, and one of its own that is used directly.
constexpr const char* LIST_ID = "Applist";
constexpr const char* LIST_PATH = "/org/morva/javamw/CommunicationChannel/Applist";
constexpr const char* LIST_BASE = "org.morva.JavaMW.Applist";
constexpr const char* ENDPOINT_ID = "Bench";
constexpr const char* ENDPOINT_PATH = "/org/morva/javamw/CommunicationChannel/Bench";
constexpr const char* ENDPOINT_BASE = "org.morva.JavaMW.Bench";

// The commands of the client to the partner, between measurements.
constexpr const char* CONTROL_INTERFACE = "applist.Bench";
constexpr const char* CONTROL_PATH = "/bench";
constexpr const char* CONTROL_COUNT = "Count"; // () -> t: signals since the last count
constexpr const char* CONTROL_EMIT = "Emit";   // (ssuui): destination, path, how many, size, id

} // namespace Names
