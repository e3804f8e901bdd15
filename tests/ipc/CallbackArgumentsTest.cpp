// Callbacks with arguments that GDBus should not pass: no connection, no endpoint, a destroyed
// endpoint, another connection, another path, parameters of another type.
#include "ChannelTest.h"
#include "NamedRow.h"

#include <chrono>
#include <future>
#include <optional>

#include "GLibLog.h"

namespace {

using testing::ElementsAre, testing::IsEmpty;

const std::string SYN_CALL = "DEBUG cb_SignalCall sender=:1.7 obj_path=/path iface_name=i.face "
                             "signal_name=Signal";
const std::string METHOD_CALL = "DEBUG cb_MethodCall sender=:1.7 obj_path=/path iface_name=i.face "
                                "method_name=Method";

struct Callback : NamedRow {
    const char* watchedName;
    void (*call)(GDBusConnection* connection, GVariant* parameters, void* endpoint);
    std::string firstLine;
};

void Syn(GDBusConnection* connection, GVariant* parameters, void* endpoint) {
    JavaMWDbusRemote::cb_SynNameOwnerChanged(connection, "", "", "", "", parameters, endpoint);
}

void SynAck(GDBusConnection* connection, GVariant* parameters, void* endpoint) {
    JavaMWDbusRemote::cb_SynAckNameOwnerChanged(connection, "", "", "", "", parameters, endpoint);
}

void Ack(GDBusConnection* connection, GVariant* parameters, void* endpoint) {
    JavaMWDbusRemote::cb_AckNameOwnerChanged(connection, "", "", "", "", parameters, endpoint);
}

void Vanished(GDBusConnection* connection, GVariant* /*parameters*/, void* endpoint) {
    JavaMWDbusRemote::cb_PartnerNameVanished(connection, ":1.7", endpoint);
}

void Signal(GDBusConnection* connection, GVariant* parameters, void* endpoint) {
    JavaMWDbusRemote::cb_SignalCall(connection, ":1.7", "/path", "i.face", "Signal", parameters,
                                    endpoint);
}

void Method(GDBusConnection* connection, GVariant* parameters, void* endpoint) {
    JavaMWDbusRemote::cb_MethodCall(connection, ":1.7", "/path", "i.face", "Method", parameters,
                                    nullptr, endpoint);
}

const Callback SYN{"Syn", "org.morva.JavaMW.Applist_SERVICE_SYN", Syn,
                   "DEBUG cb_SynNameOwnerChanged called"};
const Callback SYN_ACK{"SynAck", "org.morva.JavaMW.Applist_SERVICE_SYN_ACK", SynAck,
                       "DEBUG cb_SynAckNameOwnerChanged called"};
const Callback ACK{"Ack", "org.morva.JavaMW.Applist_SERVICE_ACK", Ack,
                   "DEBUG cb_AckNameOwnerChanged called"};
const Callback VANISHED{"Vanished", "", Vanished, "DEBUG cb_PartnerNameVanished name=:1.7"};
const Callback SIGNAL{"Signal", "", Signal, SYN_CALL};
const Callback METHOD{"Method", "", Method, METHOD_CALL};

class CallbackTest : public ConnectedTest, public testing::WithParamInterface<Callback> {
protected:
    // With parameters that would change an existing endpoint.
    void Call(GDBusConnection* connection, void* user) {
        g_autoptr(GVariant) parameters = OwnerChange(GetParam().watchedName, ":1.7", "");
        CapturedLog::Clear();
        GetParam().call(connection, parameters, user);
    }

    void ExpectRefused() {
        EXPECT_THAT(CapturedLog::Messages(),
                    ElementsAre(GetParam().firstLine, std::string("ERROR ") + REFUSED));
    }
};

class AnyCallback : public CallbackTest {};

TEST_P(AnyCallback, RefusesANullConnection) {
    Connect();
    Call(nullptr, endpoint.get());
    ExpectRefused();
    EXPECT_EQ(EndpointInside::State(*endpoint), 3);
    EXPECT_EQ(endpoint->Readinesses().size(), 1u);
}

TEST_P(AnyCallback, RefusesNullUserData) {
    const GLibLog glib;
    Call(Shared().Connection(), nullptr);
    ExpectRefused();
    EXPECT_THAT(glib.Messages(), IsEmpty());
}

TEST_P(AnyCallback, RefusesNullForBoth) {
    Call(nullptr, nullptr);
    ExpectRefused();
}

// Without taking the lock, which a handler in another thread may hold for long.
TEST_P(AnyCallback, RefusesWithoutWaiting) {
    Connect();
    const PTAutoLock lock(EndpointInside::m_mutex(*endpoint));
    Call(nullptr, endpoint.get());
    ExpectRefused();
}

// The handler runs in a handshake callback, behind which others wait.
TEST_P(AnyCallback, RefusesANullConnectionWhileAHandlerRuns) {
    std::future<void> call;
    bool returned = false;
    std::size_t refusals = 0;
    RecordingEndpoint::Actions actions;
    actions.onReady = [&](bool /*ready*/, const std::string& /*partner*/) {
        call = std::async(std::launch::async, [&] { Call(nullptr, endpoint.get()); });
        returned = call.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
        refusals = CountError(REFUSED);
    };
    Connect(actions);
    EXPECT_TRUE(returned);
    EXPECT_EQ(refusals, 1U);
}

INSTANTIATE_TEST_SUITE_P(All, AnyCallback,
                         testing::Values(SYN, SYN_ACK, ACK, VANISHED, SIGNAL, METHOD),
                         RowName<Callback>);

// The method call has tests of its own: it is answered.
class CallbackForADestroyedEndpoint : public CallbackTest {};

TEST_P(CallbackForADestroyedEndpoint, IsRefused) {
    std::optional<RecordingEndpoint> destroyed;
    destroyed.emplace();
    void* const address = &*destroyed;
    destroyed.reset();
    Call(Shared().Connection(), address);
    ExpectRefused();
}

INSTANTIATE_TEST_SUITE_P(All, CallbackForADestroyedEndpoint,
                         testing::Values(SYN, SYN_ACK, ACK, VANISHED, SIGNAL), RowName<Callback>);

class HandshakeCallback : public CallbackTest {};

// A callback of another connection belongs to an earlier endpoint at the same address.
TEST_P(HandshakeCallback, RefusesAnotherConnection) {
    Connect();
    g_autoptr(GDBusConnection) other = bus.Connect();
    Call(other, endpoint.get());
    ExpectRefused();
    EXPECT_EQ(endpoint->Readinesses().size(), 1u);
}

// The watch belongs to an earlier endpoint at the same address.
TEST_P(HandshakeCallback, IgnoresANameThatItDoesNotWatch) {
    RecordingEndpoint unbound({}, "Unbound");
    for (const std::string& name :
         {std::string(GetParam().watchedName), std::string("org.morva.JavaMW.Unbound_CLIENT_SYN"),
          std::string("org.morva.JavaMW.Unbound"), std::string()}) {
        g_autoptr(GVariant) parameters = OwnerChange(name.c_str(), ":1.7", "");
        GetParam().call(Shared().Connection(), parameters, &unbound);
    }
    EXPECT_EQ(EndpointInside::State(unbound), 1);
    EXPECT_EQ(EndpointInside::m_partnerId(unbound), "");
    EXPECT_THAT(unbound.Readinesses(), IsEmpty());
}

TEST_P(HandshakeCallback, RefusesParametersOfAnotherType) {
    Connect();
    const GLibLog glib;
    for (const char* text : {"()", "('a',)", "('a', 'b')", "('a', 'b', 1)", "('a', 'b', '', '')"}) {
        g_autoptr(GVariant) parameters = g_variant_ref_sink(g_variant_new_parsed(text));
        CapturedLog::Clear();
        GetParam().call(Shared().Connection(), parameters, endpoint.get());
        ASSERT_EQ(CapturedLog::Messages().size(), 2u);
        EXPECT_EQ(CapturedLog::Lines()[1].priority, CapturedLog::ERROR);
        EXPECT_THAT(CapturedLog::Lines()[1].message,
                    testing::EndsWith(std::string(" with parameters of type ") +
                                      g_variant_get_type_string(parameters)));
    }
    EXPECT_EQ(EndpointInside::State(*endpoint), 3);
    EXPECT_EQ(endpoint->Readinesses().size(), 1u);
    EXPECT_THAT(glib.Messages(), IsEmpty());
}

TEST_P(HandshakeCallback, LogsPercentSignsOfNamesUnchanged) {
    Connect();
    g_autoptr(GVariant) parameters = OwnerChange("100%s", "%n", "%d%s");
    CapturedLog::Clear();
    GetParam().call(Shared().Connection(), parameters, endpoint.get());
    EXPECT_EQ(CapturedLog::Messages().back(),
              GetParam().firstLine.substr(0, GetParam().firstLine.find(" called")) + " 100%s " +
                  OwnName() + " from '%n' => '%d%s' ");
}

INSTANTIATE_TEST_SUITE_P(All, HandshakeCallback, testing::Values(SYN, SYN_ACK, ACK),
                         RowName<Callback>);

class HandshakeWithABadName : public CallbackTest {};

// No daemon sends this. GDBus would only warn, and the endpoint would stay bound to an invalid
// name.
TEST_P(HandshakeWithABadName, BindsNoPartner) {
    RecordingEndpoint unbound;
    const GLibLog glib;
    for (const char* name : {"", "not a name", "nodots", ":", "a..b"}) {
        g_autoptr(GVariant) parameters = OwnerChange(GetParam().watchedName, name, "");
        CapturedLog::Clear();
        GetParam().call(Shared().Connection(), parameters, &unbound);
        EXPECT_EQ(CapturedLog::Messages().back(),
                  std::string("ERROR '") + name + "' is no bus name of a partner");
    }
    EXPECT_EQ(EndpointInside::State(unbound), 1);
    EXPECT_EQ(EndpointInside::m_partnerWatchId(unbound), 0u);
    EXPECT_EQ(EndpointInside::m_partnerId(unbound), "");
    EXPECT_THAT(glib.Messages(), IsEmpty());
}

// Subscriptions outlive their endpoint, and another endpoint may have the same address later.
TEST_P(HandshakeWithABadName, IsRefusedWhenTheEndpointDoesNotWatchIt) {
    RecordingEndpoint unbound;
    g_autoptr(GVariant) parameters =
        OwnerChange("org.morva.JavaMW.Another_SERVICE_SYN", ":1.7", "");
    GetParam().call(Shared().Connection(), parameters, &unbound);
    EXPECT_EQ(EndpointInside::State(unbound), 1);
    EXPECT_EQ(EndpointInside::m_partnerWatchId(unbound), 0u);
}

INSTANTIATE_TEST_SUITE_P(All, HandshakeWithABadName, testing::Values(SYN, SYN_ACK),
                         RowName<Callback>);

class AnotherPath : public ConnectedTest {};

TEST_F(AnotherPath, OfASignalIsIgnored) {
    Connect();
    g_autoptr(GVariant) body = g_variant_ref_sink(g_variant_new_parsed("([byte 1],)"));
    for (const char* path : {"/", "/org/morva/javamw/CommunicationChannel",
                             "/org/morva/javamw/CommunicationChannel/Applist/x",
                             "/org/morva/javamw/CommunicationChannel/applist"}) {
        CapturedLog::Clear();
        JavaMWDbusRemote::cb_SignalCall(Shared().Connection(), ":1.7", path, INTERFACE,
                                        "SendSignal", body, endpoint.get());
        EXPECT_EQ(CapturedLog::Messages().size(), 1u) << path;
    }
    EXPECT_THAT(endpoint->Notifications(), IsEmpty());
}

// An answer to no invocation would be a critical of GLib.
TEST_F(AnotherPath, OfACallIsNeitherHandledNorAnswered) {
    Connect();
    const GLibLog glib;
    g_autoptr(GVariant) body = g_variant_ref_sink(g_variant_new_parsed("([byte 1],)"));
    JavaMWDbusRemote::cb_MethodCall(Shared().Connection(), ":1.7", "/other", INTERFACE, "Send",
                                    body, nullptr, endpoint.get());
    EXPECT_EQ(CapturedLog::Messages().size(), 1u);
    EXPECT_THAT(endpoint->Messages(), IsEmpty());
    EXPECT_THAT(glib.Messages(), IsEmpty());
}

// The subscription selects sender, interface and member; the callback does not check these.
TEST_F(AnotherPath, IsTheOnlyReasonToIgnoreASignal) {
    Connect();
    g_autoptr(GVariant) body = g_variant_ref_sink(g_variant_new_parsed("([byte 0x61],)"));
    JavaMWDbusRemote::cb_SignalCall(Shared().Connection(), ":1.999", PATH, "i.face", "Signal", body,
                                    endpoint.get());
    EXPECT_THAT(endpoint->Notifications(), ElementsAre(ByteVector("a")));
}

} // namespace
