#include <check/Checklist.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include <shared/Protocol.h>

namespace applistctl {

namespace {

struct DutyText {
    Duty duty;
    const char* heading; ///< starts a group
    const char* text;    ///< null for a duty with a row for each message
};

// In the order of the enumeration.
constexpr DutyText TEXTS[] = {
    {Duty::AnnouncesItself, "Handshake", "announces _SERVICE_SYN when it starts"},
    {Duty::AnswersSyn, nullptr, "answers _CLIENT_SYN with _SERVICE_SYN_ACK"},
    {Duty::AnswersSynAck, nullptr, "answers _CLIENT_SYN_ACK with _SERVICE_ACK"},
    {Duty::AnswersWhenBound, nullptr, "answers _CLIENT_SYN_ACK while bound to that host"},
    {Duty::StartsTogether, nullptr, "finds a host that starts at the same time"},
    {Duty::WaitsForTheRelease, nullptr, "waits for the release of a name"},
    {Duty::ServesAtOnce, nullptr, "answers requests right after its announcement"},
    {Duty::KeepsItsHost, nullptr, "keeps its host when another host announces itself"},
    {Duty::AnnouncesItselfAgain, nullptr, "announces _SERVICE_SYN when its host leaves the bus"},
    {Duty::RepeatsWhileFree, nullptr, "repeats _SERVICE_SYN while no host answers"},
    {Duty::RepeatsWhileUnasked, nullptr, "repeats _SERVICE_SYN while its host requests nothing"},
    {Duty::RepeatsRefused, nullptr, "repeats _SERVICE_ACK that the bus refused"},
    {Duty::RemembersOthers, nullptr, "remembers a bound host for the end of its own"},
    {Duty::BindsOnAck, nullptr, "takes the host of _CLIENT_ACK when it has none"},
    {Duty::AnswersRequest, "Requests", nullptr},
    {Duty::RepliesWithTheSelection, nullptr,
     "replies to 2001 with the selected item's bare record"},
    {Duty::DropsARemovedSelection, nullptr, "drops the selection of a removed item"},
    {Duty::SendsNoRequestMeanwhile, nullptr, "sends no request while a reply is due"},
    {Duty::SendsNotification, "Notifications", nullptr},
    {Duty::NotifiesItsHostOnly, nullptr, "sends (ay) with a known id, to its host only"},
    {Duty::WorksWithTheLibrary, "With the library",
     "connects, receives the list, answers each operation"},
    {Duty::ReconnectsAfterARestart, nullptr,
     "connects and receives the list again after a restart"},
};

constexpr bool EachDutyHasAText() {
    std::size_t count = 0;
    for (const DutyText& text : TEXTS) {
        if (static_cast<std::size_t>(text.duty) != count++) {
            return false;
        }
    }
    return count == static_cast<std::size_t>(Duty::Count);
}
static_assert(EachDutyHasAText(), "TEXTS lacks a duty, or is in another order");

struct RowText {
    ChecklistRow row;
    const char* heading;
    std::string text;
};

// The rows of a duty: most have one, some have one for each message.
void AppendRows(const DutyText& duty, std::vector<RowText>& rows) {
    const std::size_t first = rows.size();
    if (duty.duty == Duty::AnswersRequest) {
        for (const RequestKind& kind : Protocol::REQUESTS) {
            rows.push_back({ChecklistRow(kind.id), nullptr,
                            "answers " + std::to_string(kind.id) + ", " + kind.word});
        }
    } else if (duty.duty == Duty::SendsNotification) {
        for (const NotificationKind& kind : Protocol::NOTIFICATIONS) {
            rows.push_back(
                {ChecklistRow(kind.id), nullptr,
                 "sends " + std::to_string(kind.id) + ", " + kind.word + ", " + kind.occasion});
        }
    } else {
        rows.push_back({duty.duty, nullptr, duty.text});
    }
    rows[first].heading = duty.heading;
}

std::vector<RowText> AllRows() {
    std::vector<RowText> rows;
    for (const DutyText& duty : TEXTS) {
        AppendRows(duty, rows);
    }
    return rows;
}

} // namespace

void Checklist::Pass(ChecklistRow row, const std::string& evidence) {
    Finding& finding = m_findings[row];
    if (finding.verdict != Verdict::Broken) {
        finding = {Verdict::Passed, evidence};
    }
}

void Checklist::Break(ChecklistRow row, const std::string& evidence) {
    if (!IsBroken(row)) {
        m_findings[row] = {Verdict::Broken, evidence};
    }
}

void Checklist::Record(ChecklistRow row, bool passed, const std::string& evidence,
                       const std::string& problem) {
    passed ? Pass(row, evidence) : Break(row, problem);
}

void Checklist::Skip(ChecklistRow row, const std::string& reason) {
    Finding& finding = m_findings[row];
    if (finding.verdict == Verdict::NotSeen && finding.evidence.empty()) {
        finding.evidence = reason;
    }
}

bool Checklist::IsBroken(ChecklistRow row) const {
    const auto found = m_findings.find(row);
    return found != m_findings.end() && found->second.verdict == Verdict::Broken;
}

bool Checklist::AnyBroken() const {
    return std::any_of(m_findings.begin(), m_findings.end(), [](const auto& finding) {
        return finding.second.verdict == Verdict::Broken;
    });
}

void Checklist::Show(Output& output) const {
    const std::vector<RowText> rows = AllRows();
    std::size_t column = 0;
    std::size_t counts[3] = {};
    for (const RowText& line : rows) {
        column = std::max(column, line.text.size());
    }
    for (const RowText& line : rows) {
        const auto found = m_findings.find(line.row);
        const Finding finding = found != m_findings.end() ? found->second : Finding();
        ++counts[static_cast<std::size_t>(finding.verdict)];
        if (line.heading != nullptr) {
            output.State(line.heading);
        }
        const std::string rest =
            line.text + std::string(column + 2 - line.text.size(), ' ') + finding.evidence;
        switch (finding.verdict) {
        case Verdict::NotSeen:
            output.Line("  not seen  " + rest);
            break;
        case Verdict::Passed:
            output.Line("  passed    " + rest, Output::Tone::Sent);
            break;
        case Verdict::Broken:
            output.Line("  BROKEN    " + rest, Output::Tone::Problem);
            break;
        }
    }
    output.State(std::to_string(counts[1]) + " passed, " + std::to_string(counts[2]) + " broken, " +
                 std::to_string(counts[0]) + " not seen");
}

} // namespace applistctl
