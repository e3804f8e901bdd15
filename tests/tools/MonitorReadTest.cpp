// The output of "applistctl monitor --read" for captures that the test writes message by message.
#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <shared/Protocol.h>

#include "CaptureWriter.h"
#include "NamedRow.h"
#include "TemporaryFolder.h"
#include "ToolProcess.h"

using namespace applistctl;
using nlohmann::json;
using testing::ContainsRegex, testing::HasSubstr, testing::Not;

namespace {

constexpr const char* HOST = CaptureWriter::HOST;
constexpr const char* PARTNER = CaptureWriter::PARTNER;

std::string Framed(const std::string& payload, std::int32_t id) {
    return CaptureWriter::Framed(payload, id);
}

GVariant* Message(const std::string& payload, std::int32_t id) {
    return CaptureWriter::Body(Framed(payload, id));
}

ToolResult ReportOf(const std::string& capture, const std::vector<std::string>& options = {}) {
    const TemporaryFolder folder;
    std::vector<std::string> arguments = {"monitor", "--read", folder.Write("capture", capture)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return RunTool(arguments);
}

// A capture, and the report of the monitor about it.
class MonitorTest : public testing::Test {
protected:
    void Wait(double milliseconds) { capture.At(milliseconds).Leave(":1.99"); }

    ToolResult Read(const std::vector<std::string>& options = {}) const {
        return ReportOf(capture.Bytes(), options);
    }

    // The text of the report, whose exit status must be @p status.
    std::string TextOf(int status = 0) const {
        const ToolResult report = Read();
        EXPECT_EQ(report.status, status) << report.output << report.errors;
        return report.output;
    }

    std::vector<json> ReadAsJson() const {
        std::istringstream lines(Read({"--json"}).output);
        std::vector<json> objects;
        for (std::string line; std::getline(lines, line);) {
            objects.push_back(json::parse(line));
        }
        return objects;
    }

    CaptureWriter capture;
};

// A capture that begins with the handshake of a host and a partner.
class ConnectedMonitorTest : public MonitorTest {
protected:
    ConnectedMonitorTest() { capture.Connect(); }
};

using MonitorHandshake = MonitorTest;
using MonitorCheck = MonitorTest;
using MonitorPartners = ConnectedMonitorTest;
using MonitorStuckHost = ConnectedMonitorTest;
using MonitorMissingList = ConnectedMonitorTest;
using MonitorHalfOpenPair = MonitorTest;
using MonitorRequests = ConnectedMonitorTest;
using MonitorNotifications = ConnectedMonitorTest;
using MonitorSummary = ConnectedMonitorTest;
using MonitorCount = ConnectedMonitorTest;
using MonitorRead = ConnectedMonitorTest;
using MonitorJson = ConnectedMonitorTest;

json Find(const std::vector<json>& objects, const std::string& key, const std::string& value) {
    for (const json& object : objects) {
        if (object.value(key, "") == value) {
            return object;
        }
    }
    return {};
}

json FindEvent(const std::vector<json>& objects, const std::string& event) {
    return Find(objects, "event", event);
}

// --- The handshake -------------------------------------------------------------------------------

TEST_F(MonitorHandshake, IsPrintedStepByStepWhenTheHostStartsLater) {
    capture.Announce("_SERVICE_SYN", PARTNER);
    capture.At(5000).Announce("_CLIENT_SYN", HOST);
    capture.At(5001).Announce("_SERVICE_SYN_ACK", PARTNER);
    capture.At(5002.5).Announce("_CLIENT_ACK", HOST);
    const std::string text = TextOf();
    EXPECT_THAT(text, ContainsRegex("partner :1.8  _SERVICE_SYN: a partner announces itself\n"
                                    ".*host :1.7  _CLIENT_SYN: a host has started\n"
                                    ".*partner :1.8  _SERVICE_SYN_ACK: bound to :1.7\n"
                                    ".*host :1.7  _CLIENT_ACK: ready\n"
                                    ".*== connected: host :1.7 and partner :1.8, ready 2.50 "
                                    "ms after _CLIENT_SYN\n"));
    EXPECT_THAT(text, HasSubstr("host :1.7 is connected with partner :1.8"));
}

TEST_F(MonitorHandshake, IsPrintedStepByStepWhenThePartnerStartsLater) {
    capture.Announce("_CLIENT_SYN", HOST);
    capture.At(1000).Announce("_SERVICE_SYN", PARTNER);
    capture.At(1003).Announce("_CLIENT_SYN_ACK", HOST);
    capture.Announce("_SERVICE_ACK", PARTNER);
    EXPECT_THAT(TextOf(), ContainsRegex("host :1.7  _CLIENT_SYN_ACK: bound to :1.8\n"
                                        ".*partner :1.8  _SERVICE_ACK: ready\n"
                                        ".*ready 3.00 ms after _SERVICE_SYN\n"));
}

TEST_F(MonitorHandshake, IsPrintedOnceWhenBothSidesStartAtTheSameTime) {
    capture.Announce("_CLIENT_SYN", HOST);
    capture.Announce("_SERVICE_SYN", PARTNER);
    capture.Announce("_CLIENT_SYN_ACK", HOST);
    capture.Announce("_SERVICE_SYN_ACK", PARTNER);
    capture.At(1).Announce("_SERVICE_ACK", PARTNER);
    EXPECT_THAT(TextOf(), HasSubstr("handshakes: 1 completed, 0 problems"));
}

TEST_F(MonitorHandshake, StartsAgainWithARestartedPartner) {
    capture.Connect();
    capture.Leave(PARTNER);
    capture.At(9000).Announce("_SERVICE_SYN", ":1.9");
    capture.Announce("_CLIENT_SYN_ACK", HOST);
    capture.At(9001).Announce("_SERVICE_ACK", ":1.9");
    const std::string text = TextOf();
    EXPECT_THAT(text, HasSubstr("== the partner :1.8 has left the bus"));
    EXPECT_THAT(text, HasSubstr("host :1.7 and partner :1.9, ready 1.00 ms after _SERVICE_SYN"));
}

struct MissingRow : NamedRow {
    std::vector<std::string> steps;
    const char* missing;
};

const MissingRow MISSING[] = {
    {"NoPartner",
     {"_CLIENT_SYN"},
     "_SERVICE_SYN_ACK is missing: no partner has answered "
     "_CLIENT_SYN of :1.7"},
    {"ThePartnersAnswerToSyn",
     {"_SERVICE_SYN", "_CLIENT_SYN"},
     "_SERVICE_SYN_ACK is missing: no partner has answered _CLIENT_SYN of :1.7"},
    {"TheHostsAnswerToSyn",
     {"_CLIENT_SYN", "_SERVICE_SYN"},
     "_CLIENT_SYN_ACK is missing: the host :1.7 has not answered _SERVICE_SYN"},
    {"TheHostsAck",
     {"_CLIENT_SYN", "_SERVICE_SYN_ACK"},
     "_CLIENT_ACK is missing: the host :1.7 has not answered _SERVICE_SYN_ACK"},
    {"ThePartnersAck",
     {"_SERVICE_SYN", "_CLIENT_SYN_ACK"},
     "_SERVICE_ACK is missing: the partner :1.8 has not answered _CLIENT_SYN_ACK of :1.7"},
    {"ThePartnersAckOfACrossedStart",
     {"_CLIENT_SYN", "_SERVICE_SYN", "_CLIENT_SYN_ACK", "_SERVICE_SYN_ACK"},
     "_SERVICE_ACK is missing: the partner :1.8 has not answered _CLIENT_SYN_ACK of :1.7"},
};

class MonitorMissing : public MonitorTest, public testing::WithParamInterface<MissingRow> {};

TEST_P(MonitorMissing, StepIsReported) {
    for (const std::string& step : GetParam().steps) {
        capture.Announce(step, step[1] == 'C' ? HOST : PARTNER);
    }
    Wait(3000);
    const std::string text = TextOf(4);
    EXPECT_THAT(text, HasSubstr("!! " + std::string(GetParam().missing) + "\n"));
    EXPECT_THAT(text,
                HasSubstr("  host :1.7 is not connected: " + std::string(GetParam().missing)));
}

INSTANTIATE_TEST_SUITE_P(, MonitorMissing, testing::ValuesIn(MISSING), RowName<MissingRow>);

// The host is not ready without this step, and drops the notification.
TEST_F(MonitorHandshake, ClaimsNoConnectionForANotificationWithoutTheAck) {
    capture.Announce("_SERVICE_SYN", PARTNER);
    capture.Announce("_CLIENT_SYN_ACK", HOST);
    capture.Notify(Message("", 4));
    Wait(3000);
    const std::string text = TextOf(4);
    const std::string missing =
        "_SERVICE_ACK is missing: the partner :1.8 has not answered _CLIENT_SYN_ACK of :1.7\n";
    EXPECT_THAT(text, HasSubstr("!! " + missing));
    EXPECT_THAT(text, HasSubstr("  host :1.7 is not connected: " + missing));
    EXPECT_THAT(text, Not(HasSubstr("connected: host")));
    EXPECT_THAT(text, Not(HasSubstr("sent no list")));
}

TEST_F(MonitorHandshake, ReportsANameThatIsNotReleased) {
    capture.Take("_SERVICE_SYN", PARTNER);
    Wait(3000);
    EXPECT_THAT(TextOf(4), HasSubstr("!! _SERVICE_SYN is owned by :1.8 for 3.0 s: the step counts "
                                     "when the name is released"));
}

TEST_F(MonitorHandshake, ReportsANameThatTheBusRefuses) {
    const std::uint32_t serial = capture.CallDaemon(
        PARTNER, "RequestName",
        g_variant_new("(su)", "org.morva.JavaMW.Applist_SERVICE_SYN", guint32{4}));
    capture.Error("org.freedesktop.DBus", PARTNER, serial,
                  "org.freedesktop.DBus.Error.AccessDenied", "not you");
    EXPECT_THAT(TextOf(4),
                HasSubstr("!! partner :1.8  _SERVICE_SYN: cannot own the name: not you"));
}

// An answer that the policy refuses is repeated each half second.
TEST_F(MonitorHandshake, ReportsARepeatedRefusalOnceAMinute) {
    const auto refuse = [this](const char* step, const char* reason) {
        const std::string name = std::string("org.morva.JavaMW.Applist") + step;
        const std::uint32_t serial = capture.CallDaemon(
            PARTNER, "RequestName", g_variant_new("(su)", name.c_str(), guint32{4}));
        capture.Error("org.freedesktop.DBus", PARTNER, serial,
                      "org.freedesktop.DBus.Error.AccessDenied", reason);
    };
    for (double time = 0; time < 120000; time += 500) {
        capture.At(time);
        refuse("_SERVICE_SYN_ACK", "not you");
    }
    refuse("_SERVICE_SYN_ACK", "another reason");
    refuse("_SERVICE_ACK", "another reason");
    EXPECT_THAT(TextOf(4), HasSubstr("handshakes: 0 completed, 4 problems\n"));
}

TEST_F(MonitorHandshake, CountsNoProblemForANameThatAnotherProcessOwnsForAMoment) {
    capture.Take("_SERVICE_SYN", ":1.9");
    const std::uint32_t serial = capture.CallDaemon(
        PARTNER, "RequestName",
        g_variant_new("(su)", "org.morva.JavaMW.Applist_SERVICE_SYN", guint32{4}));
    capture.Reply("org.freedesktop.DBus", PARTNER, serial, g_variant_new("(u)", guint32{3}));
    EXPECT_THAT(TextOf(), Not(HasSubstr("!!")));
}

TEST_F(MonitorHandshake, FindsTheHostThatAnUnknownPartnerAnswers) {
    capture.Announce("_CLIENT_SYN", HOST);
    capture.Announce("_SERVICE_SYN_ACK", PARTNER);
    EXPECT_THAT(TextOf(), HasSubstr("partner :1.8  _SERVICE_SYN_ACK: bound to :1.7\n"));
}

TEST_F(MonitorHandshake, ClaimsNoHostForAnUnknownPartnerThatMayAnswerTwo) {
    capture.Announce("_CLIENT_SYN", HOST);
    capture.Announce("_CLIENT_SYN", ":1.9");
    capture.Announce("_SERVICE_SYN_ACK", PARTNER);
    EXPECT_THAT(TextOf(), HasSubstr("partner :1.8  _SERVICE_SYN_ACK: bound to a host that was"));
}

TEST_F(MonitorHandshake, ReportsTwoHostsBoundToOnePartner) {
    capture.Announce("_CLIENT_SYN", HOST);
    capture.Announce("_CLIENT_SYN", ":1.9");
    capture.At(1).Announce("_SERVICE_SYN_ACK", PARTNER);
    capture.Announce("_CLIENT_ACK", HOST);
    capture.Announce("_CLIENT_ACK", ":1.9");
    EXPECT_THAT(TextOf(4), HasSubstr("!! hosts :1.7 and :1.9 both take :1.8 for their partner"));
}

TEST_F(MonitorHandshake, IsAssumedBeforeTheFirstRequestOfTheCapture) {
    capture.RequestAndReply(Framed("", 2003), 1);
    EXPECT_THAT(TextOf(),
                HasSubstr("== host :1.7 and partner :1.8 exchange messages: their handshake was "
                          "before the start of the monitor"));
}

TEST_F(MonitorHandshake, ReportsOtherProcessesThatCallEitherSideOnce) {
    capture.Connect();
    for (int i = 0; i < 2; ++i) {
        const auto serial = capture.Call(":1.9", PARTNER, Message("", 2003));
        capture.Reply(PARTNER, ":1.9", serial, CaptureWriter::Body(""));
        capture.Notify(Message("", 4), "SendSignal", ":1.10");
    }
    const std::string text = TextOf(4);
    EXPECT_THAT(text, HasSubstr("!! :1.9 sends requests to the partner :1.8, which is connected"));
    EXPECT_THAT(text, HasSubstr("!! :1.10 notifies the host :1.7, which is connected"));
    EXPECT_THAT(text, HasSubstr("handshakes: 1 completed, 2 problems"));
}

TEST_F(MonitorHandshake, ReportsOtherProcessesToPrograms) {
    capture.Connect();
    capture.Notify(Message("", 4), "SendSignal", ":1.10");
    EXPECT_EQ(Find(ReadAsJson(), "what", "unbound").at("who"), ":1.10");
}

// The partner's announcement repairs pairs, and is dropped by a bound host.
TEST_F(MonitorHandshake, IsOfTheNextPartnerAfterABoundPartnerHasRepeatedItsSyn) {
    capture.Connect();
    capture.At(1000).Announce("_SERVICE_SYN", PARTNER);
    capture.At(2000).Leave(PARTNER);
    capture.At(3000).Announce("_SERVICE_SYN", ":1.18");
    capture.Announce("_CLIENT_SYN_ACK", HOST);
    capture.Announce("_SERVICE_ACK", ":1.18");
    EXPECT_THAT(TextOf(), HasSubstr("== connected: host :1.7 and partner :1.18"));
}

TEST_F(MonitorHandshake, IsNoConnectionWithAClientAckAndWithoutAServiceSynAck) {
    capture.Announce("_SERVICE_SYN", PARTNER);
    capture.Announce("_CLIENT_SYN_ACK", HOST);
    capture.Announce("_CLIENT_ACK", HOST);
    const ToolResult report = Read();
    EXPECT_THAT(report.output, HasSubstr("host :1.7  _CLIENT_ACK: ready\n"));
    EXPECT_THAT(report.output, Not(HasSubstr("connected: host")));
    EXPECT_THAT(report.output, HasSubstr("handshakes: 0 completed, 0 problems"));
}

// --- Checks --------------------------------------------------------------------------------------

constexpr const char* CHECK = ":1.5";

// The messages of a check while a partner serves another host.
void Check(CaptureWriter& capture) {
    capture.SignalOf(CHECK, CHECK, "org.morva.applistctl", "Check");
    capture.Announce("_CLIENT_SYN", CHECK);
    const auto serial = capture.Call(CHECK, CHECK, Message("", 2001));
    capture.Reply(CHECK, CHECK, serial, CaptureWriter::Body(""));
    capture.Notify(Message("", 1), "SendSignal", CHECK, CHECK);
    capture.At(5000).Announce("_CLIENT_SYN_ACK", CHECK);
    capture.Announce("_CLIENT_ACK", CHECK);
    capture.At(9000).Leave(CHECK);
}

TEST_F(MonitorCheck, IsNoHostWithoutAPartner) {
    Check(capture);
    const std::string text = TextOf();
    EXPECT_THAT(text, ContainsRegex("== check :1\\.5 is on the bus\n.*check :1\\.5  _CLIENT_SYN: "
                                    "announced by a check\n"));
    EXPECT_THAT(text, HasSubstr("check :1.5 -> check :1.5  #1 APPLIST_GET_SELECTION_FNC"));
    EXPECT_THAT(text, HasSubstr("== the check :1.5 has left the bus\n"));
    for (const char* const untruth : {"host :1.5", "partner :1.5", "connected", "talk", "!!"}) {
        EXPECT_THAT(text, Not(HasSubstr(untruth)));
    }
}

TEST_F(MonitorCheck, IsNoSecondHostOfABoundPartner) {
    capture.Connect();
    Check(capture);
    EXPECT_THAT(TextOf(), HasSubstr("handshakes: 1 completed, 0 problems\n"
                                    "  host :1.7 is connected with partner :1.8\n"));
}

// A host that does not reply to the check is reported by the check itself.
TEST_F(MonitorCheck, IsNotLateWithItsEmptySend) {
    capture.Connect();
    capture.SignalOf(CHECK, CHECK, "org.morva.applistctl", "Check");
    capture.Call(CHECK, HOST, CaptureWriter::Body(""));
    const std::uint32_t refused = capture.Call(CHECK, PARTNER, CaptureWriter::Body(""));
    capture.Error("org.freedesktop.DBus", CHECK, refused, "org.freedesktop.DBus.Error.AccessDenied",
                  "refused");
    Wait(3000);
    const std::string text = TextOf();
    EXPECT_THAT(text, HasSubstr("\n#1 no id got no reply from host :1.7\n"));
    EXPECT_THAT(text, Not(HasSubstr("!!")));
    EXPECT_THAT(text, Not(HasSubstr("without a reply for 1 s")));
}

TEST_F(MonitorCheck, IsNoConnectionOfAFreePartner) {
    capture.Announce("_SERVICE_SYN", PARTNER);
    capture.SignalOf(CHECK, CHECK, "org.morva.applistctl", "Check");
    capture.Announce("_CLIENT_SYN", CHECK);
    capture.Announce("_SERVICE_SYN_ACK", PARTNER);
    capture.Announce("_CLIENT_ACK", CHECK);
    capture.Take("_CLIENT_SYN_ACK", CHECK); // for longer than a host does
    Wait(4000);
    const std::string text = TextOf();
    EXPECT_THAT(text, HasSubstr("partner :1.8  _SERVICE_SYN_ACK: bound to :1.5\n"));
    EXPECT_THAT(text, HasSubstr("handshakes: 0 completed, 0 problems"));
}

// --- Several partners ---------------------------------------------------------------------------

constexpr const char* OTHER_PARTNER = ":1.9";

TEST_F(MonitorPartners, AreReportedAfterTwoSecondsAndInTheSummary) {
    capture.Announce("_SERVICE_SYN", OTHER_PARTNER);
    Wait(200);
    Wait(2300);
    Wait(5000);
    const ToolResult report = Read();
    EXPECT_EQ(report.status, 4);
    const std::string line = "!! 2 partners are on the bus: :1.8, :1.9; run one partner\n";
    EXPECT_THAT(report.output, HasSubstr(line));
    EXPECT_EQ(report.output.find(line), report.output.rfind(line));
    EXPECT_THAT(report.output, HasSubstr("handshakes: 1 completed, 1 problem\n"
                                         "  host :1.7 is connected with partner :1.8\n"
                                         "  partner :1.9 waits for a host\n"));
    EXPECT_EQ(Find(ReadAsJson(), "what", "several").at("who"), OTHER_PARTNER);
}

TEST_F(MonitorPartners, AreNoneWhenOneReplacesTheOther) {
    Wait(200);
    Wait(5000);
    capture.Announce("_SERVICE_SYN", OTHER_PARTNER);
    Wait(5200);
    Wait(6000);
    capture.Leave(PARTNER);
    Wait(9000);
    EXPECT_THAT(Read().output, Not(HasSubstr("partners are on the bus")));
}

// --- Stuck hosts ---------------------------------------------------------------------------------

// After notification 2, a selection, the host has to query for the selection.

TEST_F(MonitorStuckHost, IsMarkedWithoutAQueryForASecond) {
    capture.Notify(Message("", 2));
    Wait(1200);
    Wait(5000);
    const std::string text = TextOf(4);
    EXPECT_THAT(text, HasSubstr("!! host :1.7 is stuck: no query for the selection (2001) "
                                "within 1.2 s after notification 2"));
    EXPECT_THAT(text, HasSubstr("handshakes: 1 completed, 0 problems\n"));
    EXPECT_THAT(text, HasSubstr("\nstuck: 1 host\n"));
}

TEST_F(MonitorStuckHost, IsShownToPrograms) {
    capture.Notify(Message("", 2));
    Wait(1200);
    const std::vector<json> objects = ReadAsJson();
    EXPECT_EQ(Find(objects, "what", "stuck").at("who"), HOST);
    EXPECT_EQ(FindEvent(objects, "summary").at("stuck"), 1);
    EXPECT_EQ(FindEvent(objects, "summary").at("handshakes").at("problems"), 0);
}

TEST_F(MonitorStuckHost, IsNoneBeforeASecond) {
    capture.Notify(Message("", 2));
    Wait(900);
    EXPECT_EQ(Read().status, 0);
}

TEST_F(MonitorStuckHost, IsNoneAfterItsQuery) {
    capture.Notify(Message("", 2));
    capture.RequestAndReply(Framed("", 2001), 1);
    Wait(3000);
    EXPECT_EQ(Read().status, 0);
}

// The partner blocks the host.
TEST_F(MonitorStuckHost, IsNoneWhileARequestWaitsForItsReply) {
    capture.Notify(Message("", 2));
    capture.Call(HOST, PARTNER, Message("", 2003));
    Wait(3000);
    EXPECT_THAT(Read().output, Not(HasSubstr("stuck")));
}

TEST_F(MonitorStuckHost, IsNoneForTheNotificationOfAnotherProcess) {
    capture.Notify(Message("", 2), "SendSignal", ":1.10");
    Wait(3000);
    EXPECT_THAT(Read().output, Not(HasSubstr("stuck")));
}

TEST_F(MonitorStuckHost, IsNoneAfterItHasLeft) {
    capture.Notify(Message("", 2));
    capture.Leave(HOST);
    Wait(3000);
    EXPECT_THAT(Read().output, Not(HasSubstr("stuck")));
}

// --- Missing lists -------------------------------------------------------------------------------

// A partner may notify a host, or a check, that has left the bus at this moment.
TEST_F(MonitorHandshake, AwaitsNoListOfAHostThatHasLeft) {
    capture.Connect();
    capture.Leave(HOST);
    capture.Notify(Message("", 4));
    Wait(3000);
    EXPECT_THAT(Read().output, Not(HasSubstr("sent no list")));
}

TEST_F(MonitorHandshake, ReportsAPartnerThatAsksForNoList) {
    capture.Connect();
    Wait(1200);
    EXPECT_THAT(TextOf(), HasSubstr("== partner :1.8 has not asked for the list (notification 4) "
                                    "within 1.2 s after the handshake: its list stays empty\n"));
}

TEST_F(MonitorHandshake, AwaitsNoNotificationForAHostThatHasLeft) {
    capture.Connect();
    capture.Leave(HOST);
    Wait(3000);
    EXPECT_THAT(Read().output, Not(HasSubstr("has not asked")));
}

TEST_F(MonitorHandshake, ReportsNoPartnerThatHasAskedBeforeItsHostIsReady) {
    capture.Announce("_CLIENT_SYN", HOST);
    capture.Announce("_SERVICE_SYN_ACK", PARTNER);
    capture.Notify(Message("", 4));
    capture.At(1).Announce("_CLIENT_ACK", HOST);
    Wait(3000);
    const std::string text = Read().output;
    EXPECT_THAT(text, HasSubstr("== connected: host :1.7 and partner :1.8"));
    EXPECT_THAT(text, Not(HasSubstr("has not asked")));
}

TEST_F(MonitorHandshake, ReportsNoPartnerThatHasAskedForTheList) {
    capture.Connect();
    capture.Notify(Message("", 4));
    Wait(3000);
    EXPECT_THAT(Read().output, Not(HasSubstr("has not asked")));
}

// After notification 4, a new list of the partner, the host sends its list, unless this is empty.

TEST_F(MonitorMissingList, IsNotedAfterASecond) {
    capture.Notify(Message("", 4));
    Wait(1200);
    Wait(5000);
    EXPECT_THAT(TextOf(), HasSubstr("== host :1.7 sent no list (2004) within 1.2 s after "
                                    "notification 4: the list was empty, or the host does not "
                                    "receive notifications\n"));
}

TEST_F(MonitorMissingList, IsShownToPrograms) {
    capture.Notify(Message("", 4));
    Wait(1200);
    const std::vector<json> objects = ReadAsJson();
    EXPECT_EQ(Find(objects, "what", "no-list").at("who"), HOST);
    EXPECT_EQ(FindEvent(objects, "summary").at("stuck"), 0);
}

TEST_F(MonitorMissingList, IsNotedForEachNotification) {
    capture.Notify(Message("", 4));
    Wait(1200);
    capture.Notify(Message("", 4));
    Wait(5000);
    EXPECT_EQ(Count(TextOf(), "sent no list"), 2U);
}

TEST_F(MonitorMissingList, IsNoneAfterTheList) {
    capture.Notify(Message("", 4));
    capture.RequestAndReply(Framed("", 2004), 1);
    Wait(3000);
    EXPECT_THAT(Read().output, Not(HasSubstr("sent no list")));
}

// The partner blocks the host.
TEST_F(MonitorMissingList, IsNoneWhileARequestWaitsForItsReply) {
    capture.Notify(Message("", 4));
    capture.Call(HOST, PARTNER, Message("", 2003));
    Wait(3000);
    EXPECT_THAT(Read().output, Not(HasSubstr("sent no list")));
}

TEST_F(MonitorMissingList, IsNoneAfterTheHostHasLeft) {
    capture.Notify(Message("", 4));
    capture.Leave(HOST);
    Wait(3000);
    EXPECT_THAT(Read().output, Not(HasSubstr("sent no list")));
}

// --- Half-open pairs -----------------------------------------------------------------------------

constexpr const char* LATER_HOST = ":1.17";
constexpr const char* LATER_PARTNER = ":1.18";

// The host's loop was busy: its answer to a partner that has left reaches the next partner.
void AnswerAPartnerThatHasLeft(CaptureWriter& capture) {
    capture.Announce("_CLIENT_SYN", HOST);
    capture.At(100).Announce("_SERVICE_SYN", PARTNER);
    capture.At(200).Leave(PARTNER);
    capture.At(300).Announce("_SERVICE_SYN", LATER_PARTNER);
    capture.At(400).Announce("_CLIENT_SYN_ACK", HOST);
    capture.At(401).Announce("_SERVICE_ACK", LATER_PARTNER);
}

// The partner's loop was busy: its answer to a host that has left reaches the next host.
void AnswerAHostThatHasLeft(CaptureWriter& capture) {
    capture.Announce("_SERVICE_SYN", PARTNER);
    capture.At(100).Announce("_CLIENT_SYN", HOST);
    capture.At(200).Leave(HOST);
    capture.At(300).Announce("_CLIENT_SYN", LATER_HOST);
    capture.At(400).Announce("_SERVICE_SYN_ACK", PARTNER);
    capture.At(401).Announce("_CLIENT_ACK", LATER_HOST);
}

TEST_F(MonitorHalfOpenPair, IsReportedWhenThePartnerAcceptedAnAnswerToAnotherPartner) {
    AnswerAPartnerThatHasLeft(capture);
    Wait(3000);
    const std::string text = TextOf(5);
    EXPECT_THAT(text, Not(HasSubstr("connected: host")));
    EXPECT_THAT(text, HasSubstr("_CLIENT_SYN_ACK: bound to :1.8, which has left the bus\n"));
    EXPECT_THAT(text,
                ContainsRegex("!! half-open pair: partner :1.18 is ready with host :1.7 since "
                              "[0-9:]+\\.401000; host :1.7 is bound to no partner since "
                              "[0-9:]+\\.400000 \\(its last one, :1.8, has left the bus\\)\\. "
                              "Restart the partner :1.18\\.\n"));
    EXPECT_THAT(text, HasSubstr("\n  half-open pair: partner :1.18 is ready"));
}

TEST_F(MonitorHalfOpenPair, IsReportedWhenTheHostAcceptedAnAnswerToAnotherHost) {
    AnswerAHostThatHasLeft(capture);
    capture.Announce("_SERVICE_SYN", PARTNER);
    Wait(3000);
    const std::string text = TextOf(5);
    EXPECT_THAT(text, Not(HasSubstr("connected: host")));
    EXPECT_THAT(text, HasSubstr("_SERVICE_SYN_ACK: bound to :1.7, which has left the bus\n"));
    EXPECT_THAT(text,
                ContainsRegex("!! half-open pair: host :1.17 is ready with partner :1.8 since "
                              "[0-9:]+\\.401000; partner :1.8 is bound to no host since "
                              "[0-9:]+\\.400000 \\(its last one, :1.7, has left the bus\\)\\. "
                              "Restart the host :1.17\\.\n"));
}

TEST_F(MonitorHalfOpenPair, IsAnObjectInJson) {
    AnswerAHostThatHasLeft(capture);
    Wait(3000);
    const std::vector<json> objects = ReadAsJson();
    const json pair = Find(objects, "what", "half-open");
    ASSERT_TRUE(pair.is_object());
    EXPECT_EQ(pair.at("event"), "handshake");
    EXPECT_EQ(pair.at("who"), LATER_HOST);
    EXPECT_EQ(pair.at("side"), "host");
    EXPECT_EQ(pair.at("host"), LATER_HOST);
    EXPECT_EQ(pair.at("partner"), PARTNER);
    EXPECT_EQ(pair.at("restart"), LATER_HOST);
    EXPECT_THAT(pair.at("since"), ContainsRegex("\\.401000Z$"));
    EXPECT_EQ(FindEvent(objects, "summary").at("handshakes").at("half_open"), 1);
}

TEST_F(MonitorHalfOpenPair, IsNotReportedForItsFirstTwoSeconds) {
    AnswerAHostThatHasLeft(capture);
    Wait(2300);
    const std::string text = TextOf();
    EXPECT_THAT(text, Not(HasSubstr("half-open")));
    EXPECT_THAT(text, Not(HasSubstr("connected: host")));
}

TEST_F(MonitorHalfOpenPair, IsConnectedAfterTheNamedPartnerHasRestarted) {
    AnswerAPartnerThatHasLeft(capture);
    Wait(3000);
    capture.Leave(LATER_PARTNER);
    capture.Announce("_SERVICE_SYN", ":1.19");
    capture.Announce("_CLIENT_SYN_ACK", HOST);
    capture.Announce("_SERVICE_ACK", ":1.19");
    Wait(6000);
    const std::string text = TextOf(4);
    EXPECT_THAT(text, HasSubstr("== connected: host :1.7 and partner :1.19"));
    EXPECT_THAT(text, HasSubstr("handshakes: 1 completed, 1 problem\n"));
}

TEST_F(MonitorHalfOpenPair, IsConnectedAfterThePartnerHasAnnouncedItselfAgain) {
    AnswerAPartnerThatHasLeft(capture);
    Wait(3000);
    capture.Announce("_SERVICE_SYN", LATER_PARTNER);
    capture.Announce("_CLIENT_SYN_ACK", HOST);
    capture.Announce("_SERVICE_ACK", LATER_PARTNER);
    Wait(6000);
    EXPECT_THAT(TextOf(4), HasSubstr("== connected: host :1.7 and partner :1.18"));
}

TEST_F(MonitorHalfOpenPair, IsConnectedAfterThePartnerHasAlsoAnsweredTheOtherHost) {
    AnswerAHostThatHasLeft(capture);
    Wait(3000);
    capture.Announce("_SERVICE_SYN_ACK", PARTNER);
    Wait(6000);
    EXPECT_THAT(TextOf(4), HasSubstr("== connected: host :1.17 and partner :1.8"));
}

TEST_F(MonitorHalfOpenPair, IsNotReportedForABoundPartnerThatRepeatsItsAnnouncement) {
    capture.Connect();
    for (int second = 1; second < 10; ++second) {
        capture.At(second * 1000).Announce("_SERVICE_SYN", PARTNER);
    }
    EXPECT_THAT(TextOf(), HasSubstr("host :1.7 is connected with partner :1.8"));
}

// The host has subscribed to the announcements before its own first one.
TEST_F(MonitorHalfOpenPair, IsNotReportedWhenTheHostAnswersAnEarlierAnnouncement) {
    capture.Announce("_SERVICE_SYN", PARTNER);
    capture.At(1).Announce("_CLIENT_SYN", HOST);
    capture.Announce("_SERVICE_SYN_ACK", PARTNER);
    capture.At(2).Announce("_CLIENT_SYN_ACK", HOST);
    capture.Announce("_SERVICE_ACK", PARTNER);
    Wait(3000);
    const std::string text = TextOf();
    EXPECT_THAT(text, HasSubstr("_CLIENT_SYN_ACK: bound to :1.8\n"));
    EXPECT_THAT(text, HasSubstr("== connected: host :1.7 and partner :1.8"));
}

// The partner has forgotten the announcement of the host with the half-open pair.
TEST_F(MonitorHalfOpenPair, IsNoConnectionWhenThePartnerAnswersAThirdHost) {
    AnswerAHostThatHasLeft(capture);
    Wait(3000);
    capture.Announce("_CLIENT_SYN", ":1.27");
    capture.Announce("_SERVICE_SYN_ACK", PARTNER);
    capture.Announce("_CLIENT_ACK", ":1.27");
    Wait(6000);
    const std::string text = TextOf(4);
    EXPECT_THAT(text, HasSubstr("_SERVICE_SYN_ACK: bound to :1.27\n"));
    EXPECT_THAT(text, HasSubstr("== connected: host :1.27 and partner :1.8"));
    EXPECT_THAT(text, Not(HasSubstr("connected: host :1.17 ")));
}

TEST_F(MonitorHalfOpenPair, IsNotReportedForAPairConnectedBeforeTheMonitorStarted) {
    capture.Announce("_SERVICE_SYN", PARTNER);
    capture.RequestAndReply(Framed("", 2003), 1);
    Wait(6000);
    EXPECT_THAT(TextOf(), HasSubstr("  host :1.7 sends requests to partner :1.8; a binding of the "
                                    "partner was not seen\n"));
}

TEST_F(MonitorHalfOpenPair, IsNotReportedAfterARestartOfEitherSide) {
    capture.Connect();
    for (int restart = 0; restart < 3; ++restart) {
        const std::string partner = ":1.2" + std::to_string(restart);
        capture.Leave(restart == 0 ? PARTNER : ":1.2" + std::to_string(restart - 1));
        capture.At(3000 * (restart + 1)).Announce("_SERVICE_SYN", partner);
        capture.Announce("_CLIENT_SYN_ACK", HOST);
        capture.Announce("_SERVICE_ACK", partner);
        Wait(3000 * (restart + 1) + 2500);
    }
    capture.Leave(HOST);
    capture.Announce("_SERVICE_SYN", ":1.22");
    capture.Announce("_CLIENT_SYN", LATER_HOST);
    capture.Announce("_SERVICE_SYN_ACK", ":1.22");
    capture.Announce("_CLIENT_ACK", LATER_HOST);
    Wait(20000);
    EXPECT_THAT(TextOf(), HasSubstr("handshakes: 5 completed, 0 problems"));
}

// --- Requests and notifications ------------------------------------------------------------------

struct MessageRow : NamedRow {
    std::string bytes;
    const char* report;
};

const MessageRow REQUESTS[] = {
    {"SetSelection", Framed("Clock\nc1\n", 2000), "APPLIST_SET_SELECTION_FNC (2000): Clock (c1)\n"},
    {"GetSelection", Framed("", 2001), "APPLIST_GET_SELECTION_FNC (2001)\n"},
    {"RemoveAllItems", Framed("", 2003), "APPLIST_REMOVE_ALL_ITEMS_FNC (2003)\n"},
    {"AddItems", Framed("Clock\nc1\nRadio\nr2\n", 2004),
     "APPLIST_ADD_ITEMS_FNC (2004): 2 items\n     Clock  c1\n     Radio  r2\n"},
    {"AddItemAtEnd", Framed("Clock\nc1\n", 2005),
     "APPLIST_ADD_ITEM_AT_END_FNC (2005): Clock (c1)\n"},
    {"SetClicked", Framed("Clock\nc1\n", 2006), "APPLIST_SET_CLICKED_FNC (2006): Clock (c1)\n"},
    {"RemoveItem", Framed("Clock\nc1\n", 2007), "APPLIST_REMOVE_ITEM_FNC (2007): Clock (c1)\n"},
    {"ModifyItem", Framed("Clock\nc1\nUhr\nu2\n", 2008),
     "APPLIST_MODIFY_ITEM_FNC (2008): Clock (c1) becomes Uhr (u2)\n"},
    {"Escapes", Framed("\033[31mClock\nc1\n", 2005),
     "APPLIST_ADD_ITEM_AT_END_FNC (2005): \\x1b[31mClock (c1)\n"},
};

class MonitorRequest : public ConnectedMonitorTest,
                       public testing::WithParamInterface<MessageRow> {};

TEST_P(MonitorRequest, IsPrintedByNameWithItsItems) {
    capture.RequestAndReply(GetParam().bytes, 1);
    EXPECT_THAT(TextOf(),
                HasSubstr("host :1.7 -> partner :1.8  #1 " + std::string(GetParam().report)));
}

TEST_F(MonitorRequests, CoverTheTableOfRequests) {
    for (const RequestKind& kind : Protocol::REQUESTS) {
        const std::string title = kind.name + (" (" + std::to_string(kind.id) + ")");
        EXPECT_TRUE(std::any_of(std::begin(REQUESTS), std::end(REQUESTS), [&](const auto& row) {
            return std::string(row.report).find(title) == 0;
        })) << title;
    }
}

INSTANTIATE_TEST_SUITE_P(, MonitorRequest, testing::ValuesIn(REQUESTS), RowName<MessageRow>);

TEST_F(MonitorRequests, ArePrintedWithReplyAndLatency) {
    capture.RequestAndReply(Framed("", 2001), 0.42, "Clock\nc1\n");
    capture.RequestAndReply(Framed("", 2001), 2, "");
    capture.RequestAndReply(Framed("", 2003), 3, "abc");
    const ToolResult report = Read();
    EXPECT_THAT(report.output,
                HasSubstr("partner :1.8  #1 answered with Clock (c1) after 0.42 ms\n"));
    EXPECT_THAT(report.output, HasSubstr("partner :1.8  #2 answered with nothing after 2.00 ms\n"));
    EXPECT_THAT(report.output, HasSubstr("partner :1.8  #3 answered with 3 bytes after 3.00 ms\n"));
}

TEST_F(MonitorRequests, AreMatchedWithTheirOwnReplies) {
    const std::uint32_t first = capture.Call(HOST, PARTNER, Message("", 2001));
    const std::uint32_t second = capture.Call(HOST, PARTNER, Message("", 2003));
    capture.Reply("org.example", ":1.50", first, CaptureWriter::Body("not this one"));
    capture.At(11).Reply(PARTNER, HOST, second, CaptureWriter::Body(""));
    capture.At(21).Reply(PARTNER, HOST, first, CaptureWriter::Body("A\na\n"));
    const ToolResult report = Read();
    EXPECT_THAT(report.output, HasSubstr("#2 answered after 10.00 ms"));
    EXPECT_THAT(report.output, HasSubstr("#1 answered with A (a) after 20.00 ms"));
}

TEST_F(MonitorRequests, ThatFailArePrintedWithTheError) {
    const std::uint32_t serial = capture.Call(HOST, PARTNER, Message("", 2003));
    capture.At(3).Error("org.freedesktop.DBus", HOST, serial, "org.freedesktop.DBus.Error.NoReply",
                        "gone");
    EXPECT_THAT(TextOf(4), HasSubstr("!! partner :1.8  #1 failed after 2.00 ms: "
                                     "org.freedesktop.DBus.Error.NoReply: gone"));
}

TEST_F(MonitorRequests, WithoutAReplyArePrintedDuringTheWaitAndInTheSummary) {
    capture.Call(HOST, PARTNER, Message("", 2003));
    Wait(1501);
    const std::string text = TextOf(4);
    const std::string start = "!! #1 APPLIST_REMOVE_ALL_ITEMS_FNC (2003) ";
    EXPECT_THAT(text, HasSubstr(start + "has no reply after 1.5 s from partner :1.8\n"));
    EXPECT_THAT(text, HasSubstr(start + "got no reply from partner :1.8\n"));
    EXPECT_THAT(text, HasSubstr("\nwithout a reply for 1 s: 1 request\n"));
    EXPECT_THAT(text, ContainsRegex("APPLIST_REMOVE_ALL_ITEMS_FNC \\(2003\\) +0 +0 +1\n"));
}

TEST_F(MonitorRequests, WithALateReplyAreAFault) {
    const std::uint32_t serial = capture.Call(HOST, PARTNER, Message("", 2003));
    Wait(1501);
    capture.Reply(PARTNER, HOST, serial, CaptureWriter::Body(""));
    const std::string text = TextOf(4);
    EXPECT_THAT(text, HasSubstr("#1 answered after 1.5 s"));
    EXPECT_THAT(text, HasSubstr("\nwithout a reply for 1 s: 1 request\n"));
}

// The partner has not received the end of its host.
TEST_F(MonitorNotifications, ToAHostThatHasLeftMakeNoHost) {
    capture.Leave(HOST);
    capture.Notify(Message("", 4));
    const std::string text = TextOf();
    EXPECT_THAT(text, HasSubstr("APPLIST_LOCAL_CREATED_EVENT (4)"));
    EXPECT_THAT(text, Not(HasSubstr("talk: ")));
    EXPECT_THAT(text, HasSubstr("  partner :1.8 waits for a host\n"));
}

TEST_F(MonitorNotifications, ArePrintedByName) {
    capture.Notify(Message("", 1));
    capture.Notify(Message("", 2));
    capture.Notify(Message("ab", 3));
    capture.Notify(Message("", 4));
    const std::string text = TextOf();
    const std::string start = "partner :1.8 ~> host :1.7  ";
    EXPECT_THAT(text, HasSubstr(start + "APPLIST_ITEM_CHANGE_EVENT (1)\n"));
    EXPECT_THAT(text, HasSubstr(start + "APPLIST_ITEM_SELECTION_EVENT (2)\n"));
    EXPECT_THAT(text,
                HasSubstr(start + "APPLIST_ITEM_CLICKED_EVENT (3), with a payload of 2 bytes\n"));
    EXPECT_THAT(text, HasSubstr(start + "APPLIST_LOCAL_CREATED_EVENT (4)\n"));
}

TEST_F(MonitorSummary, HasThePercentilesOfTheLatencies) {
    for (int i = 100; i >= 1; --i) {
        capture.RequestAndReply(Framed("A\na\n", 2005), i);
    }
    const std::string text = Read().output;
    EXPECT_THAT(text, ContainsRegex("APPLIST_ADD_ITEM_AT_END_FNC \\(2005\\) +100 +0 +0\n"));
    EXPECT_THAT(text, ContainsRegex("APPLIST_ADD_ITEM_AT_END_FNC \\(2005\\) +50.00 +90.00 "
                                    "+99.00 +100.00\n"));
}

TEST_F(MonitorSummary, FitsATerminalOf80Columns) {
    for (int id = 2000; id <= 2008; ++id) {
        capture.RequestAndReply(Framed("", id), 24000);
    }
    capture.Notify(Message("", 2));
    const std::string text = Read().output;
    std::istringstream lines(text.substr(text.find("\nrequests ") + 1));
    std::size_t longest = 0;
    for (std::string line; std::getline(lines, line);) {
        longest = std::max(longest, line.size());
    }
    EXPECT_LE(longest, 80U) << text;
    EXPECT_GT(longest, 70U) << text;
}

TEST_F(MonitorCount, EndsTheRunAfterThisNumberOfRequestsAndNotifications) {
    capture.RequestAndReply(Framed("", 2003), 1);
    capture.Notify(Message("", 1));
    capture.RequestAndReply(Framed("", 2001), 1);
    const ToolResult report = Read({"--count=2"});
    EXPECT_THAT(report.output, HasSubstr("APPLIST_ITEM_CHANGE_EVENT"));
    EXPECT_THAT(report.output, Not(HasSubstr("APPLIST_GET_SELECTION_FNC")));
    EXPECT_THAT(report.output, HasSubstr("summary of"));
}

// --- Malformed traffic ---------------------------------------------------------------------------

struct MalformedRow : NamedRow {
    void (*write)(CaptureWriter& capture);
    const char* report;
};

const MalformedRow MALFORMED[] = {
    {"RequestWithoutABody",
     [](CaptureWriter& capture) {
         capture.Reply(PARTNER, HOST, capture.Call(HOST, PARTNER, nullptr),
                       CaptureWriter::Body(""));
     },
     "#1 no id is malformed: it has no body"},
    {"RequestOfAnotherType",
     [](CaptureWriter& capture) {
         const auto serial = capture.Call(HOST, PARTNER, g_variant_new("(s)", "x"));
         capture.Reply(PARTNER, HOST, serial, CaptureWriter::Body(""));
     },
     "#1 no id is malformed: its type is (s), not (ay)"},
    {"RequestTooShort", [](CaptureWriter& capture) { capture.RequestAndReply("abc", 1); },
     "#1 no id is malformed: 3 bytes are too short for an id"},
    {"RequestUnknown", [](CaptureWriter& capture) { capture.RequestAndReply(Framed("", 2002), 1); },
     "#1 id 2002 is malformed: no request has the id 2002"},
    {"RequestWithHalfARecord",
     [](CaptureWriter& capture) { capture.RequestAndReply(Framed("A\na\nB\nb", 2004), 1); },
     "(2004) is malformed: its 7 bytes end inside an item record, after 1 item"},
    {"RequestWithTooManyItems",
     [](CaptureWriter& capture) { capture.RequestAndReply(Framed("A\na\nB\nb\n", 2000), 1); },
     "(2000) is malformed: it carries 2 items, not 1"},
    {"ReplyWithHalfARecord",
     [](CaptureWriter& capture) { capture.RequestAndReply(Framed("", 2001), 1, "A\na"); },
     "#1 answered after 1.00 ms, malformed: its 3 bytes end inside an item record, after 0 items"},
    {"ReplyOfAnotherType",
     [](CaptureWriter& capture) {
         const auto serial = capture.Call(HOST, PARTNER, Message("", 2001));
         capture.Reply(PARTNER, HOST, serial, g_variant_new("(as)", nullptr));
     },
     "malformed: its type is (as), not (ay)"},
    {"NotificationUnknown", [](CaptureWriter& capture) { capture.Notify(Message("", 5)); },
     "id 5 is malformed: no notification has the id 5"},
    {"NotificationTooShort",
     [](CaptureWriter& capture) { capture.Notify(CaptureWriter::Body("")); },
     "no id is malformed: 0 bytes are too short for an id"},
    {"NotificationOfAnotherType",
     [](CaptureWriter& capture) { capture.Notify(g_variant_new("(i)", 4)); },
     "no id is malformed: its type is (i), not (ay)"},
    {"SignalUnknown", [](CaptureWriter& capture) { capture.Notify(Message("", 4), "Shout"); },
     "a signal Shout of :1.8, which is unknown"},
    {"SignalFromAnotherPath",
     [](CaptureWriter& capture) { capture.SignalOf(PARTNER, HOST, INTERFACE, "SendSignal", "/"); },
     "a SendSignal of :1.8, which hosts ignore: its object path is /, not /org/morva/"},
    {"SignalOfAnotherInterface",
     [](CaptureWriter& capture) {
         capture.SignalOf(PARTNER, HOST, "org.example.Other", "SendSignal");
     },
     "which hosts ignore: its interface is org.example.Other, not org.morva."},
    {"MethodUnknown",
     [](CaptureWriter& capture) { capture.Call(HOST, PARTNER, nullptr, "Receive"); },
     "a call of Receive by :1.7, which is no method"},
    {"Garbage", [](CaptureWriter& capture) { capture.Packet("hello, this is not D-Bus", 24); },
     "a packet of 24 bytes is no D-Bus message"},
    {"AnEmptyPacket", [](CaptureWriter& capture) { capture.Packet("", 0); },
     "a packet of 0 bytes is no D-Bus message"},
    {"AHugeLengthInTheMessage",
     [](CaptureWriter& capture) {
         capture.Packet(std::string("l\1\0\1\xff\xff\xff\x7f\1\0\0\0\xff\xff\xff\x7f", 16), 16);
     },
     "a packet of 16 bytes is no D-Bus message"},
};

class MonitorMalformed : public ConnectedMonitorTest,
                         public testing::WithParamInterface<MalformedRow> {};

TEST_P(MonitorMalformed, IsMarkedAndTheOtherMessagesArePrinted) {
    GetParam().write(capture);
    capture.RequestAndReply(Framed("Z\nz\n", 2005), 1);
    const std::string text = TextOf(4);
    EXPECT_THAT(text, ContainsRegex("!! [^\n]*"));
    EXPECT_THAT(text, HasSubstr(GetParam().report));
    EXPECT_THAT(text, HasSubstr("malformed: 1\n"));
    EXPECT_THAT(text, HasSubstr("APPLIST_ADD_ITEM_AT_END_FNC (2005): Z (z)"));
}

INSTANTIATE_TEST_SUITE_P(, MonitorMalformed, testing::ValuesIn(MALFORMED), RowName<MalformedRow>);

TEST_F(MonitorRead, PrintsTheRestOfATruncatedMessage) {
    capture.CutAt(256);
    capture.RequestAndReply(Framed(std::string(1000, 'a') + "\nb\n", 2005), 7);
    const std::string text = TextOf();
    EXPECT_THAT(text, ContainsRegex("#1 cut by the capture: the capture lacks its last "
                                    "[0-9]+ of 1007 bytes"));
    EXPECT_THAT(text, HasSubstr("cut by the capture: 1\nmalformed: 0\n"));
    EXPECT_THAT(text, Not(HasSubstr("!!")));
    EXPECT_THAT(text, HasSubstr("#1 answered after 7.00 ms"));
}

struct CutRow : NamedRow {
    void (*write)(CaptureWriter& capture);
    const char* report;
};

const CutRow CUT[] = {
    {"Reply",
     [](CaptureWriter& capture) {
         capture.CutAt(256);
         capture.RequestAndReply(Framed("", 2001), 1, std::string(1000, 'a') + "\nb\n");
     },
     "#1 answered, the capture lacks its last 8"},
    {"Notification",
     [](CaptureWriter& capture) {
         capture.CutAt(256);
         capture.Notify(Message(std::string(1000, 'a'), 4));
     },
     "~> host :1.7  cut by the capture: the capture lacks its last "},
    {"Header",
     [](CaptureWriter& capture) {
         capture.CutAt(40);
         capture.RequestAndReply(Framed("", 2003), 1);
     },
     "  the capture has 40 of the "},
    {"StartOfTheHeader", [](CaptureWriter& capture) { capture.Packet("l\1", 100); },
     "  the capture has 2 of the 100 bytes of a message"},
    {"AHugeLength",
     [](CaptureWriter& capture) {
         capture.Packet(std::string("l\1\0\1\0\0\0\x07\1\0\0\0\0\0\0\0", 16), 0x7000010);
     },
     "  the capture has 16 of the 117440528 bytes of a message"},
};

class MonitorCut : public ConnectedMonitorTest, public testing::WithParamInterface<CutRow> {};

TEST_P(MonitorCut, IsNoFault) {
    GetParam().write(capture);
    const std::string text = TextOf();
    EXPECT_THAT(text, HasSubstr(GetParam().report));
    EXPECT_THAT(text, Not(HasSubstr("!!")));
    EXPECT_THAT(text, ContainsRegex("cut by the capture: [12]\nmalformed: 0\n"));
}

INSTANTIATE_TEST_SUITE_P(, MonitorCut, testing::ValuesIn(CUT), RowName<CutRow>);

TEST_F(MonitorRead, MarksACutMessageForPrograms) {
    capture.CutAt(256);
    capture.RequestAndReply(Framed(std::string(1000, 'a') + "\nb\n", 2005), 7);
    capture.CutAt(40);
    capture.Notify(Message("", 4));
    const std::vector<json> objects = ReadAsJson();
    EXPECT_THAT(FindEvent(objects, "request").at("cut"), HasSubstr("the capture lacks its last "));
    EXPECT_THAT(FindEvent(objects, "cut").at("text"), HasSubstr("the capture has 40 of the "));
    EXPECT_EQ(FindEvent(objects, "summary").at("cut"), 2);
    EXPECT_EQ(FindEvent(objects, "summary").at("malformed"), 0);
}

std::string ManyItems() {
    std::string records;
    for (int i = 1; i <= 15; ++i) {
        records += "Item " + std::to_string(i) + "\nid" + std::to_string(i) + "\n";
    }
    return Framed(records, 2004);
}

TEST_F(MonitorRead, ShortensALongListOfItems) {
    capture.RequestAndReply(ManyItems(), 1);
    const ToolResult report = Read();
    EXPECT_THAT(report.output, HasSubstr("(2004): 15 items\n"));
    EXPECT_THAT(report.output,
                HasSubstr("     Item 10  id10\n     and 5 more (--all shows them)\n"));
    EXPECT_THAT(report.output, Not(HasSubstr("Item 11")));
}

TEST_F(MonitorRead, ShowsAllItemsOnRequest) {
    capture.RequestAndReply(ManyItems(), 1);
    const ToolResult report = Read({"--all"});
    EXPECT_THAT(report.output, HasSubstr("     Item 15  id15\n"));
    EXPECT_THAT(report.output, Not(HasSubstr("--all")));
}

// busctl also captures the local signal of its own library at the end of the bus.
TEST_F(MonitorRead, OmitsLocalMessages) {
    const std::string local = "no bus carries this: /org/freedesktop/DBus/Local";
    capture.Packet(local, local.size());
    const ToolResult report = Read();
    EXPECT_EQ(report.status, 0) << report.output;
}

// --- Files ---------------------------------------------------------------------------------------

TEST_F(MonitorRead, PrintsATruncatedCaptureUpToItsEnd) {
    capture.RequestAndReply(Framed("", 2003), 1);
    const std::string& bytes = capture.Bytes();
    const ToolResult report = ReportOf(bytes.substr(0, bytes.size() - 10));
    EXPECT_EQ(report.status, 1);
    EXPECT_THAT(report.errors, HasSubstr("the capture is damaged here: truncated"));
    EXPECT_THAT(report.output, HasSubstr("APPLIST_REMOVE_ALL_ITEMS_FNC"));
    EXPECT_THAT(report.output, HasSubstr("summary of"));
}

TEST_F(MonitorRead, EndsAtAPacketWithAHugeLengthField) {
    capture.Append(std::string("\0\0\0\0\0\0\0\0\xff\xff\xff\xff\xff\xff\xff\xff", 16));
    const ToolResult report = Read();
    EXPECT_EQ(report.status, 1);
    EXPECT_THAT(report.errors, HasSubstr("the capture is damaged here: "));
    EXPECT_THAT(report.output, HasSubstr("connected: host :1.7"));
}

TEST_F(MonitorRead, RefusesAFileThatIsNotACapture) {
    const ToolResult report =
        ReportOf(std::string("this is a text, and no capture of anything at all\n"));
    EXPECT_EQ(report.status, 1);
    EXPECT_THAT(report.errors, HasSubstr(" is no capture: "));
}

TEST_F(MonitorRead, RefusesAFolderAndAnEmptyFile) {
    const ToolResult folder = RunTool({"monitor", "--read=/"});
    EXPECT_EQ(folder.status, 1);
    EXPECT_EQ(folder.errors, "applistctl monitor: / is a folder: --read takes a capture file\n");
    const ToolResult empty = RunTool({"monitor", "--read=/dev/null"});
    EXPECT_EQ(empty.status, 1);
    EXPECT_EQ(empty.errors, "applistctl monitor: /dev/null is no capture: it is empty\n");
}

TEST_F(MonitorRead, RefusesACaptureOfAnotherProtocol) {
    const ToolResult report = ReportOf(CaptureWriter(1).Bytes());
    EXPECT_EQ(report.status, 1);
    EXPECT_THAT(report.errors, HasSubstr(" is a capture of EN10MB, not of D-Bus"));
}

TEST_F(MonitorRead, ReportsTheNameOfAMissingFile) {
    ToolProcess tool({"monitor", "--read", "/nonexistent/capture"});
    EXPECT_EQ(tool.WaitForExit(), 1);
    EXPECT_THAT(tool.Errors(), HasSubstr("/nonexistent/capture: No such file"));
}

TEST_F(MonitorRead, PrintsACaptureOnStandardInputAtOnce) {
    ToolProcess tool({"monitor", "--read", "-"});
    tool.SendBytes(capture.Bytes());
    EXPECT_TRUE(tool.WaitFor("connected: host :1.7"));
    EXPECT_EQ(tool.EndOfInput(), 0);
}

TEST_F(MonitorRead, EndsWithTheSummaryWhenInterruptedInAPipe) {
    ToolProcess tool({"monitor", "--read", "-"});
    tool.SendBytes(capture.Bytes());
    EXPECT_TRUE(tool.WaitFor("connected: host :1.7"));
    EXPECT_EQ(tool.Interrupt(), 0);
    EXPECT_THAT(tool.Output(), HasSubstr("handshakes: 1 completed"));
}

// --- JSON ----------------------------------------------------------------------------------------

TEST_F(MonitorJson, HasARequestWithReplyAndLatencyInOneObject) {
    capture.RequestAndReply(Framed("", 2001), 1.25, "Clock\nc1\n");
    const json request = FindEvent(ReadAsJson(), "request");
    EXPECT_EQ(request.value("time", ""), "2023-11-14T22:13:20.001000Z");
    EXPECT_EQ(request.value("id", 0), 2001);
    EXPECT_EQ(request.value("name", ""), "APPLIST_GET_SELECTION_FNC");
    EXPECT_EQ(request.value("from", ""), HOST);
    EXPECT_EQ(request.value("to_side", ""), "partner");
    EXPECT_EQ(request.value("result", ""), "answered");
    EXPECT_EQ(request.value("latency_ms", 0.0), 1.25);
    EXPECT_EQ(request["reply"]["items"], json::parse(R"([{"name": "Clock", "id": "c1"}])"));
}

TEST_F(MonitorJson, HasTheHandshakeAndTheSummary) {
    capture.RequestAndReply(Framed("", 2003), 4);
    capture.Notify(Message("", 1));
    const std::vector<json> objects = ReadAsJson();
    const json ready = Find(objects, "what", "ready");
    ASSERT_TRUE(ready.is_object());
    EXPECT_EQ(ready.value("host", ""), HOST);
    EXPECT_EQ(ready.value("partner", ""), PARTNER);
    EXPECT_EQ(ready.value("elapsed_ms", 0.0), 1.0);
    const json& summary = objects.back();
    EXPECT_EQ(summary.value("event", ""), "summary");
    EXPECT_EQ(summary["requests"]["APPLIST_REMOVE_ALL_ITEMS_FNC (2003)"]["latency_ms"]["p99"], 4.0);
    EXPECT_EQ(summary["notifications"]["APPLIST_ITEM_CHANGE_EVENT (1)"], 1);
    EXPECT_EQ(summary["malformed"], 0);
}

TEST_F(MonitorJson, IsValidJsonWithNamesThatAreNotUtf8) {
    capture.RequestAndReply(Framed("\xff\"\x01\nc\xc3\n", 2005), 1);
    const json request = FindEvent(ReadAsJson(), "request");
    EXPECT_EQ(request["items"][0].value("name", ""), "\xef\xbf\xbd\"\x01");
}

TEST_F(MonitorJson, EscapesCharactersThatControlATerminal) {
    const std::string name = std::string("\xe2\x80") + // U+202E, in two literals for clang-tidy
                             "\xae"
                             "A\x7f\xc2\x9b"
                             "B";
    capture.RequestAndReply(Framed(name + "\nc\n", 2005), 1);
    EXPECT_EQ(FindEvent(ReadAsJson(), "request")["items"][0].value("name", ""), name);
    EXPECT_THAT(Read({"--json"}).output, HasSubstr(R"("\u202eA\u007f\u009bB")"));
}

TEST_F(MonitorJson, MarksMalformedMessages) {
    capture.RequestAndReply("abc", 1);
    const json request = FindEvent(ReadAsJson(), "request");
    EXPECT_EQ(request.value("malformed", ""), "3 bytes are too short for an id");
}

// --- Usage ---------------------------------------------------------------------------------------

struct UsageRow : NamedRow {
    std::vector<std::string> arguments;
    const char* errors;
};

const UsageRow USAGE[] = {
    {"Arguments", {"monitor", "x"}, "it takes no arguments"},
    {"SecondsThatAreNoNumber",
     {"monitor", "--seconds=soon"},
     "--seconds takes a number from 1 to 4000000, not \"soon\""},
    {"ACountOfNothing",
     {"monitor", "--count=0"},
     "--count takes a number from 1 to 4000000, not \"0\""},
    {"ACaptureAndSeconds", {"monitor", "--read=x", "--seconds=1"}, "--read takes neither"},
    {"ACaptureAndABus", {"monitor", "--read=x", "--bus=unix:path=/x"}, "--read takes neither"},
};

class MonitorUsage : public testing::TestWithParam<UsageRow> {};

TEST_P(MonitorUsage, WithWrongOptionsIsRefused) {
    ToolProcess tool(GetParam().arguments);
    EXPECT_EQ(tool.WaitForExit(), 2);
    EXPECT_THAT(tool.Errors(), HasSubstr(GetParam().errors));
}

INSTANTIATE_TEST_SUITE_P(, MonitorUsage, testing::ValuesIn(USAGE), RowName<UsageRow>);

} // namespace
