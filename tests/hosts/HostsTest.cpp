// Unusual hosts: a plugin, use before main(), and a separate buffer of std::cout.
#include <future>
#include <string>

#include <gtest/gtest.h>

#include "HostProcess.h"
#include "PrivateBus.h"
#include "TestPartner.h"

namespace {

void ExpectOutput(const HostProcess& host, const std::string& output) {
    EXPECT_EQ(host.status, 0);
    EXPECT_EQ(host.output, output);
}

#ifdef APPLIST_TESTS_PLUGIN
struct Unloading {
    const char* connection;
    const char* queue;
};

std::ostream& operator<<(std::ostream& os, const Unloading& row) {
    return os << row.connection << "_" << row.queue;
}

class PluginThatIsUnloaded : public testing::TestWithParam<Unloading> {};

TEST_P(PluginThatIsUnloaded, DoesNotCrashItsHost) {
    const PrivateBus bus;
    ExpectOutput(HostProcess::Run({APPLIST_TESTS_PLUGIN_HOST, APPLIST_TESTS_PLUGIN,
                                   GetParam().connection, GetParam().queue}),
                 "plugin-host: unloaded\n");
}

INSTANTIATE_TEST_SUITE_P(WithTheConnection, PluginThatIsUnloaded,
                         testing::Values(Unloading{"held", "drained"}, Unloading{"held", "queued"},
                                         Unloading{"released", "drained"},
                                         Unloading{"released", "queued"}),
                         testing::PrintToStringParamName());

TEST(GlobalProxy, WorksBeforeMainInAHostOfTheSharedLibrary) {
    const PrivateBus bus;
    ExpectOutput(HostProcess::Run({APPLIST_TESTS_GLOBAL_SHARED}),
                 "Connection not set.\nConnection not set.\nmain: selected\n");
}
#endif

TEST(GlobalProxy, WorksBeforeMainInAHostOfTheStaticLibrary) {
    const PrivateBus bus;
    ExpectOutput(HostProcess::Run({APPLIST_TESTS_GLOBAL_STATIC}),
                 "Connection not set.\nConnection not set.\nmain: selected\n");
}

TEST(HostThatPrintsALine, WithItsOwnCoutKeepsTheLineWholeBesideTheLibrarysLines) {
    const PrivateBus bus;
    ExpectOutput(HostProcess::Run({APPLIST_TESTS_UNSYNCED_OUTPUT}),
                 "Connection not set.\nthe host's line\n");
}

// Sanitizers and valgrind have memory of their own.
#ifndef APPLIST_TESTS_CHECKED
TEST(SelectionAnswer, OfAMillionEmptyRecordsTakesLessThanTenTimesItsSize) {
    const PrivateBus bus;
    TestPartner partner(bus);
    const TestPartner::Bytes answer(3000000, '\n');
    partner.AnswerWith([&](const TestPartner::Bytes&) { return answer; });
    std::future<HostProcess> host = std::async(
        std::launch::async, [] { return HostProcess::Run({APPLIST_TESTS_LONG_ANSWER}); });
    ASSERT_TRUE(partner.WaitForAnnouncement("_CLIENT_ACK"));
    // Sent to every connection, because the host does not print its unique name.
    const char selectionEvent[] = {2, 0, 0, 0};
    g_dbus_connection_emit_signal(
        partner.Connection(), nullptr, "/org/morva/javamw/CommunicationChannel/Applist",
        "org.morva.javamw.DbusCommunication", "SendSignal",
        g_variant_new("(@ay)", g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, selectionEvent,
                                                         sizeof(selectionEvent), 1)),
        nullptr);
    const HostProcess ended = host.get();
    ASSERT_EQ(ended.status, 0);
    const double peak = std::stod(ended.output);
    EXPECT_GT(peak, static_cast<double>(answer.size())) << "the answer itself";
    EXPECT_LT(peak, 10.0 * static_cast<double>(answer.size()));
}
#endif

} // namespace
