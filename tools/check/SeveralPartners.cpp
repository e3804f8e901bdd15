#include <check/SeveralPartners.h>

#include <vector>

#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr double REPLACEMENT_S = 2; ///< in which a replaced partner has left the bus

// Without match rules, each process of an unknown role may be a partner.
bool MayHaveSeveral(const BusSurvey& survey) {
    return survey.AllOf(Participant::Role::Unknown).size() + survey.silent.size() +
               survey.refused.size() >
           1;
}

} // namespace

void SeveralPartners::Report(GDBusConnection* connection, const BusSurvey& survey,
                             Verdicts& verdicts,
                             const std::function<std::string(const Participant&)>& describe) {
    if (!survey.hasRules) {
        if (MayHaveSeveral(survey)) {
            verdicts.Note("partners", "not counted: the bus does not show who is a partner (" +
                                          survey.problem + ")");
        }
        return;
    }
    if (survey.AllOf(Participant::Role::Partner).size() < 2) {
        return;
    }
    WaitFor(REPLACEMENT_S);
    const BusSurvey now = SurveyRules(connection);
    const std::vector<Participant> partners = now.AllOf(Participant::Role::Partner);
    if (partners.size() < 2) {
        return;
    }
    std::string text = std::to_string(partners.size()) + " partners are on the bus: ";
    for (const Participant& one : partners) {
        const Participant* const host = now.Find(one.peer);
        text += (&one != &partners.front() ? ", " : "") + describe(one) + " is bound to " +
                (one.peer.empty()  ? "no host"
                 : host != nullptr ? describe(*host)
                                   : one.peer);
    }
    verdicts.Fault("WRONG", "partners", text, "run one partner");
}

} // namespace applistctl
