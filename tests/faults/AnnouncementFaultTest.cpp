// Each of the three announcements, with each reply and missing reply of the bus to the request and
// the release of a name.
#include <string>
#include <tuple>
#include <vector>

#include "FaultTest.h"

namespace {

struct Announcement {
    const char* testName;
    const char* own;   // the announcement of the endpoint
    const char* cause; // the earlier announcement of the partner; null for the endpoint's start
};

struct Fault {
    std::string testName;
    const char* method;
    BusDouble::Reply reply;
    bool succeeds;
    Strings errors;
    bool disconnects = false;
    bool leavesOpen = false; // whether the name is owned
};

std::ostream& operator<<(std::ostream& os, const Announcement& announcement) {
    return os << announcement.own;
}

std::ostream& operator<<(std::ostream& os, const Fault& fault) {
    return os << fault.testName;
}

using Reply = BusDouble::Reply;

constexpr const char* NO_REPLY_LINE = "Cannot get response for name request";
constexpr const char* RELEASE_LINE = "Release failed due to empty response.";

Reply BusError(const std::string& name, const std::string& text) {
    return Reply::Error("org.freedesktop.DBus.Error." + name, text);
}

Fault RequestCode(const std::string& testName, guint32 code, int logged) {
    return {"RequestName" + testName,
            "RequestName",
            Reply::Code(code),
            false,
            {"Cannot own name due to return code = " + std::to_string(logged)}};
}

Fault RequestError(const std::string& errorName, const std::string& text, int code) {
    return {"RequestName" + errorName,
            "RequestName",
            BusError(errorName, text),
            false,
            {"Error during request name call [" + std::to_string(code) +
                 "] GDBus.Error:org.freedesktop.DBus.Error." + errorName + ": " + text,
             NO_REPLY_LINE}};
}

Fault ReleaseCode(const std::string& testName, guint32 code) {
    return {"ReleaseName" + testName, "ReleaseName", Reply::Code(code), true, {}};
}

Fault ReleaseFails(const std::string& testName, const Reply& reply) {
    return {"ReleaseName" + testName, "ReleaseName", reply, false, {RELEASE_LINE}};
}

std::vector<Fault> Faults() {
    const Strings wrongType = {"Error during request name call [13] *", NO_REPLY_LINE};
    const Strings closed = {"Error during request name call [18] *", NO_REPLY_LINE};
    return {
        {"RequestNamePrimaryOwner", "RequestName", Reply::Code(1), true, {}},
        RequestCode("Code0", 0, 0),
        RequestCode("InQueue", 2, 2),
        RequestCode("Exists", 3, 3),
        RequestCode("AlreadyOwner", 4, 4),
        RequestCode("Code5", 5, 5),
        RequestCode("LargestCode", 0xffffffff, -1),
        RequestError("AccessDenied", "Not allowed to own the service \"%s%n\" due to policy", 9),
        RequestError("NoReply", "Message recipient disconnected", 4),
        RequestError("Timeout", "It took too long", 12),
        RequestError("LimitsExceeded", "Too many names", 8),
        RequestError("NoMemory", "", 1),
        RequestError("SomethingNew", "Unheard of", 36),
        {"RequestNameReplyOfOtherType", "RequestName", Reply::Body(g_variant_new("(s)", "1")),
         false, wrongType, false, true},
        {"RequestNameReplyWithoutBody", "RequestName", Reply::Body(nullptr), false, wrongType,
         false, true},
        {"RequestNameDisconnect", "RequestName", Reply::Disconnect(), false, closed, true},
        ReleaseCode("Released", 1),
        ReleaseCode("NonExistent", 2),
        ReleaseCode("NotOwner", 3),
        ReleaseCode("Code0", 0),
        ReleaseCode("LargestCode", 0xffffffff),
        ReleaseFails("AccessDenied", BusError("AccessDenied", "No")),
        ReleaseFails("NoReply", BusError("NoReply", "No reply")),
        ReleaseFails("Timeout", BusError("Timeout", "No time")),
        ReleaseFails("SomethingNew", BusError("SomethingNew", "Unheard of")),
        ReleaseFails("ReplyOfOtherType", Reply::Body(g_variant_new("(s)", "1"))),
        ReleaseFails("ReplyWithoutBody", Reply::Body(nullptr)),
        {"ReleaseNameDisconnect", "ReleaseName", Reply::Disconnect(), false, {RELEASE_LINE}, true},
    };
}

std::string FaultName(const testing::TestParamInfo<Fault>& row) {
    return row.param.testName;
}

bool IsOwned(const Fault& fault) {
    return fault.succeeds || std::string(fault.method) == "ReleaseName";
}

// The number of release calls: one if the name was owned, or if the reply left its ownership open.
std::size_t ExpectedReleases(const Fault& fault) {
    return IsOwned(fault) || fault.leavesOpen ? 1 : 0;
}

class StartAnnouncement : public FaultTest, public testing::WithParamInterface<Fault> {};

TEST_P(StartAnnouncement, IsNotRepeatedAfterAnyReplyOfTheBus) {
    const Fault& fault = GetParam();
    const std::string name = Host().EndpointName("_SYN");
    const int threadsBefore = LibraryCalls::Threads().started;
    Bus().Script(fault.method, name, fault.reply);

    MakeEndpoint();

    ExpectTexts(Errors(), fault.errors);
    EXPECT_EQ(Bus().CountCalls("RequestName " + name), 1U);
    EXPECT_EQ(CountReleases(name), ExpectedReleases(fault));
    EXPECT_EQ(CountDebug("Become primary owner for name. Releasing it."), IsOwned(fault) ? 1U : 0U);
    EXPECT_EQ(LibraryCalls::Threads().started, threadsBefore) << "it is never resent";
    EXPECT_FALSE(Endpoint().IsConnectionReady());
    if (!fault.disconnects) {
        Bus().ForgetScripts();
        ConnectTo(PARTNER);
    }
}

INSTANTIATE_TEST_SUITE_P(Bus, StartAnnouncement, testing::ValuesIn(Faults()), FaultName);

class AnswerAnnouncement : public FaultTest,
                           public testing::WithParamInterface<std::tuple<Announcement, Fault>> {
protected:
    const Announcement& Step() const { return std::get<0>(GetParam()); }
    const Fault& TheFault() const { return std::get<1>(GetParam()); }
    std::string Name() { return Host().EndpointName(Step().own); }
    bool IsAck() const { return std::string(Step().own) == "_ACK"; }

    void ExpectAnnounced() {
        EXPECT_EQ(CountDebug("Successfully broadcasted: " + Name()), 1U);
        EXPECT_EQ(Endpoint().IsConnectionReady(), IsAck());
        EXPECT_EQ(Endpoint().Reports(), IsAck() ? Strings{"ready :2.Partner"} : Strings{});
        EXPECT_TRUE(IsBound());
    }

    void ExpectResendRequested() {
        EXPECT_EQ(CountDebug("Failed to broadcast: " + Name() + ". Requested resend"), 1U);
        EXPECT_EQ(CountDebug("Creating timer that will execute OnResendHandshake()"), 1U);
        EXPECT_EQ(CountDebug("Timer thread create status: 1"), 1U);
        EXPECT_EQ(CountDebug("Successfully broadcasted: " + Name()), 0U);
        EXPECT_FALSE(Endpoint().IsConnectionReady());
        EXPECT_EQ(Endpoint().Reports(), Strings{});
    }

    void ExpectPassKeepsTheAnswer() {
        LibraryCalls::StepResendThread();
        EXPECT_EQ(CountDebug("Failed to broadcasted: " + Name() + ". Will try once again"), 1U);
        EXPECT_TRUE(LibraryCalls::ResendThreadRuns());
        EXPECT_FALSE(Endpoint().IsConnectionReady());
        EXPECT_EQ(Endpoint().Reports(), Strings{});
    }
};

TEST_P(AnswerAnnouncement, IsResentUntilTheBusAcceptsIt) {
    MakeEndpoint();
    const HeldResendThread held;
    Bus().Script(TheFault().method, Name(), TheFault().reply);
    CapturedLog::Clear();
    Host().EmitAnnouncement(Step().cause, PARTNER);
    ASSERT_TRUE(MainLoop::IterateUntil([&] {
        return CountDebug("Timer thread create status: 1") +
                   CountDebug("Successfully broadcasted: " + Name()) >
               0;
    }));

    ExpectTexts(Errors(), TheFault().errors);
    EXPECT_EQ(Bus().CountCalls("RequestName " + Name()), 1U);
    EXPECT_EQ(CountReleases(Name()), ExpectedReleases(TheFault()));
    if (TheFault().succeeds) {
        ExpectAnnounced();
        return;
    }
    ExpectResendRequested();
    ExpectPassKeepsTheAnswer();
    if (!TheFault().disconnects) {
        Bus().ForgetScripts();
        LibraryCalls::StepResendThread();
        EXPECT_FALSE(LibraryCalls::ResendThreadRuns());
        ExpectAnnounced();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Bus, AnswerAnnouncement,
    testing::Combine(testing::Values(Announcement{"SynAck", "_SYN_ACK", "_SYN"},
                                     Announcement{"Ack", "_ACK", "_SYN_ACK"}),
                     testing::ValuesIn(Faults())),
    [](const testing::TestParamInfo<std::tuple<Announcement, Fault>>& row) {
        return std::get<0>(row.param).testName + std::get<1>(row.param).testName;
    });

} // namespace
