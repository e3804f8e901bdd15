// Another connection on the bus that pretends to be the partner, or the bus.
#include <ostream>

#include "HostileTest.h"
#include "NamedRow.h"

namespace {

class Spoofed : public HostileTest {
protected:
    Spoofed() : otherProcess(std::make_unique<TestPartner>(bus, false)) {}
    ~Spoofed() override { otherProcess.reset(); }

    static std::size_t Readies() { return CountDebugStarting("HandleConnectionReady state=1"); }

    /** Waits until this side has handled the other process's earlier announcement. */
    void WaitForAnnouncement(const std::string& callback) {
        const std::string start = callback + " org.morva";
        // The acquisition of the name and its release.
        ASSERT_TRUE(MainLoop::IterateUntil([&] { return CountDebugStarting(start) >= 2; }));
    }

    std::unique_ptr<TestPartner> otherProcess;
};

struct Step : NamedRow {
    const char* suffix;
    const char* callback;
};

class SpoofedStep : public Spoofed, public testing::WithParamInterface<Step> {};

} // namespace

TEST_P(SpoofedStep, DoesNotBindAConnectedListToAnotherProcess) {
    Connect();
    CapturedLog::Clear();
    otherProcess->Announce(GetParam().suffix);
    WaitForAnnouncement(GetParam().callback);
    EXPECT_EQ(Readies(), 0U);
    ExpectAllIsWell();
    EXPECT_TRUE(otherProcess->Requests().empty());
}
INSTANTIATE_TEST_SUITE_P(Steps, SpoofedStep,
                         testing::Values(Step{"Syn", "_SYN", "cb_SynNameOwnerChanged"},
                                         Step{"SynAck", "_SYN_ACK", "cb_SynAckNameOwnerChanged"}),
                         RowName<Step>);

TEST_F(Spoofed, AckIsAcceptedButItsSenderReceivesNoRequest) {
    Connect();
    CapturedLog::Clear();
    otherProcess->Announce("_ACK");
    WaitForAnnouncement("cb_AckNameOwnerChanged");
    EXPECT_EQ(Readies(), 1U);
    ExpectAllIsWell();
    EXPECT_TRUE(otherProcess->Requests().empty());
}

TEST_F(Spoofed, AckConnectsNoProcessWhileNoPartnerIsBound) {
    otherProcess->Announce("_ACK");
    WaitForAnnouncement("cb_AckNameOwnerChanged");
    EXPECT_EQ(Readies(), 0U);
    model->SetClicked(&item);
    EXPECT_TRUE(otherProcess->Requests().empty());
    Connect();
    ExpectAllIsWell();
}

TEST_F(Spoofed, NotificationsOfAnotherProcessAreIgnored) {
    Connect();
    for (const int event :
         {Records::CHANGE_EVENT, Records::SELECTION_EVENT, Records::CREATED_EVENT}) {
        otherProcess->NotifyBody(hostName, ByteBody(Records::Frame("", event)));
    }
    // A later call of the same process proves that the notifications have arrived.
    [[maybe_unused]] g_autoptr(GVariant) reply =
        CallHost(otherProcess->Connection(), ByteBody("behind"), nullptr);
    EXPECT_EQ(listener.changes, 0U);
    EXPECT_EQ(listener.selections, 0U);
    EXPECT_EQ(CountRequests(Records::ADD_ITEMS), 0U);
    ExpectAllIsWell();
}

TEST_F(Spoofed, CallsOfAnotherProcessAreAnsweredWithAnEmptyArray) {
    Connect();
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = CallHost(
        otherProcess->Connection(), ByteBody(Records::Frame("", Records::CREATED_EVENT)), &error);
    ASSERT_NE(reply, nullptr) << error->message;
    g_autofree char* text = g_variant_print(reply, TRUE);
    EXPECT_STREQ(text, "(@ay [],)");
    EXPECT_EQ(CountRequests(Records::ADD_ITEMS), 0U);
    ExpectAllIsWell();
}

TEST_F(Spoofed, NameOwnerChangedOfAnotherSenderIsIgnored) {
    CapturedLog::Clear();
    const std::string name = "org.morva.JavaMW.Applist_SERVICE_SYN";
    g_dbus_connection_emit_signal(
        otherProcess->Connection(), hostName.c_str(), "/org/freedesktop/DBus",
        "org.freedesktop.DBus", "NameOwnerChanged",
        g_variant_new("(sss)", name.c_str(), otherProcess->UniqueName().c_str(), ""), nullptr);
    [[maybe_unused]] g_autoptr(GVariant) reply =
        CallHost(otherProcess->Connection(), ByteBody("behind"), nullptr);
    EXPECT_EQ(CountDebug("cb_SynNameOwnerChanged called"), 0U);
    Connect();
    ExpectAllIsWell();
}

TEST_F(Spoofed, TheLossOfAnotherProcessIsNotReported) {
    Connect();
    otherProcess->Announce("_SYN");
    WaitForAnnouncement("cb_SynNameOwnerChanged");
    CapturedLog::Clear();
    otherProcess.reset();
    WaitForAllEvents();
    EXPECT_EQ(CountDebugStarting("Connection lost"), 0U);
    ExpectAllIsWell();
}
