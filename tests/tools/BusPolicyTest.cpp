// The bus policy that the project installs, on a bus with the rules of a stock system bus.
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <unistd.h>

#include "PrivateBus.h"
#include "TemporaryFolder.h"
#include "ToolProcess.h"

using testing::HasSubstr;

namespace {

// A user that every machine has and no test runs as.
const std::string SOMEBODY_ELSE = "daemon";

// The installed policy with other users in its two roles.
std::string PolicyFor(const std::string& hostUser, const std::string& partnerUser) {
    std::ifstream file(APPLIST_BUS_POLICY);
    std::stringstream text;
    text << file.rdbuf();
    std::string policy = text.str();
    const std::regex role("<policy (?:user|group)=\"[^\"]*\">");
    for (const std::string& user : {hostUser, partnerUser}) {
        // Marked, so that the next round finds the next role.
        policy = std::regex_replace(policy, role, "<policy  user=\"" + user + "\">",
                                    std::regex_constants::format_first_only);
    }
    return policy;
}

// Everything is denied as on the system bus, and then the policy file is read.
std::string SystemBusRules(const std::string& policyFile) {
    return "<deny own='*'/><deny send_type='method_call'/>"
           "<allow send_destination='org.freedesktop.DBus'"
           " send_interface='org.freedesktop.DBus'/></policy>"
           "<include>" +
           policyFile + "</include><policy context='default'>";
}

class BusPolicy : public testing::Test {
protected:
    PrivateBus MakeBus(const std::string& hostUser, const std::string& partnerUser) {
        return PrivateBus(
            SystemBusRules(m_folder.Write("policy.conf", PolicyFor(hostUser, partnerUser))));
    }

    const std::string m_me = std::to_string(getuid());
    TemporaryFolder m_folder;
};

TEST_F(BusPolicy, LetsHostAndPartnerKeepAListInStep) {
    const PrivateBus bus = MakeBus(m_me, m_me);
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    ToolProcess host({"host", SAMPLE_APPLICATIONS});
    EXPECT_TRUE(partner.WaitFor("my list has 5 items now"));
    partner.Send("select 2");
    EXPECT_TRUE(host.WaitFor("OnItemSelectionEvent: the partner has selected Clock"));
    host.Send("add radio Radio");
    EXPECT_TRUE(partner.WaitFor("my list has 6 items now"));
}

TEST_F(BusPolicy, LetsAPartnerFindAHostThatIsThereAlready) {
    const PrivateBus bus = MakeBus(m_me, m_me);
    ToolProcess host({"host", SAMPLE_APPLICATIONS});
    ASSERT_TRUE(host.WaitFor("no partner yet"));
    ToolProcess partner({"partner"});
    EXPECT_TRUE(partner.WaitFor("my list has 5 items now"));
}

TEST_F(BusPolicy, RefusesThePartnersNamesToAnotherUserAndThePartnerSaysSo) {
    const PrivateBus bus = MakeBus(m_me, SOMEBODY_ELSE);
    ToolProcess partner({"partner"});
    EXPECT_EQ(partner.WaitForExit(), 1);
    EXPECT_THAT(partner.Errors(),
                HasSubstr("the bus policy refuses the name org.morva.JavaMW.Applist_SERVICE_SYN"));
    EXPECT_THAT(partner.Errors(), HasSubstr("is not allowed to own the service"));
}

TEST_F(BusPolicy, RefusesTheHostsNamesToAnotherUser) {
    const PrivateBus bus = MakeBus(SOMEBODY_ELSE, m_me);
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    g_autoptr(GDBusConnection) host = bus.Connect();
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        host, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", "org.morva.JavaMW.Applist_CLIENT_SYN", guint32{4}),
        nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    EXPECT_EQ(reply, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED));
}

TEST_F(BusPolicy, RefusesOtherNamesAndObjects) {
    const PrivateBus bus = MakeBus(m_me, m_me);
    g_autoptr(GDBusConnection) connection = bus.Connect();
    g_autoptr(GDBusConnection) other = bus.Connect();
    g_autoptr(GError) nameError = nullptr;
    g_autoptr(GVariant) nameReply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", "org.morva.JavaMW.Other_CLIENT_SYN", guint32{4}),
        nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &nameError);
    EXPECT_EQ(nameReply, nullptr);
    EXPECT_TRUE(g_error_matches(nameError, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED));
    g_autoptr(GError) callError = nullptr;
    g_autoptr(GVariant) callReply = g_dbus_connection_call_sync(
        connection, g_dbus_connection_get_unique_name(other), "/org/other",
        "org.morva.javamw.DbusCommunication", "Send", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
        nullptr, &callError);
    EXPECT_EQ(callReply, nullptr);
    EXPECT_TRUE(g_error_matches(callError, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED));
}

} // namespace
