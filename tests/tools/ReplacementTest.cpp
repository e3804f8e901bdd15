// Host and partner as two processes, one of which is replaced while the other one is stopped; and a
// host whose announcement is not answered in time. Both lists are equal at the end. A partner that
// only mirrors the host stays unconnected, which proves the situations.
// scripts/long-run repeats these tests.
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "BusDaemon.h"
#include "OwnerChanges.h"
#include "PrivateBus.h"
#include "Repetitions.h"
#include "ToolProcess.h"

using testing::HasSubstr;

namespace {

constexpr int USUAL_REPETITIONS = 3;
constexpr const char* EMPTY_LIST = "list: 0 items\nselection: none\n";

using Tool = std::unique_ptr<ToolProcess>;

class Replacement : public testing::Test {
protected:
    using Words = std::vector<std::string>;

    // A host that has announced itself.
    Tool StartHost() {
        auto host = std::make_unique<ToolProcess>(Words{"host", SAMPLE_APPLICATIONS});
        EXPECT_TRUE(host->WaitFor("changed on this side only"));
        m_hostName = m_changes.WaitForNewcomer("_CLIENT_SYN");
        EXPECT_NE(m_hostName, "");
        return host;
    }

    // A partner that has announced itself.
    Tool StartPartner() {
        auto partner = std::make_unique<ToolProcess>(Words{"partner"});
        m_partnerName = m_changes.WaitForNewcomer("_SERVICE_SYN");
        EXPECT_NE(m_partnerName, "");
        return partner;
    }

    static void SetFault(ToolProcess& partner, const std::string& fault) {
        partner.Send("fault " + fault);
        EXPECT_EQ(partner.List(), EMPTY_LIST); // the partner has handled the command before
    }

    void Kill(Tool process, const std::string& name) {
        process.reset();
        EXPECT_TRUE(m_changes.WaitForEnd(name));
    }

    // The host is stopped while one partner ends and another one starts. @return that other one
    Tool ReplacePartnerOf(ToolProcess& host, const std::string& fault = "") {
        host.Stop();
        Tool first = StartPartner();
        Kill(std::move(first), m_partnerName);
        Tool second = StartPartner();
        if (!fault.empty()) {
            SetFault(*second, fault);
        }
        host.Continue();
        return second;
    }

    // The partner is stopped while one host ends and another one starts. @return that other one
    Tool ReplaceHostOf(ToolProcess& partner) {
        partner.Stop();
        Tool first = StartHost();
        Kill(std::move(first), m_hostName);
        Tool second = StartHost();
        partner.Continue();
        return second;
    }

    // The process has handled all that the bus has sent to it so far.
    void WaitUntilHandled(const std::string& name) {
        g_autoptr(GError) error = nullptr;
        g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
            m_changes.Connection(), name.c_str(), "/org/morva/javamw/CommunicationChannel/Applist",
            "org.morva.javamw.DbusCommunication", "Send", g_variant_new_parsed("(@ay [],)"),
            nullptr, G_DBUS_CALL_FLAGS_NONE, 20000, nullptr, &error);
        EXPECT_NE(reply, nullptr) << error->message;
    }

    void WaitUntilBothHandled() {
        for (int i = 0; i < 3; ++i) {
            WaitUntilHandled(m_hostName);
            WaitUntilHandled(m_partnerName);
        }
    }

    // Sends so many edits to the host, without waiting for their effects. The list keeps its size.
    static void Edit(ToolProcess& host, const std::string& name, int count) {
        for (int i = 0; i < count; ++i) {
            const std::string id = name + "." + std::to_string(i);
            host.Send("add " + id + " Name of " + id);
            host.Send("select " + id);
            host.Send("modify " + id + " " + id + "m Changed " + id);
            if (i > 0) {
                host.Send("remove " + name + "." + std::to_string(i - 1) + "m");
            }
        }
        host.Send("remove " + name + "." + std::to_string(count - 1) + "m");
    }

    // The partner has received the list that follows its handshake, and all edits.
    static void ExpectEqualLists(ToolProcess& host, ToolProcess& partner, const std::string& edit) {
        ASSERT_TRUE(partner.WaitFor("connected with")) << partner.Output();
        partner.Send("change"); // the host handles notification 4 before
        ASSERT_TRUE(host.WaitFor("OnItemChangeEvent")) << host.Output();
        host.Send("add " + edit + " Name of " + edit);
        host.Send("select " + edit);
        const std::string list = host.ListWithoutColumns();
        EXPECT_THAT(list, HasSubstr("selection: Name of " + edit));
        EXPECT_EQ(list, partner.ListWithoutColumns());
        host.Send("remove " + edit);
    }

    // Requests and notifications arrive, and the lists are equal.
    static void ExpectOneList(ToolProcess& host, ToolProcess& partner) {
        ASSERT_TRUE(partner.WaitFor("my list has 5 items now"))
            << partner.Output() << host.Output();
        partner.Send(
            "change"); // the host receives its model with the event, and needs the model for "list"
        ASSERT_TRUE(host.WaitFor("OnItemChangeEvent")) << host.Output();
        host.Send("add radio Car Radio");
        const std::string list = host.ListWithoutColumns();
        EXPECT_THAT(list, HasSubstr("list: 6 items"));
        EXPECT_EQ(list, partner.ListWithoutColumns());
    }

    const PrivateBus m_bus;
    OwnerChanges m_changes{m_bus};
    std::string m_hostName;
    std::string m_partnerName;
};

TEST_F(Replacement, OfThePartnerWhileTheHostIsStoppedEndsWithOneList) {
    for (int i = 0; i < Repetitions(USUAL_REPETITIONS); ++i) {
        const Tool host = StartHost();
        const Tool partner = ReplacePartnerOf(*host);
        ExpectOneList(*host, *partner);
        ASSERT_FALSE(HasFailure()) << "replacement " << i;
    }
}

TEST_F(Replacement, OfTheHostWhileThePartnerIsStoppedEndsWithOneList) {
    for (int i = 0; i < Repetitions(USUAL_REPETITIONS); ++i) {
        const Tool partner = StartPartner();
        const Tool host = ReplaceHostOf(*partner);
        ExpectOneList(*host, *partner);
        ASSERT_FALSE(HasFailure()) << "replacement " << i;
    }
}

// The host edits its list before the end of a partner, without a partner, and during the handshake
// with the next one.
TEST_F(Replacement, OfThePartnerWhileTheHostEditsEndsWithOneList) {
    constexpr int EDITS = 8;
    const Tool host = StartHost();
    Tool partner = StartPartner();
    ASSERT_TRUE(partner->WaitFor("my list has 5 items now"));
    for (int i = 0; i < Repetitions(USUAL_REPETITIONS); ++i) {
        const std::string number = std::to_string(i);
        Edit(*host, "before" + number, EDITS);
        const std::string last = "before" + number + "." + std::to_string(i % EDITS);
        ASSERT_TRUE(partner->WaitFor(last)) << partner->Output();
        Kill(std::move(partner), m_partnerName);
        Edit(*host, "meanwhile" + number, EDITS);
        partner = StartPartner();
        Edit(*host, "after" + number, EDITS);
        ExpectEqualLists(*host, *partner, "end" + number);
        ASSERT_FALSE(HasFailure()) << "restart " << i;
    }
}

// The host requests the name of its answer while the bus daemon is stopped, for longer than the
// time-out of the call. The daemon grants the name later.
TEST_F(Replacement, OfThePartnerAfterAnUnansweredRequestNameEndsWithOneList) {
    const pid_t daemon = BusDaemon::Process(m_changes.Connection());
    ASSERT_GT(daemon, 0);
    for (int i = 0; i < Repetitions(USUAL_REPETITIONS); ++i) {
        ToolProcess host({"host", SAMPLE_APPLICATIONS}, {"LD_PRELOAD=" SHORT_TIMEOUTS});
        m_hostName = m_changes.WaitForNewcomer("_CLIENT_SYN");
        host.Stop();
        Tool first = StartPartner();
        BusDaemon::Ping(m_changes.Connection()); // the announcement is at the host's socket
        BusDaemon::Ping(m_changes.Connection());
        kill(daemon, SIGSTOP);
        host.Continue();
        const bool timedOut = host.WaitForError("RequestName timed out");
        kill(daemon, SIGCONT);
        ASSERT_TRUE(timedOut);
        Kill(std::move(first), m_partnerName);
        const Tool second = StartPartner();
        ExpectOneList(host, *second);
        ASSERT_FALSE(HasFailure()) << "replacement " << i;
    }
}

TEST_F(Replacement, OfAStrictMirrorWhileTheHostIsStoppedLeavesTheHostUnbound) {
    for (int i = 0; i < Repetitions(USUAL_REPETITIONS); ++i) {
        const Tool host = StartHost();
        const Tool partner = ReplacePartnerOf(*host, "strict-mirror");
        ASSERT_TRUE(partner->WaitFor("connected with " + m_hostName));
        WaitUntilBothHandled();
        host->Send("add radio Car Radio");
        EXPECT_TRUE(host->WaitFor("changed on this side only"));
        EXPECT_EQ(partner->List(), EMPTY_LIST);
        ASSERT_FALSE(HasFailure()) << "replacement " << i;
    }
}

TEST_F(Replacement, OfTheHostWhileAStrictMirrorIsStoppedLeavesThePartnerFree) {
    for (int i = 0; i < Repetitions(USUAL_REPETITIONS); ++i) {
        const Tool partner = StartPartner();
        SetFault(*partner, "strict-mirror");
        const Tool host = ReplaceHostOf(*partner);
        ASSERT_TRUE(partner->WaitFor("lost the host"));
        WaitUntilBothHandled();
        host->Send("add radio Car Radio");
        EXPECT_TRUE(
            partner->WaitFor("a request of " + m_hostName)); // the host believes it is bound
        EXPECT_EQ(partner->List(), EMPTY_LIST);
        partner->Send("change");
        EXPECT_TRUE(partner->WaitForError("is not sent"));
        ASSERT_FALSE(HasFailure()) << "replacement " << i;
    }
}

} // namespace
