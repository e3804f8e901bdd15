// Names and texts of the channel, as the tests expect them.
#pragma once

inline namespace applist_test {

/** The bus name of the daemon itself. */
inline constexpr const char* BUS = "org.freedesktop.DBus";

inline constexpr const char* PATH = "/org/morva/javamw/CommunicationChannel/Applist";
inline constexpr const char* INTERFACE = "org.morva.javamw.DbusCommunication";

/** The error line of a refused callback. */
inline constexpr const char* REFUSED = "Empty user_data or connection not valid.";

} // namespace applist_test
