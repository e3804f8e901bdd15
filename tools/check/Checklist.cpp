#include <check/Checklist.h>

#include <algorithm>

namespace {

struct DutyText {
    Duty duty;
    const char* heading; ///< starts a group
    const char* text;
};

constexpr DutyText TEXTS[] = {
    {Duty::AnnouncesItself, "Handshake", "announces _SERVICE_SYN when it starts"},
    {Duty::AnswersSyn, nullptr, "answers _CLIENT_SYN with _SERVICE_SYN_ACK"},
    {Duty::AnswersSynAck, nullptr, "answers _CLIENT_SYN_ACK with _SERVICE_ACK"},
    {Duty::AnswersWhenBound, nullptr, "answers _CLIENT_SYN_ACK also when bound to that host"},
    {Duty::StartsTogether, nullptr, "finds a host that starts at the same time"},
    {Duty::IgnoresTaking, nullptr, "waits for the release of a name"},
    {Duty::ServesAtOnce, nullptr, "takes requests as soon as it has answered"},
    {Duty::KeepsItsHost, nullptr, "keeps its host when another one announces itself"},
    {Duty::LooksForTheNext, nullptr, "announces _SERVICE_SYN when its host has gone"},
    {Duty::AsksForTheList, nullptr, "sends notification 4 after each handshake"},
    {Duty::AnswersSelect, "Requests", "answers 2000, select"},
    {Duty::AnswersQuery, nullptr, "answers 2001, which is selected"},
    {Duty::AnswersClear, nullptr, "answers 2003, remove all"},
    {Duty::AnswersAdd, nullptr, "answers 2004, add"},
    {Duty::AnswersAppend, nullptr, "answers 2005, add at the end"},
    {Duty::AnswersClick, nullptr, "answers 2006, clicked"},
    {Duty::AnswersRemove, nullptr, "answers 2007, remove"},
    {Duty::AnswersModify, nullptr, "answers 2008, modify"},
    {Duty::TellsTheSelection, nullptr, "replies to 2001 with the selected item's bare record"},
    {Duty::LetsGoOfTheSelection, nullptr, "selects no item that has left the list"},
    {Duty::NeverAsksMeanwhile, nullptr, "asks the host nothing while it answers"},
    {Duty::NotifiesRightly, "Notifications", "(ay), ids 1 to 4, to its host alone"},
    {Duty::WorksWithTheLibrary, "With the library", "is found, is filled, answers every operation"},
    {Duty::ComesBack, nullptr, "is found and filled again after its restart"},
    {Duty::TellsASelection, nullptr, "tells its user's selection: 2, then 2001 names it"},
    {Duty::TellsAClick, nullptr, "tells its user's click: 3"},
    {Duty::TellsAChange, nullptr, "tells a change of its list: 1"},
};

} // namespace

void Checklist::Pass(Duty duty, const std::string& evidence) {
    Row& row = m_rows[duty];
    if (row.verdict != Verdict::Broken) {
        row = {Verdict::Passed, evidence};
    }
}

void Checklist::Break(Duty duty, const std::string& evidence) {
    if (!IsBroken(duty)) {
        m_rows[duty] = {Verdict::Broken, evidence};
    }
}

void Checklist::Judge(Duty duty, bool passed, const std::string& evidence,
                      const std::string& problem) {
    passed ? Pass(duty, evidence) : Break(duty, problem);
}

void Checklist::Skip(Duty duty, const std::string& reason) {
    Row& row = m_rows[duty];
    if (row.verdict == Verdict::NotSeen && row.evidence.empty()) {
        row.evidence = reason;
    }
}

bool Checklist::IsBroken(Duty duty) const {
    const auto row = m_rows.find(duty);
    return row != m_rows.end() && row->second.verdict == Verdict::Broken;
}

bool Checklist::AnyBroken() const {
    return std::any_of(m_rows.begin(), m_rows.end(),
                       [](const auto& row) { return row.second.verdict == Verdict::Broken; });
}

void Checklist::Show(Output& output) const {
    std::size_t column = 0;
    std::size_t counts[3] = {};
    for (const DutyText& line : TEXTS) {
        column = std::max(column, std::string(line.text).size());
    }
    for (const DutyText& line : TEXTS) {
        const auto found = m_rows.find(line.duty);
        const Row row = found != m_rows.end() ? found->second : Row();
        ++counts[static_cast<std::size_t>(row.verdict)];
        if (line.heading != nullptr) {
            output.State(line.heading);
        }
        const std::string text = line.text;
        const std::string rest = text + std::string(column + 2 - text.size(), ' ') + row.evidence;
        if (row.verdict == Verdict::Broken) {
            output.Line("  BROKEN    " + rest, Output::Tone::Problem);
        } else if (row.verdict == Verdict::Passed) {
            output.Line("  passed    " + rest, Output::Tone::Sent);
        } else {
            output.Line("  not seen  " + rest);
        }
    }
    output.State(std::to_string(counts[1]) + " passed, " + std::to_string(counts[2]) + " broken, " +
                 std::to_string(counts[0]) + " not seen");
}
