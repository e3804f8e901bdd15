// NameOwnerChanged signals that no bus sends: in any order, doubled, for unrelated names, and with
// other arguments.
#include <string>
#include <vector>

#include "FaultTest.h"

namespace {

struct OwnerChange {
    std::string name; // a suffix like "_SYN", or a whole name
    std::string oldOwner;
    std::string newOwner;
};

struct Row {
    const char* testName;
    std::vector<OwnerChange> changes;
    Strings announcements; // the answers, by suffix
    Strings reports;
    bool ready;
    Strings errors = {};
};

std::ostream& operator<<(std::ostream& os, const Row& row) {
    return os << row.testName;
}

const char* const P = ":2.P";
const char* const Q = ":2.Q";

OwnerChange Took(const char* suffix, const char* owner) {
    return {suffix, "", owner};
}
OwnerChange Released(const char* suffix, const char* owner) {
    return {suffix, owner, ""};
}
OwnerChange Vanished(const char* owner) {
    return {owner, owner, ""};
}

const Row ROWS[] = {
    {"InOrder",
     {Took("_SYN", P), Released("_SYN", P), Took("_ACK", P), Released("_ACK", P)},
     {"_SYN_ACK"},
     {"ready :2.P"},
     true},
    {"RequestedNamesAlone", {Took("_SYN", P), Took("_SYN_ACK", P), Took("_ACK", P)}, {}, {}, false},
    {"ReleaseBeforeTheRequest", {Released("_SYN", P), Took("_SYN", P)}, {"_SYN_ACK"}, {}, false},
    {"SynDoubled", {Released("_SYN", P), Released("_SYN", P)}, {"_SYN_ACK"}, {}, false},
    {"SynAckDoubled",
     {Released("_SYN_ACK", P), Released("_SYN_ACK", P)},
     {"_ACK"},
     {"ready :2.P"},
     true},
    {"AckDoubled",
     {Released("_SYN", P), Released("_ACK", P), Released("_ACK", P)},
     {"_SYN_ACK"},
     {"ready :2.P", "ready :2.P"},
     true},
    {"AckFirst", {Released("_ACK", P)}, {}, {}, false},
    {"AckBeforeSyn", {Released("_ACK", P), Released("_SYN", P)}, {"_SYN_ACK"}, {}, false},
    {"SynAfterSynAck",
     {Released("_SYN_ACK", P), Released("_SYN", P)},
     {"_ACK"},
     {"ready :2.P"},
     true},
    {"SynAckAfterSyn", {Released("_SYN", P), Released("_SYN_ACK", P)}, {"_SYN_ACK"}, {}, false},
    {"AckOfAnotherPartner",
     {Released("_SYN", P), Released("_ACK", Q)},
     {"_SYN_ACK"},
     {"ready :2.Q"},
     true},
    {"SecondPartner",
     {Released("_SYN_ACK", P), Released("_SYN", Q), Released("_SYN_ACK", Q)},
     {"_ACK"},
     {"ready :2.P"},
     true},
    {"RestartBeforeTheLossIsReported",
     {Released("_SYN_ACK", P), Released("_SYN", Q), Vanished(P)},
     {"_ACK"},
     {"ready :2.P", "lost :2.P"},
     false},
    {"RestartAfterTheLoss",
     {Released("_SYN_ACK", P), Vanished(P), Released("_SYN", Q), Released("_ACK", Q)},
     {"_ACK", "_SYN_ACK"},
     {"ready :2.P", "lost :2.P", "ready :2.Q"},
     true},
    {"LossDoubled",
     {Released("_SYN_ACK", P), Vanished(P), Vanished(P)},
     {"_ACK"},
     {"ready :2.P", "lost :2.P"},
     false},
    {"LossOfAnotherName", {Released("_SYN_ACK", P), Vanished(Q)}, {"_ACK"}, {"ready :2.P"}, true},
    {"LossBeforeTheBinding", {Vanished(P), Released("_ACK", P)}, {}, {}, false},
    {"PassedToAnotherOwner", {{"_SYN", P, Q}, {"_SYN_ACK", P, Q}, {"_ACK", P, Q}}, {}, {}, false},
    {"OwnReleases",
     {Released("_SYN", ":1.1"), Released("_SYN_ACK", ":1.1"), Released("_ACK", ":1.1")},
     {},
     {},
     false},
    {"UnrelatedNames",
     {{"org.morva.JavaMW.Applist_SERVICE", P, ""},
      {"org.morva.JavaMW.Applist_SERVICE_SYNC", P, ""},
      {"org.morva.JavaMW.Applist_CLIENT_SYN_ACK", P, ""},
      {"org.morva.JavaMW.Other_SERVICE_SYN", P, ""},
      {"org.example.Name", P, ""}},
     {},
     {},
     false},
    {"NoOwnerReleases",
     {{"_SYN", "", ""}, {"_SYN_ACK", "", ""}},
     {},
     {},
     false,
     {"'' is no bus name of a partner", "'' is no bus name of a partner"}},
    {"NoBusNameReleases",
     {{"_SYN", "no name", ""}},
     {},
     {},
     false,
     {"'no name' is no bus name of a partner"}},
};

class OwnerChangeTest : public FaultTest, public testing::WithParamInterface<Row> {
protected:
    void Emit(const OwnerChange& change) {
        const bool isSuffix = change.name[0] == '_';
        const std::string name = isSuffix ? Host().PartnerName(change.name) : change.name;
        if (change.name[0] == ':') {
            Bus().Vanish(name);
        } else {
            Bus().EmitNameOwnerChanged(name, change.oldOwner, change.newOwner);
        }
        // Twice: a name watch of the first round reports losses after the reply of the bus.
        ASSERT_TRUE(Host().Deliver() && Host().Deliver());
        MainLoop::IterateUntilIdle();
    }

    Strings Announcements() {
        Strings suffixes;
        const std::string start = "ReleaseName " + Host().EndpointName("");
        for (const std::string& call : Bus().Calls()) {
            if (call.compare(0, start.size(), start) == 0) {
                suffixes.push_back(call.substr(start.size()));
            }
        }
        return suffixes;
    }
};

TEST_P(OwnerChangeTest, HasTheEffectsOfTheTableOfStatesAlone) {
    MakeEndpoint();
    Bus().ForgetCalls();
    for (const OwnerChange& change : GetParam().changes) {
        Emit(change);
    }
    EXPECT_EQ(Announcements(), GetParam().announcements);
    EXPECT_EQ(Endpoint().Reports(), GetParam().reports);
    EXPECT_EQ(Endpoint().IsConnectionReady(), GetParam().ready);
    EXPECT_EQ(Errors(), GetParam().errors);
}

INSTANTIATE_TEST_SUITE_P(Bus, OwnerChangeTest, testing::ValuesIn(ROWS),
                         [](const testing::TestParamInfo<Row>& row) { return row.param.testName; });

// A separate row, because the type is not (sss).
class OddOwnerChange : public FaultTest, public testing::WithParamInterface<const char*> {};

TEST_P(OddOwnerChange, IsLoggedAndIgnored) {
    MakeEndpoint();
    Bus().Emit("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
               "NameOwnerChanged", g_variant_new_parsed(GetParam()));
    ASSERT_TRUE(Host().Deliver());
    ASSERT_EQ(Errors().size(), 1U);
    EXPECT_EQ(Errors()[0].find("cb_SynNameOwnerChanged with parameters of type ("), 0U);
    EXPECT_FALSE(IsBound());
}

INSTANTIATE_TEST_SUITE_P(Bus, OddOwnerChange,
                         testing::Values("('org.morva.JavaMW.Applist_SERVICE_SYN',)",
                                         "('org.morva.JavaMW.Applist_SERVICE_SYN', ':2.P')",
                                         "('org.morva.JavaMW.Applist_SERVICE_SYN', ':2.P', 1)",
                                         "('org.morva.JavaMW.Applist_SERVICE_SYN', '', '', '')"));

} // namespace
