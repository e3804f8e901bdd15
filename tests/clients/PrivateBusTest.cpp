// APPLIST_TEST_BUS selects the bus of the tests, so that a run on dbus-broker uses dbus-broker.
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>

#include "BusDaemon.h"
#include "PrivateBus.h"

namespace {

// The name of the process behind the bus.
std::string ProgramOf(const PrivateBus& bus) {
    g_autoptr(GDBusConnection) connection = bus.Connect();
    const pid_t pid = BusDaemon::Process(connection);
    std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
    std::string program;
    file >> program;
    return program;
}

TEST(PrivateBusTest, IsTheBusThatTheEnvironmentSelects) {
    const char* const wanted = std::getenv("APPLIST_TEST_BUS");
    const PrivateBus bus;
    EXPECT_THAT(ProgramOf(bus), testing::StartsWith(wanted == nullptr ? "dbus-daemon" : wanted));
}

TEST(PrivateBusTest, RefusesAnUnknownBus) {
    const char* const wanted = std::getenv("APPLIST_TEST_BUS");
    const std::string present = wanted == nullptr ? "dbus-daemon" : wanted;
    setenv("APPLIST_TEST_BUS", "another", 1);
    EXPECT_THROW(PrivateBus(), std::runtime_error);
    setenv("APPLIST_TEST_BUS", present.c_str(), 1);
}

} // namespace
