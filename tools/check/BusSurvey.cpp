#include <check/BusSurvey.h>

#include <algorithm>
#include <iterator>
#include <map>

#include <check/HostProcess.h>
#include <check/PeerCall.h>
#include <ipc/HandshakeNames.h>
#include <shared/Endpoint.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr const char* STATS = "org.freedesktop.DBus.Debug.Stats";
constexpr const char* BUS = "org.freedesktop.DBus";
constexpr double OWNED_S = 1.5; ///< an announcement owns its name for one round trip
constexpr int LOOKS = 8;

using Rules = std::vector<std::string>;

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

bool AnyContains(const Rules& rules, const std::string& part) {
    return std::any_of(rules.begin(), rules.end(),
                       [&](const std::string& rule) { return Contains(rule, part); });
}

// The unique name in "key=':1.42'" of a match rule.
std::string UniqueNameIn(const std::string& rule, const std::string& key) {
    const std::string start = key + "=':";
    const std::size_t begin = rule.find(start);
    if (begin == std::string::npos) {
        return "";
    }
    const std::size_t name = begin + start.size() - 1;
    return rule.substr(name, rule.find('\'', name) - name);
}

Participant::Role RoleOf(const Rules& rules) {
    const auto watches = [&](const std::string& name) {
        return AnyContains(rules, "arg0='" + name + "'");
    };
    if (watches(HandshakeNames::PartnerName(ENDPOINT_ID, "_SYN"))) {
        return Participant::Role::Host;
    }
    return watches(HandshakeNames::EndpointName(ENDPOINT_ID, "_SYN")) ? Participant::Role::Partner
                                                                      : Participant::Role::Unknown;
}

// Who binds listens to the other's signals and watches its unique name.
std::string PeerOf(const Rules& rules) {
    std::string watched;
    for (const std::string& rule : rules) {
        std::string sender = UniqueNameIn(rule, "sender");
        if (!sender.empty() && Contains(rule, JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE)) {
            return sender;
        }
        watched = watched.empty() ? UniqueNameIn(rule, "arg0") : watched;
    }
    return watched;
}

bool ReadRules(GDBusConnection* connection, std::map<std::string, Rules>& rules,
               std::string& problem) {
    const auto reply = CallDaemon(connection, STATS, "GetAllMatchRules", nullptr, problem);
    if (reply == nullptr) {
        return false;
    }
    if (!g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(a{sas})"))) {
        problem = "the reply has another type";
        return false;
    }
    g_autoptr(GVariantIter) iterator = nullptr;
    const char* name = nullptr;
    const char** texts = nullptr;
    g_variant_get(reply.get(), "(a{sas})", &iterator);
    while (g_variant_iter_next(iterator, "{&s^a&s}", &name, &texts) != FALSE) {
        for (const char** text = texts; *text != nullptr; ++text) {
            rules[name].emplace_back(*text);
        }
        g_free(static_cast<void*>(texts));
    }
    return true;
}

// The names whose connection has the communication object.
std::vector<std::string> FindObjects(GDBusConnection* connection,
                                     const std::vector<std::string>& names, double limit,
                                     BusSurvey& survey) {
    const std::string path = HandshakeNames::ObjectPath(ENDPOINT_ID);
    const std::vector<PeerReply> replies = CallPeers(
        connection, names, {path.c_str(), "org.freedesktop.DBus.Introspectable", "Introspect"},
        nullptr, limit);
    std::vector<std::string> found;
    std::vector<std::string> refused;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const PeerReply& reply = replies[i];
        const char* xml = nullptr;
        if (reply.IsReply() &&
            g_variant_is_of_type(reply.value.get(), G_VARIANT_TYPE("(s)")) != FALSE) {
            g_variant_get(reply.value.get(), "(&s)", &xml);
        }
        if (xml != nullptr && Contains(xml, JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE)) {
            found.push_back(names[i]);
        } else if (reply.IsRefused()) {
            refused.push_back(names[i]);
        } else if (reply.IsMissing()) {
            survey.silent.push_back(names[i]);
        }
    }
    const std::vector<PeerReply> sent = SendNothing(connection, refused, limit);
    for (std::size_t i = 0; i < refused.size(); ++i) {
        if (sent[i].IsReply()) {
            found.push_back(refused[i]);
        } else if (sent[i].IsMissing()) {
            survey.silent.push_back(refused[i]);
        } else if (sent[i].IsRefused()) {
            survey.refused.push_back(refused[i]);
        }
    }
    return found;
}

// Moves the hosts from @p names, whose connections show nothing, to the participants. Drops the
// connections of checks, which are neither hosts nor partners.
void TakeHosts(GDBusConnection* connection, std::vector<std::string>& names, BusSurvey& survey) {
    for (auto name = names.begin(); name != names.end();) {
        Participant one;
        one.name = *name;
        one.process = FindPeerProcess(connection, one.name);
        one.role = Participant::Role::Host;
        const bool isHost = HostProcess::IsHost(one.process.pid);
        if (isHost) {
            survey.participants.push_back(one);
        }
        name = isHost || one.process.IsCheck() ? names.erase(name) : std::next(name);
    }
}

std::string OwnerOf(GDBusConnection* connection, const std::string& name) {
    std::string problem;
    const auto reply =
        CallDaemon(connection, BUS, "GetNameOwner", g_variant_new("(s)", name.c_str()), problem);
    const char* owner = "";
    if (reply != nullptr && g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(s)")) != FALSE) {
        g_variant_get(reply.get(), "(&s)", &owner);
    }
    return owner;
}

} // namespace

std::vector<std::string> ListUniqueNames(GDBusConnection* connection) {
    std::vector<std::string> names;
    std::string problem;
    const auto reply = CallDaemon(connection, BUS, "ListNames", nullptr, problem);
    if (reply == nullptr || !g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(as)"))) {
        return names;
    }
    g_autoptr(GVariantIter) iterator = nullptr;
    const char* name = nullptr;
    g_variant_get(reply.get(), "(as)", &iterator);
    const std::string own = g_dbus_connection_get_unique_name(connection);
    while (g_variant_iter_next(iterator, "&s", &name) != FALSE) {
        if (*name == ':' && own != name) {
            names.emplace_back(name);
        }
    }
    return names;
}

std::string WithProcess(const std::string& name, const PeerProcess& process) {
    const std::string text = process.Describe();
    return text.empty() ? name : name + " (" + text + ")";
}

std::string Participant::Describe() const {
    return WithProcess(name, process);
}

const Participant* BusSurvey::Find(const std::string& name) const {
    const auto found = std::find_if(participants.begin(), participants.end(),
                                    [&](const Participant& one) { return one.name == name; });
    return found != participants.end() ? &*found : nullptr;
}

const Participant* BusSurvey::FirstOf(Participant::Role role) const {
    const auto found = std::find_if(participants.begin(), participants.end(),
                                    [&](const Participant& one) { return one.role == role; });
    return found != participants.end() ? &*found : nullptr;
}

std::string BusSurvey::DescribeLoss(const std::string& name) const {
    return std::find(names.begin(), names.end(), name) != names.end() ? ""
                                                                      : ", which has left the bus";
}

std::vector<Participant> BusSurvey::AllOf(Participant::Role role) const {
    std::vector<Participant> all;
    std::copy_if(participants.begin(), participants.end(), std::back_inserter(all),
                 [&](const Participant& one) { return one.role == role; });
    return all;
}

const Participant* BusSurvey::BoundTo(const std::string& peer, Participant::Role role) const {
    const auto found =
        std::find_if(participants.begin(), participants.end(),
                     [&](const Participant& one) { return one.role == role && one.peer == peer; });
    return found != participants.end() ? &*found : nullptr;
}

BusSurvey SurveyRules(GDBusConnection* connection) {
    BusSurvey survey;
    std::map<std::string, Rules> rules;
    survey.hasRules = ReadRules(connection, rules, survey.problem);
    survey.names = ListUniqueNames(connection);
    for (const std::string& name : survey.names) {
        Participant one;
        one.name = name;
        one.role = RoleOf(rules[name]);
        if (one.role != Participant::Role::Unknown) {
            one.process = FindPeerProcess(connection, name);
            one.role = one.process.IsCheck() ? Participant::Role::Check : one.role;
            one.peer = PeerOf(rules[name]);
            survey.participants.push_back(one);
        }
    }
    return survey;
}

BusSurvey SurveyBus(GDBusConnection* connection, double limit) {
    BusSurvey survey = SurveyRules(connection);
    if (survey.hasRules) {
        return survey;
    }
    for (const std::string& name :
         FindObjects(connection, ListUniqueNames(connection), limit, survey)) {
        Participant one;
        one.name = name;
        one.process = FindPeerProcess(connection, name);
        one.role = one.process.IsCheck()                  ? Participant::Role::Check
                   : HostProcess::IsHost(one.process.pid) ? Participant::Role::Host
                                                          : Participant::Role::Unknown;
        survey.participants.push_back(one);
    }
    TakeHosts(connection, survey.silent, survey);
    TakeHosts(connection, survey.refused, survey);
    return survey;
}

std::string OwnedName::Describe() const {
    return name + " is owned by " + WithProcess(owner, process) + " and not released";
}

std::map<std::string, std::string> OwnersOfSteps(GDBusConnection* connection) {
    std::map<std::string, std::string> owners;
    const std::string own = g_dbus_connection_get_unique_name(connection);
    for (const char* const suffix : HANDSHAKE_STEPS) {
        for (const std::string& name : {HandshakeNames::EndpointName(ENDPOINT_ID, suffix),
                                        HandshakeNames::PartnerName(ENDPOINT_ID, suffix)}) {
            const std::string owner = OwnerOf(connection, name);
            if (!owner.empty() && owner != own) {
                owners[name] = owner;
            }
        }
    }
    return owners;
}

std::vector<OwnedName> FindOwnedNames(GDBusConnection* connection) {
    std::map<std::string, std::string> owners = OwnersOfSteps(connection);
    for (int look = 1; look < LOOKS && !owners.empty(); ++look) {
        WaitFor(OWNED_S / LOOKS);
        const std::map<std::string, std::string> now = OwnersOfSteps(connection);
        for (auto owner = owners.begin(); owner != owners.end();) {
            const auto present = now.find(owner->first);
            const bool isSame = present != now.end() && present->second == owner->second;
            owner = isSame ? std::next(owner) : owners.erase(owner);
        }
    }
    std::vector<OwnedName> owned;
    owned.reserve(owners.size());
    for (const auto& [name, owner] : owners) {
        owned.push_back({name, owner, FindPeerProcess(connection, owner)});
    }
    return owned;
}

} // namespace applistctl
