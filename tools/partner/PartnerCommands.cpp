#include <partner/PartnerCommands.h>

#include <limits>

#include <shared/Protocol.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr std::size_t ANY_NUMBER = std::numeric_limits<std::size_t>::max();

// Of arguments that are empty, or SECONDS.
std::string CheckSeconds(const std::vector<std::string>& words) {
    double seconds = 0;
    return words.empty() || ParseSeconds(words[0], seconds) ? ""
                                                            : "SECONDS is a number from 0 to 3600";
}

double SecondsOf(const std::vector<std::string>& words) {
    double seconds = 0;
    ParseSeconds(words[0], seconds);
    return seconds;
}

} // namespace

std::vector<Command> PartnerCommands::All() {
    return {
        OnPartner("list", "", "show list and selection", &Partner::ShowList),
        OnPartner("select", "N|none", "move the selection, and notify the host", &Partner::Select),
        OnPartner("click", "N", "notify the host of a click", &Partner::Click),
        {"change", "[N]", "notify the host of a change of the list, or of an item", 0, 1,
         [this](const Words& words) { return Change(words); }},
        OnPartner("remove", "N", "remove an item from the partner's list, and notify the host",
                  &Partner::Remove),
        OnPartner("recreate", "", "create a new list, and ask the host for its items",
                  &Partner::Recreate),
        {"vanish", "", "leave the bus", 0, 0, [this](const Words&) { return Vanish(); }},
        {"restart", "[SECONDS]", "leave the bus and connect again, at once or after SECONDS", 0, 1,
         [this](const Words& words) { return Restart(words); }, CheckSeconds},
        {"fault", "FAULT", "behave wrongly from now on (--help lists the faults)", 1, 3,
         [this](const Words& words) { return SetFault(words); },
         [](const Words& words) { return Faults().Set(words); }},
        {"expect", "CONDITION", "wait for a condition (--help lists them); fail after the time-out",
         1, ANY_NUMBER,
         [this](const Words& words) { return m_session.StartOnce() && m_expect.Run(words); },
         ExpectCommand::FindProblem},
        {"forget", "", "ignore the earlier requests in later conditions", 0, 0,
         [this](const Words&) {
             m_session.Requests().clear();
             return true;
         }},
        {"timeout", "SECONDS", "set the time-out of expect (10)", 1, 1,
         [this](const Words& words) { return SetTimeout(words); }, CheckSeconds},
        {"wait", "SECONDS", "do nothing for this time", 1, 1,
         [this](const Words& words) { return Wait(words); }, CheckSeconds},
    };
}

std::string PartnerCommands::DescribeArguments() {
    return "Conditions of expect, where REQUEST is one of\n" + Protocol::RequestWords() + ":\n" +
           ExpectCommand::Describe() + "\nFaults:\n" + Faults::Describe();
}

Command PartnerCommands::OnPartner(const char* name, const char* arguments, const char* help,
                                   bool (Partner::*run)()) {
    return {
        name, arguments,
        help, 0,
        0,    [this, run](const Words&) {
                return HasPartner() && (m_session.Partner()->*run)(); }};
}

Command PartnerCommands::OnPartner(const char* name, const char* arguments, const char* help,
                                   bool (Partner::*run)(const std::string&)) {
    return {name, arguments, help, 1, 1, [this, run](const Words& words) {
                return HasPartner() && (m_session.Partner()->*run)(words[0]);
            }};
}

bool PartnerCommands::Change(const Words& words) {
    return HasPartner() && (words.empty() ? m_session.Partner()->Change()
                                          : m_session.Partner()->ChangeItem(words[0]));
}

bool PartnerCommands::HasPartner() {
    if (m_session.StartOnce() && m_session.Partner() == nullptr) {
        m_output.Error("the partner has left the bus; restart brings it back");
    }
    return m_session.Partner() != nullptr;
}

bool PartnerCommands::SetFault(const Words& words) {
    m_session.Faults().Set(words);
    return true;
}

bool PartnerCommands::SetTimeout(const Words& words) {
    m_expect.SetTimeout(SecondsOf(words));
    return true;
}

bool PartnerCommands::Wait(const Words& words) {
    if (m_session.StartOnce()) {
        WaitUntil([this] { return m_session.HasStopped(); }, SecondsOf(words));
    }
    return !m_session.HasStopped();
}

bool PartnerCommands::Vanish() {
    if (!m_session.StartOnce()) {
        return false;
    }
    m_session.Vanish();
    m_output.State("vanished from the bus");
    return true;
}

bool PartnerCommands::Restart(const Words& words) {
    if (!Vanish() || (!words.empty() && !Wait(words))) {
        return false;
    }
    m_session.Start();
    return !m_session.HasStopped();
}

} // namespace applistctl
