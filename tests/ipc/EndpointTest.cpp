// An endpoint joins the bus, announces itself, and leaves.
#include "ChannelTest.h"

#include <cstdlib>
#include <memory>
#include <optional>

#include "BusDaemon.h"
#include "BusMonitor.h"
#include "GLibLog.h"

namespace {

using testing::Contains, testing::ElementsAre, testing::HasSubstr, testing::IsEmpty, testing::Not;

// GVariant prints a text with single quotes in it between double quotes.
std::string PrintedRule(const std::string& name) {
    return "(\"type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
           "member='NameOwnerChanged',path='/org/freedesktop/DBus',arg0='" +
           name + "'\",)";
}

class Endpoint : public ChannelTest {};

TEST_F(Endpoint, LogsEachStepOfItsStart) {
    JavaMWDbusRemote endpoint("Applist");
    const std::string own = SharedBus::CurrentUniqueName();
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG Constructor", "DEBUG XML parsed",
                            "DEBUG Getting connection to SYSTEM_BUS",
                            "DEBUG Working with unique name " + own,
                            std::string("DEBUG Registering Object and Interface on path ") + PATH,
                            "DEBUG Monitoring org.morva.JavaMW.Applist name waiting for "
                            "communication partner",
                            "DEBUG Notify others using name org.morva.JavaMW.Applist",
                            "DEBUG BroadcastName org.morva.JavaMW.Applist_CLIENT_SYN Public "
                            "unique name " +
                                own,
                            "DEBUG Become primary owner for name. Releasing it."));
}

TEST_F(Endpoint, WatchesThePartnersThreeNamesAndAnnouncesItsSynOnce) {
    BusMonitor monitor(bus);
    JavaMWDbusRemote endpoint("Applist");
    const std::string own = SharedBus::CurrentUniqueName();
    EXPECT_THAT(monitor.BodiesSentBy(own, G_DBUS_MESSAGE_TYPE_METHOD_CALL, "AddMatch"),
                ElementsAre(PrintedRule("org.morva.JavaMW.Applist_SERVICE_SYN"),
                            PrintedRule("org.morva.JavaMW.Applist_SERVICE_SYN_ACK"),
                            PrintedRule("org.morva.JavaMW.Applist_SERVICE_ACK")));
    EXPECT_THAT(monitor.BodiesSentBy(own, G_DBUS_MESSAGE_TYPE_METHOD_CALL, "RequestName"),
                ElementsAre("('org.morva.JavaMW.Applist_CLIENT_SYN', uint32 4)"));
    EXPECT_THAT(monitor.BodiesSentBy(own, G_DBUS_MESSAGE_TYPE_METHOD_CALL, "ReleaseName"),
                ElementsAre("('org.morva.JavaMW.Applist_CLIENT_SYN',)"));
}

TEST_F(Endpoint, BuildsItsNamesFromItsId) {
    BusMonitor monitor(bus);
    JavaMWDbusRemote endpoint("Other_7");
    const std::string own = SharedBus::CurrentUniqueName();
    EXPECT_THAT(monitor.BodiesSentBy(own, G_DBUS_MESSAGE_TYPE_METHOD_CALL, "AddMatch"),
                ElementsAre(PrintedRule("org.morva.JavaMW.Other_7_SERVICE_SYN"),
                            PrintedRule("org.morva.JavaMW.Other_7_SERVICE_SYN_ACK"),
                            PrintedRule("org.morva.JavaMW.Other_7_SERVICE_ACK")));
    EXPECT_THAT(monitor.BodiesSentBy(own, G_DBUS_MESSAGE_TYPE_METHOD_CALL, "RequestName"),
                ElementsAre("('org.morva.JavaMW.Other_7_CLIENT_SYN', uint32 4)"));
    EXPECT_EQ(EndpointInside::m_objectPath(endpoint),
              "/org/morva/javamw/CommunicationChannel/Other_7");
}

TEST_F(Endpoint, CanBeIntrospectedByOthers) {
    JavaMWDbusRemote endpoint("Applist");
    const std::string own = SharedBus::CurrentUniqueName();
    const std::string xml = WhileIterating([&] {
        g_autoptr(GDBusConnection) other = bus.Connect();
        g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
            other, own.c_str(), PATH, "org.freedesktop.DBus.Introspectable", "Introspect", nullptr,
            G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        const char* text = "";
        if (reply != nullptr) {
            g_variant_get(reply, "(&s)", &text);
        }
        return std::string(text);
    });
    EXPECT_THAT(xml, HasSubstr("  <interface name=\"org.morva.javamw.DbusCommunication\">\n"
                               "    <method name=\"Send\">\n"
                               "      <arg type=\"ay\" name=\"data\" direction=\"in\">\n"
                               "      </arg>\n"
                               "      <arg type=\"ay\" name=\"response\" direction=\"out\">\n"
                               "      </arg>\n"
                               "    </method>\n"
                               "  </interface>\n"));
    EXPECT_THAT(xml, Not(HasSubstr("SendSignal")));
}

TEST_F(Endpoint, IsNotReadyRightAfterItsConstruction) {
    JavaMWDbusRemote endpoint("Applist");
    EXPECT_FALSE(endpoint.IsConnectionReady());
    EXPECT_EQ(EndpointInside::State(endpoint), 1);
    EXPECT_EQ(EndpointInside::m_uniqueName(endpoint), SharedBus::CurrentUniqueName());
}

TEST_F(Endpoint, IsReadyInStateThreeOnly) {
    JavaMWDbusRemote endpoint("Applist");
    for (const int state : {0, 1, 2, 4}) {
        EndpointInside::m_state(endpoint) = state;
        EXPECT_FALSE(endpoint.IsConnectionReady()) << state;
    }
    EndpointInside::m_state(endpoint) = 3;
    EXPECT_TRUE(endpoint.IsConnectionReady());
}

TEST_F(Endpoint, ReceivesNothingUntilItsContextIsIterated) {
    TestPartner partner(bus, false);
    JavaMWDbusRemote endpoint("Applist");
    partner.Announce("_SYN_ACK");
    const SharedBus shared;
    g_dbus_connection_flush_sync(shared.Connection(), nullptr, nullptr);
    EXPECT_FALSE(endpoint.IsConnectionReady());
    EXPECT_EQ(CountDebugStarting("cb_"), 0u);
    // All messages had arrived.
    IterateThroughTheBus();
    EXPECT_TRUE(endpoint.IsConnectionReady());
}

TEST_F(Endpoint, ReceivesThroughTheContextOfTheThreadOfItsConstructor) {
    TestPartner partner(bus, false);
    GMainContext* const context = g_main_context_new();
    g_main_context_push_thread_default(context);
    auto endpoint = std::make_unique<JavaMWDbusRemote>("Applist");
    g_main_context_pop_thread_default(context);

    partner.Announce("_SYN_ACK");
    IterateThroughTheBus();
    EXPECT_EQ(CountDebugStarting("cb_"), 0u);
    while (!endpoint->IsConnectionReady()) {
        g_main_context_iteration(context, TRUE);
    }
    endpoint.reset();
    while (g_main_context_iteration(context, FALSE) != FALSE) {
    }
    g_main_context_unref(context);
}

TEST_F(Endpoint, ContinuesWhenAnotherProcessOwnsItsSynName) {
    g_autoptr(GDBusConnection) other = bus.Connect();
    ASSERT_EQ(BusDaemon::RequestName(other, "org.morva.JavaMW.Applist_CLIENT_SYN"), 1u);
    JavaMWDbusRemote endpoint("Applist");
    EXPECT_EQ(CountError("Cannot own name due to return code = 3"), 1u);
    EXPECT_EQ(EndpointInside::State(endpoint), 1);
}

TEST_F(Endpoint, ContinuesWhenItsObjectIsRefused) {
    JavaMWDbusRemote first("Applist");
    CapturedLog::Clear();
    JavaMWDbusRemote second("Applist");
    EXPECT_THAT(CapturedLog::Messages(),
                Contains("ERROR Error while registering object [2] An object is already exported "
                         "for the interface org.morva.javamw.DbusCommunication at "
                         "/org/morva/javamw/CommunicationChannel/Applist"));
    EXPECT_EQ(EndpointInside::m_registrationId(second), 0u);
    EXPECT_NE(EndpointInside::m_synSubscriptionId(second), 0u);
    EXPECT_NE(EndpointInside::m_synAckSubscriptionId(second), 0u);
    EXPECT_NE(EndpointInside::m_ackSubscriptionId(second), 0u);
    EXPECT_EQ(EndpointInside::State(second), 1);
    EXPECT_EQ(CountDebug("Become primary owner for name. Releasing it."), 1u);
}

// An announcement

TEST_F(Endpoint, AnnouncesANameByOwningAndReleasingIt) {
    JavaMWDbusRemote endpoint("Applist");
    BusMonitor monitor(bus);
    std::string name = "org.example.Announced";
    EXPECT_TRUE(endpoint.BroadcastName(name));
    const std::string own = SharedBus::CurrentUniqueName();
    std::vector<std::string> changes;
    for (const BusMonitor::Message& message : monitor.SentBy("org.freedesktop.DBus")) {
        if (message.member == "NameOwnerChanged" && message.body.find(name) != std::string::npos) {
            changes.push_back(message.body);
        }
    }
    EXPECT_THAT(changes, ElementsAre("('org.example.Announced', '', '" + own + "')",
                                     "('org.example.Announced', '" + own + "', '')"));
}

TEST_F(Endpoint, CannotAnnounceANameThatItAlreadyOwns) {
    JavaMWDbusRemote endpoint("Applist");
    const SharedBus shared;
    ASSERT_EQ(BusDaemon::RequestName(shared.Connection(), "org.example.Mine"), 1u);
    BusMonitor monitor(bus);
    CapturedLog::Clear();
    std::string name = "org.example.Mine";
    EXPECT_FALSE(endpoint.BroadcastName(name));
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG BroadcastName org.example.Mine Public unique name " +
                                shared.UniqueName(),
                            "ERROR Cannot own name due to return code = 4"));
    EXPECT_THAT(
        monitor.BodiesSentBy(shared.UniqueName(), G_DBUS_MESSAGE_TYPE_METHOD_CALL, "ReleaseName"),
        IsEmpty());
}

TEST_F(Endpoint, LogsTheErrorOfARefusedName) {
    JavaMWDbusRemote endpoint("Applist");
    bus.SetPolicy(Deny::Owning("_CLIENT_ACK"));
    CapturedLog::Clear();
    std::string name = "org.morva.JavaMW.Applist_CLIENT_ACK";
    EXPECT_FALSE(endpoint.BroadcastName(name));
    const auto messages = CapturedLog::Messages();
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_THAT(messages[1], testing::StartsWith("ERROR Error during request name call [9] "
                                                 "GDBus.Error:org.freedesktop.DBus.Error."
                                                 "AccessDenied: "));
    EXPECT_EQ(messages[2], "ERROR Cannot get response for name request");
}

TEST_F(Endpoint, LogsAReleaseWithoutAReply) {
    JavaMWDbusRemote endpoint("Applist");
    bus.SetPolicy(Deny::Calling("ReleaseName"));
    CapturedLog::Clear();
    std::string name = "org.example.Kept";
    EXPECT_FALSE(endpoint.BroadcastName(name));
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG BroadcastName org.example.Kept Public unique name " +
                                SharedBus::CurrentUniqueName(),
                            "DEBUG Become primary owner for name. Releasing it.",
                            "ERROR Release failed due to empty response."));
}

TEST_F(Endpoint, RefusesANameThatIsNotUtf8) {
    JavaMWDbusRemote endpoint("Applist");
    const GLibLog glib;
    CapturedLog::Clear();
    std::string name = "org.example.\xff";
    EXPECT_FALSE(endpoint.BroadcastName(name));
    EXPECT_EQ(CountError("Cannot get response for name request"), 1u);
    EXPECT_THAT(glib.Messages(), IsEmpty());
}

// Without a bus

class EndpointWithoutABus : public ChannelTest {
protected:
    EndpointWithoutABus() {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/applist-bus", 1);
    }
};

TEST_F(EndpointWithoutABus, OnlyLogsTheReason) {
    JavaMWDbusRemote endpoint("Applist");
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG Constructor", "DEBUG XML parsed",
                            "DEBUG Getting connection to SYSTEM_BUS",
                            "ERROR Error while connecting to system bus [1] Could not connect: "
                            "No such file or directory"));
    EXPECT_EQ(EndpointInside::State(endpoint), 0);
    EXPECT_FALSE(endpoint.IsConnectionReady());
    EXPECT_EQ(EndpointInside::m_connection(endpoint), nullptr);
    EXPECT_EQ(EndpointInside::m_uniqueName(endpoint), "");
    EXPECT_EQ(EndpointInside::m_registrationId(endpoint), 0u);
    EXPECT_EQ(EndpointInside::m_synSubscriptionId(endpoint), 0u);
}

TEST_F(EndpointWithoutABus, PrintsThatTheConnectionIsNotSet) {
    JavaMWDbusRemote endpoint("Applist");
    CapturedLog::Clear();
    Bytes data = ByteVector("data");
    testing::internal::CaptureStdout();
    EXPECT_THAT(endpoint.SendMessage(data), IsEmpty());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Connection not set.\n");
    endpoint.SendNotification(data);
    EXPECT_THAT(CapturedLog::Messages(), ElementsAre("ERROR Connection not set."));
}

TEST_F(EndpointWithoutABus, CannotAnnounce) {
    JavaMWDbusRemote endpoint("Applist");
    const GLibLog glib;
    CapturedLog::Clear();
    std::string name = "org.example.Name";
    EXPECT_FALSE(endpoint.BroadcastName(name));
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG BroadcastName org.example.Name Public unique name ",
                            "ERROR Cannot get response for name request"));
    EXPECT_THAT(glib.Messages(), IsEmpty());
}

TEST_F(EndpointWithoutABus, IsDestroyedWithoutACallOfGDBus) {
    auto endpoint = std::make_unique<JavaMWDbusRemote>("Applist");
    const GLibLog glib;
    CapturedLog::Clear();
    endpoint.reset();
    EXPECT_THAT(glib.Messages(), IsEmpty());
    EXPECT_THAT(CapturedLog::Messages(), IsEmpty());
}

// Leaving

class EndOfAnEndpoint : public HeldBusTest {};

TEST_F(EndOfAnEndpoint, LogsNothingAndSendsNothing) {
    TestPartner partner(bus);
    std::vector<Readiness> reports;
    RecordingEndpoint::Actions actions;
    actions.onReady = [&](bool ready, const std::string& name) {
        reports.push_back({ready, name});
    };
    std::optional<RecordingEndpoint> endpoint(std::in_place, actions);
    ASSERT_TRUE(IterateUntilReady(*endpoint));
    CapturedLog::Clear();
    endpoint.reset();
    EXPECT_THAT(CapturedLog::Messages(), IsEmpty());
    EXPECT_EQ(reports, (std::vector<Readiness>{{true, partner.UniqueName()}}));
}

TEST_F(EndOfAnEndpoint, StopsTheSignalsOfThePartner) {
    TestPartner partner(bus);
    std::optional<JavaMWDbusRemote> endpoint(std::in_place, "Applist");
    ASSERT_TRUE(IterateUntilReady(*endpoint));
    endpoint.reset();
    CapturedLog::Clear();
    partner.Notify(OwnName(), ByteVector("late"));
    IterateThroughTheBus();
    EXPECT_EQ(CountDebugStarting("cb_SignalCall"), 0u);
}

// Deliberate: the ids of the three handshake subscriptions go to g_bus_unwatch_name.
TEST_F(EndOfAnEndpoint, LeavesItsHandshakeSubscriptionsToTheConnection) {
    std::optional<JavaMWDbusRemote> endpoint(std::in_place, "Applist");
    const std::vector<unsigned> ids = {EndpointInside::m_synSubscriptionId(*endpoint),
                                       EndpointInside::m_synAckSubscriptionId(*endpoint),
                                       EndpointInside::m_ackSubscriptionId(*endpoint)};
    BusMonitor monitor(bus);
    const GLibLog glib;
    endpoint.reset();
    std::vector<std::string> warnings;
    for (const unsigned id : ids) {
        warnings.push_back("GLib-GIO: Invalid id " + std::to_string(id) +
                           " passed to g_bus_unwatch_name()");
    }
    EXPECT_EQ(glib.Messages(), warnings);
    EXPECT_THAT(monitor.BodiesSentBy(OwnName(), G_DBUS_MESSAGE_TYPE_METHOD_CALL, "RemoveMatch"),
                IsEmpty());
}

// The consequence for a host: its own name watch with the same number ends without a log line.
TEST_F(EndOfAnEndpoint, RemovesANameWatchOfTheHostThatHasTheSameNumber) {
    std::optional<JavaMWDbusRemote> endpoint(std::in_place, "Applist");
    const unsigned endpointsId = EndpointInside::m_synSubscriptionId(*endpoint);
    std::vector<unsigned> watches;
    while (watches.empty() || watches.back() < endpointsId) {
        watches.push_back(g_bus_watch_name_on_connection(
            Shared().Connection(), "org.example.Watched", G_BUS_NAME_WATCHER_FLAGS_NONE, nullptr,
            nullptr, nullptr, nullptr));
    }
    ASSERT_EQ(watches.back(), endpointsId) << "watches are counted apart, from 1";
    IterateThroughTheBus();
    endpoint.reset();

    const GLibLog glib;
    for (const unsigned watch : watches) {
        g_bus_unwatch_name(watch);
    }
    EXPECT_THAT(glib.Messages(), ElementsAre("GLib-GIO: Invalid id " + std::to_string(endpointsId) +
                                             " passed to g_bus_unwatch_name()"));
}

TEST_F(EndOfAnEndpoint, LeavesTheExitOnCloseOfTheHostUnchanged) {
    EXPECT_TRUE(g_dbus_connection_get_exit_on_close(Shared().Connection()));
    { JavaMWDbusRemote endpoint("Applist"); }
    EXPECT_TRUE(g_dbus_connection_get_exit_on_close(Shared().Connection()));
    Shared().DisableExitOnClose();
    { JavaMWDbusRemote endpoint("Applist"); }
    EXPECT_FALSE(g_dbus_connection_get_exit_on_close(Shared().Connection()));
}

} // namespace
