// The parts of the channel class for other programs: constants, document and virtual table.
#include <gtest/gtest.h>

#include "ChannelTest.h"
#include "VirtualSlot.h"

namespace {

struct Constant {
    const char* value;
    const char* expected;
};

std::ostream& operator<<(std::ostream& os, const Constant& row) {
    return os << row.expected;
}

class Constants : public testing::TestWithParam<Constant> {};

TEST_P(Constants, HaveTheValuesOfTheProtocol) {
    EXPECT_STREQ(GetParam().value, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    All, Constants,
    testing::Values(
        Constant{JavaMWDbusRemote::LISTEN_PREFIX, "_SERVICE"},
        Constant{JavaMWDbusRemote::BROADCAST_PREFIX, "_CLIENT"},
        Constant{JavaMWDbusRemote::JAVAMW_DBUS_ACK_SUFFIX, "_ACK"},
        Constant{JavaMWDbusRemote::JAVAMW_DBUS_SYNACK_SUFFIX, "_SYN_ACK"},
        Constant{JavaMWDbusRemote::JAVAMW_DBUS_SYN_SUFFIX, "_SYN"},
        Constant{JavaMWDbusRemote::JAVAMW_DBUS_SIG_NAME, "SendSignal"},
        Constant{JavaMWDbusRemote::JAVAMW_DBUS_OBJ_METHOD, "Send"},
        Constant{JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE, "org.morva.javamw.DbusCommunication"},
        Constant{JavaMWDbusRemote::JAVAMW_DBUS_OBJ_NAME, "/org/morva/javamw/CommunicationChannel"},
        Constant{JavaMWDbusRemote::JAVAMW_DBUS_PREFIX, "org.morva.JavaMW"},
        // Two, four, six, six, four and two blanks before its elements.
        Constant{JavaMWDbusRemote::INTERFACE_XML,
                 "<node>  <interface name='org.morva.javamw.DbusCommunication'>    <method "
                 "name='Send'>      <arg type='ay' name='data' direction='in'/>      <arg "
                 "type='ay' name='response' direction='out'/>    </method>  </interface></node>"}));

TEST(HandshakeStates, HaveTheDocumentedNumbers) {
    EXPECT_EQ(JavaMWDbusRemote::HANDSHAKE_NONE, 0);
    EXPECT_EQ(JavaMWDbusRemote::HANDSHAKE_SYN_SENT, 1);
    EXPECT_EQ(JavaMWDbusRemote::HANDSHAKE_SYN_ACK_SENT, 2);
    EXPECT_EQ(JavaMWDbusRemote::HANDSHAKE_CONNECTED, 3);
}

// The destructor has the first two positions.
TEST(ChannelSlots, FollowTheDocumentedOrder) {
    EXPECT_EQ(VirtualSlot::Of(&JavaMWDbusRemote::HandleMessage), 2);
    EXPECT_EQ(VirtualSlot::Of(&JavaMWDbusRemote::HandleNotification), 3);
    EXPECT_EQ(VirtualSlot::Of(&JavaMWDbusRemote::HandleConnectionReady), 4);
    EXPECT_TRUE(std::has_virtual_destructor_v<JavaMWDbusRemote>);
}

TEST(ChannelSlots, ContainNoOtherOperation) {
    EXPECT_EQ(VirtualSlot::Of(&JavaMWDbusRemote::IsConnectionReady), -1);
    EXPECT_EQ(VirtualSlot::Of(&JavaMWDbusRemote::BroadcastName), -1);
    EXPECT_EQ(VirtualSlot::Of(&JavaMWDbusRemote::SendMessage), -1);
}

class ChannelTable : public ChannelTest {};

TEST_F(ChannelTable, CallsTheHandlersBySlotNumber) {
    RecordingEndpoint::Actions actions;
    actions.onMessage = [](Bytes&) { return ByteVector("reply"); };
    RecordingEndpoint endpoint(actions);
    JavaMWDbusRemote* const channel = &endpoint;

    using Message = Bytes(JavaMWDbusRemote*, Bytes&);
    Bytes request = ByteVector("request");
    EXPECT_EQ(VirtualSlot::At<Message>(channel, 2)(channel, request), ByteVector("reply"));
    EXPECT_EQ(endpoint.Messages(), std::vector<Bytes>{ByteVector("request")});

    using Notification = void(JavaMWDbusRemote*, Bytes&);
    Bytes event = ByteVector("event");
    VirtualSlot::At<Notification>(channel, 3)(channel, event);
    EXPECT_EQ(endpoint.Notifications(), std::vector<Bytes>{ByteVector("event")});

    using ConnectionReady = void(JavaMWDbusRemote*, bool, const std::string&);
    VirtualSlot::At<ConnectionReady>(channel, 4)(channel, true, ":1.7");
    EXPECT_EQ(endpoint.Readinesses(), (std::vector<Readiness>{{true, ":1.7"}}));
}

TEST_F(ChannelTable, CallsTheDestructorBySlotNumber) {
    using Destructor = void(JavaMWDbusRemote*);
    auto* const endpoint = new RecordingEndpoint();
    VirtualSlot::At<Destructor>(static_cast<JavaMWDbusRemote*>(endpoint), 1)(endpoint);
    // A refused call proves that the endpoint is destroyed.
    JavaMWDbusRemote::cb_SignalCall(nullptr, "", "", "", "", nullptr, endpoint);
    EXPECT_EQ(CountError("Empty user_data or connection not valid."), 1u);
}

} // namespace
