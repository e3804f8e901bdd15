// NameOwnerChanged signals that no bus sends: in any order, doubled, for unrelated names, and with
// other arguments. The model of the handshake names the effects.
#include <string>
#include <vector>

#include "FaultTest.h"
#include "HandshakeModel.h"
#include "NamedRow.h"

namespace {

struct OwnerChange {
    std::string name; // a suffix like "_SYN", or a whole name
    std::string oldOwner;
    std::string newOwner;
};

struct NoticedChanges : NamedRow {
    std::vector<OwnerChange> changes;
    Strings errors = {};
};

const char* const P = ":2.P";
const char* const Q = ":2.Q";

OwnerChange Acquired(const char* suffix, const char* owner) {
    return {suffix, "", owner};
}
OwnerChange Released(const char* suffix, const char* owner) {
    return {suffix, owner, ""};
}
OwnerChange Vanished(const char* owner) {
    return {owner, owner, ""};
}

const NoticedChanges OWNER_CHANGES[] = {
    {"InOrder",
     {Acquired("_SYN", P), Released("_SYN", P), Acquired("_ACK", P), Released("_ACK", P)}},
    {"RequestedNamesAlone", {Acquired("_SYN", P), Acquired("_SYN_ACK", P), Acquired("_ACK", P)}},
    {"ReleaseBeforeTheRequest", {Released("_SYN", P), Acquired("_SYN", P)}},
    {"SynDoubled", {Released("_SYN", P), Released("_SYN", P)}},
    {"SynAckDoubled", {Released("_SYN_ACK", P), Released("_SYN_ACK", P)}},
    {"AckDoubled", {Released("_SYN", P), Released("_ACK", P), Released("_ACK", P)}},
    {"AckFirst", {Released("_ACK", P)}},
    {"AckBeforeSyn", {Released("_ACK", P), Released("_SYN", P)}},
    {"SynAfterSynAck", {Released("_SYN_ACK", P), Released("_SYN", P)}},
    {"SynAckAfterSyn", {Released("_SYN", P), Released("_SYN_ACK", P)}},
    {"AckOfAnotherPartner", {Released("_SYN", P), Released("_ACK", Q)}},
    {"SecondPartner", {Released("_SYN_ACK", P), Released("_SYN", Q), Released("_SYN_ACK", Q)}},
    {"RestartBeforeTheLossIsReported", {Released("_SYN_ACK", P), Released("_SYN", Q), Vanished(P)}},
    {"RestartAfterTheLoss",
     {Released("_SYN_ACK", P), Vanished(P), Released("_SYN", Q), Released("_ACK", Q)}},
    {"LossDoubled", {Released("_SYN_ACK", P), Vanished(P), Vanished(P)}},
    {"LossOfAnotherName", {Released("_SYN_ACK", P), Vanished(Q)}},
    {"LossBeforeTheBinding", {Vanished(P), Released("_ACK", P)}},
    {"PassedToAnotherOwner", {{"_SYN", P, Q}, {"_SYN_ACK", P, Q}, {"_ACK", P, Q}}},
    {"OwnReleases",
     {Released("_SYN", ":1.1"), Released("_SYN_ACK", ":1.1"), Released("_ACK", ":1.1")}},
    {"UnrelatedNames",
     {{"org.morva.JavaMW.Applist_SERVICE", P, ""},
      {"org.morva.JavaMW.Applist_SERVICE_SYNC", P, ""},
      {"org.morva.JavaMW.Applist_CLIENT_SYN_ACK", P, ""},
      {"org.morva.JavaMW.Other_SERVICE_SYN", P, ""},
      {"org.example.Name", P, ""}}},
    {"NoOwnerReleases",
     {{"_SYN", "", ""}, {"_SYN_ACK", "", ""}},
     {"'' is no bus name of a partner", "'' is no bus name of a partner"}},
    {"NoBusNameReleases", {{"_SYN", "no name", ""}}, {"'no name' is no bus name of a partner"}},
};

class OwnerChangeTest : public FaultTest, public testing::WithParamInterface<NoticedChanges> {
protected:
    void Emit(const OwnerChange& change) {
        const bool isSuffix = change.name[0] == '_';
        const std::string name = isSuffix ? Host().PartnerName(change.name) : change.name;
        if (change.name[0] == ':') {
            Bus().Vanish(name);
            m_model.OnVanished(name);
        } else {
            Bus().EmitNameOwnerChanged(name, change.oldOwner, change.newOwner);
            m_model.OnOwnerChange(name, change.oldOwner, change.newOwner);
        }
        // Twice: a name watch of the first round reports losses after the reply of the bus.
        ASSERT_TRUE(Host().Deliver() && Host().Deliver());
        MainLoop::IterateUntilIdle();
    }

    HandshakeModel m_model;
};

TEST_P(OwnerChangeTest, HasTheEffectsOfTheTableOfStatesAlone) {
    RecordingEndpoint::Actions actions;
    actions.onReady = [this](bool ready, const std::string& partner) {
        Host().AddToTrace(RecordingEndpoint::Readiness{ready, partner}.Report());
    };
    MakeEndpoint(actions);
    Host().StartTrace();
    m_model.SetOwnName(g_dbus_connection_get_unique_name(Host().Connection()));
    for (const OwnerChange& change : GetParam().changes) {
        Emit(change);
    }
    EXPECT_EQ(Host().TakeTrace(), m_model.TakeTrace());
    EXPECT_EQ(Endpoint().IsConnectionReady(), m_model.IsReady());
    EXPECT_EQ(Errors(), GetParam().errors);
}

INSTANTIATE_TEST_SUITE_P(Bus, OwnerChangeTest, testing::ValuesIn(OWNER_CHANGES),
                         RowName<NoticedChanges>);

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
