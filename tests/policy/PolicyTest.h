// The common parts of the policy tests: both bus daemons, and the users.
#pragma once

#include <cstdlib>
#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "BusUser.h"
#include "Policy.h"
#include "StockBus.h"

inline namespace applist_test {

enum class Daemon { DBUS_DAEMON, DBUS_BROKER };

inline constexpr Daemon DAEMONS[] = {Daemon::DBUS_DAEMON, Daemon::DBUS_BROKER};

inline std::string NameOf(Daemon daemon) {
    return daemon == Daemon::DBUS_DAEMON ? "DbusDaemon" : "DbusBroker";
}

inline void PrintTo(Daemon daemon, std::ostream* os) {
    *os << NameOf(daemon);
}

/** From now on, a PrivateBus is of this kind. Skips the test on a machine without it. */
inline void UseDaemon(Daemon daemon) {
    const bool isBroker = daemon == Daemon::DBUS_BROKER;
    setenv("APPLIST_TEST_BUS", isBroker ? "dbus-broker" : "dbus-daemon", 1);
    if (isBroker && std::system("command -v dbus-broker-launch >/dev/null") != 0) {
        GTEST_SKIP() << "dbus-broker is not installed (scripts/install-packages broker)";
    }
    if (isBroker && std::system("unshare --mount true 2>/dev/null ||"
                                " unshare --mount --user true 2>/dev/null") != 0) {
        GTEST_SKIP() << "dbus-broker needs a mount namespace, which this machine refuses";
    }
}

inline void SkipUnlessRoot() {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can act for other users";
    }
}

/** Users that exist on every machine and have no sessions. */
namespace Users {
inline constexpr const char* HOST = "daemon";
inline constexpr const char* PARTNER = "bin";
inline constexpr const char* OTHER_USER = "nobody";
inline constexpr const char* GROUP = "games";
/** A user with this group in the user database, as its primary group. */
inline constexpr const char* MEMBER = "games";
/** No user above has this group. */
inline constexpr const char* OTHER_GROUP = "users";
} // namespace Users

/** The settings for the first two of them. */
inline std::vector<std::string> SettingsForUsers() {
    return {std::string("APPLIST_BUS_HOST_USER=") + Users::HOST,
            std::string("APPLIST_BUS_PARTNER_USER=") + Users::PARTNER};
}

} // namespace applist_test
